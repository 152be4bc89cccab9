// The ways to pick a member of each of several lists.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>

#include "simplify/detail/Operands.hpp"

namespace KS::detail {

/// Lists of operands, one behind the other.
struct Lists {
  Ids members;
  boost::container::small_vector<std::size_t, 3> ends;  ///< Where the members of each list end.

  /// Ends a list that has what came since the last one.
  void end() { ends.push_back(members.size()); }
  std::size_t lastEnd() const { return ends.empty() ? 0 : ends.back(); }
};

/// Calls `aUse` with every way to pick a member of each list, by their places, until it returns
/// false. Returns whether it never did. No list is empty.
template <class Use>
bool forEachPick(const Lists& aLists, Use aUse) {
  const auto& ends = aLists.ends;
  const auto start = [&ends](std::size_t aList) { return aList == 0 ? 0 : ends[aList - 1]; };
  boost::container::small_vector<std::size_t, 4> picks;
  for (std::size_t list = 0; list < ends.size(); ++list) picks.push_back(start(list));
  for (std::size_t list = 0; list < ends.size();) {
    if (!aUse(picks)) return false;
    for (list = 0; list < ends.size() && ++picks[list] == ends[list]; ++list) {
      picks[list] = start(list);
    }
  }
  return true;
}

}  // namespace KS::detail
