// From operator codes to rules, and from rules on scalars to operations on values.
#pragma once

#include <cassert>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Kinds.hpp"
#include "eval/Eval.hpp"
#include "eval/detail/Failures.hpp"
#include "eval/detail/ScalarRules.hpp"
#include "host/KSPlatform.hpp"

namespace KS::Eval::detail {

using KS::detail::isList;
using KS::detail::isLiteral;
using KS::detail::isOpaque;
inline bool isUnary(SymbolicOp aOp) { return KS::detail::isUnaryOperator(aOp); }

static_assert(KS::detail::numKinds == 32, "a new kind: what is its value?");

/// The value of a literal of kind `aOp`.
inline Scalar literal(SymbolicOp aOp, const SymbolicExpr& aExpr) {
  if (aOp == SymbolicOp::IntValue) return static_cast<const SymbolicIntValue&>(aExpr).getValue();
  return static_cast<const SymbolicDoubleValue&>(aExpr).getValue();
}

/// Calls `aBinary` or `aUnary` with the rule of an operator, or `aOther` for another kind.
template <class Binary, class Unary, class Other>
KS_ALWAYS_INLINE inline auto withRule(SymbolicOp aOp, const Binary& aBinary, const Unary& aUnary,
                                      const Other& aOther) {
  switch (aOp) {
    case SymbolicOp::Plus: return aBinary(Plus{});
    case SymbolicOp::Minus: return aBinary(Minus{});
    case SymbolicOp::UnaryMinus: return aUnary(UnaryMinus{});
    case SymbolicOp::Multiply: return aBinary(Times{});
    case SymbolicOp::Divide: return aBinary(Divide{});
    case SymbolicOp::Modulo: return aBinary(Modulo{});
    case SymbolicOp::Equal: return aBinary(Equals{});
    case SymbolicOp::NotEqual: return aBinary(NotEquals{});
    case SymbolicOp::LessThan: return aBinary(LessThan{});
    case SymbolicOp::LessThanEqual: return aBinary(LessThanEqual{});
    case SymbolicOp::GreaterThan: return aBinary(GreaterThan{});
    case SymbolicOp::GreaterThanEqual: return aBinary(GreaterThanEqual{});
    case SymbolicOp::And: return aBinary(And{});
    case SymbolicOp::Or: return aBinary(Or{});
    case SymbolicOp::Not: return aUnary(Not{});
    case SymbolicOp::BitAnd: return aBinary(BitAnd{});
    case SymbolicOp::BitOr: return aBinary(BitOr{});
    case SymbolicOp::BitXOr: return aBinary(BitXor{});
    case SymbolicOp::BitCompl: return aUnary(BitCompl{});
    case SymbolicOp::ShiftLeft: return aBinary(ShiftLeft{});
    case SymbolicOp::ShiftRight: return aBinary(ShiftRight{});
    default: return aOther();
  }
}

/// Stands for the result of what is no operator.
template <class Result>
Result noOperator() {
  assert(false);
  return 0;
}

/// The shape of a binary operation: how its rule meets vectors.
template <class Rule>
Value elementwise(const Value& aLeft, const Value& aRight, Rule aRule) {
  const bool leftIsVector = aLeft.tag() == Value::Vector;
  const bool rightIsVector = aRight.tag() == Value::Vector;
  if (!leftIsVector && !rightIsVector) return Value(Scalar(aRule(aLeft.scalar(), aRight.scalar())));
  std::vector<Scalar> results;
  if (!rightIsVector) {
    results.reserve(aLeft.vector().size());
    for (const Scalar& left : aLeft.vector()) results.push_back(aRule(left, aRight.scalar()));
    return results;
  }
  const std::vector<Scalar>& rights = aRight.vector();
  results.reserve(rights.size());
  if (!leftIsVector) {
    for (const Scalar& right : rights) results.push_back(aRule(aLeft.scalar(), right));
    return results;
  }
  const std::vector<Scalar>& lefts = aLeft.vector();
  if (lefts.size() != rights.size()) failOnLengths(lefts.size(), rights.size());
  for (std::size_t i = 0; i < lefts.size(); ++i) results.push_back(aRule(lefts[i], rights[i]));
  return results;
}

/// The shape of a unary operation.
template <class Rule>
Value elementwise(const Value& aValue, Rule aRule) {
  if (aValue.tag() == Value::Single) return Value(Scalar(aRule(aValue.scalar())));
  std::vector<Scalar> results;
  results.reserve(aValue.vector().size());
  for (const Scalar& element : aValue.vector()) results.push_back(aRule(element));
  return results;
}

/// Adds the next element of a dimension list.
inline void appendElement(Value& aList, const Value& aElement) {
  if (aElement.tag() == Value::Vector) failOnListInList(aList.vector().size() + 1);
  aList.vector().push_back(aElement.scalar());
}

/// The result of an operator. A unary one takes the right operand and no notice of the left.
inline Scalar apply(SymbolicOp aOp, const Scalar& aLeft, const Scalar& aRight) {
  return withRule(
      aOp, [&](auto rule) { return Scalar(rule(aLeft, aRight)); },
      [&](auto rule) { return Scalar(rule(aRight)); }, noOperator<Scalar>);
}
inline Value apply(SymbolicOp aOp, const Value& aLeft, const Value& aRight) {
  return withRule(
      aOp, [&](auto rule) { return elementwise(aLeft, aRight, rule); },
      [&](auto rule) { return elementwise(aRight, rule); }, noOperator<Value>);
}

}  // namespace KS::Eval::detail
