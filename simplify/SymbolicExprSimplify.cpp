#include "simplify/SymbolicExprSimplify.hpp"

#include <boost/container/flat_set.hpp>
#include <boost/container/small_vector.hpp>
#include <functional>

#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

namespace {

// Runs passes and hands every result on; returns their number.
template <class OnResult>
std::size_t runPasses(SymbolicExprTable& aTable, std::size_t aMaxIterations, SymbolicExprId aId,
                      OnResult aOnResult) {
  aTable.get(aId);  // an unknown id changes nothing
  // Without them, true, false and "no result" would be one id.
  if (aTable.getIdTRUE() == invalidSymbolicExprId) aTable.addBoolSymbols();
  if (detail::Digests::isSimplified(aTable, aId)) {
    aOnResult(aId);
    return 1;
  }
  SymbolicExprSimplifyVisitor visitor(aTable);
  boost::container::flat_set<SymbolicExprId, std::less<SymbolicExprId>,
                             boost::container::small_vector<SymbolicExprId, 12>>
      seen;
  SymbolicExprId current = aId;
  std::size_t passes = 0;
  for (;;) {
    seen.insert(current);
    const SymbolicExprId result = visitor.pass(current);
    ++passes;
    aOnResult(result);
    const bool isFixed = result == current;
    const bool isConstant = result == aTable.getIdFALSE() || result == aTable.getIdTRUE();
    if (isFixed || isConstant || seen.contains(result) || passes >= aMaxIterations) return passes;
    current = result;
  }
}

}  // namespace

SymbolicExprSimplify::SymbolicExprSimplify(SymbolicExprTable& aTable, std::size_t aMaxIterations)
    : table(aTable), maxIterations(aMaxIterations) {}

SymbolicExprId SymbolicExprSimplify::simplify(SymbolicExprId aId, std::size_t& aIterations) const {
  SymbolicExprId last = invalidSymbolicExprId;
  aIterations =
      runPasses(table, maxIterations, aId, [&](SymbolicExprId aResult) { last = aResult; });
  return last;
}

std::vector<SymbolicExprId> SymbolicExprSimplify::explain(SymbolicExprId aId) const {
  std::vector<SymbolicExprId> results;
  runPasses(table, maxIterations, aId, [&](SymbolicExprId aResult) { results.push_back(aResult); });
  return results;
}

}  // namespace KS
