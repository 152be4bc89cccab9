#include "parser/detail/Steps.hpp"

#include <string>
#include <utility>
#include <vector>

#include "base/detail/Intern.hpp"
#include "base/detail/Kinds.hpp"

namespace KS::detail {

namespace {

using Parser::binary_op;
using Parser::expression_ast;
using Parser::unary_op;

bool isUnaryOperation(SymbolicOp aOp) {
  return isUnaryOperator(aOp) || aOp == SymbolicOp::FcnCall0U;
}

// What is still to be flattened, last one first: a tree, or the step that follows its operands.
struct Pending {
  const expression_ast* tree;
  SymbolicOp op;
  std::size_t count;
};

// Writes the steps of leaves and lists the operands of operations, in reverse.
struct FlattenLevel : boost::static_visitor<> {
  Steps& steps;
  std::vector<Pending>& open;
  FlattenLevel(Steps& aSteps, std::vector<Pending>& aOpen) : steps(aSteps), open(aOpen) {}

  void operator()(Parser::nil) const { steps.nothing(); }
  void operator()(int aValue) const { steps.integer(aValue); }
  void operator()(double aValue) const { steps.real(aValue); }
  void operator()(const Parser::variable& aVariable) const { steps.name(aVariable.name); }
  void operator()(const expression_ast& aTree) const { later(aTree); }
  void operator()(const std::vector<expression_ast>& aElements) const {
    later(SymbolicOp::ND, aElements.size());
    laterReversed(aElements);
  }
  void operator()(const unary_op& aOperation) const {
    later(isUnaryOperation(aOperation.op) ? aOperation.op : Steps::unknownUnary, 0);
    later(aOperation.subject);
  }
  void operator()(const binary_op& aOperation) const {
    if (aOperation.op == SymbolicOp::FcnCall2U) {
      const auto* arguments = boost::get<std::vector<expression_ast>>(&aOperation.left.expr);
      later(SymbolicOp::FcnCall, arguments == nullptr ? 1 : arguments->size());
      if (arguments == nullptr) {
        later(aOperation.left);
      } else {
        laterReversed(*arguments);
      }
      later(aOperation.right);
    } else if (aOperation.op == SymbolicOp::MemberValue || isBinaryOperator(aOperation.op)) {
      later(aOperation.op, 0);
      later(aOperation.right);
      later(aOperation.left);
    } else {
      steps.nothing();
    }
  }

 private:
  void later(const expression_ast& aTree) const { open.push_back({&aTree, SymbolicOp::String, 0}); }
  void later(SymbolicOp aOp, std::size_t aCount) const { open.push_back({nullptr, aOp, aCount}); }
  void laterReversed(const std::vector<expression_ast>& aTrees) const {
    for (auto tree = aTrees.rbegin(); tree != aTrees.rend(); ++tree) later(*tree);
  }
};

// A stack of values that the steps work on.
template <class Value>
class Values {
 public:
  void push(Value aValue) { stack.push_back(std::move(aValue)); }
  Value pop() {
    Value value = std::move(stack.back());
    stack.pop_back();
    return value;
  }
  std::vector<Value> pop(std::size_t aCount) {
    const auto first = stack.end() - static_cast<std::ptrdiff_t>(aCount);
    std::vector<Value> values(std::make_move_iterator(first), std::make_move_iterator(stack.end()));
    stack.erase(first, stack.end());
    return values;
  }

 private:
  boost::container::small_vector<Value, 16> stack;
};

template <class Class>
void internBinary(SymbolicExprTable& aTable, Values<SymbolicExprId>& aValues) {
  const SymbolicExprId right = aValues.pop();
  aValues.push(intern<Class>(aTable, aValues.pop(), right));
}

SymbolicExprId internMember(SymbolicExprTable& aTable, SymbolicExprId aObject,
                            SymbolicExprId aMember) {
  if (aMember >= aTable.size()) return invalidSymbolicExprId;
  const SymbolicExpr& member = *aTable.get(aMember);
  if (member.getKind() != static_cast<int>(SymbolicOp::String)) return invalidSymbolicExprId;
  return intern<SymbolicMemberValue>(aTable, aObject,
                                     static_cast<const SymbolicString&>(member).getText());
}

}  // namespace

void Steps::flatten(const expression_ast& aTree) {
  std::vector<Pending> open{{&aTree, SymbolicOp::String, 0}};
  while (!open.empty()) {
    const Pending next = open.back();
    open.pop_back();
    if (next.tree == nullptr) {
      operation(next.op, next.count);
    } else {
      boost::apply_visitor(FlattenLevel(*this, open), next.tree->expr);
    }
  }
}

expression_ast Steps::buildTree() const {
  static_assert(numKinds == 32, "a new kind: is it a step of parsing, here and in `intern`?");
  Values<expression_ast> values;
  for (const Step& step : steps) {
    switch (step.op) {
      case SymbolicOp::IntValue: values.push(step.integer); break;
      case SymbolicOp::DoubleValue: values.push(step.real); break;
      case SymbolicOp::String:
        values.push(Parser::variable{std::string(step.name, step.count)});
        break;
      case SymbolicOp::ND: values.push(values.pop(step.count)); break;
      case SymbolicOp::FcnCall: {
        expression_ast arguments = values.pop(step.count);
        values.push(binary_op(SymbolicOp::FcnCall2U, std::move(arguments), values.pop()));
        break;
      }
      case SymbolicOp::UnaryMinus:
      case SymbolicOp::Not:
      case SymbolicOp::BitCompl:
      case SymbolicOp::FcnCall0U: values.push(unary_op(step.op, values.pop())); break;
      default: {
        expression_ast right = values.pop();
        values.push(binary_op(step.op, values.pop(), std::move(right)));
      }
    }
  }
  return values.pop();
}

SymbolicExprId Steps::intern(SymbolicExprTable& aTable, bool aCSyntax) const {
  using detail::intern;
  Values<SymbolicExprId> values;
  for (const Step& step : steps) {
    switch (step.op) {
      case SymbolicOp::IntValue: values.push(Intern::integer(aTable, step.integer)); break;
      case SymbolicOp::DoubleValue:
        values.push(intern<SymbolicDoubleValue>(aTable, step.real));
        break;
      case SymbolicOp::String: values.push(Intern::symbol(aTable, {step.name, step.count})); break;
      case SymbolicOp::ND: values.push(Intern::list(aTable, values.pop(step.count))); break;
      case SymbolicOp::FcnCall: {
        const std::vector<SymbolicExprId> arguments = values.pop(step.count);
        values.push(intern<SymbolicFcnCallExpr>(aTable, values.pop(), arguments));
        break;
      }
      case SymbolicOp::FcnCall0U:
        values.push(intern<SymbolicFcnCall0UExpr>(aTable, values.pop()));
        break;
      case SymbolicOp::MemberValue: {
        const SymbolicExprId member = values.pop();
        values.push(internMember(aTable, values.pop(), member));
        break;
      }
      case SymbolicOp::UnaryMinus:
        values.push(intern<SymbolicUnaryMinusExpr>(aTable, values.pop()));
        break;
      case SymbolicOp::Not: values.push(intern<SymbolicNotExpr>(aTable, values.pop())); break;
      case SymbolicOp::BitCompl:
        values.push(aCSyntax ? intern<SymbolicBitComplExpr>(aTable, values.pop())
                             : intern<SymbolicNotExpr>(aTable, values.pop()));
        break;
#define KS_BINARY(code, Op, Class)       \
  case SymbolicOp::Op:                   \
    internBinary<Class>(aTable, values); \
    break;
#include "base/SymbolicExprKinds.def"
      default:
        // Nothing, or a unary code that no operation has, whose subject stays interned.
        if (step.op == unknownUnary) values.pop();
        values.push(invalidSymbolicExprId);
    }
  }
  return values.pop();
}

}  // namespace KS::detail
