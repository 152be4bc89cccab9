// The operations on values: corner values of every pair of types against formulas of the test's
// own, rows worked out by hand for what a formula hides, and the shapes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "eval/Eval.hpp"
#include "eval/SymbolicExprEvalError.hpp"

namespace {

using KS::Eval::Scalar;
using KS::Eval::Value;
using Binary = Value (*)(const Value&, const Value&);
using Unary = Value (*)(const Value&);

constexpr int least = std::numeric_limits<int>::min();
constexpr int most = std::numeric_limits<int>::max();
constexpr double inf = std::numeric_limits<double>::infinity();
const double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double eps = 1.4901161193847656e-8;

// Tells apart all types and values, -0.0 from 0.0 too; a NaN is like any other.
std::string describe(const Scalar& aScalar) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  if (aScalar.tag() == Scalar::Bool) {
    text << "bool " << aScalar.getBool();
  } else if (aScalar.tag() == Scalar::Int) {
    text << "int " << aScalar.getInt();
  } else if (std::isnan(aScalar.getDouble())) {
    text << "double nan";
  } else {
    text << "double " << std::setprecision(17) << aScalar.getDouble();
  }
  return text.str();
}

std::string describe(const Value& aValue) {
  if (aValue.tag() == Value::Single) return describe(aValue.scalar());
  std::string text = "[";
  for (const Scalar& element : aValue.vector()) text += describe(element) + ";";
  return text + "]";
}

// clang-format off
const Scalar corners[] = {
    false, true, 0, 1, -1, 2, 3, -7, 31, 32, -31, -32, most, least, 0.0, -0.0, 0.5, -0.5, 1.0,
    1.0 + 1e-9, -1.0, 0.1, 0.3, 7.5, 1e-8, -1e-8, eps, 3.9, 31.9, -32.5, 2147483647.5, 2147483648.0,
    -2147483648.5, -2147483649.0, 3e9, 1e300, 5e-324, inf, -inf, nan};
// clang-format on

// ---------------------------------------------------------------------------------------------
// Formulas of the test's own: 64-bit integers and long doubles instead of wrapping and promotion

bool isDouble(const Scalar& a) { return a.tag() == Scalar::Double; }
bool areDoubles(const Scalar& a, const Scalar& b) { return isDouble(a) || isDouble(b); }
std::int64_t whole(const Scalar& a) {
  return a.tag() == Scalar::Bool ? (a.getBool() ? 1 : 0) : a.getInt();
}
double real(const Scalar& a) { return isDouble(a) ? a.getDouble() : static_cast<double>(whole(a)); }
std::int64_t truncated(const Scalar& a) {
  if (!isDouble(a)) return whole(a);
  const long double d = std::trunc(static_cast<long double>(a.getDouble()));
  return d >= -2147483648.0L && d <= 2147483647.0L ? static_cast<std::int64_t>(d) : least;
}
int modulo2To32(std::int64_t a) {
  const std::int64_t range = std::int64_t{1} << 32;
  const std::int64_t rest = ((a % range) + range) % range;
  return static_cast<int>(rest > most ? rest - range : rest);
}
bool isTrue(const Scalar& a) { return !(real(a) == 0.0); }

Scalar sum(const Scalar& a, const Scalar& b) {
  if (areDoubles(a, b)) return real(a) + real(b);
  return modulo2To32(whole(a) + whole(b));
}
Scalar difference(const Scalar& a, const Scalar& b) {
  if (areDoubles(a, b)) return real(a) - real(b);
  return modulo2To32(whole(a) - whole(b));
}
Scalar product(const Scalar& a, const Scalar& b) {
  if (areDoubles(a, b)) return real(a) * real(b);
  return modulo2To32(whole(a) * whole(b));
}
Scalar quotient(const Scalar& a, const Scalar& b) {
  if (!areDoubles(a, b)) {
    if (whole(b) == 0) return whole(a) < 0 ? least : most;
    return modulo2To32(whole(a) / whole(b));
  }
  if (-eps < real(b) && real(b) < eps) return real(a) < 0.0 ? -inf : inf;
  return real(a) / real(b);
}
Scalar rest(const Scalar& a, const Scalar& b) {
  const double x = real(a);
  const double y = real(b);
  if (!areDoubles(a, b)) {
    if (whole(b) == 0) return nan;
    return static_cast<int>(whole(a) % whole(b));
  }
  if (-eps < y && y < eps) return nan;
  const double r = static_cast<double>(fmodl(x, y));
  if (y == std::trunc(y) || !std::isfinite(x) || !std::isfinite(y)) return r;
  const double q = x / y;
  if (std::isinf(q)) return 0.0;
  return std::fabs(q - std::round(q)) <= std::fabs(q) * std::ldexp(1.0, -52) ? 0.0 : r;
}
bool same(const Scalar& a, const Scalar& b) {
  if (!areDoubles(a, b)) return whole(a) == whole(b);
  if (std::isnan(real(a)) || std::isnan(real(b))) return std::isnan(real(a)) && std::isnan(real(b));
  if (std::isinf(real(a)) || std::isinf(real(b))) return real(a) == real(b);
  return std::fabs(real(a) - real(b)) < eps;
}
bool isBelow(const Scalar& a, const Scalar& b) { return real(a) < real(b); }
template <class PerBit>
int bitwise(const Scalar& a, const Scalar& b, PerBit aPerBit) {
  std::int64_t result = 0;
  for (int bit = 0; bit < 32; ++bit) {
    const bool x = (truncated(a) >> bit & 1) != 0;
    const bool y = (truncated(b) >> bit & 1) != 0;
    if (aPerBit(x, y)) result += std::int64_t{1} << bit;
  }
  return modulo2To32(result);
}
// The value times 2 to the power aPower, rounded down.
int scaled(std::int64_t aValue, std::int64_t aPower) {
  for (; aPower > 0; --aPower) aValue = modulo2To32(aValue * 2);
  for (; aPower < 0; ++aPower) aValue = (aValue - (aValue % 2 != 0 && aValue < 0 ? 1 : 0)) / 2;
  return static_cast<int>(aValue);
}
std::int64_t clipped(std::int64_t aCount) { return aCount > 40 ? 40 : aCount < -40 ? -40 : aCount; }

struct BinaryCase {
  const char* name;
  Binary operation;
  Scalar (*expected)(const Scalar&, const Scalar&);
};

using S = const Scalar&;
const BinaryCase binaryCases[] = {
    {"plus", KS::Eval::plus, sum},
    {"minus", KS::Eval::minus, difference},
    {"times", KS::Eval::times, product},
    {"divide", KS::Eval::divide, quotient},
    {"modulo", KS::Eval::modulo, rest},
    {"equals", KS::Eval::equals, [](S a, S b) -> Scalar { return same(a, b); }},
    {"notEquals", KS::Eval::notEquals, [](S a, S b) -> Scalar { return !same(a, b); }},
    {"lessThan", KS::Eval::lessThan, [](S a, S b) -> Scalar { return isBelow(a, b); }},
    {"greaterThan", KS::Eval::greaterThan, [](S a, S b) -> Scalar { return isBelow(b, a); }},
    {"lessThanEqual", KS::Eval::lessThanEqual,
     [](S a, S b) -> Scalar { return isBelow(a, b) || same(a, b); }},
    {"greaterThanEqual", KS::Eval::greaterThanEqual,
     [](S a, S b) -> Scalar { return isBelow(b, a) || same(a, b); }},
    {"andOp", KS::Eval::andOp, [](S a, S b) -> Scalar { return isTrue(a) && isTrue(b); }},
    {"orOp", KS::Eval::orOp, [](S a, S b) -> Scalar { return isTrue(a) || isTrue(b); }},
    {"bitAndOp", KS::Eval::bitAndOp,
     [](S a, S b) -> Scalar { return bitwise(a, b, [](bool x, bool y) { return x && y; }); }},
    {"bitOrOp", KS::Eval::bitOrOp,
     [](S a, S b) -> Scalar { return bitwise(a, b, [](bool x, bool y) { return x || y; }); }},
    {"bitXorOp", KS::Eval::bitXorOp,
     [](S a, S b) -> Scalar { return bitwise(a, b, [](bool x, bool y) { return x != y; }); }},
    {"bitLeftShift", KS::Eval::bitLeftShift,
     [](S a, S b) -> Scalar { return scaled(truncated(a), clipped(truncated(b))); }},
    {"bitRightShift", KS::Eval::bitRightShift,
     [](S a, S b) -> Scalar { return scaled(truncated(a), -clipped(truncated(b))); }},
};

struct UnaryCase {
  const char* name;
  Unary operation;
  Scalar (*expected)(const Scalar&);
};

const UnaryCase unaryCases[] = {
    {"uminus", KS::Eval::uminus,
     [](S a) -> Scalar {
       if (isDouble(a)) return std::copysign(real(a), std::signbit(real(a)) ? 1.0 : -1.0);
       return modulo2To32(-whole(a));
     }},
    {"notOp", KS::Eval::notOp, [](S a) -> Scalar { return real(a) == 0.0; }},
    {"bitCmp", KS::Eval::bitCmp,
     [](S a) -> Scalar {
       if (isDouble(a)) return real(a) == 0.0;
       return static_cast<int>(-1 - whole(a));
     }},
};

TEST(EvalValues, CornerValuesOfAllTypePairsFollowTheFormulas) {
  for (const BinaryCase& row : binaryCases) {
    for (const Scalar& left : corners) {
      for (const Scalar& right : corners) {
        EXPECT_EQ(describe(row.operation(left, right)), describe(row.expected(left, right)))
            << row.name << "(" << describe(left) << ", " << describe(right) << ")";
      }
    }
  }
  for (const UnaryCase& row : unaryCases) {
    for (const Scalar& value : corners) {
      EXPECT_EQ(describe(row.operation(value)), describe(row.expected(value)))
          << row.name << "(" << describe(value) << ")";
    }
  }
}

TEST(EvalValues, RowsByHand) {
  const struct {
    Binary operation;
    Scalar left, right, expected;
  } rows[] = {
      {KS::Eval::plus, true, true, 2},
      {KS::Eval::plus, most, 1, least},
      {KS::Eval::times, 65536, 65537, 65536},
      {KS::Eval::divide, 7, 0, most},
      {KS::Eval::divide, -7, false, least},
      {KS::Eval::divide, 0, 0, most},
      {KS::Eval::divide, -7, 2, -3},
      {KS::Eval::divide, least, -1, least},
      {KS::Eval::divide, -1.0, 1e-9, -inf},
      {KS::Eval::divide, false, 0.0, inf},
      {KS::Eval::divide, 1, 0.5, 2.0},
      {KS::Eval::divide, 1, 1e-8, inf},
      {KS::Eval::divide, 1.0, eps, 67108864.0},  // the bound itself divides
      {KS::Eval::modulo, -7, 3, -1},
      {KS::Eval::modulo, least, -1, 0},
      {KS::Eval::modulo, 5, 0, nan},
      {KS::Eval::modulo, true, true, 0},
      {KS::Eval::modulo, 0.3, 0.1, 0.0},
      {KS::Eval::modulo, 7.5, 2.0, 1.5},
      {KS::Eval::modulo, -7.5, 2.0, -1.5},
      {KS::Eval::modulo, 0.375, 0.25, 0.125},
      {KS::Eval::modulo, 5.0, inf, 5.0},
      {KS::Eval::equals, 1.0, 1.0 + 1e-9, true},
      {KS::Eval::equals, 0.0, eps, false},  // the bound itself differs
      {KS::Eval::equals, nan, nan, true},
      {KS::Eval::notEquals, nan, nan, false},
      {KS::Eval::equals, nan, 0, false},
      {KS::Eval::equals, inf, inf, true},
      {KS::Eval::equals, inf, -inf, false},
      {KS::Eval::lessThanEqual, 1.0, 1.0 - 1e-9, true},
      {KS::Eval::greaterThan, 1.0, 1.0 - 1e-9, true},
      {KS::Eval::bitRightShift, -8, 40, -1},
      {KS::Eval::bitLeftShift, -8, -40, -1},
      {KS::Eval::bitLeftShift, 1, -1, 0},
      {KS::Eval::bitRightShift, 1, -3, 8},
      {KS::Eval::bitLeftShift, 1, 31, least},
      {KS::Eval::bitLeftShift, -1, least, -1},
      {KS::Eval::bitRightShift, -1, least, 0},
      {KS::Eval::bitRightShift, 5, true, 2},
      {KS::Eval::bitAndOp, 3.9, 1, 1},
      {KS::Eval::bitOrOp, nan, 0, least},
      {KS::Eval::bitXorOp, true, true, 0},
      {KS::Eval::andOp, nan, true, true},
  };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const auto& row = rows[i];
    EXPECT_EQ(describe(row.operation(row.left, row.right)), describe(row.expected))
        << "row " << i << ": " << describe(row.left) << ", " << describe(row.right);
  }
}

TEST(EvalValues, TheRemainderByZeroIsTheNegativeQuietNaN) {
  for (const Value& result :
       {KS::Eval::modulo(5, 0), KS::Eval::modulo(true, false), KS::Eval::modulo(1.0, 1e-9)}) {
    const double value = result.scalar().getDouble();
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    EXPECT_EQ(bits, 0xFFF8000000000000U);
  }
}

TEST(EvalValues, VectorsMeetScalarsAndVectorsElementByElement) {
  using Elements = std::vector<Scalar>;
  const Value mixed(Elements{true, 7, 0.5});
  const Value empty(Elements{});
  EXPECT_EQ(describe(KS::Eval::minus(mixed, 1)), "[int 0;int 6;double -0.5;]");
  EXPECT_EQ(describe(KS::Eval::minus(1, mixed)), "[int 0;int -6;double 0.5;]");
  EXPECT_EQ(describe(KS::Eval::divide(mixed, Elements{0, 2, 4})),
            "[int 2147483647;int 3;double 0.125;]");
  EXPECT_EQ(describe(KS::Eval::uminus(mixed)), "[int -1;int -7;double -0.5;]");
  EXPECT_EQ(describe(KS::Eval::bitCmp(mixed)), "[int -2;int -8;bool 0;]");
  for (const BinaryCase& row : binaryCases) {
    EXPECT_EQ(describe(row.operation(empty, 1)), "[]") << row.name;
    EXPECT_EQ(describe(row.operation(1, empty)), "[]") << row.name;
    EXPECT_EQ(describe(row.operation(empty, empty)), "[]") << row.name;
    try {
      row.operation(mixed, Elements{1, 2});
      ADD_FAILURE() << row.name << " took operands of different lengths";
    } catch (const KS::SymbolicExprEvalError& error) {
      EXPECT_THAT(error.what(), testing::AllOf(testing::HasSubstr("vector of 3"),
                                               testing::HasSubstr("vector of 2")));
    }
  }
}

TEST(EvalValues, AllAsksForOnesAndNotForNonZero) {
  using Elements = std::vector<Scalar>;
  for (const Value& value :
       {Value(true), Value(1), Value(1.0), Value(Elements{}), Value(Elements{true, 1, 1.0})}) {
    EXPECT_TRUE(KS::Eval::all(value)) << describe(value);
  }
  for (const Value& value : {Value(false), Value(2), Value(0.5), Value(nan), Value(1.0 + 1e-9),
                             Value(Elements{true, 2})}) {
    EXPECT_FALSE(KS::Eval::all(value)) << describe(value);
  }
}

TEST(EvalValues, NumbersAndTags) {
  EXPECT_EQ(KS::Eval::eval(std::vector<Scalar>{true, 2, 0.5}),
            (std::vector<double>{1.0, 2.0, 0.5}));
  EXPECT_EQ(KS::Eval::eval(least), std::vector<double>{-2147483648.0});
  EXPECT_EQ(Value(std::vector<Scalar>{}).tag(), Value::Vector);
  EXPECT_THROW(Scalar(1).getDouble(), std::bad_variant_access);
  EXPECT_THROW(Value(1).vector(), std::bad_variant_access);
}

struct CommaPoint : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\1"; }
};

TEST(EvalValues, PrintingIgnoresWhatIsSetOnTheStream) {
  struct Buffer : std::stringbuf {
    int sync() override { return ++numFlushes, 0; }
    int numFlushes = 0;
  } text;
  std::streambuf* const before = std::cout.rdbuf(&text);
  const std::locale localeBefore = std::cout.imbue(std::locale(std::locale(), new CommaPoint));
  std::ios formatBefore(nullptr);
  formatBefore.copyfmt(std::cout);
  std::cout << std::hex << std::showbase << std::showpos << std::setprecision(2)
            << std::setfill('*') << std::setw(40);
  KS::Eval::printValue(1234567);
  KS::Eval::printValue(true);
  KS::Eval::printValue(-1234.5678);
  KS::Eval::printValue(std::vector<Scalar>{true, 2, 0.5});
  KS::Eval::printValue(std::vector<Scalar>{});
  std::cout.copyfmt(formatBefore);
  std::cout.imbue(localeBefore);
  std::cout.width(0);
  std::cout.rdbuf(before);
  EXPECT_EQ(text.str(),
            "Scalar: 1234567\nScalar: true\nScalar: -1234.57\nVector: [ true 2 0.5 ]Vector: [ ]");
  EXPECT_EQ(text.numFlushes, 3) << "each scalar's line";
}

}  // namespace
