// What every operation makes of scalars. A rule is an object that is called with the operands; it
// holds the operation's whole meaning for every pair of types.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "eval/Eval.hpp"

namespace KS::Eval::detail {

/// Doubles that are closer than this are equal, and a divisor nearer to zero is zero.
inline constexpr double epsilon = 1.4901161193847656e-8;  // 2 to the power -26

/// The promotion of operands: with a double on either side both are taken to double, else both are
/// ints, a bool being 0 or 1.
inline bool areDoubles(const Scalar& aLeft, const Scalar& aRight) {
  return aLeft.tag() == Scalar::Double || aRight.tag() == Scalar::Double;
}

/// The int with these bits.
inline int wrapped(std::uint32_t aBits) { return static_cast<int>(aBits); }
inline std::uint32_t bits(int aValue) { return static_cast<std::uint32_t>(aValue); }

/// The quiet NaN of a remainder by zero: its sign bit is set, as in the one that the processor
/// makes of an invalid operation.
inline double remainderNaN() {
  const std::uint64_t pattern = 0xFFF8000000000000U;
  double nan = 0;
  static_assert(sizeof nan == sizeof pattern);
  std::memcpy(&nan, &pattern, sizeof nan);
  return nan;
}

/// Equality of doubles. The difference of equal infinities is NaN, hence the exact test first.
inline bool nearlyEqual(double aLeft, double aRight) {
  return aLeft == aRight || (std::isnan(aLeft) && std::isnan(aRight)) ||
         std::abs(aLeft - aRight) < epsilon;
}

/// The remainder of doubles.
inline double remainder(double aLeft, double aRight) {
  if (std::abs(aRight) < epsilon) return remainderNaN();
  const double rest = std::fmod(aLeft, aRight);
  if (std::floor(aRight) == aRight || !std::isfinite(aLeft) || !std::isfinite(aRight)) return rest;
  // A fraction such as 0.1 is not exact in binary, so a multiple of it may leave a rest: what
  // counts is whether the quotient is a whole number but for its last bit.
  const double quotient = aLeft / aRight;
  const double whole = std::round(quotient);
  const bool isMultiple =
      quotient == whole || std::abs(quotient - whole) <= std::abs(quotient) * 0x1p-52;
  return isMultiple ? 0.0 : rest;
}

/// Shifts left, or with a negative count right, filling with the sign.
inline int shifted(int aValue, std::int64_t aLeft) {
  if (aLeft > 31) return 0;
  if (aLeft < -31) return aValue < 0 ? -1 : 0;
  // cppcheck-suppress shiftTooManyBitsSigned ; every compiler fills with the sign, as C++20 demands
  return aLeft >= 0 ? wrapped(bits(aValue) << aLeft) : aValue >> -aLeft;
}

struct Plus {
  Scalar operator()(const Scalar& aLeft, const Scalar& aRight) const {
    if (areDoubles(aLeft, aRight)) return aLeft.toDouble() + aRight.toDouble();
    return wrapped(bits(aLeft.toInt()) + bits(aRight.toInt()));
  }
};

struct Minus {
  Scalar operator()(const Scalar& aLeft, const Scalar& aRight) const {
    if (areDoubles(aLeft, aRight)) return aLeft.toDouble() - aRight.toDouble();
    return wrapped(bits(aLeft.toInt()) - bits(aRight.toInt()));
  }
};

struct Times {
  Scalar operator()(const Scalar& aLeft, const Scalar& aRight) const {
    if (areDoubles(aLeft, aRight)) return aLeft.toDouble() * aRight.toDouble();
    return wrapped(bits(aLeft.toInt()) * bits(aRight.toInt()));
  }
};

struct Divide {
  Scalar operator()(const Scalar& aLeft, const Scalar& aRight) const {
    if (areDoubles(aLeft, aRight)) {
      const double left = aLeft.toDouble();
      const double right = aRight.toDouble();
      if (std::abs(right) >= epsilon || std::isnan(right)) return left / right;
      const double infinity = std::numeric_limits<double>::infinity();
      return left < 0 ? -infinity : infinity;
    }
    using Int = std::numeric_limits<int>;
    const int left = aLeft.toInt();
    const int right = aRight.toInt();
    if (right == 0) return left < 0 ? Int::min() : Int::max();
    if (right == -1) return wrapped(0U - bits(left));  // the quotient of the least int overflows
    return left / right;
  }
};

struct Modulo {
  Scalar operator()(const Scalar& aLeft, const Scalar& aRight) const {
    if (areDoubles(aLeft, aRight)) return remainder(aLeft.toDouble(), aRight.toDouble());
    const int right = aRight.toInt();
    if (right == 0) return remainderNaN();
    if (right == -1) return 0;  // the processor traps on the least int
    return aLeft.toInt() % right;
  }
};

struct Equals {
  bool operator()(const Scalar& aLeft, const Scalar& aRight) const {
    if (areDoubles(aLeft, aRight)) return nearlyEqual(aLeft.toDouble(), aRight.toDouble());
    return aLeft.toInt() == aRight.toInt();
  }
};

struct NotEquals {
  bool operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return !Equals{}(aLeft, aRight);
  }
};

struct LessThan {
  bool operator()(const Scalar& aLeft, const Scalar& aRight) const {
    if (areDoubles(aLeft, aRight)) return aLeft.toDouble() < aRight.toDouble();
    return aLeft.toInt() < aRight.toInt();
  }
};

struct GreaterThan {
  bool operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return LessThan{}(aRight, aLeft);
  }
};

// The orderings that include equality take its tolerance, so both a <= b and a > b hold where a
// exceeds b by next to nothing.
struct LessThanEqual {
  bool operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return LessThan{}(aLeft, aRight) || Equals{}(aLeft, aRight);
  }
};

struct GreaterThanEqual {
  bool operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return LessThan{}(aRight, aLeft) || Equals{}(aLeft, aRight);
  }
};

struct And {
  bool operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return aLeft.toBool() && aRight.toBool();
  }
};

struct Or {
  bool operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return aLeft.toBool() || aRight.toBool();
  }
};

struct BitAnd {
  int operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return aLeft.toInt() & aRight.toInt();
  }
};

struct BitOr {
  int operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return aLeft.toInt() | aRight.toInt();
  }
};

struct BitXor {
  int operator()(const Scalar& aLeft, const Scalar& aRight) const {
    return aLeft.toInt() ^ aRight.toInt();
  }
};

struct ShiftLeft {
  int operator()(const Scalar& aValue, const Scalar& aCount) const {
    return shifted(aValue.toInt(), std::int64_t{aCount.toInt()});
  }
};

struct ShiftRight {
  int operator()(const Scalar& aValue, const Scalar& aCount) const {
    return shifted(aValue.toInt(), -std::int64_t{aCount.toInt()});
  }
};

struct UnaryMinus {
  Scalar operator()(const Scalar& aValue) const {
    if (aValue.tag() == Scalar::Double) return -aValue.toDouble();
    return wrapped(0U - bits(aValue.toInt()));
  }
};

struct Not {
  bool operator()(const Scalar& aValue) const { return !aValue.toBool(); }
};

struct BitCompl {
  Scalar operator()(const Scalar& aValue) const {
    // A double has no bits to complement: it gets the logical not.
    if (aValue.tag() == Scalar::Double) return !aValue.toBool();
    return ~aValue.toInt();
  }
};

}  // namespace KS::Eval::detail
