// Moving divisions outward.
#pragma once

#include <functional>

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Rewrites sums, differences, remainders, products and quotients so that each has at most one
/// division, at its top: a + b / c becomes (a * c + b) / c. Purely structural: nothing is cancelled
/// or checked for zero, and the value stays only where the divisions are exact. Borrows the table.
/// Costs time in distinct nodes.
class KS_API SymbolicExprFactorDivision {
 public:
  /// Reads and writes `aTable`.
  explicit SymbolicExprFactorDivision(SymbolicExprTable& aTable) : table(&aTable) {}

  /// The id of the factored expression; `aId` itself if there is nothing to move. Throws
  /// `std::out_of_range` for an id that is not in the table.
  SymbolicExprId factorDivision(SymbolicExprId aId) const;

 private:
  SymbolicExprTable* table;
};

/// The rebuilding visitor behind `SymbolicExprFactorDivision`.
class KS_API SymbolicExprFactorDivisionVisitor : public SymbolicExprXFormVisitor {
 public:
  /// Reads and writes `aTable`.
  explicit SymbolicExprFactorDivisionVisitor(SymbolicExprTable& aTable);
  ~SymbolicExprFactorDivisionVisitor() override;

  using SymbolicExprXFormVisitor::visit;
  void visit(const SymbolicPlusExpr& aExpr) override;
  void visit(const SymbolicMinusExpr& aExpr) override;
  void visit(const SymbolicMultiplyExpr& aExpr) override;
  void visit(const SymbolicDivideExpr& aExpr) override;
  void visit(const SymbolicModuloExpr& aExpr) override;

  /// Takes two operands, the right one on top, brings them to a common denominator, and pushes what
  /// `make` gives for the numerators, divided by it. Throws `std::bad_function_call` if `make` is
  /// empty.
  void factorDivision(const std::function<SymbolicExprId(SymbolicExprId, SymbolicExprId)>& make);

 private:
  struct Fraction;
  KS_HIDDEN Fraction popFraction();
  KS_HIDDEN SymbolicExprId times(SymbolicExprId aLeft, SymbolicExprId aRight) const;
  KS_HIDDEN void pushQuotient(SymbolicExprId aNumerator, SymbolicExprId aDenominator);
};

}  // namespace KS
