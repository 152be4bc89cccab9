// From the operators of C syntax to the functions of M syntax.
#pragma once

#include <array>

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Turns division, remainder, the bit operations and the shifts into calls of "idivide", "rem",
/// "bitand", "bitor", "bitxor", "bitcmp" and "bitshift"; everything else is rebuilt as it is. A
/// shift right becomes a shift by a negative count. Borrows the table. Costs time in distinct
/// nodes.
class KS_API SymbolicExprC2M {
 public:
  /// Reads and writes `aTable`.
  explicit SymbolicExprC2M(SymbolicExprTable& aTable) : table(&aTable) {}

  /// The id of the converted expression. Throws `std::out_of_range` for an id that is not in the
  /// table.
  SymbolicExprId operator()(SymbolicExprId aId) const;

 private:
  SymbolicExprTable* table;
};

/// The rebuilding visitor behind `SymbolicExprC2M`.
class KS_API SymbolicExprC2MVisitor : public SymbolicExprXFormVisitor {
 public:
  /// Reads and writes `aTable`; interns the seven function names in it.
  explicit SymbolicExprC2MVisitor(SymbolicExprTable& aTable);
  ~SymbolicExprC2MVisitor() override;

  using SymbolicExprXFormVisitor::visit;
  void visit(const SymbolicDivideExpr& aExpr) override;
  void visit(const SymbolicModuloExpr& aExpr) override;
  void visit(const SymbolicBitAndExpr& aExpr) override;
  void visit(const SymbolicBitOrExpr& aExpr) override;
  void visit(const SymbolicBitXOrExpr& aExpr) override;
  void visit(const SymbolicBitComplExpr& aExpr) override;
  void visit(const SymbolicShiftLeftExpr& aExpr) override;
  void visit(const SymbolicShiftRightExpr& aExpr) override;

 private:
  KS_HIDDEN void pushCall(SymbolicOp aOp);

  std::array<SymbolicExprId, 7> names;
};

}  // namespace KS
