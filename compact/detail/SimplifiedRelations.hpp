// Relations in their canonical form.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>

#include "compact/detail/ExpressionSizes.hpp"
#include "simplify/SymbolicExprSimplify.hpp"

namespace KS::detail {

/// Simplifies relations, so that those of texts as typed and those of canonical forms are the same.
class SimplifiedRelations {
 public:
  SimplifiedRelations(const SymbolicExprSimplify& aSimplify, ExpressionSizes& aSizes)
      : simplify(aSimplify), sizes(aSizes) {}

  /// The simplified relation. One with a conjunction or disjunction among its operands stays as it
  /// is, since it might grow, and so does one that has more literals when simplified.
  SymbolicExprId operator()(SymbolicExprId aRelation);

 private:
  const SymbolicExprSimplify& simplify;
  ExpressionSizes& sizes;
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> results;
};

}  // namespace KS::detail
