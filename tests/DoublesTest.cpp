// Doubles that are printed and read back.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"

namespace KS {
namespace {

#if defined(__OPTIMIZE__) && defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__)
constexpr std::size_t numDoubles = 10'000'000;
#else
constexpr std::size_t numDoubles = 200'000;
#endif

std::uint64_t bitsOf(double aValue) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &aValue, sizeof bits);
  return bits;
}
double doubleOf(std::uint64_t aBits) {
  double value = 0;
  std::memcpy(&value, &aBits, sizeof value);
  return value;
}

// A double of any size, a subnormal one, or a neighbour of a power of two.
double anyDouble(std::mt19937_64& aRandom, std::size_t aKind) {
  constexpr std::uint64_t fraction = (std::uint64_t{1} << 52) - 1;
  const std::uint64_t bits = aRandom();
  switch (aKind % 8) {
    case 0: return doubleOf(bits & ~(std::uint64_t{0x7FF} << 52));
    case 1: return doubleOf((bits & ~fraction) + ((bits & 2) != 0 ? 1 : 0) - (bits & 1));
    case 2: return static_cast<double>(static_cast<std::int64_t>(bits) >> (bits % 60)) / 1000;
    default: return doubleOf(bits);
  }
}

// Lists of a thousand, written and read in both dialects.
TEST(Doubles, ReadBackAsTheSameBits) {
  std::mt19937_64 random(4711);
  std::vector<double> values;
  for (std::size_t done = 0; done < numDoubles; done += values.size()) {
    SymbolicExprTable table;
    std::vector<SymbolicExprId> ids;
    values.clear();
    while (values.size() < 1000) {
      const double value = anyDouble(random, values.size());
      if (!std::isfinite(value) || value == 0) continue;  // zeros of both signs are one node
      values.push_back(value);
      ids.push_back(detail::intern<SymbolicDoubleValue>(table, value));
    }
    const bool isM = done / 1000 % 2 == 0;
    const SymbolicExprId list = SymbolicNDExpr(table, ids).getId(table);
    const std::string text = SymbolicExprPrinter(table, isM, false, false)(list);
    SymbolicExprTable another;
    const SymbolicExprId read = SymbolicExprParser(another, !isM)(text);
    ASSERT_NE(read, invalidSymbolicExprId) << text;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const SymbolicExpr& element = *another.get(another.get(read)->getInput(i));
      ASSERT_EQ(element.getKind(), static_cast<int>(SymbolicOp::DoubleValue));
      ASSERT_EQ(bitsOf(element.getNumericValue()), bitsOf(values[i]))
          << SymbolicExprPrinter(table, isM, false, false)(ids[i]);
    }
  }
}

// The middle between two neighbours, written out in all of its digits, is read as the even one; a
// digit more behind it is read as the greater one.
TEST(Doubles, HalfwayCasesAreReadAsTheEvenNeighbour) {
  if (std::numeric_limits<long double>::digits < 54) GTEST_SKIP() << "no number has the middle";
  std::mt19937_64 random(4712);
  std::vector<char> digits(1500);
  for (std::size_t i = 0; i < numDoubles / 1000; ++i) {
    const double low = std::fabs(anyDouble(random, i));
    const double high = std::nextafter(low, std::numeric_limits<double>::infinity());
    if (!std::isfinite(high)) continue;
    const long double middle =
        static_cast<long double>(low) / 2 + static_cast<long double>(high) / 2;
    const int length = std::snprintf(digits.data(), digits.size(), "%.1100Le", middle);
    ASSERT_GT(length, 1100);
    std::string text = digits.data();
    text[1] = '.';  // whatever the locale has there
    const auto read = [](const std::string& aText) {
      SymbolicExprTable table;
      return bitsOf(table.get(SymbolicExprParser(table, true)(aText))->getNumericValue());
    };
    EXPECT_EQ(read(text), bitsOf(low) % 2 == 0 ? bitsOf(low) : bitsOf(high)) << text;
    text.insert(text.find('e'), "1");
    EXPECT_EQ(read(text), bitsOf(high)) << text;
  }
}

}  // namespace
}  // namespace KS
