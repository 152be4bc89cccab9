#include "xform/SymbolicExprM2C.hpp"

#include "base/detail/Intern.hpp"
#include "base/detail/Walk.hpp"
#include "xform/detail/DialectNames.hpp"

namespace KS {

using detail::intern;

SymbolicExprId SymbolicExprM2C::operator()(SymbolicExprId aId) const {
  table->get(aId);  // an unknown id leaves no function names behind
  SymbolicExprM2CVisitor visitor(*table);
  return detail::Rebuild::run(*table, aId, visitor);
}

SymbolicExprM2CVisitor::SymbolicExprM2CVisitor(SymbolicExprTable& aTable)
    : SymbolicExprXFormVisitor(aTable), names(detail::internDialectNames(aTable)) {}
SymbolicExprM2CVisitor::~SymbolicExprM2CVisitor() = default;

void SymbolicExprM2CVisitor::visit(const SymbolicFcnCall1UExpr&) {
  const SymbolicExprId argument = pop();
  const SymbolicExprId name = pop();
  if (detail::dialectOperator(names, name) == SymbolicOp::BitCompl) {
    push(intern<SymbolicBitComplExpr>(result(), argument));
  } else {
    push(intern<SymbolicFcnCall1UExpr>(result(), name, argument));
  }
}

void SymbolicExprM2CVisitor::visit(const SymbolicFcnCall2UExpr&) {
  const SymbolicExprId second = pop();
  const SymbolicExprId first = pop();
  const SymbolicExprId name = pop();
  // BitCompl takes one operand: "bitcmp" of two arguments is some other function.
  switch (detail::dialectOperator(names, name).value_or(SymbolicOp::BitCompl)) {
    case SymbolicOp::Divide: return push(intern<SymbolicDivideExpr>(result(), first, second));
    case SymbolicOp::Modulo: return push(intern<SymbolicModuloExpr>(result(), first, second));
    case SymbolicOp::BitAnd: return push(intern<SymbolicBitAndExpr>(result(), first, second));
    case SymbolicOp::BitOr: return push(intern<SymbolicBitOrExpr>(result(), first, second));
    case SymbolicOp::BitXOr: return push(intern<SymbolicBitXOrExpr>(result(), first, second));
    case SymbolicOp::ShiftLeft: return handleShift(first, second);
    default: return push(intern<SymbolicFcnCall2UExpr>(result(), name, first, second));
  }
}

void SymbolicExprM2CVisitor::handleShift(SymbolicExprId aValue, SymbolicExprId aShift) {
  const detail::ShiftCount shift = detail::shiftCount(result(), aShift);
  bool toRight = shift.isNegated;
  SymbolicExprId count = shift.operand;
  if (shift.number) {
    toRight = *shift.number < 0;
    count = intern<SymbolicIntValue>(result(),
                                     toRight ? detail::wrapNegate(*shift.number) : *shift.number);
  }
  push(toRight ? intern<SymbolicShiftRightExpr>(result(), aValue, count)
               : intern<SymbolicShiftLeftExpr>(result(), aValue, count));
}

}  // namespace KS
