// What the library's own code asks of a node.
#pragma once

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Digest.hpp"
#include "base/detail/Kinds.hpp"

namespace KS::detail {

/// A node as most walks and rules see it: its kind, the inputs of an operator, the value of an
/// integer. Looks at the table's digest of the node, so it neither follows the node's pointer nor
/// calls its virtual functions. Lives no longer than the table; digests stay in place as it grows.
class NodeView {
 public:
  NodeView(const SymbolicExprTable& aTable, SymbolicExprId aId)
      : NodeView(Digests::of(aTable), aId) {}
  /// The same for one who reads many nodes of a table.
  NodeView(const BlockArray<NodeDigest>& aDigests, SymbolicExprId aId) : digest(aDigests[aId]) {}

  SymbolicOp kind() const { return static_cast<SymbolicOp>(digest.kind); }
  bool is(SymbolicOp aKind) const { return kind() == aKind; }
  bool isLeaf() const { return detail::isLeaf(kind()); }
  bool isRelation() const { return detail::isRelation(kind()); }
  bool isConnective() const { return detail::isConnective(kind()); }

  /// The first input of an operator; of a unary one the only one.
  SymbolicExprId left() const { return digest.first; }
  /// The second input of a binary operator.
  SymbolicExprId right() const { return digest.second; }
  /// The value of an integer literal, or the integer that is the value of a symbol.
  int intValue() const { return static_cast<int>(digest.second); }
  /// The id that is registered for a symbol; one beyond all tables where none is.
  SymbolicExprId valueId() const { return digest.first; }
  /// Whether this is an integer literal, or a symbol for which one is registered.
  bool hasIntValue() const { return digest.isInt; }

 private:
  const NodeDigest& digest;
};

}  // namespace KS::detail
