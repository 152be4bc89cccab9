// The order in which a user wrote the operands of a disjunction.
#pragma once

#include "simplify/detail/PassResults.hpp"
#include "simplify/detail/SimplifyContext.hpp"

namespace KS::detail {

/// How a disjunction is written, for the one result that depends on it: two operands whose kinds
/// have no order keep the order in which they were joined.
class WrittenOrder {
 public:
  /// Of a disjunction that stands in the table and whose operands have their results.
  WrittenOrder(const SimplifyContext& aContext, const PassResults& aResults,
               SymbolicExprId aDisjunction)
      : c(aContext), results(aResults), whole(aDisjunction) {}

  /// Whether the disjunction, taken two operands at a time as it is written, comes to the two in
  /// this order. Takes time in the number of its links.
  bool comesTo(SymbolicExprId aFirst, SymbolicExprId aSecond) const;

 private:
  bool isOpenLink(SymbolicExprId aId) const {
    return c.node(aId).is(SymbolicOp::Or) && !c.finals.contains(aId);
  }

  const SimplifyContext& c;
  const PassResults& results;
  SymbolicExprId whole;
};

}  // namespace KS::detail
