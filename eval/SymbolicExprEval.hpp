// Evaluation of an expression whose symbols have values.
#pragma once

#include <deque>
#include <unordered_map>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicExprVisitor.hpp"
#include "eval/Eval.hpp"
#include "eval/SymbolicExprBindings.hpp"
#include "eval/SymbolicExprEvalError.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Computes the numbers of an expression. A symbol has the value of the expression that is
/// registered for it (`SymbolicExprTable::registerValueId`); `true` and `false` are the booleans
/// unless something is registered for them. Borrows the table and keeps nothing else, so several
/// threads may evaluate over one table that nobody extends. Costs time and memory in distinct
/// nodes, those of the symbols' values included, and memory in the vectors that are needed at the
/// same time; depth is limited by memory alone.
///
///     table.registerValueId("N", SymbolicIntValue(table, 4).getId(table));
///     SymbolicExprEval(table).eval(parse("[N + 1, 2]"));  // {5.0, 2.0}
class KS_API SymbolicExprEval {
 public:
  /// Borrows the table.
  explicit SymbolicExprEval(const SymbolicExprTable& aTable) : table(&aTable) {}

  /// The expression's numbers: one, or one per element of a list. A call or a member access gives
  /// {0.0}, and its inputs are not evaluated. Throws `SymbolicExprEvalError` for what has no value
  /// and `std::out_of_range` for an id that is not in the table.
  std::vector<double> eval(SymbolicExprId aId) const;

  /// The same where what is bound has its value; a call or a member access that is bound has one
  /// too. Throws `std::invalid_argument` for bindings of another table.
  std::vector<double> eval(SymbolicExprId aId, const SymbolicExprBindings& aBindings) const;

  /// The one number of an expression, without a vector to hold it: `eval(aId)[0]`. Throws like
  /// `eval`, and `SymbolicExprEvalError` for a list that has not exactly one element.
  double evalNumber(SymbolicExprId aId) const;

  /// The same where what is bound has its value. Throws like `eval` besides.
  double evalNumber(SymbolicExprId aId, const SymbolicExprBindings& aBindings) const;

 private:
  const SymbolicExprTable* table;
};

/// Evaluation as a stack machine for `accept`: every visit takes its operands from the top of a
/// stack of values, the right one first, and pushes its result. `SymbolicExprEval` gives the same
/// values faster and visits a shared node once.
class KS_API SymbolicExprEvalImpl : public SymbolicExprVisitor {
 public:
  /// Borrows the table whose ids it resolves.
  explicit SymbolicExprEvalImpl(const SymbolicExprTable& aTable) : table(&aTable) {}
  ~SymbolicExprEvalImpl() override;
  bool visitInputsFirst() const override;
  /// Pushes the value of the node. Throws `SymbolicExprEvalError` where an operand has no value or
  /// is missing. A symbol or a call fails only when its value is needed.
#define KS_KIND(code, Op, Class) void visit(const Class& aExpr) override;
#include "base/SymbolicExprKinds.def"

  /// The result of a walk: takes and returns the value if the stack holds exactly one, else leaves
  /// the stack and returns the int 0. A call or a member access as the result is the int 0 too.
  Eval::Value get();

 private:
  // Something that was visited: a value, or the id of a symbol or call that nobody has needed yet.
  // The name of a function is visited like an operand and must not be looked up.
  struct Entry {
    Eval::Value value;
    SymbolicExprId deferred;
  };

  KS_HIDDEN void push(Eval::Value aValue);
  KS_HIDDEN void defer(const SymbolicExpr& aExpr);
  KS_HIDDEN Entry pop();
  KS_HIDDEN Eval::Value valueOf(const Entry& aEntry);
  KS_HIDDEN void binary(SymbolicOp aOp);
  KS_HIDDEN void unary(SymbolicOp aOp);
  KS_HIDDEN void list(std::size_t aCount);
  KS_HIDDEN void call(const SymbolicExpr& aExpr);

  const SymbolicExprTable* table;
  std::deque<Entry> stack;
  std::unordered_map<SymbolicExprId, Eval::Value> symbolValues;
};

}  // namespace KS
