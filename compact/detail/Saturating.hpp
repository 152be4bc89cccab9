// Sums of sizes that may be larger than any number.
#pragma once

#include <cstddef>
#include <limits>

namespace KS::detail {

/// The sum, or the largest number where that is smaller.
constexpr std::size_t saturatingSum(std::size_t a, std::size_t b) {
  constexpr std::size_t largest = std::numeric_limits<std::size_t>::max();
  return b > largest - a ? largest : a + b;
}

}  // namespace KS::detail
