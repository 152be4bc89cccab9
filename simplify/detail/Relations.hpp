// Relations and logical negation.
#pragma once

#include <optional>

#include "simplify/detail/SimplifyContext.hpp"

namespace KS::detail {

/// A relation between two expressions.
struct Relation {
  SymbolicOp op;
  SymbolicExprId left;
  SymbolicExprId right;
};

/// The relation that the node is, in its canonical orientation; nothing for other nodes.
std::optional<Relation> relationOf(SimplifyContext& c, SymbolicExprId aId);

/// The relation that holds where the other does not. (Evaluation compares with a tolerance; x < c
/// and x >= c then may both hold, so only rules stand on this that need one of the two to hold.)
SymbolicOp counterRelation(SymbolicOp aOp);

/// `normalizeRelOp` for a node that may not be final.
SymbolicExprId normalizeAnyRelOp(SimplifyContext& c, SymbolicExprId aId);
/// A relation in its canonical orientation, a negated equality as inequality, and any other id
/// unchanged.
inline SymbolicExprId normalizeRelOp(SimplifyContext& c, SymbolicExprId aId) {
  return c.finals.contains(aId) ? aId : normalizeAnyRelOp(c, aId);
}

/// The node of a relation that stands in its canonical orientation and does not fold.
SymbolicExprId makeRelation(SimplifyContext& c, const Relation& aRelation);

/// What a relation between simplified operands becomes.
SymbolicExprId simplifyRelation(SimplifyContext& c, const Relation& aRelation);

/// What the negation of a simplified operand becomes.
SymbolicExprId simplifyNot(SimplifyContext& c, SymbolicExprId X);

}  // namespace KS::detail
