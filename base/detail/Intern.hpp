// Interning without a second search, and the other accesses that the library's own code needs.
#pragma once

#include <cassert>
#include <cstdint>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Digest.hpp"
#include "base/detail/Hash.hpp"
#include "host/KSPlatform.hpp"

namespace KS::detail {

struct Intern {
  /// Whether a stored node equals a probe with that hash. Whole hashes are compared before nodes:
  /// the equality of doubles is tolerant and must not decide between values that hash apart.
  static bool isEqual(const SymbolicExprTable& aTable, const SymbolicExpr& aProbe,
                      std::size_t aHash, SymbolicExprId aId) {
    const SymbolicExpr& stored = *aTable.storage->nodes[aId].get();
    return stored.getHash() == aHash && aProbe == stored;
  }

  /// The id of the node with that index hash for which `aIsIt(id)` holds, or the invalid id.
  template <class IsIt>
  static SymbolicExprId search(const SymbolicExprTable& aTable, std::uint32_t aHash,
                               const IsIt& aIsIt) {
    return idAt(aTable, aTable.storage->index.find(aHash, aIsIt));
  }

  /// Finds the node that equals the probe, or stores a copy of the probe.
  template <class Node>
  static void node(SymbolicExprTable& aTable, const Node& aProbe) {
    const std::size_t hash = aProbe.Node::getHash();
    store(aTable, aProbe, Digests::make(aProbe), Digests::indexHash(hash),
          [&](SymbolicExprId aId) { return isEqual(aTable, aProbe, hash, aId); });
  }

  /// The same for an operator, whose hash the caller has. Digests tell operators apart, so the
  /// stored nodes are not looked at.
  template <class Node>
  static void operation(SymbolicExprTable& aTable, const Node& aProbe, std::size_t aHash) {
    const NodeDigest probe = Digests::make(aProbe);
    store(aTable, aProbe, probe, Digests::indexHash(aHash), [&](SymbolicExprId aId) {
      return isSame(Digests::of(aTable)[aId], probe) &&
             (Digests::isWhole(probe) || isEqual(aTable, aProbe, aHash, aId));
    });
  }

  /// The id of a symbol, or the invalid id. Interns nothing.
  static SymbolicExprId findSymbol(const SymbolicExprTable& aTable, std::string_view aText) {
    return search(aTable, Digests::indexHash(hashSymbol(aText)), [&](SymbolicExprId aId) {
      return Digests::kindOf(aTable, aId) == SymbolicOp::String &&
             static_cast<const SymbolicString*>(aTable.storage->nodes[aId].get())->getText() ==
                 aText;
    });
  }

  /// Interns a symbol; one that is known costs no string of its own.
  static SymbolicExprId symbol(SymbolicExprTable& aTable, std::string_view aText) {
    const SymbolicExprId known = findSymbol(aTable, aText);
    if (known != invalidSymbolicExprId) return known;
    SymbolicString(aTable, std::string(aText));
    return lastId(aTable);
  }

  /// Interns an integer literal; most are known.
  static SymbolicExprId integer(SymbolicExprTable& aTable, int aValue) {
    const SymbolicExprId known =
        search(aTable, Digests::indexHash(signExtended(aValue)), [&](SymbolicExprId aId) {
          return Digests::kindOf(aTable, aId) == SymbolicOp::IntValue &&
                 Digests::of(aTable)[aId].first == static_cast<std::uint32_t>(aValue);
        });
    if (known != invalidSymbolicExprId) return known;
    SymbolicIntValue(aTable, aValue);
    return lastId(aTable);
  }

  /// Says that a constructor interned nothing.
  static void nothing(SymbolicExprTable& aTable) {
    aTable.storage->lastInterned = invalidSymbolicExprId;
  }

  /// The id of what the last node constructor interned or found.
  static SymbolicExprId lastId(const SymbolicExprTable& aTable) {
    return aTable.storage->lastInterned;
  }

  /// Interns a list of any length as it is, one element included, which the public constructor of
  /// SymbolicNDExpr does not: the text "[a]" is a list of one.
  static SymbolicExprId list(SymbolicExprTable& aTable,
                             const std::vector<SymbolicExprId>& aElements) {
    if (aElements.size() == 1) {
      node(aTable, SymbolicNDExpr(aElements));
    } else {
      SymbolicNDExpr(aTable, aElements);
    }
    return lastId(aTable);
  }

  /// The id of the operator node of that kind over these two inputs if it is interned, else the
  /// invalid id. Interns nothing.
  static SymbolicExprId find(const SymbolicExprTable& aTable, SymbolicOp aOp, SymbolicExprId aLeft,
                             SymbolicExprId aRight) {
    const NodeDigest probe{
        static_cast<std::uint8_t>(aOp),    false, false, false, static_cast<std::uint32_t>(aLeft),
        static_cast<std::uint32_t>(aRight)};
    const SymbolicExprId inputs[] = {aLeft, aRight};
    return search(aTable, Digests::indexHash(hashInputs(probe.kind, inputs, 2)),
                  [&](SymbolicExprId aId) { return isSame(Digests::of(aTable)[aId], probe); });
  }

  /// The same for a unary operator.
  static SymbolicExprId find(const SymbolicExprTable& aTable, SymbolicOp aOp,
                             SymbolicExprId aInput) {
    const NodeDigest probe{static_cast<std::uint8_t>(aOp),     false,           false, false,
                           static_cast<std::uint32_t>(aInput), NodeDigest::none};
    return search(aTable, Digests::indexHash(hashInputs(probe.kind, &aInput, 1)),
                  [&](SymbolicExprId aId) { return isSame(Digests::of(aTable)[aId], probe); });
  }

  /// Has memory fetch the place of an operator node over these two inputs, soon to be interned.
  KS_ALWAYS_INLINE static void prefetch(const SymbolicExprTable& aTable, SymbolicOp aOp,
                                        SymbolicExprId aLeft, SymbolicExprId aRight) {
    const SymbolicExprId inputs[] = {aLeft, aRight};
    aTable.storage->index.prefetch(
        Digests::indexHash(hashInputs(static_cast<int>(aOp), inputs, 2)));
  }

  /// Sees to it that one more node can be appended: throws, and changes nothing, where it is too
  /// many. Returns whether places in the index have changed.
  KS_ALWAYS_INLINE static bool makeRoom(SymbolicExprTable& aTable) {
    TableStorage& storage = *aTable.storage;
    if (storage.isFull(aTable.numNodes)) growBlocks(aTable);
    return storage.index.makeRoom();
  }

  /// Gives the node in the next slot, for which there is room, its id.
  static void append(SymbolicExprTable& aTable, const NodeDigest& aDigest) {
    aTable.storage->digests[aTable.numNodes] = aDigest;
    ++aTable.numNodes;
  }

 private:
  static void growBlocks(SymbolicExprTable& aTable);

  static bool isSame(const NodeDigest& a, const NodeDigest& b) {
    return a.kind == b.kind && a.first == b.first && a.second == b.second;
  }

  static SymbolicExprId idAt(const SymbolicExprTable& aTable, std::size_t aPlace) {
    const std::uint32_t id = aTable.storage->index.at(aPlace);
    return id == NodeDigest::none ? invalidSymbolicExprId : SymbolicExprId{id};
  }

  template <class Node, class IsIt>
  static void store(SymbolicExprTable& aTable, const Node& aProbe, const NodeDigest& aDigest,
                    std::uint32_t aHash, const IsIt& aIsIt) {
    TableStorage& storage = *aTable.storage;
    std::size_t place = storage.index.find(aHash, aIsIt);
    storage.lastInterned = idAt(aTable, place);
    if (storage.lastInterned != invalidSymbolicExprId) return;
    if (makeRoom(aTable)) place = storage.index.find(aHash, aIsIt);
    NodeSlot& slot = storage.nodes[aTable.size()];
    if constexpr (NodeSlot::fits<Node>) {
      new (slot.memory()) Node(aProbe);
      assert(slot.isInPlace());
    } else {
      void* const memory = storage.arena.allocate<Node>();
      slot.refer(new (memory) Node(aProbe));
    }
    storage.index.insert(place, aHash, static_cast<std::uint32_t>(aTable.size()));
    storage.lastInterned = aTable.size();
    append(aTable, aDigest);
  }
};

/// Interns a node of class `Node` with these operands and returns its id.
template <class Node, class... Operands>
SymbolicExprId intern(SymbolicExprTable& aTable, Operands&&... aOperands) {
  const Node probe(aTable, std::forward<Operands>(aOperands)...);
  return Intern::lastId(aTable);
}

}  // namespace KS::detail
