#include "base/SymbolicExprCopy.hpp"

#include "base/detail/Walk.hpp"

namespace KS {

namespace {

// The rebuilding base as it is: a copy overrides nothing.
class SymbolicExprCopyVisitor final : public SymbolicExprXFormVisitor {
 public:
  using SymbolicExprXFormVisitor::SymbolicExprXFormVisitor;
};

}  // namespace

SymbolicExprCopy::SymbolicExprCopy(const SymbolicExprTable& aSource, SymbolicExprTable& aTarget)
    : source(aSource), target(aTarget) {}

SymbolicExprId SymbolicExprCopy::operator()(SymbolicExprId aId) const {
  SymbolicExprCopyVisitor visitor(target);
  return detail::Rebuild::run(source, aId, visitor);
}

}  // namespace KS
