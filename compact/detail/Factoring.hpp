// Taking common factors out: algebraic division, best divisor first.
//
// The method is that of multi-level logic synthesis: R. K. Brayton, R. Rudell, A. Sangiovanni-
// Vincentelli, A. R. Wang, "MIS: A Multiple-Level Logic Optimization System", IEEE Transactions on
// CAD, 1987, where it is called good factoring; kernels and algebraic (weak) division are from
// R. K. Brayton and C. McMullen, "The Decomposition and Factorization of Boolean Expressions",
// ISCAS, 1982. Beside the factors of a disjunction of conjunctions, it takes those of a conjunction
// of disjunctions: with negations as they are stored here, the two are one case.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>

#include "base/detail/Walk.hpp"
#include "compact/detail/Clauses.hpp"
#include "compact/detail/Formulas.hpp"

namespace KS::detail {

/// Factors formulas of a pool. Keeps what it made of which node, and count of its work: beyond a
/// limit fewer divisors are tried, and in the end none.
class Factoring {
 public:
  explicit Factoring(Formulas& aFormulas) : formulas(aFormulas) {}

  /// The formula with factors taken out of every conjunction and disjunction in it. It has no more
  /// literals.
  Formula factor(Formula aFormula);

  // What the walk over the distinct nodes asks.
  SymbolicExprId known(SymbolicExprId aCode) const;
  template <class List>
  void appendOperands(SymbolicExprId aCode, List& aOperands);
  SymbolicExprId rewrite(SymbolicExprId aCode, const SymbolicExprId* aOperands, std::size_t aCount);

 private:
  Formulas::List extract(Formula aFormula);

  Formulas& formulas;
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> results;
  FactoringWork work;
};

}  // namespace KS::detail
