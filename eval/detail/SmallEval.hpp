// Evaluation of small expressions over scalars, which almost all are.
#pragma once

#include <cstddef>

#include "base/KSSymbolicExpr.hpp"
#include "eval/detail/Operations.hpp"

namespace KS::Eval::detail {

/// Computes an expression in two sweeps over arrays of fixed size: the first spells it in postfix
/// order, back to front, with every symbol replaced by its value; the second computes. A shared
/// node is computed once per use, which is cheaper than remembering its result as long as the
/// number of steps is bounded.
class SmallEval {
 public:
  explicit SmallEval(const SymbolicExprTable& aTable) : table(aTable) {}

  /// Computes `aRoot` into `aResult`. False, with no harm done, for everything out of the ordinary:
  /// more than `maxSteps` steps (a binding that leads back to itself among them), a list, a call, a
  /// symbol without a registered value.
  bool run(SymbolicExprId aRoot, Scalar& aResult) {
    if (!spell(aRoot)) return false;
    aResult = compute();
    return true;
  }

 private:
  static constexpr std::size_t maxSteps = 64;

  // A literal, or an operator whose operands are the values computed last.
  struct Step {
    SymbolicOp op;
    const SymbolicExpr* node;
  };

  // Each round visits one node, adds a step at most and leaves one operand more pending at most, so
  // no array can overflow.
  bool spell(SymbolicExprId aRoot) {
    SymbolicExprId pending[maxSteps];  // left operands, whose right ones are spelled first
    std::size_t numPending = 0;
    SymbolicExprId id = aRoot;
    for (std::size_t visits = 0; visits < maxSteps; ++visits) {
      const SymbolicExpr* node = table.get(id);
      const auto op = static_cast<SymbolicOp>(node->getKind());
      if (op == SymbolicOp::String) {
        id = table.getValueId(id);
        if (id == invalidSymbolicExprId) return false;
        continue;
      }
      if (op >= SymbolicOp::_2D) return false;
      steps[numSteps++] = {op, node};
      if (isLiteral(op)) {
        if (numPending == 0) return true;
        id = pending[--numPending];
      } else if (isUnary(op)) {
        id = node->getInput(0);
      } else {
        pending[numPending++] = node->getInput(0);
        id = node->getInput(1);
      }
    }
    return false;
  }

  Scalar compute() const {
    Room values[maxSteps];
    Room* top = values;  // one past the value computed last
    for (std::size_t i = numSteps; i-- > 0;) {
      const auto [op, node] = steps[i];
      if (isLiteral(op)) {
        (top++)->scalar = literal(op, *node);
      } else if (isUnary(op)) {
        top[-1].scalar = apply(op, top[-1].scalar);
      } else {
        --top;
        top[-1].scalar = apply(op, top[-1].scalar, top[0].scalar);
      }
    }
    return values[0].scalar;
  }

  // Space for a scalar that costs nothing until it is used.
  union Room {
    Room() {}  // NOLINT(modernize-use-equals-default): the scalar has no default
    Scalar scalar;
  };

  const SymbolicExprTable& table;
  std::size_t numSteps = 0;
  Step steps[maxSteps];
};

}  // namespace KS::Eval::detail
