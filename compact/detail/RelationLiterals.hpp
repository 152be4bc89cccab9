// What relations and negated relations over one left operand give together.
#pragma once

#include <optional>

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicOp.hpp"
#include "simplify/detail/PairRules.hpp"

namespace KS::detail {

/// A relation or the negation of one, as an operand of a conjunction. A negated equality is the
/// inequality, a negated order stays what it is: `~(x < 2)` is not `x >= 2` within the evaluator's
/// tolerance.
struct RelationLiteral {
  SymbolicExprId left, right;
  Rel op;
  bool isNegated;  ///< never of an equality or inequality
  bool isInteger;  ///< whether the right operand is an integer
  int value;       ///< of that integer

  /// The literal of an expression, if that is a relation.
  static std::optional<RelationLiteral> of(const SymbolicExprTable& aTable, SymbolicExprId aId);
  /// Its negation.
  RelationLiteral operator!() const;
  /// Whether the two can give something together: one left operand, and one right operand or
  /// integers.
  bool meets(const RelationLiteral& aOther) const {
    return left == aOther.left && isInteger == aOther.isInteger &&
           (isInteger || right == aOther.right);
  }
};

/// What becomes of two literals that meet in a conjunction.
struct Meeting {
  enum Result { Stay, First, Second, False, Made };
  Result result = Stay;
  /// The literal that takes the place of both, where one is made.
  RelationLiteral made{};
};

/// Joins two literals that meet. By the rows of PairRules.hpp, without those that go by exact
/// comparison where the evaluator is tolerant: what it gives has the same value for all finite
/// operands.
Meeting meet(const RelationLiteral& a, const RelationLiteral& b);

}  // namespace KS::detail
