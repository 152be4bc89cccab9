// Evaluation of small expressions over scalars, which almost all are.
#pragma once

#include <cstddef>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/NodeView.hpp"
#include "eval/detail/Operations.hpp"
#include "host/KSPlatform.hpp"

namespace KS::Eval::detail {

/// Computes an expression by a walk that calls itself. A shared node is computed once per use,
/// which is cheaper than remembering its result as long as the number of visits is bounded.
class SmallEval {
 public:
  explicit SmallEval(const SymbolicExprTable& aTable)
      : table(aTable), digests(KS::detail::Digests::of(aTable)), size(aTable.size()) {}

  /// Computes `aRoot` into `aResult`. False, with no harm done, for everything out of the ordinary:
  /// more than `maxVisits` visits or `maxDepth` levels (a binding that leads back to itself has
  /// them), a list, a call, a symbol without a registered value.
  bool run(SymbolicExprId aRoot, Scalar& aResult) {
    aResult = value(aRoot, maxDepth);
    return !failed;
  }

 private:
  static constexpr unsigned maxVisits = 256;
  static constexpr unsigned maxDepth = 48;

  // The value of a node, or of that which is registered for a symbol.
  Scalar value(SymbolicExprId aId, unsigned aDepth) {
    if (aId >= size) return fail();  // unbound, or not a node of the table
    const KS::detail::NodeView node(digests, aId);
    const SymbolicOp op = node.kind();
    if (node.hasIntValue()) return node.intValue();
    if (aDepth == 0 || visits == 0) return fail();
    --visits;
    if (op == SymbolicOp::String) return value(node.valueId(), aDepth - 1);
    if (op == SymbolicOp::DoubleValue) return literal(op, *table.get(aId));
    if (isUnary(op)) {
      const Scalar operand = value(node.left(), aDepth - 1);
      return combined(op, operand, operand);
    }
    if (!KS::detail::isBinaryOperator(op)) return fail();
    // Most operators but connectives are relations of a symbol and an int.
    if (!node.isConnective() && node.left() < size && node.right() < size) {
      const KS::detail::NodeView left(digests, node.left()), right(digests, node.right());
      if (left.hasIntValue() && right.hasIntValue()) {
        return ofInts(op, left.intValue(), right.intValue());
      }
    }
    const Scalar leftValue = value(node.left(), aDepth - 1);
    return combined(op, leftValue, value(node.right(), aDepth - 1));
  }

  // The result of an operator. To no rule a bool is anything but the int 0 or 1, so that only
  // doubles need a look at the types.
  static Scalar combined(SymbolicOp aOp, Scalar aLeft, Scalar aRight) {
    if (areDoubles(aLeft, aRight)) return ofDoubles(aOp, aLeft, aRight);
    return ofInts(aOp, aLeft.toInt(), aRight.toInt());
  }
  KS_NEVER_INLINE static Scalar ofDoubles(SymbolicOp aOp, Scalar aLeft, Scalar aRight) {
    return apply(aOp, aLeft, aRight);
  }
  static Scalar ofInts(SymbolicOp aOp, int aLeft, int aRight) {
    return withRule(
        aOp, [&](auto rule) { return Scalar(rule(Scalar(aLeft), Scalar(aRight))); },
        [&](auto rule) { return Scalar(rule(Scalar(aRight))); }, noOperator<Scalar>);
  }

  // Ends the walk: nothing is visited any more.
  Scalar fail() {
    failed = true;
    visits = 0;
    return 0;
  }

  const SymbolicExprTable& table;
  const KS::detail::BlockArray<KS::detail::NodeDigest>& digests;
  const std::size_t size;
  unsigned visits = maxVisits;
  bool failed = false;
};

}  // namespace KS::Eval::detail
