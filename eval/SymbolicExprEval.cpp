#include "eval/SymbolicExprEval.hpp"

#include <stdexcept>
#include <string>
#include <utility>

#include "eval/detail/EvalWalk.hpp"
#include "eval/detail/SmallEval.hpp"

namespace KS {

namespace {

using Eval::Scalar;
using Eval::Value;
using Eval::detail::EvalWalk;
using Eval::detail::isOpaque;

SymbolicOp opOf(const SymbolicExpr& aExpr) { return static_cast<SymbolicOp>(aExpr.getKind()); }

// What is out of the ordinary for a small evaluation, out of its way.
KS_NEVER_INLINE std::vector<double> evalByWalk(const SymbolicExprTable& aTable,
                                               SymbolicExprId aId) {
  if (isOpaque(opOf(*aTable.get(aId)))) return {0.0};
  return Eval::eval(EvalWalk(aTable).run(aId));
}

KS_NEVER_INLINE double onlyOf(const std::vector<double>& aNumbers) {
  if (aNumbers.size() == 1) return aNumbers[0];
  throw SymbolicExprEvalError("one number was asked for, and the expression has " +
                              std::to_string(aNumbers.size()));
}

}  // namespace

std::vector<double> SymbolicExprEval::eval(SymbolicExprId aId) const {
  Scalar scalar(0);
  if (Eval::detail::SmallEval(*table).run(aId, scalar)) return {scalar.toDouble()};
  return evalByWalk(*table, aId);
}

std::vector<double> SymbolicExprEval::eval(SymbolicExprId aId,
                                           const SymbolicExprBindings& aBindings) const {
  if (&aBindings.getTable() != table) {
    throw std::invalid_argument("the bindings are of another table than the expression");
  }
  if (aBindings.size() == 0) return eval(aId);
  if (isOpaque(opOf(*table->get(aId))) && aBindings.find(aId) == nullptr) return {0.0};
  return Eval::eval(EvalWalk(*table, &aBindings).run(aId));
}

double SymbolicExprEval::evalNumber(SymbolicExprId aId) const {
  Scalar scalar(0);
  if (Eval::detail::SmallEval(*table).run(aId, scalar)) return scalar.toDouble();
  return onlyOf(evalByWalk(*table, aId));
}

double SymbolicExprEval::evalNumber(SymbolicExprId aId,
                                    const SymbolicExprBindings& aBindings) const {
  return onlyOf(eval(aId, aBindings));
}

// ---------------------------------------------------------------------------------------------
// The stack machine

SymbolicExprEvalImpl::~SymbolicExprEvalImpl() = default;
bool SymbolicExprEvalImpl::visitInputsFirst() const { return true; }

Value SymbolicExprEvalImpl::get() {
  if (stack.size() != 1) return 0;
  const SymbolicExprId deferred = stack.back().deferred;
  const bool isCall = deferred != invalidSymbolicExprId && isOpaque(opOf(*table->get(deferred)));
  Value result = isCall ? Value(0) : valueOf(stack.back());
  stack.pop_back();
  return result;
}

void SymbolicExprEvalImpl::push(Value aValue) {
  stack.push_back({std::move(aValue), invalidSymbolicExprId});
}

void SymbolicExprEvalImpl::defer(const SymbolicExpr& aExpr) {
  const SymbolicExprId id = aExpr.getId(*table);
  if (id == invalidSymbolicExprId) {
    throw SymbolicExprEvalError("a symbol or call is not in the table of the evaluation");
  }
  stack.push_back({0, id});
}

SymbolicExprEvalImpl::Entry SymbolicExprEvalImpl::pop() {
  if (stack.empty()) throw SymbolicExprEvalError("an operator is short of operands");
  Entry top = std::move(stack.back());
  stack.pop_back();
  return top;
}

Value SymbolicExprEvalImpl::valueOf(const Entry& aEntry) {
  if (aEntry.deferred == invalidSymbolicExprId) return aEntry.value;
  const auto known = symbolValues.find(aEntry.deferred);
  if (known != symbolValues.end()) return known->second;
  Value value = EvalWalk(*table).run(aEntry.deferred);
  symbolValues.emplace(aEntry.deferred, value);
  return value;
}

void SymbolicExprEvalImpl::binary(SymbolicOp aOp) {
  const Entry right = pop();
  const Entry left = pop();
  const Value leftValue = valueOf(left);
  push(Eval::detail::apply(aOp, leftValue, valueOf(right)));
}

void SymbolicExprEvalImpl::unary(SymbolicOp aOp) {
  const Value operand = valueOf(pop());
  push(Eval::detail::apply(aOp, operand, operand));
}

void SymbolicExprEvalImpl::list(std::size_t aCount) {
  std::vector<Entry> entries;
  entries.reserve(aCount);
  for (std::size_t i = 0; i < aCount; ++i) entries.push_back(pop());
  Value gathered{std::vector<Scalar>()};
  for (std::size_t i = 0; i < aCount; ++i) {
    Eval::detail::appendElement(gathered, valueOf(entries[aCount - 1 - i]));
  }
  push(std::move(gathered));
}

// The inputs of a call are dropped unevaluated.
void SymbolicExprEvalImpl::call(const SymbolicExpr& aExpr) {
  for (std::size_t i = aExpr.getNumInputs(); i > 0; --i) pop();
  defer(aExpr);
}

void SymbolicExprEvalImpl::visit(const SymbolicString& aExpr) { defer(aExpr); }
void SymbolicExprEvalImpl::visit(const SymbolicIntValue& aExpr) { push(aExpr.getValue()); }
void SymbolicExprEvalImpl::visit(const SymbolicDoubleValue& aExpr) { push(aExpr.getValue()); }

#define KS_UNARY(code, Op, Class) \
  void SymbolicExprEvalImpl::visit(const Class&) { unary(SymbolicOp::Op); }
#define KS_BINARY(code, Op, Class) \
  void SymbolicExprEvalImpl::visit(const Class&) { binary(SymbolicOp::Op); }
#include "base/SymbolicExprKinds.def"

void SymbolicExprEvalImpl::visit(const Symbolic2DExpr&) { list(2); }
void SymbolicExprEvalImpl::visit(const Symbolic3DExpr&) { list(3); }
void SymbolicExprEvalImpl::visit(const SymbolicNDExpr& aExpr) { list(aExpr.getNumInputs()); }
void SymbolicExprEvalImpl::visit(const SymbolicFcnCall0UExpr& aExpr) { call(aExpr); }
void SymbolicExprEvalImpl::visit(const SymbolicFcnCall1UExpr& aExpr) { call(aExpr); }
void SymbolicExprEvalImpl::visit(const SymbolicFcnCall2UExpr& aExpr) { call(aExpr); }
void SymbolicExprEvalImpl::visit(const SymbolicFcnCallExpr& aExpr) { call(aExpr); }
void SymbolicExprEvalImpl::visit(const SymbolicMemberValue& aExpr) { call(aExpr); }

}  // namespace KS
