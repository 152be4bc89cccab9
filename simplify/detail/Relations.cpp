#include "simplify/detail/Relations.hpp"

#include "simplify/detail/Pattern.hpp"

namespace KS::detail {

namespace {

// The relation with its operands exchanged.
SymbolicOp mirror(SymbolicOp aOp) {
  switch (aOp) {
    case SymbolicOp::LessThan: return SymbolicOp::GreaterThan;
    case SymbolicOp::LessThanEqual: return SymbolicOp::GreaterThanEqual;
    case SymbolicOp::GreaterThan: return SymbolicOp::LessThan;
    case SymbolicOp::GreaterThanEqual: return SymbolicOp::LessThanEqual;
    default: return aOp;
  }
}

bool holds(SymbolicOp aOp, int a, int b) {
  switch (aOp) {
    case SymbolicOp::Equal: return a == b;
    case SymbolicOp::NotEqual: return a != b;
    case SymbolicOp::LessThan: return a < b;
    case SymbolicOp::LessThanEqual: return a <= b;
    case SymbolicOp::GreaterThan: return a > b;
    default: return a >= b;
  }
}

SymbolicExprId internRelation(SymbolicExprTable& t, const Relation& aRelation) {
  const SymbolicExprId l = aRelation.left, r = aRelation.right;
  switch (aRelation.op) {
    case SymbolicOp::Equal: return intern<SymbolicEqualExpr>(t, l, r);
    case SymbolicOp::NotEqual: return intern<SymbolicNotEqualExpr>(t, l, r);
    case SymbolicOp::LessThan: return intern<SymbolicLessThanExpr>(t, l, r);
    case SymbolicOp::LessThanEqual: return intern<SymbolicLessThanEqualExpr>(t, l, r);
    case SymbolicOp::GreaterThan: return intern<SymbolicGreaterThanExpr>(t, l, r);
    default: return intern<SymbolicGreaterThanEqualExpr>(t, l, r);
  }
}

// c < x -> x > c; x < s.m stays; b < a -> a > b, where a's text stands first; and so on for all
// relations, == and != keeping their operator.
Relation orient(SimplifyContext& c, const Relation& aRelation) {
  const SymbolicOp left = c.node(aRelation.left).kind();
  const SymbolicOp right = c.node(aRelation.right).kind();
  const bool isMirrored = left == SymbolicOp::IntValue && right != SymbolicOp::IntValue
                              ? true
                              : right != SymbolicOp::IntValue && right != SymbolicOp::MemberValue &&
                                    c.order.compare(aRelation.left, aRelation.right) > 0;
  return isMirrored ? Relation{mirror(aRelation.op), aRelation.right, aRelation.left} : aRelation;
}

// An integer's value, and 1 and 0 for the boolean symbols.
std::optional<int> integerOrBool(const SimplifyContext& c, SymbolicExprId aId) {
  if (aId == c.constant(true)) return 1;
  if (aId == c.constant(false)) return 0;
  const NodeView node = c.node(aId);
  return node.is(SymbolicOp::IntValue) ? std::optional(node.intValue()) : std::nullopt;
}

// Real literals are never folded: evaluation compares them with a tolerance.
std::optional<bool> foldRelation(const SimplifyContext& c, const Relation& aRelation) {
  // x == x, x <= x, x >= x -> TRUE; x != x, x < x, x > x -> FALSE
  if (aRelation.left == aRelation.right) return holds(aRelation.op, 0, 0);
  // c op d, with true for 1 and false for 0 -> TRUE or FALSE
  const std::optional<int> left = integerOrBool(c, aRelation.left);
  const std::optional<int> right = integerOrBool(c, aRelation.right);
  if (left && right) return holds(aRelation.op, *left, *right);
  return std::nullopt;
}

}  // namespace

SymbolicOp counterRelation(SymbolicOp aOp) {
  switch (aOp) {
    case SymbolicOp::Equal: return SymbolicOp::NotEqual;
    case SymbolicOp::NotEqual: return SymbolicOp::Equal;
    case SymbolicOp::LessThan: return SymbolicOp::GreaterThanEqual;
    case SymbolicOp::LessThanEqual: return SymbolicOp::GreaterThan;
    case SymbolicOp::GreaterThan: return SymbolicOp::LessThanEqual;
    default: return SymbolicOp::LessThan;
  }
}

std::optional<Relation> relationOf(SimplifyContext& c, SymbolicExprId aId) {
  const NodeView node = c.node(aId);
  if (!node.isRelation()) return std::nullopt;
  const Relation given{node.kind(), node.left(), node.right()};
  // What is final stands in its orientation already.
  return c.finals.contains(aId) ? given : orient(c, given);
}

SymbolicExprId normalizeAnyRelOp(SimplifyContext& c, SymbolicExprId aId) {
  const NodeView node = c.node(aId);
  if (node.isRelation()) {
    const Relation given{node.kind(), node.left(), node.right()};
    const Relation oriented = orient(c, given);
    return oriented.left == given.left ? aId : internRelation(c.table, oriented);
  }
  SymbolicExprId a = invalidSymbolicExprId, b = invalidSymbolicExprId;
  // !(a == b) -> a != b
  if (is(c.table, aId, logicalNot(equal(any(a), any(b))))) return NotEqual{c.table, a, b};
  return aId;
}

SymbolicExprId makeRelation(SimplifyContext& c, const Relation& aRelation) {
  const SymbolicExprId made = internRelation(c.table, aRelation);
  c.finals.addOperation(made);
  return made;
}

// Folds first or orients first, which gives the same: folding knows no orientation.
SymbolicExprId simplifyRelation(SimplifyContext& c, const Relation& aRelation) {
  const std::optional<bool> folded = foldRelation(c, aRelation);
  return folded ? c.constant(*folded) : makeRelation(c, orient(c, aRelation));
}

SymbolicExprId simplifyNot(SimplifyContext& c, SymbolicExprId X) {
  SymbolicExprTable& t = c.table;
  SymbolicExprId a = invalidSymbolicExprId, b = invalidSymbolicExprId;
  int n = 0;
  // !true -> FALSE, !false -> TRUE
  if (X == c.constant(true)) return c.constant(false);
  if (X == c.constant(false)) return c.constant(true);
  // !n -> FALSE for n other than 0, else TRUE
  if (is(t, X, intVal(n))) return c.constant(n == 0);
  // What is final stands in its orientation, and so does its negation.
  const auto relation = [&](SymbolicExprId aMade) {
    if (c.finals.contains(X)) c.finals.addOperation(aMade);
    return aMade;
  };
  // !(a == b) -> a != b
  if (is(t, X, equal(any(a), any(b)))) return relation(NotEqual{t, a, b});
  // !(a != b) -> a == b
  if (is(t, X, notEqual(any(a), any(b)))) return relation(Equal{t, a, b});
  // !!y -> y
  if (is(t, X, logicalNot(any(a)))) return a;
  // The ordering relations stay under their negation: with NaN, !(a < b) is not a >= b.
  const SymbolicExprId negation = Not{t, X};
  c.finals.addOperation(negation);
  return negation;
}

}  // namespace KS::detail
