// From the functions of M syntax to the operators of C syntax.
#pragma once

#include <array>

#include "base/SymbolicExprTable.hpp"
#include "base/SymbolicExprXFormVisitor.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Turns the calls of "idivide", "rem", "bitand", "bitor", "bitxor", "bitcmp" and "bitshift" with
/// their number of arguments into operators; everything else is rebuilt as it is. A shift by a
/// negative count becomes a shift right. Borrows the table. Costs time in distinct nodes.
class KS_API SymbolicExprM2C {
 public:
  /// Reads and writes `aTable`.
  explicit SymbolicExprM2C(SymbolicExprTable& aTable) : table(&aTable) {}

  /// The id of the converted expression. Throws `std::out_of_range` for an id that is not in the
  /// table.
  SymbolicExprId operator()(SymbolicExprId aId) const;

 private:
  SymbolicExprTable* table;
};

/// The rebuilding visitor behind `SymbolicExprM2C`.
class KS_API SymbolicExprM2CVisitor : public SymbolicExprXFormVisitor {
 public:
  /// Reads and writes `aTable`; interns the seven function names in it.
  explicit SymbolicExprM2CVisitor(SymbolicExprTable& aTable);
  ~SymbolicExprM2CVisitor() override;

  using SymbolicExprXFormVisitor::visit;
  void visit(const SymbolicFcnCall1UExpr& aExpr) override;
  void visit(const SymbolicFcnCall2UExpr& aExpr) override;

  /// Pushes the shift of `aValue` that "bitshift" by `aShift` means: to the right by the negation
  /// of a negative integer or by the operand of a negation, else to the left by the count as it is.
  void handleShift(SymbolicExprId aValue, SymbolicExprId aShift);

 private:
  std::array<SymbolicExprId, 7> names;
};

}  // namespace KS
