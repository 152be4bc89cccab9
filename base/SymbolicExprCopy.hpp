// Copying an expression from one table into another.
#pragma once

#include "base/SymbolicExprTable.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Copies expressions between tables. Borrows both. Costs time in the expression's distinct nodes.
class KS_API SymbolicExprCopy {
 public:
  /// Copies from `aSource` into `aTarget`; they may be the same table.
  SymbolicExprCopy(const SymbolicExprTable& aSource, SymbolicExprTable& aTarget);

  /// The id in the target of an expression structurally equal to the source's `aId`. New nodes are
  /// interned inputs first, left to right. Throws `std::out_of_range` for an unknown id.
  SymbolicExprId operator()(SymbolicExprId aId) const;

 private:
  const SymbolicExprTable& source;
  SymbolicExprTable& target;
};

}  // namespace KS
