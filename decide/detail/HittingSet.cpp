#include "decide/detail/HittingSet.hpp"

#include <algorithm>
#include <utility>

namespace KS::Decide::detail {

std::optional<HittingSet::Set> HittingSet::smallest(std::size_t aMost) {
  for (; least <= aMost; ++least) {
    std::fill(isTaken.begin(), isTaken.end(), char{0});
    std::fill(isExcluded.begin(), isExcluded.end(), char{0});
    taken.clear();
    if (meetAll(least)) {
      Set result = taken;
      std::sort(result.begin(), result.end());
      return result;
    }
    if (!isExact()) break;
  }
  return std::nullopt;
}

bool HittingSet::meetAll(std::size_t aMost) {
  // The elements of a set that is not met are taken one after the other; those before `next` were,
  // and are left out from then on, until the branch ends.
  struct Branch {
    const Set* set;
    std::size_t next;
    std::size_t firstExcluded;
  };
  std::vector<Branch> branches;
  Set excluded;
  std::vector<char> isUsed(isTaken.size(), 0);
  // The set with the fewest elements left among those that are not met, null if there is none; and
  // whether so many of them have nothing in common that `aRoom` elements cannot meet them.
  const auto choose = [&](std::size_t aRoom, bool& aIsHopeless) {
    const Set* best = nullptr;
    std::size_t bestCount = 0, disjoint = 0;
    std::fill(isUsed.begin(), isUsed.end(), char{0});
    for (const Set& set : sets) {
      std::size_t count = 0;
      bool isMet = false, isDisjoint = true;
      for (const std::size_t element : set) {
        if (isTaken[element] != 0) isMet = true;
        if (isExcluded[element] != 0) continue;
        ++count;
        if (isUsed[element] != 0) isDisjoint = false;
      }
      if (isMet) continue;
      if (isDisjoint) {
        ++disjoint;
        for (const std::size_t element : set) isUsed[element] = 1;
      }
      if (best == nullptr || count < bestCount) {
        best = &set;
        bestCount = count;
      }
    }
    aIsHopeless = disjoint > aRoom || (best != nullptr && bestCount == 0);
    return best;
  };
  bool isDeeper = true;
  for (;;) {
    if (isDeeper) {
      if (--steps <= 0) return false;
      bool isHopeless = false;
      const Set* set = choose(aMost - taken.size(), isHopeless);
      if (set == nullptr) return true;
      if (!isHopeless) branches.push_back({set, 0, excluded.size()});
    }
    if (branches.empty()) return false;
    Branch& branch = branches.back();
    if (taken.size() == branches.size()) {
      const std::size_t element = taken.back();
      taken.pop_back();
      isTaken[element] = 0;
      isExcluded[element] = 1;
      excluded.push_back(element);
    }
    const Set& set = *branch.set;
    while (branch.next < set.size() && isExcluded[set[branch.next]] != 0) ++branch.next;
    if (branch.next == set.size()) {
      for (; excluded.size() > branch.firstExcluded; excluded.pop_back()) {
        isExcluded[excluded.back()] = 0;
      }
      branches.pop_back();
      isDeeper = false;
      continue;
    }
    const std::size_t element = set[branch.next++];
    taken.push_back(element);
    isTaken[element] = 1;
    isDeeper = true;
  }
}

}  // namespace KS::Decide::detail
