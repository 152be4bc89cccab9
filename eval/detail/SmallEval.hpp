// Evaluation of small expressions over scalars, which almost all are.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/NodeView.hpp"
#include "eval/detail/Operations.hpp"

namespace KS::Eval::detail {

/// Computes an expression in two sweeps over arrays of fixed size: the first enters every node,
/// users before their inputs, writes the literals' values and lists the operators; the second
/// computes the operators from the last to the first. A shared node is computed once per use, which
/// is cheaper than remembering its result as long as the number of visits is bounded.
class SmallEval {
 public:
  explicit SmallEval(const SymbolicExprTable& aTable) : table(aTable) {}

  /// Computes `aRoot` into `aResult`. False, with no harm done, for everything out of the ordinary:
  /// more than `maxVisits` visits (a binding that leads back to itself among them), a list, a call,
  /// a symbol without a registered value.
  bool run(SymbolicExprId aRoot, Scalar& aResult) {
    if (!enterAll(aRoot)) return false;
    compute();
    aResult = values[0].scalar;
    return true;
  }

 private:
  static constexpr std::size_t maxVisits = 256;

  // An operator: its result's place in `values`, which the right or only operand's place follows,
  // and the place of the left operand.
  struct Step {
    SymbolicOp op;
    std::uint16_t place;
    std::uint16_t left;
  };
  // A left operand that is entered when the right one is done, and the step that needs its place.
  struct Pending {
    SymbolicExprId id;
    Step* user;
  };
  // Space for a scalar that costs nothing until it is used.
  union Room {
    Room() {}  // NOLINT(modernize-use-equals-default): the scalar has no default
    Scalar scalar;
  };

  // Each visit takes a place at most, and leaves one operand more pending at most, so no array can
  // overflow.
  bool enterAll(SymbolicExprId aRoot) {
    const auto& digests = KS::detail::Digests::of(table);
    const std::size_t size = table.size();
    Pending pending[maxVisits];
    Pending* lastPending = pending;
    std::uint16_t place = 0;
    std::size_t id = aRoot;
    for (std::size_t visits = 0; visits < maxVisits; ++visits) {
      if (id >= size) return false;  // unbound, or not a node of the table
      const KS::detail::NodeView node(digests, id);
      const SymbolicOp op = node.kind();
      if (op == SymbolicOp::String) {
        id = node.valueId();
        continue;
      }
      if (isLiteral(op)) {
        values[place++].scalar =
            op == SymbolicOp::IntValue ? Scalar(node.intValue()) : literal(op, *table.get(id));
        if (lastPending == pending) return true;
        --lastPending;
        id = lastPending->id;
        lastPending->user->left = place;
        continue;
      }
      if (isList(op) || isOpaque(op)) return false;
      *lastStep = {op, place++, 0};
      if (isUnary(op)) {
        id = node.left();
      } else {
        *lastPending++ = {static_cast<std::uint32_t>(node.left()), lastStep};
        id = node.right();
      }
      ++lastStep;
    }
    return false;
  }

  void compute() {
    while (lastStep != steps) {
      const Step step = *--lastStep;
      values[step.place].scalar =
          apply(step.op, values[step.left].scalar, values[step.place + 1].scalar);
    }
  }

  const SymbolicExprTable& table;
  Step* lastStep = steps;  // one past it
  Step steps[maxVisits];
  Room values[maxVisits];
};

}  // namespace KS::Eval::detail
