// Cast to integer and division factoring: text in, text out.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>

#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tests/support/SmallStack.hpp"
#include "xform/SymbolicExprCast2Int.hpp"
#include "xform/SymbolicExprFactorDivision.hpp"

namespace {

using namespace KS;
using detail::intern;

struct Row {
  const char* input;
  const char* output;
};

using Transform = std::function<SymbolicExprId(SymbolicExprTable&, SymbolicExprId)>;

// An output equal to the input stands for the same id.
template <std::size_t count>
void check(const Row (&aRows)[count], const Transform& aTransform) {
  for (const Row& row : aRows) {
    SymbolicExprTable table;
    const SymbolicExprId input = SymbolicExprParser(table, true)(row.input);
    ASSERT_NE(input, invalidSymbolicExprId) << row.input;
    const SymbolicExprId output = aTransform(table, input);
    EXPECT_EQ(SymbolicExprPrinter(table, false, true, false)(output), row.output) << row.input;
    EXPECT_EQ(output == input, std::string(row.input) == row.output) << row.input;
    const std::size_t size = table.size();
    EXPECT_EQ(aTransform(table, input), output) << row.input << ", again";
    EXPECT_EQ(table.size(), size) << row.input << ", again";
  }
}

SymbolicExprId cast(SymbolicExprTable& aTable, SymbolicExprId aId) {
  return SymbolicExprCast2Int(aTable).cast2Int(aId);
}

SymbolicExprId factor(SymbolicExprTable& aTable, SymbolicExprId aId) {
  return SymbolicExprFactorDivision(aTable).factorDivision(aId);
}

TEST(CastToInteger, Texts) {
  const Row rows[] = {
      {"2.5", "3"},
      {"2.4999", "2"},
      {"N/2.0", "N/2"},
      {"[1.5, f(2.5, x.y), !0.2]", "[2,f(3,x.y),!0]"},
      {"f(1.2,N,3.7,4.5) && s.t", "f(1,N,4,5) && s.t"},
      {"3e9 + 1.0", "-2147483648+1"},
      {"N/2==M", "N/2==M"},
  };
  check(rows, cast);
}

TEST(CastToInteger, RoundsExactlyAndHalvesAwayFromZero) {
  const struct {
    double real;
    int integer;
  } rows[] = {{0.49999999999999994, 0},
              {0.5, 1},
              {-0.5, -1},
              {-2.5, -3},
              {-2.4999, -2},
              {-0.0, 0},
              {2147483647.4, 2147483647},
              {2147483647.5, std::numeric_limits<int>::min()},
              {-2147483648.4, std::numeric_limits<int>::min()},
              {-1e300, std::numeric_limits<int>::min()},
              {std::numeric_limits<double>::infinity(), std::numeric_limits<int>::min()},
              {std::nan(""), std::numeric_limits<int>::min()}};
  for (const auto& row : rows) {
    SymbolicExprTable table;
    const SymbolicExprId id = cast(table, intern<SymbolicDoubleValue>(table, row.real));
    EXPECT_EQ(id, SymbolicIntValue(table, row.integer).getId(table)) << row.real;
  }
}

TEST(FactorDivision, Texts) {
  const Row rows[] = {
      {"a + b/c", "(a*c+b)/c"},
      {"b/c + a", "(b+a*c)/c"},
      {"a/b + c/d", "(a*d+c*b)/(b*d)"},
      {"a/b - c", "(a-c*b)/b"},
      {"a - b/c", "(a*c-b)/c"},
      {"a/b - c/d", "(a*d-c*b)/(b*d)"},
      {"(a/c)%b", "a%(b*c)/c"},
      {"a%(b/c)", "a*c%b/c"},
      {"a/b%(c/d)", "a*d%(c*b)/(b*d)"},
      {"(a/b)*(c/d)", "a*c/(b*d)"},
      {"(a/b)*c", "a*c/b"},
      {"a*(c/d)", "a*c/d"},
      {"(a/b)/c", "a/(b*c)"},
      {"a/(c/d)", "a*d/c"},
      {"(a/b)/(c/d)", "a*d/(b*c)"},
      {"(a + b/c)/d", "(a*c+b)/(c*d)"},
      {"1 + 2/3 == f(x/y + 1)", "(1*3+2)/3==f((x+1*y)/y)"},
      // Near misses: nothing to move.
      {"a/b", "a/b"},
      {"a*b+c%d", "a*b+c%d"},
      {"a/b<c/d && !(p/q)", "a/b<c/d && !(p/q)"},
      {"-(a/b)+c", "-(a/b)+c"},
      {"[a/b,c]", "[a/b,c]"},
  };
  check(rows, factor);
}

// The host sees which products are interned, and in which order.
TEST(FactorDivision, InternsInOrder) {
  SymbolicExprTable table;
  const SymbolicExprId id = SymbolicExprParser(table, true)("a/b + c/d");
  const std::size_t size = table.size();
  factor(table, id);
  const char* const expected[] = {"a*d", "c*b", "a*d+c*b", "b*d", "(a*d+c*b)/(b*d)"};
  ASSERT_EQ(table.size(), size + std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(SymbolicExprPrinter(table, false, false, false)(size + i), expected[i]);
  }
}

TEST(FactorDivision, AnEmptyFunctionThrowsAndChangesNothing) {
  SymbolicExprTable table;
  const SymbolicIntValue one(table, 1);
  SymbolicExprFactorDivisionVisitor visitor(table);
  visitor.visit(one);
  visitor.visit(one);
  EXPECT_THROW(visitor.factorDivision({}), std::bad_function_call);
  visitor.factorDivision(
      [&](SymbolicExprId a, SymbolicExprId b) { return intern<SymbolicMinusExpr>(table, a, b); });
  EXPECT_EQ(visitor.get(), SymbolicMinusExpr(table, one, one).getId(table));
}

TEST(Transforms, UnknownIdsThrow) {
  SymbolicExprTable table;
  EXPECT_THROW(cast(table, 0), std::out_of_range);
  EXPECT_THROW(factor(table, invalidSymbolicExprId), std::out_of_range);
}

TEST(Transforms, CostIsInDistinctNodesAndDepthIsFree) {
  SymbolicExprTable table;
  const SymbolicExprId half = intern<SymbolicDivideExpr>(table, intern<SymbolicString>(table, "a"),
                                                         intern<SymbolicDoubleValue>(table, 2.0));
  SymbolicExprId chain = half;
  SymbolicExprId doubled = half;
  for (int i = 0; i < 100000; ++i) chain = intern<SymbolicPlusExpr>(table, chain, half);
  for (int i = 0; i < 60; ++i) doubled = intern<SymbolicPlusExpr>(table, doubled, doubled);
  test::runOnStack(std::size_t{64} * 1024, [&] {
    for (const SymbolicExprId id : {chain, doubled}) {
      const SymbolicExpr& sum = *table.get(cast(table, id));
      EXPECT_EQ(sum.getKind(), static_cast<int>(SymbolicOp::Plus));
      const SymbolicExpr& quotient = *table.get(factor(table, id));
      EXPECT_EQ(quotient.getKind(), static_cast<int>(SymbolicOp::Divide));
      EXPECT_EQ(table.get(quotient.getInput(0))->getKind(), static_cast<int>(SymbolicOp::Plus));
    }
  });
  EXPECT_LT(table.size(), 800000U);
}

}  // namespace
