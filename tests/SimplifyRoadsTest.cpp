// Results depend on the expression alone: not on what a table or a simplifier did before, nor on
// which of the faster roads through the simplifier was taken.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "base/detail/Intern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SimplifyRows.hpp"

namespace KS::test {
namespace {

using detail::FastRoad;
using detail::intern;

constexpr FastRoad roads[] = {FastRoad::KnownFinal, FastRoad::DisjointJoin,
                              FastRoad::SetDistribution, FastRoad::GrowingConjunction,
                              FastRoad::ThinnedRelations};

// A simplifier some of whose roads are closed.
class Simplifier {
 public:
  explicit Simplifier(SymbolicExprTable& aTable) : visitor(aTable) {}
  void close(FastRoad aRoad) { visitor.getContext().roads.close(aRoad); }
  void closeAll() {
    for (const FastRoad road : roads) close(road);
  }
  std::size_t taken(FastRoad aRoad) { return visitor.getContext().roads.taken(aRoad); }

  SymbolicExprId operator()(SymbolicExprId aId) {
    constexpr int maxPasses = 10;
    visitor.restart();
    for (int passes = 0; passes < maxPasses; ++passes) {
      const SymbolicExprId result = visitor.pass(aId);
      if (result == aId) break;
      aId = result;
    }
    return aId;
  }

 private:
  SymbolicExprSimplifyVisitor visitor;
};

std::string numbered(const std::string& aName, std::size_t aIdx) {
  return aName + std::to_string(aIdx);
}

// Disjunctions of products, conjoined: of factors that meet in every rule and in none, or of so
// many that a set of 64 does not hold them.
std::string randomDistribution(RandomText& aRandom, bool aIsWide) {
  static constexpr const char* const meeting[] = {
      "a",      "b",      "c",      "!a",      "!b",        "a != 1",    "a == 1",    "a % 2 == 1",
      "x == 1", "x == 2", "x != 1", "x != 2",  "x >= 2",    "x <= 2",    "x > 2",     "!(x < 2)",
      "ab",     "abc",    "ab > 1", "ab > 10", "a == -1",   "a == -(1)", "!(a && b)", "!(a || c)",
      "f(x)",   "x == y", "x == z", "s.m > 1", "!(c && ab)"};
  const std::size_t first = aRandom.pick(std::size(meeting)), count = 2 + aRandom.pick(12);
  const auto factor = [&]() -> std::string {
    return aIsWide && aRandom.pick(12) != 0
               ? numbered("v", aRandom.pick(150))
               : meeting[(first + aRandom.pick(count)) % std::size(meeting)];
  };
  std::string text;
  for (std::size_t lists = 2 + aRandom.pick(5) / 4; lists > 0; --lists) {
    text += text.empty() ? "(" : " && (";
    for (std::size_t members = 1 + aRandom.pick(aIsWide ? 20 : 7); members > 0; --members) {
      text += factor();
      for (std::size_t more = aRandom.pick(3); more > 0; --more) text += " && " + factor();
      text += members > 1 ? " || " : ")";
    }
  }
  return text;
}

// Conditions in which every road is taken sooner or later, and texts at the limits of distribution.
std::string randomText(RandomText& aRandom, std::size_t aIdx) {
  static constexpr const char* const relations[] = {"!=", "<=", "<", ">", ">=", "=="};
  const auto number = [&](std::size_t aCount) { return std::to_string(aRandom.pick(aCount)); };
  const char* const connective = aIdx % 2 == 0 ? " && " : " || ";
  std::string text;
  const auto add = [&](const std::string& aOperand, const char* aConnective) {
    text += (text.empty() ? "" : aConnective) + aOperand;
  };
  switch (aIdx % 12) {
    case 0: return aRandom.dense(2 + aIdx % 7);
    case 1: {  // Equal operands, some of them simplified already.
      const std::string once = aRandom.condition(1 + aIdx % 5);
      const std::string again = aRandom.pick(2) == 0 ? once : simplified(once).text;
      return "((" + once + ") || (" + again + "))" + connective + "(" + once + ")";
    }
    case 2: {  // Negations whose parts are each other.
      const std::string inner = aRandom.dense(1 + aIdx % 3);
      for (std::size_t i = 0; i < 4; ++i) {
        add(aRandom.pick(2) == 0 ? "!((" + inner + ") && " + numbered("p", i % 2) + ")"
                                 : aRandom.dense(1),
            connective);
      }
      return text + connective + "(" + inner + ")";
    }
    case 3:  // Many relations over one symbol.
    case 4:
      for (std::size_t i = 0; i < 40; ++i) {
        // The rarer a relation, the longer the others stay.
        const std::string relation =
            aRandom.pick(9) != 0 ? (aIdx % 2 == 0 ? "!=" : "==") : aRandom.oneOf(relations);
        add("x" + relation + number(60), connective);
      }
      return text;
    case 5: {  // Around 1,024 disjuncts, and with few of them around 65,536 literals.
      const std::size_t pairs = 4 + aRandom.pick(8);
      const std::size_t others = 65536 / (std::size_t{1} << pairs) - pairs;
      for (std::size_t i = 0; i < pairs; ++i) {
        add("(" + numbered("a", i) + " || " + numbered("b", i) + ")", " && ");
      }
      if (pairs > 8) {
        for (std::size_t i = 0, n = others - 1 + aRandom.pick(3); i < n; ++i) {
          add(numbered("r", i), " && ");
        }
      }
      return text;
    }
    case 6:  // Long, about different things.
      for (std::size_t i = 0; i < 30; ++i) {
        add(aRandom.pick(4) == 0 ? "!(" + numbered("v", aRandom.pick(90)) + " && w)"
                                 : numbered("v", aRandom.pick(90)) + aRandom.oneOf(relations) + "1",
            connective);
      }
      return text;
    case 7:  // Different expressions with one text.
      return "(a == -1 || b) && (a == -(1) || c)" + std::string(connective) + "a == -" +
             (aRandom.pick(2) == 0 ? "1" : "(1)") + " && " + aRandom.condition(2);
    case 8:
    case 9: return randomDistribution(aRandom, aIdx % 12 == 9);
    default: return aRandom.condition(1 + aIdx % 14);
  }
}

TEST(SimplifyRoads, AllGiveOneResult) {
  RandomText random(5);
  std::size_t taken[std::size(roads)] = {};
  for (std::size_t i = 0; i < tries(2400); ++i) {
    const std::string text = randomText(random, i);
    SymbolicExprTable table;
    table.addBoolSymbols();
    const SymbolicExprId id = SymbolicExprParser(table, true)(text);
    ASSERT_NE(id, invalidSymbolicExprId) << text;
    const SymbolicExprPrinter print(table, false, true, false);
    Simplifier open(table), general(table);
    general.closeAll();
    const bool isOpenFirst = i % 3 == 0;
    const SymbolicExprId first = isOpenFirst ? open(id) : general(id);
    const SymbolicExprId second = isOpenFirst ? general(id) : open(id);
    ASSERT_EQ(first, second) << text << "\n" << print(first) << "\n" << print(second);
    for (std::size_t road = 0; road < std::size(roads); ++road) {
      Simplifier closed(table);
      closed.close(roads[road]);
      ASSERT_EQ(closed(id), first) << text << "\nwithout road " << road;
      taken[road] += open.taken(roads[road]);
    }
  }
  EXPECT_GT(taken[static_cast<int>(FastRoad::DisjointJoin)], tries(500));
  EXPECT_GT(taken[static_cast<int>(FastRoad::SetDistribution)], tries(600));
  EXPECT_GT(taken[static_cast<int>(FastRoad::ThinnedRelations)], tries(200));
}

// Distribution knows factors by numbers, of which there is an end; whatever has more goes
// elsewhere.
TEST(SimplifyRoads, SetsHoldSoManyFactors) {
  const struct {
    std::size_t numFactors;
    bool areSets;
  } rows[] = {{5, true}, {64, true}, {65, true}, {512, true}, {513, false}};
  for (const auto& row : rows) {
    std::string text;
    for (std::size_t i = 2; i < row.numFactors; ++i) text += numbered(i > 2 ? " || v" : "v", i);
    text = "(" + text + ") && (p || q)";
    SymbolicExprTable table;
    table.addBoolSymbols();
    Simplifier open(table), general(table);
    general.closeAll();
    const SymbolicExprId id = SymbolicExprParser(table, true)(text);
    EXPECT_EQ(open(id), general(id)) << row.numFactors;
    EXPECT_EQ(open.taken(FastRoad::SetDistribution), row.areSets ? 1U : 0U) << row.numFactors;
  }
}

// What distribution makes of negations in negations may have to be distributed, on every level.
TEST(SimplifyRoads, DistributionInDistributionIsDoneOnce) {
  std::string inner = "z", expected = "a && z";
  for (std::size_t i = 10; i < 40; ++i) {
    inner = "!(a && !(" + numbered("b", i) + " || " + inner + "))";
    expected.insert(expected.size() - 6, "a && " + numbered("b", i) + " || ");
  }
  EXPECT_EQ(simplified("a && " + inner).text, simplified(expected).text);
  EXPECT_EQ(simplified(expected).text, expected);
}

// Conjunctions that grow, operand by operand and with siblings that do not.
TEST(SimplifyRoads, GrowingConjunctionsAreThoseOfTheGeneralRoad) {
  RandomText random(6);
  std::size_t taken = 0;
  for (std::size_t i = 0; i < 120; ++i) {
    SymbolicExprTable table;
    table.addBoolSymbols();
    const SymbolicExprParser parse(table, true);
    Simplifier open(table), general(table);
    general.closeAll();
    const std::size_t names = i % 3 == 0 ? 30 : 2000;
    const auto name = [&](const char* aName) { return numbered(aName, random.pick(names)); };
    SymbolicExprId all = parse(name("v")), before = all;
    for (std::size_t j = 0; j < 90; ++j) {
      std::string operand = name("v");
      switch (random.pick(9)) {
        case 0: operand += " != " + std::to_string(random.pick(9)); break;
        case 1: operand = "!(" + operand + " || " + name("v") + ")"; break;
        case 2: operand += " && " + name("v") + " > 1 && " + name("w") + " != 3"; break;
        case 3: operand += j % 30 == 29 ? " || " + name("w") : ""; break;
        case 4: operand += " < " + name("w"); break;
        case 5: {  // About too many things to be taken apart, now and then.
          if (j % 30 != 20) break;
          for (int k = 0; k < 70; ++k) operand += " && " + name("u");
          operand = "!(" + operand + ")";
          break;
        }
        default: break;
      }
      const SymbolicExprId added = open(parse(operand));
      // Mostly the last one grows, sometimes its sibling does.
      const SymbolicExprId chain = random.pick(6) == 0 ? before : all;
      const SymbolicExprId both = random.pick(4) == 0
                                      ? intern<SymbolicAndExpr>(table, added, chain)
                                      : intern<SymbolicAndExpr>(table, chain, added);
      before = chain;
      all = open(both);
      ASSERT_EQ(general(both), all) << SymbolicExprPrinter(table, false, true, false)(both);
    }
    taken += open.taken(FastRoad::GrowingConjunction);
  }
  EXPECT_GT(taken, 2000U);
}

// A table and a simplifier that have seen much give the text of fresh ones: for texts, for
// operations on results one after the other, and again for the same ones later.
TEST(SimplifyRoads, ResultsAreThoseOfAFreshTable) {
  RandomText random(7);
  for (std::size_t world = 0; world < 60; ++world) {
    SymbolicExprTable table;
    const SymbolicExprParser parse(table, true);
    const SymbolicExprPrinter print(table, false, true, false);
    const SymbolicExprSimplify simplify(table, 10);
    std::vector<std::string> results, expressions;
    const auto check = [&](const std::string& aText) {
      std::size_t passes = 0;
      const SymbolicExprId id = simplify.simplify(parse(aText), passes);
      const std::string result = print(id);
      const Simplified fresh = simplified(aText, 10);
      EXPECT_EQ(result, fresh.text) << aText;
      EXPECT_EQ(passes, fresh.passes) << aText;
      EXPECT_EQ(simplify.simplify(id, passes), id) << aText;
      results.push_back(result);
      expressions.push_back(aText);
    };
    for (std::size_t step = 0; step < 40 && !HasFailure(); ++step) {
      const auto any = [&] { return "(" + results[random.pick(results.size())] + ")"; };
      const std::size_t choice = results.empty() ? 0 : random.pick(8);
      const std::string a = choice == 0 ? "" : any(), b = choice == 0 ? "" : any();
      if (a.size() + b.size() > 3000) continue;
      switch (choice) {
        case 0:
        case 1: check(randomText(random, step % 5 == 4 ? step : random.pick(12) % 5)); break;
        case 2: check("!" + a); break;
        case 3: check(a + " || " + a); break;
        case 4: check(a + " || " + b); break;
        case 5: check("(" + a + " || " + b + ") || (" + b + " || " + a + ")"); break;
        case 6: check(expressions[random.pick(expressions.size())]); break;
        default: check(a + " && " + b);
      }
    }
    if (HasFailure()) return;
  }
}

// Operands that are one id are that id, also where their order is the one in which they stand.
TEST(SimplifyRoads, EqualOperandsAreThemselves) {
  const char* const texts[] = {"v || p && q",   "p && q || v",     "a || b", "x < 1 || a && b",
                               "s.m || a && b", "f(x) || a && !b", "a && b", "!a"};
  const std::string shapes[] = {
      "X || X",  "X && X",       "(X || X) || X",  "X || (X || X)",
      "!(!(X))", "!(!(X)) || X", "X || X && true", "(X || X) && (X || X)"};
  for (const std::string text : texts) {
    for (const std::string& shape : shapes) {
      std::string whole;
      for (const char c : shape) whole += c == 'X' ? "(" + text + ")" : std::string(1, c);
      const std::string expected = simplified(text).text;
      EXPECT_EQ(simplified(whole).text, expected) << whole;
      SymbolicExprTable used;
      const SymbolicExprSimplify simplify(used, 10);
      std::size_t passes = 0;
      simplify.simplify(SymbolicExprParser(used, true)(text), passes);
      const SymbolicExprId id = SymbolicExprParser(used, true)(whole);
      EXPECT_EQ(SymbolicExprPrinter(used, false, true, false)(simplify.simplify(id, passes)),
                expected)
          << whole;
    }
  }
}

}  // namespace
}  // namespace KS::test
