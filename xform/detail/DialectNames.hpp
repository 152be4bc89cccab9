// The functions of M syntax that are operators in C syntax, for both directions of the conversion.
#pragma once

#include <array>
#include <optional>

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicOp.hpp"

namespace KS::detail {

/// A function of M syntax and the operator of C syntax that means the same on the same operands.
struct DialectName {
  const char* name;
  SymbolicOp op;
};

/// In the order in which the names are interned. "bitshift" also stands for a shift right, by a
/// negative count.
inline constexpr std::array<DialectName, 7> dialectNames = {{
    {"idivide", SymbolicOp::Divide},
    {"rem", SymbolicOp::Modulo},
    {"bitand", SymbolicOp::BitAnd},
    {"bitor", SymbolicOp::BitOr},
    {"bitxor", SymbolicOp::BitXOr},
    {"bitcmp", SymbolicOp::BitCompl},
    {"bitshift", SymbolicOp::ShiftLeft},
}};

/// The names' ids in one table, in the same order: functions are compared by id, never by text.
using DialectNameIds = std::array<SymbolicExprId, dialectNames.size()>;

/// Interns the names.
DialectNameIds internDialectNames(SymbolicExprTable& aTable);
/// The operator that a function stands for, or nothing.
std::optional<SymbolicOp> dialectOperator(const DialectNameIds& aIds, SymbolicExprId aName);
/// The function that stands for an operator of the table above.
SymbolicExprId dialectFunction(const DialectNameIds& aIds, SymbolicOp aOp);

/// A shift count taken apart.
struct ShiftCount {
  /// The operand of a negation, or the count itself.
  SymbolicExprId operand;
  bool isNegated;
  /// The number, if the operand is an integer: negated if the count is, wrapping at 32 bits.
  std::optional<int> number;
};
ShiftCount shiftCount(const SymbolicExprTable& aTable, SymbolicExprId aShift);

/// The negation, wrapping at 32 bits: the smallest integer is its own.
constexpr int wrapNegate(int aValue) {
  return static_cast<int>(0U - static_cast<unsigned>(aValue));
}

}  // namespace KS::detail
