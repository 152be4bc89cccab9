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

/// Factors formulas. One object serves one formula at a time and keeps count of its work: from a
/// limit on, what is left stays as it is.
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

  // About a second's work.
  static constexpr std::size_t maxWork = std::size_t{1} << 27;

  Formulas& formulas;
  boost::unordered_flat_map<SymbolicExprId, SymbolicExprId> results;
  std::size_t work = 0;
};

}  // namespace KS::detail
