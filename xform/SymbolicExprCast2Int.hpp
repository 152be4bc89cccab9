// Replacing real literals by integers.
#pragma once

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Turns an expression into one without real literals: each becomes the nearest integer, and
/// everything else is rebuilt as it was. Borrows the table. Costs time in distinct nodes.
///
///     SymbolicExprCast2Int(table).cast2Int(parse("N / 2.0"));  // N / 2
class KS_API SymbolicExprCast2Int {
 public:
  /// Reads and writes `aTable`.
  explicit SymbolicExprCast2Int(SymbolicExprTable& aTable) : table(&aTable) {}

  /// The id of the expression with integers; `aId` itself if it holds no real literal. Throws
  /// `std::out_of_range` for an id that is not in the table.
  SymbolicExprId cast2Int(SymbolicExprId aId) const;

 private:
  SymbolicExprTable* table;
};

/// The rebuilding visitor behind `SymbolicExprCast2Int`.
class KS_API SymbolicExprCast2IntVisitor : public SymbolicExprXFormVisitor2 {
 public:
  using SymbolicExprXFormVisitor2::SymbolicExprXFormVisitor2;
  ~SymbolicExprCast2IntVisitor() override;

  /// Interns the integer nearest to `aValue`, halves away from zero; what rounds to no 32-bit
  /// integer, and NaN, gives -2147483648.
  SymbolicExprId makeSymbolicDoubleValue(double aValue) override;
};

}  // namespace KS
