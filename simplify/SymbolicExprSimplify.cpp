#include "simplify/SymbolicExprSimplify.hpp"

#include <boost/container/flat_set.hpp>
#include <boost/container/small_vector.hpp>
#include <functional>
#include <optional>
#include <utility>

#include "base/detail/Intern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

SymbolicExprSimplify::SymbolicExprSimplify(SymbolicExprTable& aTable, std::size_t aMaxIterations)
    : table(aTable), maxIterations(aMaxIterations) {}
SymbolicExprSimplify::SymbolicExprSimplify(const SymbolicExprSimplify& aOther)
    : SymbolicExprSimplify(aOther.table, aOther.maxIterations) {}
SymbolicExprSimplify::~SymbolicExprSimplify() = default;

// Without them, true, false and "no result" would be one id.
void SymbolicExprSimplify::addBoolSymbols() const {
  if (table.getIdTRUE() == invalidSymbolicExprId) table.addBoolSymbols();
}

// What `aUse` makes of the visitor that is kept between calls. Where it throws, the visitor is not
// used again.
template <class Use>
auto SymbolicExprSimplify::withVisitor(Use aUse) const {
  std::unique_ptr<SymbolicExprSimplifyVisitor> used = std::move(visitor);
  if (used == nullptr) used = std::make_unique<SymbolicExprSimplifyVisitor>(table);
  const auto result = aUse(*used);
  used->restart();
  visitor = std::move(used);
  return result;
}

// Runs passes and hands every result on; returns their number.
template <class OnResult>
std::size_t SymbolicExprSimplify::runPasses(SymbolicExprId aId, OnResult aOnResult) const {
  table.get(aId);  // an unknown id changes nothing
  addBoolSymbols();
  return withVisitor([&](SymbolicExprSimplifyVisitor& aVisitor) {
    boost::container::flat_set<SymbolicExprId, std::less<SymbolicExprId>,
                               boost::container::small_vector<SymbolicExprId, 12>>
        seen;
    SymbolicExprId current = aId;
    for (std::size_t passes = 1;; ++passes) {
      seen.insert(current);
      const SymbolicExprId result = aVisitor.pass(current);
      aOnResult(result);
      const bool isFixed = result == current;
      const bool isConstant = result == table.getIdFALSE() || result == table.getIdTRUE();
      if (isFixed || isConstant || seen.contains(result) || passes >= maxIterations) return passes;
      current = result;
    }
  });
}

SymbolicExprId SymbolicExprSimplify::simplify(SymbolicExprId aId, std::size_t& aIterations) const {
  SymbolicExprId last = invalidSymbolicExprId;
  aIterations = runPasses(aId, [&](SymbolicExprId aResult) { last = aResult; });
  return last;
}

SymbolicExprId SymbolicExprSimplify::conjunction(SymbolicExprId aLeft,
                                                 SymbolicExprId aRight) const {
  table.get(aLeft);
  table.get(aRight);
  addBoolSymbols();
  const std::optional<SymbolicExprId> result = withVisitor(
      [&](SymbolicExprSimplifyVisitor& aVisitor) { return aVisitor.conjoin(aLeft, aRight); });
  if (result) return *result;
  std::size_t passes = 0;
  return simplify(detail::intern<SymbolicAndExpr>(table, aLeft, aRight), passes);
}

std::vector<SymbolicExprId> SymbolicExprSimplify::explain(SymbolicExprId aId) const {
  std::vector<SymbolicExprId> results;
  runPasses(aId, [&](SymbolicExprId aResult) { results.push_back(aResult); });
  return results;
}

}  // namespace KS
