#include "xform/SymbolicExprC2M.hpp"

#include "base/detail/Intern.hpp"
#include "base/detail/Walk.hpp"
#include "xform/detail/DialectNames.hpp"

namespace KS {

using detail::intern;

SymbolicExprId SymbolicExprC2M::operator()(SymbolicExprId aId) const {
  table->get(aId);  // an unknown id leaves no function names behind
  SymbolicExprC2MVisitor visitor(*table);
  return detail::Rebuild::run(*table, aId, visitor);
}

SymbolicExprC2MVisitor::SymbolicExprC2MVisitor(SymbolicExprTable& aTable)
    : SymbolicExprXFormVisitor(aTable), names(detail::internDialectNames(aTable)) {}
SymbolicExprC2MVisitor::~SymbolicExprC2MVisitor() = default;

// Replaces the two operands on top by the call of the operator's function.
void SymbolicExprC2MVisitor::pushCall(SymbolicOp aOp) {
  const SymbolicExprId right = pop();
  const SymbolicExprId left = pop();
  push(intern<SymbolicFcnCall2UExpr>(result(), detail::dialectFunction(names, aOp), left, right));
}

void SymbolicExprC2MVisitor::visit(const SymbolicDivideExpr&) { pushCall(SymbolicOp::Divide); }
void SymbolicExprC2MVisitor::visit(const SymbolicModuloExpr&) { pushCall(SymbolicOp::Modulo); }
void SymbolicExprC2MVisitor::visit(const SymbolicBitAndExpr&) { pushCall(SymbolicOp::BitAnd); }
void SymbolicExprC2MVisitor::visit(const SymbolicBitOrExpr&) { pushCall(SymbolicOp::BitOr); }
void SymbolicExprC2MVisitor::visit(const SymbolicBitXOrExpr&) { pushCall(SymbolicOp::BitXOr); }

void SymbolicExprC2MVisitor::visit(const SymbolicBitComplExpr&) {
  const SymbolicExprId name = detail::dialectFunction(names, SymbolicOp::BitCompl);
  push(intern<SymbolicFcnCall1UExpr>(result(), name, pop()));
}

void SymbolicExprC2MVisitor::visit(const SymbolicShiftLeftExpr&) {
  const SymbolicExprId count = pop();
  const detail::ShiftCount shift = detail::shiftCount(result(), count);
  push(shift.number ? intern<SymbolicIntValue>(result(), *shift.number) : count);
  pushCall(SymbolicOp::ShiftLeft);
}

// "bitshift" counts to the left, so the count changes its sign.
void SymbolicExprC2MVisitor::visit(const SymbolicShiftRightExpr&) {
  const detail::ShiftCount shift = detail::shiftCount(result(), pop());
  if (shift.number) {
    push(intern<SymbolicIntValue>(result(), detail::wrapNegate(*shift.number)));
  } else if (shift.isNegated) {
    push(shift.operand);
  } else {
    push(intern<SymbolicUnaryMinusExpr>(result(), shift.operand));
  }
  pushCall(SymbolicOp::ShiftLeft);
}

}  // namespace KS
