// The interning table: owner of all expression nodes.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <string>

#include "base/KSApi.hpp"
#include "base/NodeStorage.hpp"
#include "base/SymbolicExprId.hpp"

namespace KS {

/// A hashable key that names a node. Two keys are equal when the nodes are structurally equal.
class SymbolicExprRef {
 public:
  /// Takes a node that outlives the key; not null.
  explicit SymbolicExprRef(const SymbolicExpr* aExpr) : expr(aExpr) {}
  /// The node that was given.
  const SymbolicExpr* get() const { return expr; }

 private:
  const SymbolicExpr* expr;
};

/// The node's own hash (`SymbolicExpr::getHash`).
KS_API std::size_t hash_value(const SymbolicExprRef& aRef);

/// Whether the probe's `operator==` accepts the stored node.
KS_API bool operator==(const SymbolicExprRef& aProbe, const SymbolicExprRef& aStored);

/// Owns every node and hands out dense ids: the first node is 0, the next 1. Structurally equal
/// expressions are one node. A table only grows, so an id keeps its meaning as long as the table
/// lives. Interning costs one hash and one expected constant-time search. Used by one thread at a
/// time.
///
///     SymbolicExprTable table;
///     SymbolicString a(table, "a");
///     SymbolicExprId sum = SymbolicPlusExpr(table, a, a).getId(table);
class KS_API SymbolicExprTable {
 public:
  /// An empty table; its boolean ids are the invalid id.
  SymbolicExprTable();
  /// Deletes every node, in id order.
  ~SymbolicExprTable();
  SymbolicExprTable(const SymbolicExprTable&) = delete;
  SymbolicExprTable& operator=(const SymbolicExprTable&) = delete;

  /// Takes ownership of a heap node and gives it the next id. An equal node that is already stored
  /// keeps answering `lookup`. Throws `std::invalid_argument` for null, and `std::length_error`
  /// beyond 4,294,967,295 nodes, as the node constructors do.
  void add(const SymbolicExpr* aExpr);

  /// The id of the stored node that equals the probe, or the invalid id (also for null).
  SymbolicExprId lookup(const SymbolicExpr* aProbe) const;

  /// Whether a node that equals the probe is stored.
  bool contains(const SymbolicExpr* aProbe) const;

  /// The node with that id. Throws `std::out_of_range` for an id that is not in the table.
  const SymbolicExpr* get(SymbolicExprId aId) const {
    if (aId >= nodes.size()) failUnknownId(aId);
    return nodes[aId];
  }

  /// The id of the symbol "true", or the invalid id before `addBoolSymbols`.
  SymbolicExprId getIdTRUE() const { return idTRUE; }
  /// The id of the symbol "false", or the invalid id before `addBoolSymbols`.
  SymbolicExprId getIdFALSE() const { return idFALSE; }

  /// Interns the symbols "false" and "true", in this order, and records their ids.
  void addBoolSymbols();

  /// Records the expression that gives the symbol its value; the symbol is interned if it is new.
  /// The first registration of a name stays.
  void registerValueId(const std::string& aName, SymbolicExprId aValueId);

  /// The value registered for a symbol's id, or the invalid id.
  SymbolicExprId getValueId(SymbolicExprId aSymbolId) const;

  /// The number of nodes; ids run from 0 to `size() - 1`.
  std::size_t size() const { return nodes.size(); }

 private:
  friend struct detail::Intern;
  friend struct detail::Digests;

  // Whether a stored node equals a probe with that hash. Whole hashes are compared before nodes:
  // the equality of doubles is tolerant and must not decide between values that hash apart.
  bool isEqual(const SymbolicExpr& aProbe, std::size_t aHash, SymbolicExprId aId) const;

  // Sees to it that `append` cannot fail: throws, and changes nothing, where one more node is too
  // many. Returns whether places in the index have changed.
  bool makeRoom() {
    if (nodes.size() >= detail::NodeDigest::none) failFull();
    nodes.makeRoom();
    digests.makeRoom();
    return index.makeRoom();
  }
  [[noreturn]] static void failFull();
  // Gives a node the next id.
  void append(const SymbolicExpr* aNode, const detail::NodeDigest& aDigest) {
    nodes.append(aNode);
    digests.append(aDigest);
  }

  [[noreturn]] void failUnknownId(SymbolicExprId aId) const;
  detail::NodeArena arena;
  detail::NodeIndex index;  // of the first of equal nodes
  detail::BlockArray<const SymbolicExpr*> nodes;
  detail::BlockArray<detail::NodeDigest> digests;  // one per node
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> valueIds;
  SymbolicExprId idTRUE = invalidSymbolicExprId;
  SymbolicExprId idFALSE = invalidSymbolicExprId;
  // What the last node constructor interned or found: internal builders read the id from here
  // instead of searching a second time.
  SymbolicExprId lastInterned = invalidSymbolicExprId;
};

}  // namespace KS
