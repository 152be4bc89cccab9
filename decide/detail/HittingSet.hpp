// The smallest sets that meet each of some others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KS::Decide::detail {

/// Finds the fewest elements that meet each of the sets that were added, by branch and bound: it
/// takes an element of a set that is not met, one after the other, and gives up where sets without
/// a common element show that too many more are needed.
class HittingSet {
 public:
  using Set = std::vector<std::size_t>;

  /// Elements are numbered from 0 to `aElements - 1`. At most `aSteps` branches are tried in all.
  HittingSet(std::size_t aElements, std::int64_t aSteps)
      : isTaken(aElements, 0), isExcluded(aElements, 0), steps(aSteps) {}

  /// Adds a set that is to be met.
  void add(Set aSet) { sets.push_back(std::move(aSet)); }
  /// A smallest set, ascending, if it has at most `aMost` elements; nothing if it has more, or if
  /// the steps were not enough to tell.
  std::optional<Set> smallest(std::size_t aMost);
  /// Whether the steps were enough so far.
  bool isExact() const { return steps > 0; }

 private:
  bool meetAll(std::size_t aMost);

  std::vector<Set> sets;
  std::vector<char> isTaken;
  std::vector<char> isExcluded;
  Set taken;
  std::size_t least = 0;  // no set has fewer elements: more sets never make it smaller
  std::int64_t steps;
};

}  // namespace KS::Decide::detail
