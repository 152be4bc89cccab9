#include "xform/detail/DialectNames.hpp"

#include <algorithm>
#include <cassert>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Intern.hpp"

namespace KS::detail {

DialectNameIds internDialectNames(SymbolicExprTable& aTable) {
  DialectNameIds ids{};
  std::transform(dialectNames.begin(), dialectNames.end(), ids.begin(),
                 [&](const auto& line) { return intern<SymbolicString>(aTable, line.name); });
  return ids;
}

std::optional<SymbolicOp> dialectOperator(const DialectNameIds& aIds, SymbolicExprId aName) {
  for (std::size_t i = 0; i < aIds.size(); ++i) {
    if (aIds[i] == aName) return dialectNames[i].op;
  }
  return std::nullopt;
}

SymbolicExprId dialectFunction(const DialectNameIds& aIds, SymbolicOp aOp) {
  for (std::size_t i = 0; i < aIds.size(); ++i) {
    if (dialectNames[i].op == aOp) return aIds[i];
  }
  assert(false);
  return invalidSymbolicExprId;
}

ShiftCount shiftCount(const SymbolicExprTable& aTable, SymbolicExprId aShift) {
  ShiftCount result{aShift, false, std::nullopt};
  const SymbolicExpr* node = aTable.get(aShift);
  if (node->getKind() == static_cast<int>(SymbolicOp::UnaryMinus)) {
    result.isNegated = true;
    result.operand = node->getInput(0);
    node = aTable.get(result.operand);
  }
  if (node->getKind() == static_cast<int>(SymbolicOp::IntValue)) {
    const int value = static_cast<const SymbolicIntValue*>(node)->getValue();
    result.number = result.isNegated ? wrapNegate(value) : value;
  }
  return result;
}

}  // namespace KS::detail
