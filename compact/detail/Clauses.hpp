// Sets of clauses, and their algebraic division.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "compact/detail/Formulas.hpp"

namespace KS::detail {

/// The disjunction of its members, which are in ascending order.
using Clause = Formulas::List;

/// Two sets of clauses stand for the clauses that have all members of one of the first and of one
/// of the second: `(a || b)` with `(c)` and `(d)` for `(a || b || c) && (a || b || d)`, which is
/// `a || b || c && d`.
struct Factors {
  std::vector<Clause> quotient, divisor;
  /// The literals saved by writing the two in place of the clauses.
  std::size_t saved = 0;
};

/// The conjunction of clauses, none of which implies another.
class Clauses {
 public:
  /// Takes clauses, each without repeated members, and drops those that others imply. Work is added
  /// to a count; beyond its limit, implied clauses may stay.
  Clauses(const Formulas& aFormulas, std::vector<Clause> aClauses, std::size_t& aWork,
          std::size_t aMaxWork);

  /// The best of the divisors that are tried, with the quotient; nothing is saved where there is
  /// none, or the work is beyond its limit. Tried are kernels: what is left of the clauses with a
  /// certain member without the members they all have, for those members that promise most; and of
  /// each of these what is left by its own most promising member, and so on.
  Factors bestFactors();
  /// Removes the clauses that two factors stand for. Returns false, and changes nothing, where they
  /// are not all there: division goes by hashes.
  bool remove(const Factors& aFactors);

  const std::vector<Clause>& get() const { return clauses; }

 private:
  struct Promise {
    Formula member;
    std::size_t literals;  // that are saved by taking it out alone
  };
  using Places = std::vector<std::uint32_t>;

  void dropImplied();
  void file();
  bool mayWork(std::size_t aSteps);
  const Places& placesOf(Formula aMember) const;
  const Places& fewestPlaces(const Clause& aClause) const;
  std::vector<Promise> promises(const std::vector<Clause>& aClauses, std::size_t aMost);
  std::vector<Clause> kernel(const std::vector<Clause>& aClauses, Formula aMember);
  std::vector<Clause> divide(const std::vector<Clause>& aDivisor);
  Factors factors(std::vector<Clause> aDivisor);
  void improve(Factors& aFactors);
  std::size_t literals(const std::vector<Clause>& aClauses) const;
  std::size_t saved(const std::vector<Clause>& aQuotient,
                    const std::vector<Clause>& aDivisor) const;

  const Formulas& formulas;
  std::vector<Clause> clauses;
  std::vector<std::uint64_t> hashes;                        // of the clauses
  boost::unordered_flat_map<std::uint32_t, Places> places;  // by code of member, ascending
  boost::unordered_flat_map<std::uint64_t, std::uint32_t> byHash;
  std::size_t& work;
  std::size_t maxWork;
};

}  // namespace KS::detail
