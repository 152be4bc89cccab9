#include "simplify/SymbolicExprSimplify.hpp"

#include <boost/container/flat_set.hpp>
#include <boost/container/small_vector.hpp>
#include <functional>
#include <utility>

#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

SymbolicExprSimplify::SymbolicExprSimplify(SymbolicExprTable& aTable, std::size_t aMaxIterations)
    : table(aTable), maxIterations(aMaxIterations) {}
SymbolicExprSimplify::SymbolicExprSimplify(const SymbolicExprSimplify& aOther)
    : SymbolicExprSimplify(aOther.table, aOther.maxIterations) {}
SymbolicExprSimplify::~SymbolicExprSimplify() = default;

// Runs passes and hands every result on; returns their number.
template <class OnResult>
std::size_t SymbolicExprSimplify::runPasses(SymbolicExprId aId, OnResult aOnResult) const {
  table.get(aId);  // an unknown id changes nothing
  // Without them, true, false and "no result" would be one id.
  if (table.getIdTRUE() == invalidSymbolicExprId) table.addBoolSymbols();
  if (detail::Digests::isSimplified(table, aId)) {
    aOnResult(aId);
    return 1;
  }
  // Where a pass throws, its visitor is not used again.
  std::unique_ptr<SymbolicExprSimplifyVisitor> running = std::move(visitor);
  if (running == nullptr) running = std::make_unique<SymbolicExprSimplifyVisitor>(table);
  boost::container::flat_set<SymbolicExprId, std::less<SymbolicExprId>,
                             boost::container::small_vector<SymbolicExprId, 12>>
      seen;
  SymbolicExprId current = aId;
  for (std::size_t passes = 1;; ++passes) {
    seen.insert(current);
    const SymbolicExprId result = running->pass(current);
    aOnResult(result);
    const bool isFixed = result == current;
    const bool isConstant = result == table.getIdFALSE() || result == table.getIdTRUE();
    if (isFixed || isConstant || seen.contains(result) || passes >= maxIterations) {
      running->restart();
      visitor = std::move(running);
      return passes;
    }
    current = result;
  }
}

SymbolicExprId SymbolicExprSimplify::simplify(SymbolicExprId aId, std::size_t& aIterations) const {
  SymbolicExprId last = invalidSymbolicExprId;
  aIterations = runPasses(aId, [&](SymbolicExprId aResult) { last = aResult; });
  return last;
}

std::vector<SymbolicExprId> SymbolicExprSimplify::explain(SymbolicExprId aId) const {
  std::vector<SymbolicExprId> results;
  runPasses(aId, [&](SymbolicExprId aResult) { results.push_back(aResult); });
  return results;
}

}  // namespace KS
