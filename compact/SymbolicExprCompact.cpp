#include "compact/SymbolicExprCompact.hpp"

#include <utility>

#include "compact/detail/Compactor.hpp"

namespace KS {

SymbolicExprCompact::SymbolicExprCompact(SymbolicExprTable& aTable, Implies aImplies)
    : compactor(std::make_unique<detail::Compactor>(aTable, std::move(aImplies))) {}
SymbolicExprCompact::~SymbolicExprCompact() = default;

SymbolicExprId SymbolicExprCompact::operator()(SymbolicExprId aNet) const {
  return compactor->compact(aNet);
}

SymbolicExprId SymbolicExprCompact::operator()(SymbolicExprId aNet,
                                               const std::vector<SymbolicExprId>& aPath) const {
  return compactor->compact(aNet, aPath);
}

std::size_t SymbolicExprCompact::countLiterals(SymbolicExprId aId) const {
  return compactor->countLiterals(aId);
}

}  // namespace KS
