// The smallest sets of conditions that cannot hold together.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "decide/detail/Search.hpp"

namespace KS::Decide::detail {

/// Looks for the fewest of some literals that cannot hold together.
class Contradiction {
 public:
  /// Borrows the search, whose problem the literals belong to. Each search of its own may take
  /// `aConflicts` conflicts, and so may the choice of sets.
  Contradiction(Search& aSearch, std::vector<Literal> aLiterals, std::int64_t aConflicts)
      : search(aSearch), literals(std::move(aLiterals)), limit(aConflicts) {}

  /// Finds a set; false where the literals can hold together, or where that is open.
  bool find();
  /// The places of the literals in the set, ascending.
  const std::vector<std::size_t>& places() const { return core; }
  /// Whether none can be left out, and whether no other set has fewer: as far as it is proven.
  bool isMinimal() const { return minimal; }
  bool isShortest() const { return shortest; }

 private:
  using Set = std::vector<std::size_t>;
  Search::Result run(const Set& aPlaces);
  Set causes(const Set& aPlaces);
  void leaveOut();
  void findShortest();
  Set restOfGrown(Set aPossible);

  Search& search;
  std::vector<Literal> literals;
  std::int64_t limit;
  Set core;
  bool minimal = false;
  bool shortest = false;
};

}  // namespace KS::Decide::detail
