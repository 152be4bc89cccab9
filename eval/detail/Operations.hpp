// From operator codes to rules, and from rules on scalars to operations on values.
#pragma once

#include <cassert>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "eval/Eval.hpp"
#include "eval/SymbolicExprEvalError.hpp"
#include "eval/detail/ScalarRules.hpp"

namespace KS::Eval::detail {

/// Whether the kind is an integer or a real literal.
inline bool isLiteral(SymbolicOp aOp) {
  return aOp == SymbolicOp::IntValue || aOp == SymbolicOp::DoubleValue;
}

/// Whether the kind is an operator with one operand.
inline bool isUnary(SymbolicOp aOp) {
  return aOp == SymbolicOp::UnaryMinus || aOp == SymbolicOp::Not || aOp == SymbolicOp::BitCompl;
}

/// Whether the kind is a dimension list.
inline bool isList(SymbolicOp aOp) { return aOp >= SymbolicOp::_2D && aOp <= SymbolicOp::ND; }

/// Whether the kind is a call or a member access, which have no value.
inline bool isOpaque(SymbolicOp aOp) { return aOp >= SymbolicOp::FcnCall0U; }

/// The value of a literal of kind `aOp`.
inline Scalar literal(SymbolicOp aOp, const SymbolicExpr& aExpr) {
  if (aOp == SymbolicOp::IntValue) return static_cast<const SymbolicIntValue&>(aExpr).getValue();
  return static_cast<const SymbolicDoubleValue&>(aExpr).getValue();
}

/// Calls `aUse` with the rule of a binary operator.
template <class Use>
auto withBinaryRule(SymbolicOp aOp, Use aUse) {
  switch (aOp) {
    case SymbolicOp::Plus: return aUse(Plus{});
    case SymbolicOp::Minus: return aUse(Minus{});
    case SymbolicOp::Multiply: return aUse(Times{});
    case SymbolicOp::Divide: return aUse(Divide{});
    case SymbolicOp::Modulo: return aUse(Modulo{});
    case SymbolicOp::Equal: return aUse(Equals{});
    case SymbolicOp::NotEqual: return aUse(NotEquals{});
    case SymbolicOp::LessThan: return aUse(LessThan{});
    case SymbolicOp::LessThanEqual: return aUse(LessThanEqual{});
    case SymbolicOp::GreaterThan: return aUse(GreaterThan{});
    case SymbolicOp::GreaterThanEqual: return aUse(GreaterThanEqual{});
    case SymbolicOp::And: return aUse(And{});
    case SymbolicOp::Or: return aUse(Or{});
    case SymbolicOp::BitAnd: return aUse(BitAnd{});
    case SymbolicOp::BitOr: return aUse(BitOr{});
    case SymbolicOp::BitXOr: return aUse(BitXor{});
    case SymbolicOp::ShiftLeft: return aUse(ShiftLeft{});
    default: assert(aOp == SymbolicOp::ShiftRight); return aUse(ShiftRight{});
  }
}

/// Calls `aUse` with the rule of a unary operator.
template <class Use>
auto withUnaryRule(SymbolicOp aOp, Use aUse) {
  switch (aOp) {
    case SymbolicOp::UnaryMinus: return aUse(UnaryMinus{});
    case SymbolicOp::Not: return aUse(Not{});
    default: assert(aOp == SymbolicOp::BitCompl); return aUse(BitCompl{});
  }
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
  if (lefts.size() != rights.size()) {
    throw SymbolicExprEvalError("operands of different lengths: a vector of " +
                                std::to_string(lefts.size()) + " and a vector of " +
                                std::to_string(rights.size()) + " elements");
  }
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
  if (aElement.tag() == Value::Vector) {
    throw SymbolicExprEvalError("a list inside a list: element " +
                                std::to_string(aList.vector().size() + 1) +
                                " of the outer one is a list");
  }
  aList.vector().push_back(aElement.scalar());
}

/// The result of a binary operator.
inline Scalar apply(SymbolicOp aOp, const Scalar& aLeft, const Scalar& aRight) {
  return withBinaryRule(aOp, [&](auto rule) { return Scalar(rule(aLeft, aRight)); });
}
inline Value apply(SymbolicOp aOp, const Value& aLeft, const Value& aRight) {
  return withBinaryRule(aOp, [&](auto rule) { return elementwise(aLeft, aRight, rule); });
}

/// The result of a unary operator.
inline Scalar apply(SymbolicOp aOp, const Scalar& aValue) {
  return withUnaryRule(aOp, [&](auto rule) { return Scalar(rule(aValue)); });
}
inline Value apply(SymbolicOp aOp, const Value& aValue) {
  return withUnaryRule(aOp, [&](auto rule) { return elementwise(aValue, rule); });
}

}  // namespace KS::Eval::detail
