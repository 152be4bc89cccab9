#include "tools/Nearest.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "tools/Text.hpp"

namespace ksexpr {

namespace {

// What it costs to change a character into another case, and to insert, remove or replace one.
constexpr std::size_t caseCost = 1;
constexpr std::size_t editCost = 4;

char lower(char aByte) {
  return aByte >= 'A' && aByte <= 'Z' ? static_cast<char>(aByte + ('a' - 'A')) : aByte;
}

// The cost of turning one text into the other; no less than `aLimit` where it is at least that.
std::size_t distance(std::string_view aLeft, std::string_view aRight, std::size_t aLimit) {
  const std::size_t longer = std::max(aLeft.size(), aRight.size());
  const std::size_t shorter = std::min(aLeft.size(), aRight.size());
  if ((longer - shorter) * editCost >= aLimit) return aLimit;
  std::vector<std::size_t> row(aRight.size() + 1);
  for (std::size_t j = 0; j < row.size(); ++j) row[j] = j * editCost;
  for (std::size_t i = 0; i < aLeft.size(); ++i) {
    std::size_t diagonal = row[0];
    std::size_t least = row[0] = (i + 1) * editCost;
    for (std::size_t j = 0; j < aRight.size(); ++j) {
      const std::size_t change = aLeft[i] == aRight[j]                 ? 0
                                 : lower(aLeft[i]) == lower(aRight[j]) ? caseCost
                                                                       : editCost;
      const std::size_t best = std::min(diagonal + change, std::min(row[j], row[j + 1]) + editCost);
      diagonal = std::exchange(row[j + 1], best);
      least = std::min(least, best);
    }
    if (least >= aLimit) return aLimit;
  }
  return row.back();
}

}  // namespace

std::vector<std::string_view> nearest(std::string_view aName,
                                      const std::vector<std::string_view>& aNames,
                                      std::size_t aCount) {
  // A file's text may be anything; what is longer than a name ever is has no near one.
  constexpr std::size_t maxLength = 200;
  std::vector<std::pair<std::size_t, std::string_view>> found;
  if (aName.size() <= maxLength) {
    const std::size_t limit = aName.size() * editCost / 2 + editCost / 2;
    for (const std::string_view name : aNames) {
      const std::size_t cost = distance(aName, name, limit);
      if (cost < limit) found.emplace_back(cost, name);
    }
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string_view> names;
  for (const auto& [cost, name] : found) {
    if (names.size() == aCount) break;
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  return names;
}

std::string didYouMean(std::string_view aName, const std::vector<std::string_view>& aNames,
                       std::size_t aCount) {
  std::string text;
  for (const std::string_view name : nearest(aName, aNames, aCount)) {
    text += (text.empty() ? "; did you mean \"" : ", \"") + shortened(name) + '"';
  }
  return text.empty() ? text : text + '?';
}

}  // namespace ksexpr
