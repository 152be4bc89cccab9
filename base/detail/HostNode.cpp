#include "base/detail/HostNode.hpp"

#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include "base/detail/Kinds.hpp"

namespace KS::detail {

static_assert(numKinds == 32, "a new kind: what is a host's node of it?");

namespace {

// Whether the node is what its kind says. Classes that hold a text or a number are the library's;
// of the other kinds a node is known by its inputs.
bool isShaped(const SymbolicExpr& aExpr) {
  const std::size_t count = aExpr.getNumInputs();
  const auto kind = static_cast<SymbolicOp>(aExpr.getKind());
  if (isUnaryOperator(kind)) return count == 1;
  if (isBinaryOperator(kind)) return count == 2;
  switch (kind) {
    case SymbolicOp::String: return typeid(aExpr) == typeid(SymbolicString);
    case SymbolicOp::IntValue: return typeid(aExpr) == typeid(SymbolicIntValue);
    case SymbolicOp::DoubleValue: return typeid(aExpr) == typeid(SymbolicDoubleValue);
    case SymbolicOp::MemberValue: return typeid(aExpr) == typeid(SymbolicMemberValue);
    case SymbolicOp::FcnCall0U: return count == 1;
    case SymbolicOp::_2D:
    case SymbolicOp::FcnCall1U: return count == 2;
    case SymbolicOp::_3D:
    case SymbolicOp::FcnCall2U: return count == 3;
    case SymbolicOp::ND: return true;
    case SymbolicOp::FcnCall: return count >= 1;
    default: return false;  // a kind that there is not
  }
}

// Shows a visitor a node of the library's class over these operands. Making it takes a table, which
// serves for nothing else.
template <class Class, class... Operands>
void visitMade(SymbolicExprVisitor& aVisitor, const Operands&... aOperands) {
  SymbolicExprTable scratch;
  aVisitor.visit(Class(scratch, aOperands...));
}

}  // namespace

void checkShape(const SymbolicExpr& aExpr) {
  if (isShaped(aExpr)) return;
  throw std::invalid_argument("KS: a host's own class cannot have nodes of kind " +
                              std::to_string(aExpr.getKind()) + " with " +
                              std::to_string(aExpr.getNumInputs()) + " inputs");
}

void visitHostNode(const SymbolicExpr& aExpr, SymbolicExprVisitor& aVisitor) {
  checkShape(aExpr);
  std::vector<SymbolicExprId> inputs(aExpr.getNumInputs());
  for (std::size_t i = 0; i < inputs.size(); ++i) inputs[i] = aExpr.getInput(i);
  switch (static_cast<SymbolicOp>(aExpr.getKind())) {
#define KS_UNARY(code, Op, Class) \
  case SymbolicOp::Op:            \
    return visitMade<Class>(aVisitor, inputs[0]);
#define KS_BINARY(code, Op, Class) \
  case SymbolicOp::Op:             \
    return visitMade<Class>(aVisitor, inputs[0], inputs[1]);
#include "base/SymbolicExprKinds.def"
    case SymbolicOp::_2D: return visitMade<Symbolic2DExpr>(aVisitor, inputs[0], inputs[1]);
    case SymbolicOp::_3D:
      return visitMade<Symbolic3DExpr>(aVisitor, inputs[0], inputs[1], inputs[2]);
    case SymbolicOp::ND: return visitMade<SymbolicNDExpr>(aVisitor, inputs);
    case SymbolicOp::FcnCall0U: return visitMade<SymbolicFcnCall0UExpr>(aVisitor, inputs[0]);
    case SymbolicOp::FcnCall1U:
      return visitMade<SymbolicFcnCall1UExpr>(aVisitor, inputs[0], inputs[1]);
    case SymbolicOp::FcnCall2U:
      return visitMade<SymbolicFcnCall2UExpr>(aVisitor, inputs[0], inputs[1], inputs[2]);
    case SymbolicOp::FcnCall: {
      const std::vector<SymbolicExprId> arguments(inputs.begin() + 1, inputs.end());
      return visitMade<SymbolicFcnCallExpr>(aVisitor, inputs[0], arguments);
    }
    default: return;  // the shape is that of no other kind
  }
}

}  // namespace KS::detail
