// Real literals: their extent by Qi, their value by the standard library.
#pragma once

#include <boost/spirit/include/qi_numeric.hpp>

namespace KS {

namespace Parser {

/// The rules of a real literal: sign, digits with a point or an exponent, infinity, NaN. They only
/// measure: Qi's own arithmetic does not round correctly, and would refuse literals that underflow.
template <class T>
struct strict_real_policies : boost::spirit::qi::strict_real_policies<T> {
  template <class Iterator, class Attribute>
  static bool parse_n(Iterator& aFirst, const Iterator& aLast, Attribute& aValue) {
    aValue = 0;
    return skipDigits(aFirst, aLast);
  }
  template <class Iterator>
  static std::size_t ignore_excess_digits(Iterator&, const Iterator&) {
    return 0;
  }
  template <class Iterator, class Attribute>
  static bool parse_frac_n(Iterator& aFirst, const Iterator& aLast, Attribute&, int&) {
    return skipDigits(aFirst, aLast);
  }
  // An "e" without digits is no part of a literal: Qi would take the digits before it for a real
  // one.
  template <class Iterator>
  static bool parse_exp(Iterator& aFirst, const Iterator& aLast) {
    if (aFirst == aLast || (*aFirst != 'e' && *aFirst != 'E')) return false;
    Iterator exponent = aFirst;
    int ignored = 0;
    if (!parse_exp_n(++exponent, aLast, ignored)) return false;
    ++aFirst;
    return true;
  }
  template <class Iterator>
  static bool parse_exp_n(Iterator& aFirst, const Iterator& aLast, int&) {
    Iterator digits = aFirst;
    if (digits != aLast && (*digits == '+' || *digits == '-')) ++digits;
    if (!skipDigits(digits, aLast)) return false;
    aFirst = digits;
    return true;
  }

 private:
  template <class Iterator>
  static bool skipDigits(Iterator& aFirst, const Iterator& aLast) {
    const Iterator start = aFirst;
    while (aFirst != aLast && *aFirst >= '0' && *aFirst <= '9') ++aFirst;
    return aFirst != start;
  }
};

}  // namespace Parser

namespace detail {

/// Reads the value of a real literal that the policies have measured, rounded to nearest. False for
/// a magnitude beyond the largest double; one below the smallest gives zero.
bool readReal(const char* aFirst, const char* aLast, double& aValue);

}  // namespace detail
}  // namespace KS
