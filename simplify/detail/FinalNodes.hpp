// Which nodes no rule changes.
#pragma once

#include "base/detail/Digest.hpp"
#include "base/detail/NodeView.hpp"
#include "simplify/detail/FastRoads.hpp"

namespace KS::detail {

/// Knows nodes that are final: every pass of simplification gives them back. Not every final node
/// is known; what is known stays known, in the table, so that the next simplification need not
/// look at it again. A node becomes known for one of these reasons:
/// - it is a symbol or a literal;
/// - a pass over it gave it back;
/// - it is a relation of final operands that stands in its orientation and does not fold;
/// - it is the negation of a final operand that no rule about negations matches;
/// - it is a canonical chain of final operands among which no rule applies. A conjunction that
///   holds a disjunction is not known: it was beyond the limits of distribution when it was built
///   among others, and alone it may be within them.
///
/// Saves, in instructions of the benchmark's rows: without it, simplifying conditions takes 1.8
/// times as many, net conditions 3.5 times, long ones 5.9 times, and a conjunction of 4,096 that is
/// built operand by operand 50 times. `contains` would answer for leaves alone, and results would
/// be the same; it may go when closing `FastRoad::KnownFinal` no longer shows in these rows.
class FinalNodes {
 public:
  FinalNodes(SymbolicExprTable& aTable, const FastRoads& aRoads)
      : table(aTable), digests(Digests::of(aTable)), roads(aRoads) {}

  bool contains(SymbolicExprId aId) const {
    const NodeDigest& digest = digests[aId];
    return (digest.isFinal && roads.isOpen(FastRoad::KnownFinal)) ||
           isLeaf(static_cast<SymbolicOp>(digest.kind));
  }
  /// For a node that a pass gave back.
  void addUnchanged(SymbolicExprId aId) { Digests::setFinal(table, aId); }
  /// For a relation or negation to which no rule applies.
  void addOperation(SymbolicExprId aId) {
    const NodeView node(digests, aId);
    if (contains(node.left()) && (isUnaryOperator(node.kind()) || contains(node.right()))) {
      Digests::setFinal(table, aId);
    }
  }
  /// For a chain, all of whose operands are final and no disjunctions of a conjunction.
  void addChain(SymbolicExprId aId) { Digests::setFinal(table, aId); }
  /// Whether a chain may hold the operand and be final.
  bool mayHold(SymbolicOp aChain, SymbolicExprId aOperand) const {
    return contains(aOperand) &&
           (aChain == SymbolicOp::Or || !NodeView(digests, aOperand).is(SymbolicOp::Or));
  }

 private:
  SymbolicExprTable& table;
  const BlockArray<NodeDigest>& digests;
  const FastRoads& roads;
};

}  // namespace KS::detail
