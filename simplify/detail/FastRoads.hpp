// The mechanisms of simplification that save time and change no result.
#pragma once

#include <array>
#include <cstddef>

namespace KS::detail {

enum class FastRoad {
  KnownFinal,          ///< `FinalNodes`: what no rule changes is not entered again
  DisjointJoin,        ///< `DisjointJoin`: conjunctions without a common subject are merged
  SetDistribution,     ///< `distributeSets`: conjunctions are distributed as sets of factors
  GrowingConjunction,  ///< `GrowingConjunction`: a long conjunction stays taken apart
  ThinnedRelations     ///< `RelationPairs`: many relations are thinned out before they pair
};

/// Which of them are open, and how often each was taken. All are open; a test closes some and
/// compares what the general road gives.
class FastRoads {
 public:
  bool isOpen(FastRoad aRoad) const { return !isClosed[index(aRoad)]; }
  void close(FastRoad aRoad) { isClosed[index(aRoad)] = true; }
  void took(FastRoad aRoad) { ++counts[index(aRoad)]; }
  std::size_t taken(FastRoad aRoad) const { return counts[index(aRoad)]; }

 private:
  static constexpr std::size_t index(FastRoad aRoad) { return static_cast<std::size_t>(aRoad); }
  static constexpr std::size_t numRoads = 5;
  std::array<bool, numRoads> isClosed{};
  std::array<std::size_t, numRoads> counts{};
};

}  // namespace KS::detail
