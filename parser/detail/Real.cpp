#include "parser/detail/Real.hpp"

#include <algorithm>
#include <cfenv>
#include <charconv>
#include <cmath>
#include <limits>
#ifdef KS_USE_FAST_FLOAT
#include <fast_float/fast_float.h>
#endif

namespace KS::detail {

namespace {

// Whether a literal that is out of range is so for being large: the decimal exponent of its first
// digit that counts. An exponent that is itself out of range decides alone.
bool isHuge(const char* aFirst, const char* aLast) {
  const char* const exponentMark =
      std::find_if(aFirst, aLast, [](char c) { return c == 'e' || c == 'E'; });
  const char* const point = std::find(aFirst, exponentMark, '.');
  const char* const digit =
      std::find_if(aFirst, exponentMark, [](char c) { return c >= '1' && c <= '9'; });
  const long long place = point - digit;

  if (exponentMark == aLast) return place > 0;
  const char* exponentText = exponentMark + 1;
  const bool negative = exponentText != aLast && *exponentText == '-';
  if (exponentText != aLast && *exponentText == '+') ++exponentText;
  int exponent = 0;
  if (std::from_chars(exponentText, aLast, exponent).ec != std::errc()) return !negative;
  return place + exponent > 0;
}

// Rounds to the nearest as long as it lives: reading digits takes that for granted, and a host may
// have set another way.
class RoundingToNearest {
 public:
  RoundingToNearest() : before(std::fegetround()) {
    if (before != FE_TONEAREST) std::fesetround(FE_TONEAREST);
  }
  ~RoundingToNearest() {
    if (before != FE_TONEAREST) std::fesetround(before);
  }
  RoundingToNearest(const RoundingToNearest&) = delete;
  RoundingToNearest& operator=(const RoundingToNearest&) = delete;

 private:
  int before;
};

// Reads digits; false where their number is out of the range of a double. Not every standard
// library reads doubles in this way.
bool readDigits(const char* aFirst, const char* aLast, double& aValue) {
  const RoundingToNearest rounding;
#ifdef KS_USE_FAST_FLOAT
  fast_float::from_chars(aFirst, aLast, aValue);
  return std::isfinite(aValue);  // a number that is too small is 0
#else
  return std::from_chars(aFirst, aLast, aValue).ec != std::errc::result_out_of_range;
#endif
}

}  // namespace

bool readReal(const char* aFirst, const char* aLast, double& aValue) {
  const bool negative = *aFirst == '-';
  if (negative || *aFirst == '+') ++aFirst;
  double value = 0.0;
  if (*aFirst == 'n' || *aFirst == 'N') {
    value = std::numeric_limits<double>::quiet_NaN();
  } else if (*aFirst == 'i' || *aFirst == 'I') {
    value = std::numeric_limits<double>::infinity();
  } else if (!readDigits(aFirst, aLast, value)) {
    if (isHuge(aFirst, aLast)) return false;
    value = 0.0;
  }
  aValue = std::copysign(value, negative ? -1.0 : 1.0);
  return true;
}

}  // namespace KS::detail
