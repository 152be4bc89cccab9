// What tests that run instrumented have to know.
#pragma once

#include <cstddef>

namespace KS::test {

/// Whether functions take more time and stack than they would elsewhere, for a sanitizer.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool isInstrumented = true;
#elif defined(__has_feature)
inline constexpr bool isInstrumented = __has_feature(address_sanitizer);
#else
inline constexpr bool isInstrumented = false;
#endif

/// How many random inputs to try where an optimised build tries `aCount`. What more of them would
/// find, that build finds; for errors of memory a quarter is enough.
constexpr std::size_t tries(std::size_t aCount) { return isInstrumented ? aCount / 4 : aCount; }

}  // namespace KS::test
