// Relations and logical negation.
#include <utility>

#include "simplify/detail/Pattern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

using namespace detail;

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

}  // namespace

// Interns a relation that stands as its canonical orientation has it and does not fold.
SymbolicExprId SymbolicExprSimplifyVisitor::makeRelation(const Relation& aRelation) const {
  const SymbolicExprId made = internRelation(aRelation);
  if (isFixed(aRelation.left) && isFixed(aRelation.right)) Digests::setSimplified(table(), made);
  return made;
}

SymbolicExprId SymbolicExprSimplifyVisitor::internRelation(const Relation& aRelation) const {
  SymbolicExprTable& t = table();
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

// An integer ends on the right, a member stays there, and other operands stand in text order.
SymbolicExprSimplifyVisitor::Relation SymbolicExprSimplifyVisitor::orient(
    const Relation& aRelation) const {
  const SymbolicOp left = kindOf(aRelation.left);
  const SymbolicOp right = kindOf(aRelation.right);
  const bool mirrored = left == SymbolicOp::IntValue && right != SymbolicOp::IntValue
                            ? true
                            : right != SymbolicOp::IntValue && right != SymbolicOp::MemberValue &&
                                  compareExprs(aRelation.left, aRelation.right) > 0;
  return mirrored ? Relation{mirror(aRelation.op), aRelation.right, aRelation.left} : aRelation;
}

std::optional<SymbolicExprSimplifyVisitor::Relation> SymbolicExprSimplifyVisitor::relation(
    SymbolicExprId aId) const {
  const NodeDigest node = digest(aId);
  const auto op = static_cast<SymbolicOp>(node.kind);
  if (!isRelation(op)) return std::nullopt;
  const Relation given{op, node.first, node.second};
  // What is known to be simplified stands in its orientation already.
  return node.isSimplified ? given : orient(given);
}

SymbolicExprId SymbolicExprSimplifyVisitor::normalizeRelOp(SymbolicExprId aId) const {
  SymbolicExprTable& t = table();
  const NodeDigest node = digest(aId);
  const auto op = static_cast<SymbolicOp>(node.kind);
  if (node.isSimplified) return aId;
  if (isRelation(op)) {
    const Relation given{op, node.first, node.second};
    const Relation oriented = orient(given);
    return oriented.left == given.left ? aId : internRelation(oriented);
  }
  SymbolicExprId a = invalidSymbolicExprId, b = invalidSymbolicExprId;
  // !(a == b) -> a != b
  if (logicalNot(equal(any(a), any(b))).match(t, aId)) return NotEqual{t, a, b};
  return aId;
}

// An integer's value, and 1 and 0 for the boolean symbols.
std::optional<int> SymbolicExprSimplifyVisitor::integerOrBool(SymbolicExprId aId) const {
  if (aId == constant(true)) return 1;
  if (aId == constant(false)) return 0;
  int value = 0;
  if (intVal(value).match(table(), aId)) return value;
  return std::nullopt;
}

// Real literals are never folded: evaluation compares them with a tolerance.
std::optional<bool> SymbolicExprSimplifyVisitor::foldRelation(const Relation& aRelation) const {
  // x == x, x <= x, x >= x -> TRUE; x != x, x < x, x > x -> FALSE
  if (aRelation.left == aRelation.right) return holds(aRelation.op, 0, 0);
  // c op d, with true for 1 and false for 0 -> TRUE or FALSE
  const std::optional<int> left = integerOrBool(aRelation.left);
  const std::optional<int> right = integerOrBool(aRelation.right);
  if (left && right) return holds(aRelation.op, *left, *right);
  return std::nullopt;
}

// Folds first or orients first, which gives the same: folding knows no orientation.
SymbolicExprId SymbolicExprSimplifyVisitor::simplifyRelation(const Relation& aRelation) const {
  const std::optional<bool> folded = foldRelation(aRelation);
  return folded ? constant(*folded) : makeRelation(orient(aRelation));
}

void SymbolicExprSimplifyVisitor::visitRelation(SymbolicOp aOp) {
  const SymbolicExprId R = pop();
  push(simplifyRelation({aOp, pop(), R}));
}

void SymbolicExprSimplifyVisitor::visit(const SymbolicEqualExpr&) {
  visitRelation(SymbolicOp::Equal);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicNotEqualExpr&) {
  visitRelation(SymbolicOp::NotEqual);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicLessThanExpr&) {
  visitRelation(SymbolicOp::LessThan);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicLessThanEqualExpr&) {
  visitRelation(SymbolicOp::LessThanEqual);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicGreaterThanExpr&) {
  visitRelation(SymbolicOp::GreaterThan);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicGreaterThanEqualExpr&) {
  visitRelation(SymbolicOp::GreaterThanEqual);
}

SymbolicExprId SymbolicExprSimplifyVisitor::simplifyNot(SymbolicExprId X) {
  SymbolicExprTable& t = table();
  SymbolicExprId a = invalidSymbolicExprId, b = invalidSymbolicExprId;
  int c = 0;
  // !true -> FALSE, !false -> TRUE
  if (X == constant(true)) return constant(false);
  if (X == constant(false)) return constant(true);
  // !c -> FALSE for c other than 0, else TRUE
  if (intVal(c).match(t, X)) return constant(c == 0);
  // !(a == b) -> a != b
  if (equal(any(a), any(b)).match(t, X)) return NotEqual{t, a, b};
  // !(a != b) -> a == b
  if (notEqual(any(a), any(b)).match(t, X)) return Equal{t, a, b};
  // !!y -> y
  if (logicalNot(any(a)).match(t, X)) return a;
  // The ordering relations stay under their negation: with NaN, !(a < b) is not a >= b.
  const SymbolicExprId negation = Not{t, X};
  if (isFixed(X)) Digests::setSimplified(t, negation);
  return negation;
}

void SymbolicExprSimplifyVisitor::visit(const SymbolicNotExpr&) { push(simplifyNot(pop())); }

}  // namespace KS
