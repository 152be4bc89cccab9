#include "parser/detail/Real.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

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

}  // namespace

bool readReal(const char* aFirst, const char* aLast, double& aValue) {
  const bool negative = *aFirst == '-';
  if (negative || *aFirst == '+') ++aFirst;
  double value = 0.0;
  if (*aFirst == 'n' || *aFirst == 'N') {
    value = std::numeric_limits<double>::quiet_NaN();
  } else if (*aFirst == 'i' || *aFirst == 'I') {
    value = std::numeric_limits<double>::infinity();
  } else if (std::from_chars(aFirst, aLast, value).ec == std::errc::result_out_of_range) {
    if (isHuge(aFirst, aLast)) return false;
    value = 0.0;
  }
  aValue = std::copysign(value, negative ? -1.0 : 1.0);
  return true;
}

}  // namespace KS::detail
