#include "xform/SymbolicExprFactorDivision.hpp"

#include "base/detail/Intern.hpp"
#include "base/detail/Walk.hpp"

namespace KS {

using detail::intern;

SymbolicExprId SymbolicExprFactorDivision::factorDivision(SymbolicExprId aId) const {
  SymbolicExprFactorDivisionVisitor visitor(*table);
  return detail::Rebuild::run(*table, aId, visitor);
}

/// An operand; the denominator is the invalid id if it is not a division.
struct SymbolicExprFactorDivisionVisitor::Fraction {
  SymbolicExprId numerator;
  SymbolicExprId denominator;
  bool isDivision() const { return denominator != invalidSymbolicExprId; }
};

SymbolicExprFactorDivisionVisitor::SymbolicExprFactorDivisionVisitor(SymbolicExprTable& aTable)
    : SymbolicExprXFormVisitor(aTable) {}
SymbolicExprFactorDivisionVisitor::~SymbolicExprFactorDivisionVisitor() = default;

SymbolicExprFactorDivisionVisitor::Fraction SymbolicExprFactorDivisionVisitor::popFraction() {
  const SymbolicExprId id = pop();
  const SymbolicExpr& node = *result().get(id);
  if (node.getKind() != static_cast<int>(SymbolicOp::Divide)) return {id, invalidSymbolicExprId};
  return {node.getInput(0), node.getInput(1)};
}

SymbolicExprId SymbolicExprFactorDivisionVisitor::times(SymbolicExprId aLeft,
                                                        SymbolicExprId aRight) const {
  return intern<SymbolicMultiplyExpr>(result(), aLeft, aRight);
}

void SymbolicExprFactorDivisionVisitor::pushQuotient(SymbolicExprId aNumerator,
                                                     SymbolicExprId aDenominator) {
  push(intern<SymbolicDivideExpr>(result(), aNumerator, aDenominator));
}

// In what follows the operands are L and R, or ln / ld and rn / rd where they are divisions. The
// order of the products is part of the result, since x * y and y * x are different nodes.

void SymbolicExprFactorDivisionVisitor::factorDivision(
    const std::function<SymbolicExprId(SymbolicExprId, SymbolicExprId)>& make) {
  if (!make) throw std::bad_function_call();  // before anything is taken or interned
  const Fraction right = popFraction();
  const Fraction left = popFraction();
  if (!left.isDivision() && !right.isDivision()) {
    // make(L, R)
    push(make(left.numerator, right.numerator));
  } else if (!right.isDivision()) {
    // make(ln, R * ld) / ld
    const SymbolicExprId scaled = times(right.numerator, left.denominator);
    pushQuotient(make(left.numerator, scaled), left.denominator);
  } else if (!left.isDivision()) {
    // make(L * rd, rn) / rd
    const SymbolicExprId scaled = times(left.numerator, right.denominator);
    pushQuotient(make(scaled, right.numerator), right.denominator);
  } else {
    // make(ln * rd, rn * ld) / (ld * rd)
    const SymbolicExprId scaledLeft = times(left.numerator, right.denominator);
    const SymbolicExprId scaledRight = times(right.numerator, left.denominator);
    const SymbolicExprId numerator = make(scaledLeft, scaledRight);
    pushQuotient(numerator, times(left.denominator, right.denominator));
  }
}

void SymbolicExprFactorDivisionVisitor::visit(const SymbolicPlusExpr&) {
  factorDivision([this](SymbolicExprId a, SymbolicExprId b) {
    return intern<SymbolicPlusExpr>(result(), a, b);
  });
}

void SymbolicExprFactorDivisionVisitor::visit(const SymbolicMinusExpr&) {
  factorDivision([this](SymbolicExprId a, SymbolicExprId b) {
    return intern<SymbolicMinusExpr>(result(), a, b);
  });
}

void SymbolicExprFactorDivisionVisitor::visit(const SymbolicModuloExpr&) {
  factorDivision([this](SymbolicExprId a, SymbolicExprId b) {
    return intern<SymbolicModuloExpr>(result(), a, b);
  });
}

void SymbolicExprFactorDivisionVisitor::visit(const SymbolicMultiplyExpr&) {
  const Fraction right = popFraction();
  const Fraction left = popFraction();
  // L * R, (ln * R) / ld, (L * rn) / rd, (ln * rn) / (ld * rd)
  const SymbolicExprId product = times(left.numerator, right.numerator);
  if (!left.isDivision() && !right.isDivision()) {
    push(product);
  } else if (!right.isDivision()) {
    pushQuotient(product, left.denominator);
  } else if (!left.isDivision()) {
    pushQuotient(product, right.denominator);
  } else {
    pushQuotient(product, times(left.denominator, right.denominator));
  }
}

void SymbolicExprFactorDivisionVisitor::visit(const SymbolicDivideExpr&) {
  const Fraction right = popFraction();
  const Fraction left = popFraction();
  if (!left.isDivision() && !right.isDivision()) {
    // L / R
    pushQuotient(left.numerator, right.numerator);
  } else if (!right.isDivision()) {
    // ln / (ld * R)
    pushQuotient(left.numerator, times(left.denominator, right.numerator));
  } else if (!left.isDivision()) {
    // (L * rd) / rn
    pushQuotient(times(left.numerator, right.denominator), right.numerator);
  } else {
    // (ln * rd) / (ld * rn)
    const SymbolicExprId numerator = times(left.numerator, right.denominator);
    pushQuotient(numerator, times(left.denominator, right.numerator));
  }
}

}  // namespace KS
