// Names that somebody may have meant by one that does not exist.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ksexpr {

/// The names that are most alike to a name that is none of them: first by the number of characters
/// to insert, remove or replace, letters in the other case counting little, then in their given
/// order. At most `aCount`, and none that shares less than about half of its characters with it.
std::vector<std::string_view> nearest(std::string_view aName,
                                      const std::vector<std::string_view>& aNames,
                                      std::size_t aCount = 3);

/// The end of a message about such a name: `; did you mean "a", "b"?`, empty where nothing is near.
std::string didYouMean(std::string_view aName, const std::vector<std::string_view>& aNames,
                       std::size_t aCount = 3);

}  // namespace ksexpr
