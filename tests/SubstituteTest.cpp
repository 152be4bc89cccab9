// Substitution: what is left, and that it has the values of the original.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/SymbolicExprSymbols.hpp"
#include "base/detail/Intern.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tests/support/RandomQuestion.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SmallStack.hpp"
#include "xform/SymbolicExprSubstitute.hpp"

namespace {

using namespace KS;
using Eval::Scalar;
using Eval::Value;
using Bound = std::vector<std::pair<const char*, Value>>;

const Value list = std::vector<Scalar>{1, 0.5, false};

// N is registered as 4, T as N * M, 'loop' and 'other' as each other.
class Substitution {
 public:
  Substitution() {
    for (const auto& [name, value] :
         {std::pair{"N", "4"}, {"T", "N * M"}, {"loop", "1 + other"}, {"other", "-loop"}}) {
      table.registerValueId(name, parse(value));
    }
  }
  SymbolicExprId parse(const std::string& aText) {
    const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
    EXPECT_NE(id, invalidSymbolicExprId) << aText;
    return id;
  }
  SymbolicExprId left(const std::string& aText, const Bound& aBound) {
    SymbolicExprBindings bindings(table);
    for (const auto& [text, value] : aBound) bindings.set(parse(text), value);
    return SymbolicExprSubstitute(table)(parse(aText), bindings);
  }
  std::string print(SymbolicExprId aId) const {
    return SymbolicExprPrinter(table, false, false, false)(aId);
  }

  SymbolicExprTable table;
};

TEST(Substitute, WhatIsLeft) {
  const struct {
    const char* text;
    Bound bound;
    const char* left;
  } rows[] = {
      {"a && b", {}, "a&&b"},
      {"1 && b", {}, "true&&b"},
      {"2.5 > 2 && b", {}, "true&&b"},
      {"a && b || c", {{"a", 0.0}}, "false&&b||c"},
      {"b && (a || c)", {{"a", -3}}, "b&&(true||c)"},
      {"a && b", {{"a", 2}, {"b", 0.5}}, "true"},
      {"a && !b", {{"b", true}}, "a&&false"},
      {"!a", {}, "!a"},
      {"a", {{"a", 2}}, "2"},
      {"a", {{"a", true}}, "true"},
      {"a", {{"a", -2.0}}, "-2.0"},
      {"a", {{"a", list}}, "[1,0.5,false]"},
      {"a && b", {{"a", list}}, "[true,true,false]&&b"},
      {"a + b", {{"a", list}}, "[1,0.5,false]+b"},
      {"[a, b]", {{"a", 7}}, "[7,b]"},
      {"[a, b, 1, c]", {{"a", 7}, {"b", 8}, {"c", 9}}, "[7,8,1,9]"},
      {"[a]", {{"a", 7}}, "[7]"},
      {"[a, b]", {{"a", list}, {"b", 1}}, "[[1,0.5,false],1]"},
      {"a + [1, 2] + b", {{"a", list}}, "[1,0.5,false]+[1,2]+b"},
      {"x / 2 + y", {{"x", 7}}, "3+y"},
      {"x / 2 + y", {{"x", 7.0}}, "3.5+y"},
      {"-x * (x + y)", {{"x", 7}}, "-7*(7+y)"},
      {"(x + y) * x", {{"x + y", 3}}, "3*x"},
      {"(x + y) * x", {{"x + y", 3}, {"x", 2}}, "6"},
      {"f(x) + x", {{"x", 2}}, "f(x)+2"},
      {"f(x) + x", {{"f(x)", 2}}, "2+x"},
      {"f(f)", {{"f", 2}}, "f(f)"},
      {"s.m && s", {{"s", 2}}, "s.m&&true"},
      {"s.m && s", {{"s.m", 2}}, "true&&s"},
      {"N + x", {}, "4+x"},
      {"T + x", {}, "4*M+x"},
      {"T + x", {{"M", 3}}, "12+x"},
      {"T + x", {{"N", 3}}, "3*M+x"},
      {"T + x", {{"T", 3}}, "3+x"},
      {"loop", {{"other", 2}}, "3"},
      {"loop + x", {{"x", 2}}, "1+-loop+2"},
      {"true + x", {{"true", 3}}, "3+x"},
      {"(1 < 2) + x", {{"true", 3}}, "1+x"},
  };
  for (const auto& row : rows) {
    Substitution substitution;
    EXPECT_EQ(substitution.print(substitution.left(row.text, row.bound)), row.left) << row.text;
  }
  Substitution other;
  const SymbolicExprBindings bindings(other.table);
  EXPECT_THROW(SymbolicExprSubstitute(other.table)(other.table.size(), bindings),
               std::out_of_range);
  Substitution unlike;
  EXPECT_THROW(SymbolicExprSubstitute(unlike.table)(0, bindings), std::invalid_argument);
}

TEST(Substitute, NothingIsInternedWhereNothingIsBound) {
  Substitution substitution;
  const SymbolicExprId id = substitution.parse("(a + 1 < b || f(a)) && [c] == s.m");
  const std::size_t size = substitution.table.size();
  EXPECT_EQ(substitution.left("(a + 1 < b || f(a)) && [c] == s.m", {{"loop", 1}}), id);
  EXPECT_EQ(substitution.table.size(), size);
}

// Where "true" stands for something else, a truth is a number.
TEST(Substitute, TruthsAreNumbersWhereTheirNamesHaveValues) {
  for (const bool isRegistered : {false, true}) {
    SymbolicExprTable table;
    const SymbolicExprId sum = SymbolicExprParser(table, false)("A + x");
    SymbolicExprBindings bindings(table);
    bindings.set("A", true);
    if (isRegistered) {
      table.registerValueId("true", SymbolicIntValue(table, 7).getId(table));
    } else {
      bindings.set("true", 7);
    }
    const SymbolicExprId residual = SymbolicExprSubstitute(table)(sum, bindings);
    EXPECT_EQ(SymbolicExprPrinter(table, true, false, false)(residual), "1+x");
  }
}

// A list without elements has no spelling: only a host's own code makes one.
TEST(Substitute, ListsWithoutElementsStay) {
  SymbolicExprTable table;
  table.add(new SymbolicNDExpr(table, {}));
  const SymbolicExprId x = detail::intern<SymbolicString>(table, "x");
  const SymbolicExprId negated = detail::intern<SymbolicUnaryMinusExpr>(table, SymbolicExprId{0});
  const SymbolicExprId product = detail::intern<SymbolicMultiplyExpr>(table, negated, x);
  const SymbolicExprId residual =
      SymbolicExprSubstitute(table)(product, SymbolicExprBindings(table));
  EXPECT_EQ(residual, detail::intern<SymbolicMultiplyExpr>(table, SymbolicExprId{0}, x));
}

TEST(Substitute, CostIsInDistinctNodesAndDepthIsFree) {
  SymbolicExprTable table;
  const SymbolicExprId x = detail::intern<SymbolicString>(table, "x");
  const SymbolicExprId y = detail::intern<SymbolicString>(table, "y");
  SymbolicExprId doubled = detail::intern<SymbolicMinusExpr>(table, x, y);
  for (int i = 0; i < 60; ++i) doubled = detail::intern<SymbolicPlusExpr>(table, doubled, doubled);
  SymbolicExprId deep = y;
  for (int i = 0; i < 100000; ++i) deep = detail::intern<SymbolicMinusExpr>(table, x, deep);
  SymbolicExprBindings bindings(table);
  bindings.set("x", 3);
  test::runOnStack(std::size_t{64} * 1024, [&] {
    const SymbolicExprSubstitute substitute(table);
    const SymbolicExprEval eval(table);
    for (const SymbolicExprId id : {doubled, deep}) {
      const SymbolicExprId residual = substitute(id, bindings);
      SymbolicExprBindings rest(table);
      rest.set("y", 2.0);
      SymbolicExprBindings both = bindings;
      both.set("y", 2.0);
      EXPECT_EQ(eval.eval(residual, rest), eval.eval(id, both));
    }
  });
}

}  // namespace
