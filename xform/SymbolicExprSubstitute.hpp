// Values put in place of what they are bound to.
#pragma once

#include "base/SymbolicExprTable.hpp"
#include "eval/SymbolicExprBindings.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Leaves of an expression what values do not decide: every value stands in place of the symbol or
/// other node that it is bound to, and a node all of whose inputs are constant is replaced by its
/// value as `SymbolicExprEval` computes it. A constant operand of a conjunction or disjunction
/// becomes "true" or "false". Simplified, the result is the residual of a condition.
///
/// The result has the value, or the error, of the original with these bindings, whatever is bound
/// in addition, other than "true" and "false"; where registered values lead back to themselves it
/// has some error. So
/// - a symbol for which a value is registered is replaced as well, by what becomes of that value,
///   unless it leads back to itself;
/// - a call or a member access that is not bound stays as it is, with all that stands in it, since
///   whoever binds it later binds this very node. Functions of M syntax that mean operators are to
///   be turned into these first (`SymbolicExprM2C`);
/// - a node whose value would be an error stays, over its constant operands.
///
/// Borrows the table. Costs time and memory in distinct nodes; depth is limited by memory alone.
///
///     bindings.set("A", 1);
///     SymbolicExprSubstitute(table)(parse("A && B"), bindings);          // true && B
///     SymbolicExprSubstitute(table)(parse("A + 1.5 > 2 && B"), bindings);  // true && B
class KS_API SymbolicExprSubstitute {
 public:
  /// Reads and writes `aTable`.
  explicit SymbolicExprSubstitute(SymbolicExprTable& aTable) : table(&aTable) {}

  /// The id of what is left of the expression. Throws `std::out_of_range` for an id, or a
  /// registered value that is needed, that is not in the table, and `std::invalid_argument` for
  /// bindings of another table.
  SymbolicExprId operator()(SymbolicExprId aId, const SymbolicExprBindings& aBindings) const;

 private:
  SymbolicExprTable* table;
};

}  // namespace KS
