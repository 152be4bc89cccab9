// The ways to pick a member of each of several lists.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>

#include "simplify/detail/Operands.hpp"

namespace KS::detail {

/// Lists of operands, none of them empty.
using Lists = boost::container::small_vector<Ids, 3>;

/// Calls `aUse` with every way to pick a member of each list, as a list of iterators, until it
/// returns false. Returns whether it never did.
template <class ManyLists, class Use>
bool forEachPick(const ManyLists& aLists, Use aUse) {
  boost::container::small_vector<typename ManyLists::value_type::const_iterator, 4> picks;
  for (const auto& members : aLists) picks.push_back(members.begin());
  for (std::size_t i = 0; i < picks.size();) {
    if (!aUse(picks)) return false;
    for (i = 0; i < picks.size() && ++picks[i] == aLists[i].end(); ++i)
      picks[i] = aLists[i].begin();
  }
  return true;
}

}  // namespace KS::detail
