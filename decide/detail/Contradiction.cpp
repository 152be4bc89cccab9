#include "decide/detail/Contradiction.hpp"

#include <algorithm>

#include "decide/detail/HittingSet.hpp"

namespace KS::Decide::detail {

Search::Result Contradiction::run(const Set& aPlaces) {
  std::vector<Literal> assumptions;
  for (const std::size_t place : aPlaces) assumptions.push_back(literals[place]);
  return search.run(assumptions, limit);
}

// Those of the places that the last search, which found them impossible, made use of.
Contradiction::Set Contradiction::causes(const Set& aPlaces) {
  Set result;
  for (const std::size_t place : aPlaces) {
    if (search.isCause(literals[place])) result.push_back(place);
  }
  return result;
}

bool Contradiction::find() {
  Set all(literals.size());
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
  if (run(all) != Search::Impossible) return false;
  core = causes(all);
  leaveOut();
  shortest = core.size() < 2 && minimal;
  if (!shortest) findShortest();
  return true;
}

// Leaves out one after the other, the last first, as long as the others exclude each other.
void Contradiction::leaveOut() {
  minimal = true;
  Set needed;
  while (!core.empty()) {
    const std::size_t tried = core.back();
    core.pop_back();
    Set others = core;
    others.insert(others.end(), needed.begin(), needed.end());
    std::sort(others.begin(), others.end());
    const Search::Result result = run(others);
    if (result == Search::Impossible) {
      // The causes contain all that is needed.
      core = causes(others);
      core.erase(std::remove_if(core.begin(), core.end(),
                                [&](std::size_t aPlace) {
                                  return std::binary_search(needed.begin(), needed.end(), aPlace);
                                }),
                 core.end());
      continue;
    }
    if (result == Search::Exhausted) minimal = false;
    needed.insert(std::lower_bound(needed.begin(), needed.end(), tried), tried);
  }
  core = needed;
}

// The rest of a set that can hold together after it was made as large as possible: every
// contradiction contains one of these.
Contradiction::Set Contradiction::restOfGrown(Set aPossible) {
  std::vector<char> isIn(literals.size(), 0);
  const auto takeAllThatHold = [&] {
    for (std::size_t i = 0; i < literals.size(); ++i) {
      if (isIn[i] != 0 || !search.holds(literals[i])) continue;
      isIn[i] = 1;
      aPossible.push_back(i);
    }
  };
  for (const std::size_t place : aPossible) isIn[place] = 1;
  takeAllThatHold();
  for (std::size_t i = 0; i < literals.size(); ++i) {
    if (isIn[i] != 0) continue;
    aPossible.push_back(i);
    if (run(aPossible) == Search::Found) {
      isIn[i] = 1;
      takeAllThatHold();
    } else {
      aPossible.pop_back();
    }
  }
  Set rest;
  for (std::size_t i = 0; i < literals.size(); ++i) {
    if (isIn[i] == 0) rest.push_back(i);
  }
  return rest;
}

// Implicit hitting sets: a contradiction contains an element of the rest of every set that can hold
// together. A smallest choice of such elements that cannot hold together is a smallest
// contradiction; one that can gives another rest.
void Contradiction::findShortest() {
  HittingSet hitting(literals.size(), limit);
  std::int64_t rounds = limit;
  while (rounds-- > 0) {
    const auto chosen = hitting.smallest(core.size() - 1);
    if (!chosen) {
      shortest = minimal && hitting.isExact();
      return;
    }
    const Search::Result result = run(*chosen);
    if (result == Search::Impossible) {
      core = *chosen;
      minimal = shortest = true;
      return;
    }
    if (result != Search::Found) return;
    hitting.add(restOfGrown(*chosen));
  }
}

}  // namespace KS::Decide::detail
