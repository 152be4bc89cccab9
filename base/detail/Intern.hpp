// Interning without a second search, and the other accesses that the library's own code needs.
#pragma once

#include <initializer_list>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Digest.hpp"
#include "base/detail/Hash.hpp"

namespace KS::detail {

struct Intern {
  /// Finds the node that equals the probe, or stores a copy of the probe.
  template <class Node>
  static void node(SymbolicExprTable& aTable, const Node& aProbe) {
    const std::size_t hash = aProbe.Node::getHash();
    store(aTable, aProbe, hash,
          [&](SymbolicExprId aId) { return aTable.isEqual(aProbe, hash, aId); });
  }

  /// The same for an operator, whose hash the caller has. Digests tell operators apart, so the
  /// stored nodes are not looked at.
  template <class Node>
  static void operation(SymbolicExprTable& aTable, const Node& aProbe, std::size_t aHash) {
    const NodeDigest probe = Digests::make(aProbe);
    store(aTable, aProbe, aHash, [&](SymbolicExprId aId) {
      const NodeDigest& stored = aTable.digests[aId];
      return stored.kind == probe.kind && stored.first == probe.first &&
             stored.second == probe.second &&
             (Digests::isWhole(probe) || aTable.isEqual(aProbe, aHash, aId));
    });
  }

  /// Interns a symbol; one that is known costs no string of its own.
  static SymbolicExprId symbol(SymbolicExprTable& aTable, std::string_view aText) {
    const SymbolicExprId known = aTable.search(hashSymbol(aText), [&](SymbolicExprId aId) {
      return Digests::kindOf(aTable, aId) == SymbolicOp::String &&
             static_cast<const SymbolicString*>(aTable.nodes[aId])->getText() == aText;
    });
    if (known != invalidSymbolicExprId) return known;
    SymbolicString(aTable, std::string(aText));
    return lastId(aTable);
  }

  /// Interns an integer literal; most are known.
  static SymbolicExprId integer(SymbolicExprTable& aTable, int aValue) {
    const SymbolicExprId known = aTable.search(signExtended(aValue), [&](SymbolicExprId aId) {
      return Digests::kindOf(aTable, aId) == SymbolicOp::IntValue &&
             Digests::of(aTable)[aId].first == static_cast<std::uint32_t>(aValue);
    });
    if (known != invalidSymbolicExprId) return known;
    SymbolicIntValue(aTable, aValue);
    return lastId(aTable);
  }

  /// Says that a constructor interned nothing.
  static void nothing(SymbolicExprTable& aTable) { aTable.lastInterned = invalidSymbolicExprId; }

  /// The id of what the last node constructor interned or found.
  static SymbolicExprId lastId(const SymbolicExprTable& aTable) { return aTable.lastInterned; }

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

  /// The id of the operator node of that kind over these inputs if it is interned, else the invalid
  /// id. Interns nothing.
  static SymbolicExprId find(const SymbolicExprTable& aTable, SymbolicOp aOp,
                             std::initializer_list<SymbolicExprId> aInputs) {
    const int kind = static_cast<int>(aOp);
    const SymbolicExprId* const inputs = aInputs.begin();
    return aTable.search(hashInputs(kind, inputs, aInputs.size()), [&](SymbolicExprId aId) {
      const SymbolicExpr& node = *aTable.nodes[aId];
      if (node.getKind() != kind || node.getNumInputs() != aInputs.size()) return false;
      for (std::size_t i = 0; i < aInputs.size(); ++i) {
        if (node.getInput(i) != inputs[i]) return false;
      }
      return true;
    });
  }

 private:
  template <class Node, class IsIt>
  static void store(SymbolicExprTable& aTable, const Node& aProbe, std::size_t aHash,
                    const IsIt& aIsIt) {
    aTable.lastInterned = aTable.search(aHash, aIsIt);
    if (aTable.lastInterned != invalidSymbolicExprId) return;
    void* const place = aTable.arena.allocate(sizeof(Node), alignof(Node));
    const Node* const copy = new (place) Node(aProbe);
    try {
      aTable.append(copy, aHash, Digests::make(aProbe));
    } catch (...) {
      copy->~Node();
      throw;
    }
    aTable.lastInterned = aTable.nodes.size() - 1;
  }
};

/// Interns a node of class `Node` with these operands and returns its id.
template <class Node, class... Operands>
SymbolicExprId intern(SymbolicExprTable& aTable, Operands&&... aOperands) {
  const Node probe(aTable, std::forward<Operands>(aOperands)...);
  return Intern::lastId(aTable);
}

}  // namespace KS::detail
