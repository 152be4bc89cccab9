// What the kinds of nodes have in common, as the one list of kinds tells it.
#pragma once

#include "base/SymbolicOp.hpp"

namespace KS::detail {

/// The number of kinds. An array with an entry a kind, or a range of kinds, states beside it how
/// many kinds it knows of, so that a new one does not compile before all of them were looked at.
inline constexpr int numKinds = 0
#define KS_KIND(code, Op, Class) +1
#include "base/SymbolicExprKinds.def"
    ;

/// Whether the kind is a symbol or a literal.
constexpr bool isLeaf(SymbolicOp aKind) { return aKind <= SymbolicOp::DoubleValue; }

/// Whether the kind is an integer or a real literal.
constexpr bool isLiteral(SymbolicOp aKind) {
  return aKind == SymbolicOp::IntValue || aKind == SymbolicOp::DoubleValue;
}

/// Whether the kind is a list.
constexpr bool isList(SymbolicOp aKind) {
  return aKind >= SymbolicOp::_2D && aKind <= SymbolicOp::ND;
}

/// Whether the kind is a call or a member access, of which evaluation knows nothing.
constexpr bool isOpaque(SymbolicOp aKind) { return aKind >= SymbolicOp::FcnCall0U; }

/// Whether the kind is an operator on one operand.
constexpr bool isUnaryOperator(SymbolicOp aKind) {
  switch (aKind) {
#define KS_UNARY(code, Op, Class) case SymbolicOp::Op:
#include "base/SymbolicExprKinds.def"
    return true;
    default: return false;
  }
}

/// Whether the kind is an operator on two operands.
constexpr bool isBinaryOperator(SymbolicOp aKind) {
  switch (aKind) {
#define KS_BINARY(code, Op, Class) case SymbolicOp::Op:
#include "base/SymbolicExprKinds.def"
    return true;
    default: return false;
  }
}

/// Whether the kind is one of the six relations.
constexpr bool isRelation(SymbolicOp aKind) {
  return aKind >= SymbolicOp::Equal && aKind <= SymbolicOp::GreaterThanEqual;
}

/// Whether the kind is conjunction or disjunction.
constexpr bool isConnective(SymbolicOp aKind) {
  return aKind == SymbolicOp::And || aKind == SymbolicOp::Or;
}

static_assert(numKinds == 32,
              "a new kind: is it a leaf, a list, a call, a relation, a connective?");

}  // namespace KS::detail
