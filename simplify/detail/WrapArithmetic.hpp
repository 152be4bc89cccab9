// Integer arithmetic of folded constants: 32-bit two's complement, never undefined.
#pragma once

#include <limits>
#include <optional>

namespace KS::detail {

inline int wrapAdd(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
inline int wrapSub(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}
inline int wrapMul(int a, int b) {
  return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}
inline int wrapNeg(int a) { return wrapSub(0, a); }

/// The quotient truncated toward zero, where it may stand for the division: exact, or negative. The
/// test is one-sided on purpose: 6 / 3 gives 2, 7 / 2 nothing, -7 / 2 gives -3. Nothing for a zero
/// divisor and for -2147483648 / -1, which has no quotient of 32 bits.
inline std::optional<int> foldedQuotient(int a, int b) {
  if (b == 0 || (a == std::numeric_limits<int>::min() && b == -1)) return std::nullopt;
  const int truncated = a / b;
  const double quotient = static_cast<double>(a) / b;
  if (quotient - truncated <= std::numeric_limits<double>::epsilon()) return truncated;
  return std::nullopt;
}

}  // namespace KS::detail
