// Simplification of an expression to a canonical form.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "base/SymbolicExprTable.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

class SymbolicExprSimplifyVisitor;

/// Rewrites expressions into simpler, canonical ones of the same table: passes run until the result
/// stops changing, becomes one of the table's boolean symbols, repeats an earlier result, or the
/// limit is reached. Borrows the table; adds its boolean symbols if it has none yet. Several
/// expressions are simplified faster by one object: it keeps what operands are ordered by.
///
/// The result depends on the expression alone. It has the value of the expression for all finite
/// values of its symbols, but where
/// - integers are divided, or literals fold beyond 32 bits (`x/x` becomes 1, `6*(x/3)` becomes
/// 2*x);
/// - two operands of relations are not equal but closer than 2^-26, the tolerance of evaluation:
///   relations are paired as exact comparison has it, so `x > 2 && (x == 2 || v == 1)` becomes
///   `v == 1 && x > 2`, which differs at x = 2.0000000001;
/// - a conjunction, disjunction or negation is taken for a number, by whoever evaluates the result
///   or by a relation or an operation over it. Only whether it holds stays: `(a && true) == 1`
///   becomes `a == 1`, which differs at a = 5.
///
/// A conjunction is distributed over the disjunctions among its operands where that gives at most
/// 1,024 disjuncts with at most 65,536 literals in all, counted before anything is absorbed; else
/// the disjunctions stay operands.
class KS_API SymbolicExprSimplify {
 public:
  /// `aMaxIterations` is the most passes that one call may run; 0 still runs one.
  SymbolicExprSimplify(SymbolicExprTable& aTable, std::size_t aMaxIterations);
  /// One for the same table, with the same limit.
  SymbolicExprSimplify(const SymbolicExprSimplify& aOther);
  ~SymbolicExprSimplify();

  /// The id of the simplified expression. Writes the number of passes that were run, at least 1.
  /// Throws `std::out_of_range` for an id that is not in the table, and `std::length_error` where
  /// conjunctions of more than 16,777,216 literals in all would have to be distributed or texts of
  /// 256 MiB to be compared.
  SymbolicExprId simplify(SymbolicExprId aId, std::size_t& aIterations) const;

  /// The id that `simplify` gives for the conjunction of the two. Mostly the conjunction as it
  /// stands is not interned for it. Throws as `simplify` does.
  SymbolicExprId conjunction(SymbolicExprId aLeft, SymbolicExprId aRight) const;

  /// The result of every pass in order; the last is the answer that `simplify` gives. Throws as
  /// `simplify` does.
  std::vector<SymbolicExprId> explain(SymbolicExprId aId) const;

 private:
  KS_HIDDEN void addBoolSymbols() const;
  template <class Use>
  auto withVisitor(Use aUse) const;
  template <class OnResult>
  std::size_t runPasses(SymbolicExprId aId, OnResult aOnResult) const;

  SymbolicExprTable& table;
  std::size_t maxIterations;
  mutable std::unique_ptr<SymbolicExprSimplifyVisitor> visitor;  // between calls, if there was one
};

}  // namespace KS
