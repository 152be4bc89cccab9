#include "base/SymbolicExprVisitor.hpp"

#include <boost/container/small_vector.hpp>
#include <stdexcept>
#include <typeinfo>

#include "base/detail/HostNode.hpp"
#include "base/detail/Walk.hpp"

namespace KS {

SymbolicExprVisitor::~SymbolicExprVisitor() = default;

namespace detail {

void visitNode(const SymbolicExpr& aExpr, SymbolicExprVisitor& aVisitor) {
  switch (aExpr.getKind()) {
#define KS_KIND(code, Op, Class)               \
  case code:                                   \
    if (typeid(aExpr) != typeid(Class)) break; \
    return aVisitor.visit(static_cast<const Class&>(aExpr));
#include "base/SymbolicExprKinds.def"
    default: break;
  }
  visitHostNode(aExpr, aVisitor);
}

void failBadInput() {
  throw std::out_of_range("KS: an input of an expression is not an older expression of its table");
}

}  // namespace detail

void SymbolicExpr::accept(const SymbolicExprTable& aTable, SymbolicExprVisitor& aVisitor) const {
  struct Frame {
    SymbolicExprId id;  // every input's id is smaller; the table's size for the root
    const SymbolicExpr* node;
    std::size_t next;
    bool inputsFirst;
  };
  boost::container::small_vector<Frame, 32> path;
  const auto enter = [&](SymbolicExprId aId, const SymbolicExpr& aNode) {
    if (aNode.getNumInputs() == 0) return detail::visitNode(aNode, aVisitor);
    const bool inputsFirst = aVisitor.visitInputsFirst();
    if (!inputsFirst) detail::visitNode(aNode, aVisitor);
    path.push_back({aId, &aNode, 0, inputsFirst});
  };
  enter(aTable.size(), *this);
  while (!path.empty()) {
    Frame& top = path.back();
    if (top.next < top.node->getNumInputs()) {
      const SymbolicExprId input = detail::checkedInput(*top.node, top.id, top.next++);
      enter(input, *aTable.get(input));
    } else {
      const Frame done = top;
      path.pop_back();
      if (done.inputsFirst) detail::visitNode(*done.node, aVisitor);
    }
  }
}

}  // namespace KS
