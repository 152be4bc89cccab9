// The passes of simplification: their number, limit and endings, and what they cost.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "base/detail/Intern.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SimplifyRows.hpp"
#include "tests/support/SmallStack.hpp"

namespace KS::test {
namespace {

TEST(SimplifyDriver, EndsByLimitConstantFixedPointOrRepetition) {
  const struct {
    const char* input;
    std::size_t limit;
    const char* output;
    std::size_t passes;
  } rows[] = {
      // A limit of 0 still runs one pass.
      {"(x - y*z) + y", 0, "x-(y*z-y)", 1},
      {"(x - y*z) + y", 1, "x-(y*z-y)", 1},
      {"(x - y*z) + y", 2, "x-y*(z-1)", 2},
      {"(x - y*z) + y", 3, "x-y*(z-1)", 3},
      {"(x - y*z) + y", 100, "x-y*(z-1)", 3},
      // Simplest already.
      {"x", 10, "x", 1},
      {"x + 1", 10, "x+1", 1},
      {"[a, b]", 10, "[a,b]", 1},
      {"true", 10, "true", 1},
      {"false", 10, "false", 1},
      // A constant ends at once, without a pass that finds nothing to do.
      {"1 < 2", 10, "true", 1},
      {"!(x == x)", 10, "false", 1},
      {"x + 1 - 1 == x", 10, "true", 2},
      // These pairs turn into each other; the repeated one is the result.
      {"2*x + 2", 10, "2*x+2", 2},
      {"2*(x + 1)", 10, "2*(x+1)", 2},
      {"3*x - 3", 10, "3*x-3", 2},
      {"3*(x - 1)", 10, "3*(x-1)", 2},
      {"x + -2147483648", 10, "x+-2147483648", 2},
      {"x - -2147483648", 10, "x--2147483648", 2},
      {"(x + 1)*2", 10, "2*x+2", 3},
      {"2*x + 2", 1, "2*(x+1)", 1},
  };
  for (const auto& row : rows) {
    const Simplified result = simplified(row.input, row.limit);
    EXPECT_EQ(result.text, row.output) << row.input << ", " << row.limit;
    EXPECT_EQ(result.passes, row.passes) << row.input << ", " << row.limit;
  }
}

TEST(SimplifyDriver, ExplainsThePassesOfSimplify) {
  RandomText random(3);
  for (std::size_t i = 0; i < 300; ++i) {
    SymbolicExprTable table;
    const SymbolicExprId id = SymbolicExprParser(table, true)(random.condition(1 + i % 9));
    const SymbolicExprSimplify simplify(table, 1 + i % 4);
    const std::vector<SymbolicExprId> results = simplify.explain(id);
    std::size_t passes = 0;
    ASSERT_EQ(simplify.simplify(id, passes), results.back());
    ASSERT_EQ(passes, results.size());
  }
}

// Nodes visited one by one, with operands on the visitor's stack.
TEST(SimplifyDriver, VisitsGiveWhatAPassGives) {
  static constexpr const char* const operands[] = {
      "b",   "x+1",  "f(x)", "[x, y]", "s.m",  "2",  "!b", "-x",  "y<1", "a && b", "a||b",  "a",
      "x*2", "1==y", "x%y",  "a!=b",   "true", "-1", "~x", "f()", "x-y", "x/2",    "2.5-x", "g(x)"};
  static constexpr const char* const operators[] = {"||", "&&", "+",  "-", "*",  "/",
                                                    "==", "!=", "<=", "<", ">=", ">"};
  for (const char* const left : operands) {
    for (const char* const right : operands) {
      for (const char* const op : operators) {
        const std::string text = "(" + std::string(left) + ")" + op + "(" + right + ")";
        SymbolicExprTable table;
        table.addBoolSymbols();
        const SymbolicExprId id = SymbolicExprParser(table, true)(text);
        SymbolicExprSimplifyVisitor passing(table), visiting(table);
        const SymbolicExprPrinter print(table, false, true, false);
        // Operands that are simplified already, as those on the stack are.
        const SymbolicExpr& node = *table.get(id);
        const SymbolicExprId inputs[] = {passing.pass(node.getInput(0)),
                                         passing.pass(node.getInput(1))};
        for (const SymbolicExprId input : inputs) table.get(input)->accept(table, visiting);
        detail::visitNode(node, visiting);
        EXPECT_EQ(print(visiting.get()), print(passing.pass(id))) << text;
      }
    }
  }
}

TEST(SimplifyDriver, NeedsNoBooleanSymbolsAndRefusesUnknownIds) {
  SymbolicExprTable table;
  const SymbolicExprId x = SymbolicExprParser(table, true)("x");
  std::size_t passes = 77;
  EXPECT_THROW(SymbolicExprSimplify(table, 5).simplify(1, passes), std::out_of_range);
  EXPECT_THROW(SymbolicExprSimplify(table, 5).simplify(invalidSymbolicExprId, passes),
               std::out_of_range);
  EXPECT_THROW(SymbolicExprSimplify(table, 5).explain(1), std::out_of_range);
  EXPECT_EQ(table.size(), 1U);
  const SymbolicExprSimplify simplify(table, 5);
  EXPECT_EQ(SymbolicExprSimplify(simplify).simplify(x, passes), x);
  EXPECT_EQ(passes, 1U);
  EXPECT_NE(table.getIdTRUE(), invalidSymbolicExprId);
}

// Equal operands, different ones, and one among operands that are older: each time an operand is
// the node itself, or a younger one that leads back to it.
TEST(SimplifyDriver, NodesThatLeadBackToThemselvesAreRefused) {
  const auto refused = [](const auto& aMake) {
    SymbolicExprTable table;
    table.addBoolSymbols();
    const SymbolicExprId id = aMake(table);
    std::size_t passes = 0;
    EXPECT_THROW(SymbolicExprSimplify(table, 5).simplify(id, passes), std::out_of_range);
    EXPECT_THROW(SymbolicExprSimplify(table, 5).conjunction(id, 1), std::out_of_range);
  };
  refused([](SymbolicExprTable& t) { return SymbolicAndExpr(t, 2, 2).getId(t); });
  refused([](SymbolicExprTable& t) { return SymbolicOrExpr(t, 2, 2).getId(t); });
  refused([](SymbolicExprTable& t) { return SymbolicOrExpr(t, 1, 2).getId(t); });
  refused([](SymbolicExprTable& t) { return SymbolicNotExpr(t, 2).getId(t); });
  refused([](SymbolicExprTable& t) {
    const SymbolicExprId early = SymbolicAndExpr(t, 3, 3).getId(t);
    return SymbolicOrExpr(t, early, early).getId(t);
  });
}

TEST(SimplifyDriver, ConjunctionsAreThoseOfTheirNodes) {
  RandomText random(31);
  for (std::size_t i = 0; i < 3000; ++i) {
    SymbolicExprTable table;
    const SymbolicExprParser parse(table, true);
    const SymbolicExprSimplify simplify(table, 10);
    std::size_t passes = 0;
    SymbolicExprId both[] = {parse(random.condition(1 + i % 7)),
                             parse(random.condition(1 + i % 5))};
    for (std::size_t j = 0; j < 2; ++j) {
      if ((i >> j) % 4 != 3) both[j] = simplify.simplify(both[j], passes);
    }
    const SymbolicExprId result = simplify.conjunction(both[0], both[1]);
    const SymbolicExprId node = detail::intern<SymbolicAndExpr>(table, both[0], both[1]);
    ASSERT_EQ(result, simplify.simplify(node, passes)) << i;
    EXPECT_THROW(simplify.conjunction(result, table.size()), std::out_of_range);
    EXPECT_THROW(simplify.conjunction(invalidSymbolicExprId, result), std::out_of_range);
  }
}

// Sums of ever new terms may need many passes; conditions end soon, and the result is final.
TEST(SimplifyDriver, ConditionsReachAFixedPoint) {
  RandomText random(12);
  for (std::size_t i = 0; i < 3000; ++i) {
    const std::string text = i % 2 == 0 ? random.condition(1 + i % 14) : random.dense(2 + i % 6);
    const Simplified result = simplified(text);
    ASSERT_LT(result.passes, 12U) << text;
    const Simplified again = simplified(result.text);
    ASSERT_EQ(again.text, result.text) << text;
    ASSERT_EQ(again.passes, 1U) << text << " gives " << result.text;
  }
}

// ---------------------------------------------------------------------------------------------

std::string join(const std::string& aConnective, std::size_t aCount,
                 std::string (*aOperand)(std::size_t)) {
  std::string text;
  for (std::size_t i = 0; i < aCount; ++i) text += (i == 0 ? "" : aConnective) + aOperand(i);
  return text;
}
std::string numbered(const char* aName, std::size_t aIdx) { return aName + std::to_string(aIdx); }

TEST(SimplifyCost, DistributionIsBounded) {
  const auto both = [](std::size_t i) {
    return "(" + numbered("a", i) + " || " + numbered("b", i) + ")";
  };
  // 1,024 disjuncts are written out; a conjunction that would give more keeps its disjunctions.
  for (const std::size_t count : {5U, 10U}) {
    const std::string text = simplified(join(" && ", count, both)).text;
    std::size_t disjuncts = 1;
    for (std::size_t at = 0; (at = text.find("||", at)) != std::string::npos; ++at) ++disjuncts;
    EXPECT_EQ(disjuncts, std::size_t{1} << count);
  }
  for (const std::size_t count : {11U, 30U, 300U}) {
    const std::string text = simplified(join(" && ", count, both)).text;
    for (std::size_t i = 0; i < count; ++i) {
      ASSERT_NE(text.find("(" + numbered("a", i) + " || " + numbered("b", i) + ")"),
                std::string::npos)
          << count;
    }
    // Order, repetition and absorption as among all operands.
    EXPECT_EQ(simplified("(b0 || a0) && " + join(" && ", count, both) + " && (a1 || b1)").text,
              text);
    EXPECT_EQ(simplified(join(" && ", count, both) + " && !a0 && !b0 && a0").text, "false");
  }
}

TEST(SimplifyCost, SharedSubtreesAreSimplifiedOnce) {
  const struct {
    SymbolicOp op;
    std::size_t growth;
  } rows[] = {{SymbolicOp::Plus, 400}, {SymbolicOp::And, 10}, {SymbolicOp::Multiply, 400}};
  for (const auto& row : rows) {
    SymbolicExprTable table;
    SymbolicExprId id = SymbolicExprParser(table, true)("x + y");
    if (row.op == SymbolicOp::And) id = SymbolicExprParser(table, true)("x && y");
    for (int i = 0; i < 60; ++i) {
      id = row.op == SymbolicOp::Plus  ? detail::intern<SymbolicPlusExpr>(table, id, id)
           : row.op == SymbolicOp::And ? detail::intern<SymbolicAndExpr>(table, id, id)
                                       : detail::intern<SymbolicMultiplyExpr>(table, id, id);
    }
    const std::size_t size = table.size();
    std::size_t passes = 0;
    const SymbolicExprId result = SymbolicExprSimplify(table, 10).simplify(id, passes);
    EXPECT_NE(result, invalidSymbolicExprId);
    EXPECT_LT(table.size(), size + row.growth);
  }
}

// Exclusive or, written in two ways: the text has more than twice the length with every level.
TEST(SimplifyCost, TowersCostTheirDistinctNodes) {
  for (const bool inClauses : {false, true}) {
    SymbolicExprTable table;
    SymbolicExprId id = SymbolicExprParser(table, true)("a");
    for (std::size_t i = 0; i < 30; ++i) {
      const SymbolicExprId b = SymbolicExprParser(table, true)(numbered("b", i));
      const auto both = [&](SymbolicExprId x, SymbolicExprId y) {
        return detail::intern<SymbolicAndExpr>(table, x, y);
      };
      const auto either = [&](SymbolicExprId x, SymbolicExprId y) {
        return detail::intern<SymbolicOrExpr>(table, x, y);
      };
      const auto no = [&](SymbolicExprId x) { return detail::intern<SymbolicNotExpr>(table, x); };
      id = both(either(id, b), inClauses ? either(no(id), no(b)) : no(both(id, b)));
    }
    std::size_t passes = 0;
    const SymbolicExprSimplify simplify(table, 10);
    const SymbolicExprId result = simplify.simplify(id, passes);
    EXPECT_EQ(simplify.simplify(result, passes), result);
    EXPECT_LT(table.size(), 5000U);
    EXPECT_THROW(SymbolicExprPrinter(table, false, false, false)(result), std::length_error);
  }
}

#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__)
constexpr bool isOptimised = true;
#else
constexpr bool isOptimised = false;
#endif

TEST(SimplifyCost, LongChainsNeedNoStackAndFewNodes) {
  using Operand = std::string (*)(std::size_t);
  const struct {
    const char* connective;
    std::size_t count;
    Operand operand;
  } rows[] = {
      {" && ", 100000, [](std::size_t i) { return numbered("v", i); }},
      {" || ", 100000, [](std::size_t i) { return numbered("!v", i); }},
      {" && ", 100000, [](std::size_t i) { return numbered("x", i) + " > 3"; }},
      {" || ", 100000, [](std::size_t i) { return numbered("x > ", 99999 - i); }},
      {" && ", 100000, [](std::size_t i) { return numbered("x < ", i); }},
      {" || ", 30000, [](std::size_t i) { return "(" + numbered("v", i) + " && w)"; }},
      {" + ", 100000, [](std::size_t i) { return numbered("v", i); }},
      {" - ", 100000, [](std::size_t i) { return numbered("v", i); }},
      {" * ", 100000, [](std::size_t i) { return numbered("v", i); }},
      {" + ", 100000, [](std::size_t i) { return std::to_string(i); }},
      {" && ", 100000, [](std::size_t i) { return numbered("x != ", i); }},
      {" || ", 100000, [](std::size_t i) { return numbered("x == ", i); }},
      {" && ", 100000, [](std::size_t i) { return numbered("x < y", i); }},
  };
  for (const auto& row : rows) {
    const std::size_t count = isOptimised ? row.count : row.count / 20;
    const std::string text = join(row.connective, count, row.operand);
    std::size_t before = 0, after = 0;
    runOnStack(std::size_t{256} << (isOptimised ? 10 : 12), [&] {
      SymbolicExprTable table;
      const SymbolicExprId id = SymbolicExprParser(table, true)(text);
      before = table.size();
      std::size_t passes = 0;
      SymbolicExprSimplify(table, 4).simplify(id, passes);
      after = table.size();
    });
    EXPECT_GT(before, count) << text.substr(0, 40);
    EXPECT_LE(after, 4 * before) << text.substr(0, 40);
  }
}

}  // namespace
}  // namespace KS::test
