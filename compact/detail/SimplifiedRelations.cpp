#include "compact/detail/SimplifiedRelations.hpp"

namespace KS::detail {

SymbolicExprId SimplifiedRelations::operator()(SymbolicExprId aRelation) {
  const auto known = results.find(aRelation);
  if (known != results.end()) return known->second;
  SymbolicExprId result = aRelation;
  const ExpressionSize size = sizes(aRelation);
  if (!size.hasConnective) {
    std::size_t passes = 0;
    const SymbolicExprId simplified = simplify.simplify(aRelation, passes);
    if (sizes(simplified).literals <= size.literals) result = simplified;
  }
  results.emplace(aRelation, result);
  return result;
}

}  // namespace KS::detail
