// The hash step of all nodes. Hashes have the width of std::size_t: on machines of 32 bits they are
// computed in 32 bits, so other nodes share a hash there than elsewhere, and nothing else differs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace KS::detail {

/// One step of the combination that Boost's hash_combine computed before release 1.81. Written out,
/// since the releases differ from each other and node hashes must not depend on the one installed.
inline void combine(std::size_t& aSeed, std::size_t aValue) {
  aSeed ^= aValue + 0x9e3779b9U + (aSeed << 6) + (aSeed >> 2);
}

/// The value that a kind code or an int contributes: its sign extended.
inline std::size_t signExtended(int aValue) {
  return static_cast<std::size_t>(static_cast<std::int64_t>(aValue));
}

/// A kind code and then every input, in order; an input is something that converts to its id.
template <class Input>
std::size_t hashInputs(int aKind, const Input* aInputs, std::size_t aCount) {
  std::size_t seed = 0;
  combine(seed, signExtended(aKind));
  for (std::size_t i = 0; i < aCount; ++i) combine(seed, aInputs[i]);
  return seed;
}

/// Every character in order, as a signed char: plain char is unsigned on some machines.
inline std::size_t hashText(std::string_view aText) {
  std::size_t seed = 0;
  for (const char c : aText) combine(seed, signExtended(static_cast<signed char>(c)));
  return seed;
}

/// A symbol: the two boolean symbols hash to values of their own.
inline std::size_t hashSymbol(std::string_view aText) {
  if (aText == "true") return ~std::size_t{1};
  if (aText == "false") return ~std::size_t{2};
  return hashText(aText);
}

}  // namespace KS::detail
