#include "base/SymbolicExprXFormVisitor.hpp"

#include "base/detail/Intern.hpp"

namespace KS {

using detail::intern;

SymbolicExprFactory::~SymbolicExprFactory() = default;

// ---------------------------------------------------------------------------------------------
// Rebuilding by construction

SymbolicExprXFormVisitor::SymbolicExprXFormVisitor(SymbolicExprTable& aResult)
    : resultTable(aResult), factory(aResult) {}
SymbolicExprXFormVisitor::~SymbolicExprXFormVisitor() = default;
bool SymbolicExprXFormVisitor::visitInputsFirst() const { return true; }

SymbolicExprId SymbolicExprXFormVisitor::get() {
  return stack.size() == 1 && !ranDry ? pop() : invalidSymbolicExprId;
}

SymbolicExprId SymbolicExprXFormVisitor::pop() {
  if (stack.empty()) {
    ranDry = true;
    return invalidSymbolicExprId;
  }
  const SymbolicExprId id = stack.back();
  stack.pop_back();
  return id;
}

std::vector<SymbolicExprId> SymbolicExprXFormVisitor::pop(std::size_t aCount) {
  std::vector<SymbolicExprId> ids(aCount);
  for (auto id = ids.rbegin(); id != ids.rend(); ++id) *id = pop();
  return ids;
}

void SymbolicExprXFormVisitor::visit(const SymbolicString& aExpr) {
  push(intern<SymbolicString>(result(), aExpr.getText()));
}
void SymbolicExprXFormVisitor::visit(const SymbolicIntValue& aExpr) {
  push(intern<SymbolicIntValue>(result(), aExpr.getValue()));
}
void SymbolicExprXFormVisitor::visit(const SymbolicDoubleValue& aExpr) {
  push(intern<SymbolicDoubleValue>(result(), aExpr.getValue()));
}

#define KS_UNARY(code, Op, Class) \
  void SymbolicExprXFormVisitor::visit(const Class&) { push(intern<Class>(result(), pop())); }
#include "base/SymbolicExprKinds.def"

#define KS_BINARY(code, Op, Class)                     \
  void SymbolicExprXFormVisitor::visit(const Class&) { \
    const SymbolicExprId right = pop();                \
    const SymbolicExprId left = pop();                 \
    push(intern<Class>(result(), left, right));        \
  }
#include "base/SymbolicExprKinds.def"

void SymbolicExprXFormVisitor::visit(const Symbolic2DExpr&) {
  const std::vector<SymbolicExprId> elements = pop(2);
  push(intern<Symbolic2DExpr>(result(), elements[0], elements[1]));
}
void SymbolicExprXFormVisitor::visit(const Symbolic3DExpr&) {
  const std::vector<SymbolicExprId> elements = pop(3);
  push(intern<Symbolic3DExpr>(result(), elements[0], elements[1], elements[2]));
}
void SymbolicExprXFormVisitor::visit(const SymbolicNDExpr& aExpr) {
  push(detail::Intern::list(result(), pop(aExpr.getNumInputs())));
}
void SymbolicExprXFormVisitor::visit(const SymbolicFcnCall0UExpr&) {
  push(intern<SymbolicFcnCall0UExpr>(result(), pop()));
}
void SymbolicExprXFormVisitor::visit(const SymbolicFcnCall1UExpr&) {
  const std::vector<SymbolicExprId> inputs = pop(2);
  push(intern<SymbolicFcnCall1UExpr>(result(), inputs[0], inputs[1]));
}
void SymbolicExprXFormVisitor::visit(const SymbolicFcnCall2UExpr&) {
  const std::vector<SymbolicExprId> inputs = pop(3);
  push(intern<SymbolicFcnCall2UExpr>(result(), inputs[0], inputs[1], inputs[2]));
}
void SymbolicExprXFormVisitor::visit(const SymbolicFcnCallExpr& aExpr) {
  const std::vector<SymbolicExprId> arguments = pop(aExpr.getNumFcnArgs());
  const SymbolicExprId name = pop();
  push(intern<SymbolicFcnCallExpr>(result(), name, arguments));
}
void SymbolicExprXFormVisitor::visit(const SymbolicMemberValue& aExpr) {
  push(intern<SymbolicMemberValue>(result(), pop(), aExpr.getMember()));
}

// ---------------------------------------------------------------------------------------------
// Rebuilding through make operations

SymbolicExprXFormVisitor2::SymbolicExprXFormVisitor2(SymbolicExprTable& aResult)
    : SymbolicExprXFormVisitor(aResult) {}
SymbolicExprXFormVisitor2::~SymbolicExprXFormVisitor2() = default;

void SymbolicExprXFormVisitor2::visit(const SymbolicString& aExpr) {
  push(makeSymbolicString(aExpr.getText()));
}
void SymbolicExprXFormVisitor2::visit(const SymbolicIntValue& aExpr) {
  push(makeSymbolicIntValue(aExpr.getValue()));
}
void SymbolicExprXFormVisitor2::visit(const SymbolicDoubleValue& aExpr) {
  push(makeSymbolicDoubleValue(aExpr.getValue()));
}

#define KS_UNARY(code, Op, Class) \
  void SymbolicExprXFormVisitor2::visit(const Class&) { push(make##Class(pop())); }
#include "base/SymbolicExprKinds.def"

#define KS_BINARY(code, Op, Class)                      \
  void SymbolicExprXFormVisitor2::visit(const Class&) { \
    const SymbolicExprId right = pop();                 \
    const SymbolicExprId left = pop();                  \
    push(make##Class(left, right));                     \
  }
#include "base/SymbolicExprKinds.def"

void SymbolicExprXFormVisitor2::visit(const Symbolic2DExpr&) { push(makeSymbolicNDExpr(pop(2))); }
void SymbolicExprXFormVisitor2::visit(const Symbolic3DExpr&) { push(makeSymbolicNDExpr(pop(3))); }
void SymbolicExprXFormVisitor2::visit(const SymbolicNDExpr& aExpr) {
  push(makeSymbolicNDExpr(pop(aExpr.getNumInputs())));
}
// Calls of any arity: the arguments lie above the name.
void SymbolicExprXFormVisitor2::visit(const SymbolicFcnCall0UExpr&) {
  push(makeSymbolicFcnCallExpr(pop(), {}));
}
void SymbolicExprXFormVisitor2::visit(const SymbolicFcnCall1UExpr&) {
  const std::vector<SymbolicExprId> arguments = pop(1);
  push(makeSymbolicFcnCallExpr(pop(), arguments));
}
void SymbolicExprXFormVisitor2::visit(const SymbolicFcnCall2UExpr&) {
  const std::vector<SymbolicExprId> arguments = pop(2);
  push(makeSymbolicFcnCallExpr(pop(), arguments));
}
void SymbolicExprXFormVisitor2::visit(const SymbolicFcnCallExpr& aExpr) {
  const std::vector<SymbolicExprId> arguments = pop(aExpr.getNumFcnArgs());
  push(makeSymbolicFcnCallExpr(pop(), arguments));
}
void SymbolicExprXFormVisitor2::visit(const SymbolicMemberValue& aExpr) {
  push(makeSymbolicMemberValue(pop(), aExpr.getMember()));
}

SymbolicExprId SymbolicExprXFormVisitor2::makeSymbolicString(const std::string& aText) {
  return intern<SymbolicString>(result(), aText);
}
SymbolicExprId SymbolicExprXFormVisitor2::makeSymbolicIntValue(int aValue) {
  return intern<SymbolicIntValue>(result(), aValue);
}
SymbolicExprId SymbolicExprXFormVisitor2::makeSymbolicDoubleValue(double aValue) {
  return intern<SymbolicDoubleValue>(result(), aValue);
}

#define KS_UNARY(code, Op, Class)                                                \
  SymbolicExprId SymbolicExprXFormVisitor2::make##Class(SymbolicExprId aInput) { \
    return intern<Class>(result(), aInput);                                      \
  }
#define KS_BINARY(code, Op, Class)                                               \
  SymbolicExprId SymbolicExprXFormVisitor2::make##Class(SymbolicExprId aLeft,    \
                                                        SymbolicExprId aRight) { \
    return intern<Class>(result(), aLeft, aRight);                               \
  }
#include "base/SymbolicExprKinds.def"

SymbolicExprId SymbolicExprXFormVisitor2::makeSymbolicNDExpr(
    const std::vector<SymbolicExprId>& aElements) {
  return detail::Intern::list(result(), aElements);
}
SymbolicExprId SymbolicExprXFormVisitor2::makeSymbolicFcnCallExpr(
    SymbolicExprId aName, const std::vector<SymbolicExprId>& aArguments) {
  return intern<SymbolicFcnCallExpr>(result(), aName, aArguments);
}
SymbolicExprId SymbolicExprXFormVisitor2::makeSymbolicMemberValue(SymbolicExprId aObject,
                                                                  const std::string& aMember) {
  return intern<SymbolicMemberValue>(result(), aObject, aMember);
}

}  // namespace KS
