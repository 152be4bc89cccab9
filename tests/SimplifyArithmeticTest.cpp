// Sums, products, quotients and relations: text in, text out, and the value before and after.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "simplify/detail/ValueChangingRules.hpp"
#include "tests/support/Equivalence.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SimplifyRows.hpp"

namespace KS::test {
namespace {

TEST(SimplifyArithmetic, Sums) {
  checkSimplified({
      {"x + 0", "x", 2},
      {"0 + x", "x", 2},
      {"2 + x", "x+2"},
      {"b + a", "a+b"},
      {"inf + a", "a+inf"},
      {"x + a*b", "a*b+x"},
      {"a*b + x", "a*b+x", 1},
      {"x + x", "2*x", 2},
      {"a + b + a", "2*a+b"},
      {"a + b + b", "2*b+a"},
      {"(x + 1) + 2", "x+3"},
      {"(x - 1) + 3", "x+2"},
      {"(x + 1) + y", "x+y+1"},
      {"(x - 3) + y", "x+y-3"},
      {"x + -3", "x-3"},
      {"x + (-y)", "x-y"},
      {"(-x) + y", "y-x"},
      {"(-x) + (-y)", "-x-y"},
      {"(x - y) + y", "x"},
      {"(x - y*z) + y", "x-y*(z-1)", 3},
      {"(x - (y - z)) + z", "x-(y-z-z)"},
      {"a*b + c + d", "a*b+(c+d)"},
      {"x*y + x*z", "x*(y+z)"},
      {"y*x + z*x", "x*(y+z)"},
      {"x*y + x", "x*(y+1)"},
      {"y + x*y", "y*(x+1)"},
      {"f(x) + a*f(x)", "f(x)*(a+1)"},
      {"1.5 + 2", "3.5", 2},
      {"2147483647 + 1", "-2147483648"},
      {"1 + 2 + 3 + x", "x+6"},
      {"f(x) + f(x)", "2*f(x)"},
      // Near misses.
      {"x + 1.5", "x+1.5", 1},
      {"x + 1.5 + 2", "x+1.5+2", 1},
      {"x + 0.0", "x+0.0", 1},
      {"a + b + c", "a+b+c", 1},
      {"x*y + z*w", "x*y+w*z"},
  });
}

TEST(SimplifyArithmetic, Differences) {
  checkSimplified({
      {"x - x", "0", 2},
      {"x - 0", "x-0", 1},
      {"x - -3", "x+3"},
      {"x - (-y)", "x+y"},
      {"(x + 5) - 2", "x+3"},
      {"(x + y) - x", "y"},
      {"(x + y) - y", "x"},
      {"x*y - x*z", "x*(y-z)"},
      {"x*y - x", "x*(y-1)"},
      {"x*f(y) - f(y)", "(x-1)*f(y)"},
      {"a*b - c - d", "a*b-(c+d)"},
      {"5 - 7", "-2"},
      {"1.5 - 2", "-0.5"},
      {"-2147483648 - 1", "2147483647"},
      // Near misses.
      {"x - y", "x-y", 1},
      {"a - b - c", "a-b-c", 1},
      {"x - x*y", "x-x*y", 1},
      {"x - 1 - 2", "x-1-2", 1},
      {"x - 1.5 - 2", "x-1.5-2", 1},
  });
}

TEST(SimplifyArithmetic, Products) {
  checkSimplified({
      {"1 * x", "x", 2},
      {"x * 2", "2*x"},
      {"y * x", "x*y"},
      {"a * inf", "inf*a"},
      {"inf * a", "inf*a", 1},
      {"(a + b) * c", "c*(a+b)"},
      {"c * (a + b)", "c*(a+b)", 1},
      {"2 * (3*x)", "6*x"},
      {"3 * (x + 2)", "3*x+6"},
      {"3 * (x - 2)", "3*x-6"},
      {"3 * (2 - x)", "6-3*x"},
      {"3 * (x/3)", "x"},
      {"6 * (x/3)", "2*x"},
      {"(p/x) * x", "p"},
      {"x * (p/x)", "p"},
      {"1.5 * 2", "3.0"},
      {"2147483647 * 2", "-2"},
      {"-2147483648 * -1", "-2147483648"},
      {"-6 * (x/4)", "-1*x"},
      {"-7 * (x/2)", "-3*x"},
      // Near misses.
      {"0 * x", "0*x", 1},
      {"-1 * x", "-1*x", 1},
      {"1.0 * x", "1.0*x", 1},
      {"6 * (x/4)", "6*(x/4)", 1},
      {"6 * (x/0)", "6*(x/0)", 1},
      {"-2147483648 * (x / -1)", "-2147483648*(x/-1)", 1},
      {"(x + 1) * 2.0", "2.0*(x+1)"},
  });
}

TEST(SimplifyArithmetic, Quotients) {
  checkSimplified({
      {"x / x", "1", 2},
      {"0 / 0", "1", 2},
      {"x / 1", "x"},
      {"6 / 3", "2"},
      {"-6 / 3", "-2"},
      {"-7 / 2", "-3"},
      {"6 / -1", "-6"},
      {"2147483647 / -1", "-2147483647"},
      {"-2147483648 / 1", "-2147483648"},
      {"6*x / -1", "-6*x"},
      {"7 / -2", "-3"},
      {"6*x / 3", "2*x"},
      {"-7*x / 2", "-3*x"},
      {"x*p / x", "p"},
      {"p*x / x", "p"},
      {"3 / 2.0", "1.5"},
      {"3.0 / 0", "inf"},
      // Near misses.
      {"7 / 2", "7/2", 1},
      {"-7 / -2", "-7/-2", 1},
      {"5 / 0", "5/0", 1},
      {"0 / x", "0/x", 1},
      {"x / 0", "x/0", 1},
      {"x / -1", "x/-1", 1},
      {"7*x / 2", "7*x/2", 1},
      {"-2147483648 / -1", "-2147483648/-1", 1},
      {"-2147483648*x / -1", "-2147483648*x/-1", 1},
      {"x / y / x", "x/y/x", 1},
  });
}

TEST(SimplifyArithmetic, Relations) {
  checkSimplified({
      {"3 < x", "x>3", 2},
      {"3 >= x", "x<=3"},
      {"3 == x", "x==3"},
      {"b < a", "a>b"},
      {"b != a", "a!=b"},
      {"3 > s.m", "s.m<3"},
      {"2 < 3", "true", 1},
      {"3 <= 2", "false", 1},
      {"2147483647 + 1 < 0", "true", 1},
      {"x == x", "true", 1},
      {"x + 1 <= 1 + x", "true", 1},
      {"f(x) < f(x)", "false", 1},
      {"true == 1", "true", 1},
      {"true == 2", "false", 1},
      {"false == 0", "true", 1},
      {"2 != false", "true", 1},
      {"false < true", "true", 1},
      {"true < false", "false", 1},
      {"true >= 1", "true", 1},
      {"2 > true", "true", 1},
      {"0 > false", "false", 1},
      {"1 == true", "true", 1},
      {"2.0 == 2.0", "true", 1},
      {"x*2 < 1 + 2", "2*x<3"},
      // Near misses.
      {"x < 3", "x<3", 1},
      {"a < b", "a<b", 1},
      {"2.0 == 2", "2.0==2", 1},
      {"2 < 2.5", "2.5>2"},
      {"true == x", "true==x", 1},
      {"x > s.m", "x>s.m", 1},
      {"s.m > x", "s.m>x"},
      {"f(2) == f(1+1)", "true"},
  });
}

// What has no rule is rebuilt from its simplified operands.
TEST(SimplifyArithmetic, OtherOperations) {
  checkSimplified({
      {"-(x + 0)", "-x"},
      {"-(2)", "-2"},
      {"x % (1 + 1)", "x%2"},
      {"(x + x) & (1 + 2)", "2*x&3"},
      {"~(x - x)", "~0"},
      {"(1 + 1) << (2 + 2)", "2<<4"},
      {"[x + x, 1 + 1, y, f(2 + 3, 0 + z)]", "[2*x,2,y,f(5,z)]"},
      {"[x + 0]", "[x]"},
      {"f()", "f()", 1},
      {"2 % 2", "2%2", 1},
  });
}

// ---------------------------------------------------------------------------------------------

using detail::ValueChange;
using detail::valueChangingRules;

// The rules that are marked where they stand are the listed ones.
TEST(ValueChanges, TheListNamesTheMarkedRules) {
  std::set<std::string> listed, marked;
  for (const auto& rule : valueChangingRules) listed.insert(rule.rule);
  std::ifstream source(KS_SOURCE_DIR "/simplify/detail/Arithmetic.cpp");
  const std::string mark = "  (changes values)";
  for (std::string line; std::getline(source, line);) {
    const std::size_t start = line.find("// "), end = line.find(mark);
    if (start == std::string::npos || end == std::string::npos) continue;
    marked.insert(line.substr(start + 3, end - start - 3));
  }
  EXPECT_EQ(listed, marked);
}

Number valueOf(const std::string& aText, bool aOverIntegers, int x, int p) {
  SymbolicExprTable table;
  const Program program(table, SymbolicExprParser(table, true)(aText));
  std::vector<Number> values;
  for (const std::string& name : program.names()) values.push_back(Number::of(name == "x" ? x : p));
  return program.run(values, aOverIntegers ? Arithmetic::Int32 : Arithmetic::Real);
}

TEST(ValueChanges, EveryListedRuleChangesAValue) {
  for (const auto& rule : valueChangingRules) {
    EXPECT_EQ(simplified(rule.example).text, rule.result) << rule.rule;
    const Number before = valueOf(rule.example, rule.overIntegers, rule.x, rule.p);
    const Number after = valueOf(rule.result, rule.overIntegers, rule.x, rule.p);
    EXPECT_FALSE(before == after) << rule.rule << ": " << rule.example << " stays "
                                  << before.text();
    // Where a divisor is zero there is no value to keep.
    EXPECT_EQ(before.isDefined(), rule.when != ValueChange::ZeroDivisor) << rule.example;
    EXPECT_TRUE(after.isDefined()) << rule.example;
  }
}

bool isExcepted(ValueChange aChange) {
  return std::any_of(std::begin(valueChangingRules), std::end(valueChangingRules),
                     [&](const auto& rule) { return rule.when == aChange; });
}

// Whether two literals of the table, those that simplification made included, have a negative
// quotient with a remainder.
bool hasNegativeQuotient(const SymbolicExprTable& aTable) {
  std::vector<long long> literals;
  for (SymbolicExprId id = 0; id < aTable.size(); ++id) {
    const SymbolicExpr& node = *aTable.get(id);
    if (node.getKind() != static_cast<int>(SymbolicOp::IntValue)) continue;
    literals.push_back(static_cast<const SymbolicIntValue&>(node).getValue());
  }
  return std::any_of(literals.begin(), literals.end(), [&](long long a) {
    return std::any_of(literals.begin(), literals.end(),
                       [&](long long b) { return b != 0 && a / b * b != a && (a < 0) != (b < 0); });
  });
}

struct Counts {
  std::size_t compared = 0;
  std::size_t excepted = 0;
};

// Compares the value before and after under assignments of small integers to x, y and z, where no
// listed change can be involved.
void checkValues(const std::string& aText, Arithmetic aArithmetic, const std::vector<int>& aDomain,
                 Counts& aCounts) {
  SymbolicExprTable table;
  const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
  ASSERT_NE(id, invalidSymbolicExprId) << aText;
  std::size_t passes = 0;
  const SymbolicExprId result = SymbolicExprSimplify(table, 10).simplify(id, passes);
  const bool divides = aText.find('/') != std::string::npos;
  if (divides && isExcepted(ValueChange::NegativeQuotient) && hasNegativeQuotient(table)) {
    ++aCounts.excepted;
    return;
  }
  const Program before(table, id), after(table, result);
  for (const int x : aDomain) {
    for (const int y : aDomain) {
      for (const int z : aDomain) {
        const auto bind = [&](const Program& aProgram) {
          std::vector<Number> values;
          for (const std::string& name : aProgram.names()) {
            values.push_back(Number::of(name == "x" ? x : name == "y" ? y : z));
          }
          return values;
        };
        Circumstances met;
        const Number expected = before.run(bind(before), aArithmetic, &met);
        if ((met.zeroDivisor && isExcepted(ValueChange::ZeroDivisor)) ||
            (met.inexactQuotient && aArithmetic == Arithmetic::Int32 &&
             isExcepted(ValueChange::InexactQuotient))) {
          ++aCounts.excepted;
          continue;
        }
        ASSERT_TRUE(expected.isDefined()) << aText;
        const Number value = after.run(bind(after), aArithmetic);
        ASSERT_TRUE(value == expected)
            << aText << " gives " << SymbolicExprPrinter(table, false, false, false)(result)
            << "\nx = " << x << ", y = " << y << ", z = " << z << ": " << expected.text()
            << " before, " << value.text() << " after";
        ++aCounts.compared;
      }
    }
  }
}

TEST(ValueChanges, NothingElseChangesAValue) {
  static constexpr const char* const ring[] = {"+", "-", "*"};
  static constexpr const char* const field[] = {"+", "-", "*", "/", "+", "*"};
  static constexpr const char* const small[] = {"0", "1", "2", "3", "6", "-1", "-4"};
  static constexpr const char* const positive[] = {"1", "2", "3", "4", "6", "12"};
  static constexpr const char* const any[] = {
      "0", "1", "-1", "2147483647", "65536", "-2147483648", "-2147483647", "1073741824", "3"};
  const int least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
  RandomText random(99);
  Counts reals, integers, divided;
  for (std::size_t i = 0; i < tries(6000) && !HasFatalFailure(); ++i) {
    const std::size_t operands = 2 + i % 7;
    // Integers wrap alike before and after: no exception at all.
    checkValues(random.arithmetic(operands, ring, any, std::size(any)), Arithmetic::Int32,
                {0, 1, least, most, 77777}, integers);
    const std::string quotient =
        i % 2 == 0 ? random.arithmetic(operands, field, small, std::size(small))
                   : random.arithmetic(operands, field, positive, std::size(positive));
    checkValues(quotient, Arithmetic::Real, {0, 1, -2, 3}, reals);
    checkValues(quotient, Arithmetic::Int32, {1, -2, 12, 0}, divided);
  }
  EXPECT_EQ(integers.excepted, 0U);
  EXPECT_GT(integers.compared, tries(500000));
  EXPECT_GT(reals.compared, tries(100000));
  EXPECT_GT(divided.compared, tries(100000));
}

}  // namespace
}  // namespace KS::test
