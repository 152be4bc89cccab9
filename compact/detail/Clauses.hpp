// Sets of clauses, and their algebraic division.
#pragma once

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <queue>
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

/// What the factoring of one formula has cost, in looks at members of clauses.
struct FactoringWork {
  std::size_t done = 0;
  /// Whether several divisors may be tried.
  bool isThorough() const { return done < std::size_t{1} << 24; }
  /// Whether anything may be tried: about a second's work.
  bool isAllowed() const { return done < std::size_t{1} << 27; }
};

/// The conjunction of clauses, none of which implies another.
class Clauses {
 public:
  /// Takes clauses, each without repeated members, and drops those that others imply.
  Clauses(const Formulas& aFormulas, std::vector<Clause> aClauses, FactoringWork& aWork);

  /// The best of the divisors that are tried, with the quotient; nothing is saved where there is
  /// none. Tried are kernels: what is left of the clauses with a certain member without the members
  /// they all have, for those members that promise most; and of each of these what is left by its
  /// own most promising member, and so on. The work is a small multiple of the size of the first.
  Factors bestFactors();
  /// Removes the clauses that two factors stand for. Returns false, and changes nothing, where they
  /// are not all there: division goes by hashes.
  bool remove(const Factors& aFactors);
  /// The clauses that were not removed.
  std::vector<Clause> rest() const;

 private:
  using Places = std::vector<std::uint32_t>;
  // A member, and how many literals are saved at least by taking it out alone. Counts only fall, so
  // what is kept may be more.
  struct Promise {
    std::size_t saved;
    Formula member;
    bool operator<(const Promise& aOther) const {
      return saved != aOther.saved ? saved < aOther.saved : aOther.member < member;
    }
  };
  // What is left of clauses with common members without these.
  struct Kernel {
    Clause common;
    std::vector<Clause> clauses;
  };

  void dropImplied();
  void drop(std::uint32_t aPlace);
  std::vector<Promise> takePromises(std::size_t aMost);
  Promise bestPromise(const std::vector<Clause>& aClauses);
  Kernel kernel(Formula aMember);
  Kernel kernel(const std::vector<Clause>& aClauses, Formula aMember);
  void removeCommon(Kernel& aKernel);
  const Places& fewestPlaces(const Clause& aClause) const;
  std::vector<Clause> divide(const std::vector<Clause>& aDivisor);
  Factors factors(const std::vector<Clause>& aDivisor);
  void improve(Factors& aFactors);
  std::size_t literals(const std::vector<Clause>& aClauses) const;
  std::size_t saved(const std::vector<Clause>& aQuotient,
                    const std::vector<Clause>& aDivisor) const;

  const Formulas& formulas;
  std::vector<Clause> clauses;
  std::vector<bool> isGone;
  std::vector<std::uint64_t> hashes;
  boost::unordered_flat_map<std::uint64_t, std::uint32_t> byHash;
  // By code of member: where it is, with clauses that are gone, and in how many it still is.
  boost::unordered_flat_map<std::uint32_t, Places> places;
  boost::unordered_flat_map<std::uint32_t, std::uint32_t> counts;
  std::priority_queue<Promise> promises;
  FactoringWork& work;
};

}  // namespace KS::detail
