#include "xform/SymbolicExprCast2Int.hpp"

#include <cmath>

#include "base/detail/Walk.hpp"
#include "eval/Eval.hpp"

namespace KS {

SymbolicExprId SymbolicExprCast2Int::cast2Int(SymbolicExprId aId) const {
  SymbolicExprCast2IntVisitor visitor(*table);
  return detail::Rebuild::run(*table, aId, visitor);
}

SymbolicExprCast2IntVisitor::~SymbolicExprCast2IntVisitor() = default;

SymbolicExprId SymbolicExprCast2IntVisitor::makeSymbolicDoubleValue(double aValue) {
  return makeSymbolicIntValue(Eval::Scalar(std::round(aValue)).toInt());
}

}  // namespace KS
