// Compact forms: what they look like, that they mean the same, that they are no longer than
// promised, and what they cost at most.
#include <gtest/gtest.h>

#include <ctime>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "compact/detail/FormulaWriter.hpp"
#include "compact/detail/RelationLiterals.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/Equivalence.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/support/SmallStack.hpp"

namespace KS::test {
namespace {

using Implies = SymbolicExprCompact::Implies;

// Conditions of one table, in the spelling that both dialects share, printed as M.
class Conditions {
 public:
  SymbolicExprId parse(const std::string& aText) {
    const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
    if (id == invalidSymbolicExprId) throw std::invalid_argument("no expression: " + aText);
    return id;
  }
  std::vector<SymbolicExprId> parse(const std::vector<std::string>& aTexts) {
    std::vector<SymbolicExprId> ids;
    for (const std::string& text : aTexts) ids.push_back(parse(text));
    return ids;
  }
  SymbolicExprId simplified(SymbolicExprId aId) {
    std::size_t passes = 0;
    return SymbolicExprSimplify(table, 30).simplify(aId, passes);
  }
  // The conjunction as typed.
  SymbolicExprId conjunction(const std::vector<SymbolicExprId>& aIds) {
    SymbolicExprId result = aIds.front();
    for (std::size_t i = 1; i < aIds.size(); ++i) {
      result = SymbolicAndExpr(table, result, aIds[i]).getId(table);
    }
    return result;
  }
  std::string print(SymbolicExprId aId) const {
    return SymbolicExprPrinter(table, true, true, false)(aId);
  }

  SymbolicExprTable table;
};

struct Row {
  const char* condition;
  const char* compact;
};

// The canonical form of a condition becomes the compact one, and so does the compact one itself.
template <std::size_t count>
void checkRows(const Row (&aRows)[count]) {
  for (const Row& row : aRows) {
    Conditions conditions;
    const SymbolicExprCompact compact(conditions.table);
    const SymbolicExprId result = compact(conditions.simplified(conditions.parse(row.condition)));
    EXPECT_EQ(conditions.print(result), row.compact) << row.condition;
    EXPECT_EQ(compact(result), result) << row.condition;
  }
}

TEST(Compact, CommonFactorsAreTakenOut) {
  constexpr Row rows[] = {
      {"a && c || b && c", "(a || b) && c"},
      {"a && b || a && c || d", "a && (b || c) || d"},
      {"x > 2 && a || x > 2 && b", "(a || b) && x>2"},
      {"f(x) > 2 && s.m || b && f(x) > 2", "(b || s.m) && f(x)>2"},
      // Products that distribution multiplied out.
      {"(a||b) && (c||d) && (e||f)", "(a || b) && (c || d) && (e || f)"},
      {"(a && b || e && f) && (c || d)", "(a && b || e && f) && (c || d)"},
      {"(a && b || c && d) && (e && f || g && h)", "(a && b || c && d) && (e && f || g && h)"},
      {"a && (b || c && (d || e && (f || g)))", "a && (b || c && (d || e && (f || g)))"},
      // The better factor first: c is in more conjunctions, a && b saves more.
      {"a && b && c || a && b && d || c && e", "a && b && (c || d) || c && e"},
      // The quotient of one disjunction by another, and what remains.
      {"a && c || a && d || a && e || b && c || b && d", "(a || b) && (c || d) || a && e"},
      // Of a conjunction of disjunctions, too.
      {"!((a || b) && (a || c))", "~(a || b && c)"},
      {"(a && b || c) && (a && b || d)", "a && b || c && d"},
      // Nothing in common.
      {"a && b || c && d", "a && b || c && d"},
      {"x == y && a || x == y && b", "(a || b) && x==y"},
      {"a && !b || b && !a", "~a && b || ~b && a"},
      {"a", "a"},
      {"a || !a", "true"},
  };
  checkRows(rows);
}

TEST(Compact, NegationsStandWhereTheyAreShortest) {
  constexpr Row rows[] = {
      {"!a || !b", "~a || ~b"},
      {"!a || !b || !c", "~a || ~b || ~c"},
      {"!a || !b || !c || !d", "~(a && b && c && d)"},
      {"!a || !b || !c || !d || e", "~(a && b && c && d) || e"},
      {"!a && !b && !c && !d && e", "~(a || b || c || d) && e"},
      // As an operand, a disjunction has parentheses anyway.
      {"(!a || !b) && c", "~(a && b) && c"},
      {"!(x < 2) || !(y < 3)", "~(x<2 && y<3)"},
      {"!(x < 2) || a", "~(x<2) || a"},
      {"!(a && b) && !(c && d)", "~(a && b || c && d)"},
      // A conjunction has none.
      {"!a && !b || c", "~a && ~b || c"},
      {"!a && !b && !c && !d || e", "~(a || b || c || d) || e"},
      {"!(Link == 1 || Link == 2)", "Link~=1 && Link~=2"},
  };
  checkRows(rows);
}

// What factoring brings together.
TEST(Compact, RelationsAreMerged) {
  constexpr Row rows[] = {
      {"a && x > 2 || a && x == 2", "a && x>=2"},
      {"a && x < 2 || a && x == 2 || b", "a && x<=2 || b"},
      {"a && x < 2 || a && x < 5 && b", "a && (b && x<5 || x<2)"},
      {"a && x < 2 || a && x < 5", "a && x<5"},
      {"a && x <= y || a && x >= y", "a"},
      {"a && (x == 1 || x == 2) && b || a && (x == 1 || x == 2) && c",
       "a && (b || c) && (x==1 || x==2)"},
      {"!(P <= 20) && P > 10", "~(P<=20)"},
      {"!(P <= 20) && P < 10", "false"},
      {"!(P <= 20) && P <= 30 && P != 12", "~(P<=20) && P<=30"},
      // Different within the tolerance of evaluation.
      {"a && x < 2 || a && x > 2", "a && (x<2 || x>2)"},
      {"!(x < 2)", "~(x<2)"},
  };
  checkRows(rows);
}

// What the surroundings decide; the canonical form mostly has none of it.
TEST(Compact, WhatTheSurroundingsDecideIsDropped) {
  const Row rows[] = {
      {"a && (a && b || c)", "a && (b || c)"},
      {"a || !a && b", "a || b"},
      {"(a || b) && c || !(a || b)", "~a && ~b || c"},
      {"x > 5 && (x > 2 && b || x < 3 && c)", "b && x>5"},
      {"a && b && c || a && b", "a && b"},
      {"(a || b) && (a || b || c)", "a || b"},
      {"1 && a && true || false || 0", "a"},
      {"3 < x && 1 + x > 4", "x+1>4 && x>3"},
      {"a && a", "a"},
      {"x <= y && x >= y", "x==y"},
      {"x < y || x == y", "x<=y"},
      {"x > y || x == y", "x>=y"},
      {"a && !a", "false"},
      {"b && a && !a || c", "c"},
      {"(a || b) && !(a || b)", "false"},
      {"(a && b || c) && !(a && b || c) || d", "d"},
      {"x == 1 && !(x == 1)", "false"},
      {"f(x) && y > 1 && !f(x)", "false"},
      {"!(!(a))", "a"},
      {"(a && b) + 1 == 2 || (a && b) + 1 == 2", "(a && b)+1==2"},
  };
  for (const Row& row : rows) {
    Conditions conditions;
    const SymbolicExprId id = conditions.parse(row.condition);
    EXPECT_EQ(conditions.print(SymbolicExprCompact(conditions.table)(id)), row.compact)
        << row.condition;
  }
}

TEST(Compact, ThePathIsWeighedAgainstTheNetCondition) {
  const struct {
    std::vector<std::string> path;
    const char* compact;
  } rows[] = {
      {{"a", "b || c"}, "a && (b || c)"},
      // Its canonical form has ten literals that no division brings back together.
      {{"a || b || c", "!a || d && e"}, "(~a || d && e) && (a || b || c)"},
      // Conditions that others imply.
      {{"a && b", "a", "b || c"}, "a && b"},
      {{"x > 3", "x > 2 || c", "a"}, "a && x>3"},
      // Simplified where that is shorter, oriented in any case.
      {{"a && (b || c) || a && !(b || c)", "5 > y"}, "a && y<5"},
      {{"a", "!a || b", "!b"}, "false"},
      {{"!a && !b", "!c"}, "~a && ~b && ~c"},
      {{"!a && !b", "!c", "!d"}, "~(a || b || c || d)"},
      {{}, "true"},
  };
  for (const auto& row : rows) {
    Conditions conditions;
    conditions.table.addBoolSymbols();
    const std::vector<SymbolicExprId> path = conditions.parse(row.path);
    const SymbolicExprId net = path.empty() ? conditions.table.getIdTRUE()
                                            : conditions.simplified(conditions.conjunction(path));
    const SymbolicExprCompact compact(conditions.table);
    EXPECT_EQ(conditions.print(compact(net, path)), row.compact) << conditions.print(net);
  }
  // A net condition need not be canonical.
  Conditions conditions;
  const SymbolicExprId typed = conditions.parse("x <= y && x < y");
  EXPECT_EQ(conditions.print(SymbolicExprCompact(conditions.table)(typed, {typed})), "x<y");
}

// ---------------------------------------------------------------------------------------------
// The callback

TEST(Compact, OperandsThatTheCallbackFindsImpliedAreDropped) {
  // What is known: only one mode at a time, and a slow pump is small.
  const auto truth = [](const std::string& aName) {
    return [aName](unsigned aWorld) {
      if (aName == "slow") return aWorld % 4 == 0;
      if (aName == "small") return aWorld % 4 <= 1;
      if (aName == "eco") return aWorld % 4 == 2;
      return aWorld >= 4;
    };
  };
  const Row rows[] = {
      {"slow && small", "slow"},
      {"slow || small", "small"},
      {"slow && eco", "false"},
      {"!slow || small", "true"},
      {"(small || q) && slow && q", "q && slow"},
      {"q && (slow && small || eco && !small)", "(eco || slow) && q"},
      {"small && q", "q && small"},
      {"(slow || q) && (slow || small && q)", "q && small || slow"},
      // What stays stands alone, and is written as it is shortest there.
      {"!(q && eco) && (!slow || small) && (!small || !eco)", "~eco || ~q"},
      {"!(q && small) && (!slow || small) && (!slow || !eco) && (q || !q)", "~q || ~small"},
  };
  for (const Row& row : rows) {
    Conditions conditions;
    std::size_t questions = 0;
    // Evaluates both in all worlds.
    const Implies implies = [&](SymbolicExprId aPremise, SymbolicExprId aConclusion) {
      ++questions;
      for (unsigned world = 0; world < 8; ++world) {
        Conditions bound;
        for (const char* const name : {"slow", "small", "eco", "q"}) {
          const int value = truth(name)(world) ? 1 : 0;
          bound.table.registerValueId(name,
                                      SymbolicIntValue(bound.table, value).getId(bound.table));
        }
        const auto holds = [&](SymbolicExprId aId) {
          const std::string text = SymbolicExprPrinter(conditions.table, false, true, false)(aId);
          if (text == "true" || text == "false") return text == "true";
          return SymbolicExprEval(bound.table).eval(bound.parse(text)).front() != 0.0;
        };
        if (holds(aPremise) && !holds(aConclusion)) return false;
      }
      return true;
    };
    const SymbolicExprCompact compact(conditions.table, implies);
    const SymbolicExprId net = conditions.simplified(conditions.parse(row.condition));
    EXPECT_EQ(conditions.print(compact(net)), row.compact) << row.condition;
    const std::size_t asked = questions;
    EXPECT_GT(asked, 0U);
    compact(net);
    EXPECT_EQ(questions, asked) << "what was asked is kept";
    // Another condition comes to the same form before anybody is asked.
    const SymbolicExprId again = conditions.parse("(" + std::string(row.condition) + ") && true");
    EXPECT_EQ(conditions.print(compact(again)), row.compact) << row.condition;
  }
}

TEST(Compact, TheCallbackIsAskedALimitedNumberOfTimesAndMayThrow) {
  Conditions conditions;
  std::string text;
  for (int i = 0; i < 3000; ++i) text += (i == 0 ? "v" : " && v") + std::to_string(i);
  const SymbolicExprId id = conditions.simplified(conditions.parse(text));
  std::size_t questions = 0;
  const SymbolicExprCompact compact(conditions.table, [&](SymbolicExprId, SymbolicExprId) {
    if (questions == 10) throw std::runtime_error("no answer");
    ++questions;
    return false;
  });
  EXPECT_THROW(compact(id), std::runtime_error);
  questions = 11;
  EXPECT_EQ(compact(id), id);
  EXPECT_LE(questions, 11 + SymbolicExprCompact::maxQuestions);
}

// ---------------------------------------------------------------------------------------------
// Properties of generated conditions

std::vector<std::string> generated(RandomText& aRandom, std::size_t aIdx) {
  std::vector<std::string> path;
  for (std::size_t i = 0, n = 1 + aRandom.pick(3); i < n; ++i) {
    path.push_back(aIdx % 2 == 0 ? aRandom.condition(1 + aRandom.pick(10))
                                 : aRandom.dense(2 + aRandom.pick(6)));
  }
  return path;
}

std::size_t typedLiterals(const SymbolicExprCompact& aCompact,
                          const std::vector<SymbolicExprId>& aPath) {
  std::size_t count = 0;
  for (const SymbolicExprId id : aPath) count += aCompact.countLiterals(id);
  return count;
}

TEST(Compact, GeneratedConditionsKeepTheirMeaningAndGetNoLonger) {
  RandomText random(23);
  std::size_t repeated = 0, shorter = 0;
  constexpr std::size_t count = isInstrumented ? 300 : 1500;
  for (std::size_t i = 0; i < count; ++i) {
    Conditions conditions;
    const std::vector<SymbolicExprId> path = conditions.parse(generated(random, i));
    const SymbolicExprId typed = conditions.conjunction(path);
    const SymbolicExprId net = conditions.simplified(typed);
    const SymbolicExprCompact compact(conditions.table);
    const SymbolicExprId results[] = {compact(net), compact(typed), compact(net, path)};
    for (const SymbolicExprId result : std::set<SymbolicExprId>(results, results + 3)) {
      const Verdict verdict = compare(conditions.table, typed, conditions.table, result);
      ASSERT_FALSE(verdict.counterexample)
          << conditions.print(typed) << " gives " << conditions.print(result) << " under "
          << *verdict.counterexample;
      repeated += compact(result) == result ? 0 : 1;
    }
    const std::size_t ofNet = compact.countLiterals(net);
    EXPECT_LE(compact.countLiterals(results[0]), ofNet) << conditions.print(net);
    EXPECT_LE(compact.countLiterals(results[1]), compact.countLiterals(typed));
    EXPECT_LE(compact.countLiterals(results[2]), compact.countLiterals(results[0]));
    EXPECT_LE(compact.countLiterals(results[2]), typedLiterals(compact, path))
        << conditions.print(typed);
    shorter += compact.countLiterals(results[0]) < ofNet ? 1 : 0;
  }
  EXPECT_GT(shorter, count / 4);
  // Where a second time finds more, the first was stopped by its number of rounds.
  EXPECT_LE(repeated, count / 500);
}

// With all that is true to tell, the callback drops more, and the meaning stays.
TEST(Compact, GeneratedConditionsKeepTheirMeaningWithACallback) {
  RandomText random(43);
  std::size_t shorter = 0;
  constexpr std::size_t count = isInstrumented ? 200 : 1500;
  for (std::size_t i = 0; i < count; ++i) {
    Conditions conditions;
    SymbolicExprTable& table = conditions.table;
    const SymbolicExprId typed = conditions.parse(random.dense(2 + i % 5));
    const SymbolicExprId net = conditions.simplified(typed);
    const Implies implies = [&](SymbolicExprId aPremise, SymbolicExprId aConclusion) {
      const SymbolicExprId premiseFails = SymbolicNotExpr(table, aPremise).getId(table);
      const SymbolicExprId isImplied =
          SymbolicOrExpr(table, premiseFails, aConclusion).getId(table);
      const Verdict verdict = compare(table, isImplied, table, table.getIdTRUE());
      return verdict.exhaustive && !verdict.counterexample;
    };
    const SymbolicExprCompact compact(table), asking(table, implies);
    const SymbolicExprId result = asking(net, {typed});
    const Verdict verdict = compare(table, typed, table, result);
    ASSERT_FALSE(verdict.counterexample)
        << conditions.print(typed) << " gives " << conditions.print(result) << " under "
        << *verdict.counterexample;
    const std::size_t without = compact.countLiterals(compact(net, {typed}));
    EXPECT_LE(compact.countLiterals(result), without) << conditions.print(typed);
    shorter += compact.countLiterals(result) < without ? 1 : 0;
  }
  EXPECT_GE(shorter, count / 40);
}

// The same text in a table that has other nodes, from an object that was used before.
TEST(Compact, TheResultDependsOnTheConditionAlone) {
  RandomText random(31), other(37);
  for (std::size_t i = 0; i < 500; ++i) {
    const std::vector<std::string> texts = generated(random, i);
    Conditions fresh, used;
    const SymbolicExprCompact compactFresh(fresh.table), compactUsed(used.table);
    const SymbolicExprId before = used.parse(other.dense(8) + " && " + other.condition(12));
    // Interns the symbols and relations of the texts in another order.
    for (auto text = texts.rbegin(); text != texts.rend(); ++text) {
      compactUsed(used.simplified(used.parse("!(" + *text + ") || z9")));
    }
    compactUsed(used.simplified(before), {before});
    const auto result = [&](Conditions& aConditions, const SymbolicExprCompact& aCompact) {
      const std::vector<SymbolicExprId> path = aConditions.parse(texts);
      const SymbolicExprId net = aConditions.simplified(aConditions.conjunction(path));
      return aConditions.print(aCompact(net)) + "\n" + aConditions.print(aCompact(net, path));
    };
    ASSERT_EQ(result(fresh, compactFresh), result(used, compactUsed)) << texts.front();
  }
}

TEST(Compact, LiteralsAreMentionsOfSymbolsMembersAndCalls) {
  const struct {
    const char* text;
    std::size_t literals;
  } rows[] = {{"a && b || a", 3}, {"s.m == 1", 1},      {"f(a, 2) > b", 3},  {"true && a", 1},
              {"1 == 2.5", 0},    {"x * x + 1 < y", 3}, {"f() == g(f())", 3}};
  for (const auto& row : rows) {
    Conditions conditions;
    conditions.table.addBoolSymbols();
    const SymbolicExprCompact compact(conditions.table);
    EXPECT_EQ(compact.countLiterals(conditions.parse(row.text)), row.literals) << row.text;
  }
  Conditions conditions;
  const SymbolicExprCompact compact(conditions.table);
  EXPECT_THROW(compact.countLiterals(99), std::out_of_range);
  EXPECT_THROW(compact(99), std::out_of_range);
  EXPECT_THROW(compact(99, {}), std::out_of_range);
  EXPECT_THROW(compact(conditions.parse("a && b"), {99}), std::out_of_range);
}

// ---------------------------------------------------------------------------------------------
// Limits

TEST(Compact, WhatIsTooLargeComesBackUnchangedOrFromThePath) {
  Conditions conditions;
  SymbolicExprTable& table = conditions.table;
  SymbolicExprId doubled = conditions.parse("a && c || b && c");
  for (int i = 0; i < 100; ++i) doubled = SymbolicOrExpr(table, doubled, doubled).getId(table);
  const SymbolicExprCompact compact(table);
  EXPECT_EQ(compact(doubled), doubled);
  // The path's condition is simplified.
  EXPECT_EQ(conditions.print(compact(doubled, {doubled})), "(a || b) && c");
  EXPECT_EQ(compact.countLiterals(doubled), static_cast<std::size_t>(-1));
  // Nothing is asked of it.
  const SymbolicExprCompact asking(table, [](SymbolicExprId, SymbolicExprId) -> bool {
    throw std::runtime_error("no question is expected");
  });
  EXPECT_EQ(asking(doubled), doubled);
  // A path of conditions that are too large even simplified is their conjunction.
  SymbolicExprId power = conditions.parse("v");
  for (int i = 0; i < 25; ++i) power = SymbolicMultiplyExpr(table, power, power).getId(table);
  const SymbolicExprId zero = conditions.parse("0");
  const SymbolicExprId a = SymbolicGreaterThanExpr(table, power, zero).getId(table);
  const SymbolicExprId b = SymbolicNotEqualExpr(table, power, zero).getId(table);
  EXPECT_EQ(compact(doubled, {a, b}), conditions.conjunction({a, b}));
}

// The canonical form has 5,120 literals; only the path is looked at.
TEST(Compact, AMuchLargerNetConditionIsNotNeeded) {
  Conditions conditions;
  const std::vector<std::string> texts{"a || b || c || x < 9", "d || e || f || p",
                                       "g || h || i || q", "j || k || l || r",
                                       "m || n || o || x > 5"};
  const std::vector<SymbolicExprId> path = conditions.parse(texts);
  const SymbolicExprId net = conditions.simplified(conditions.conjunction(path));
  const SymbolicExprCompact compact(conditions.table);
  EXPECT_GT(compact.countLiterals(net), 4096U);
  EXPECT_EQ(conditions.print(compact(net, path)),
            "(a || b || c || x<9) && (d || e || f || p) && (g || h || i || q) && "
            "(j || k || l || r) && (m || n || o || x>5)");
}

// One that is as large as its path is looked at.
TEST(Compact, LargeNetConditionsAreFactoredWhereThePathIsLarge) {
  Conditions conditions;
  std::string sum;
  for (int i = 0; i < 3000; ++i) sum += (i == 0 ? "z && v" : " || z && v") + std::to_string(i);
  const SymbolicExprId net = conditions.simplified(conditions.parse(sum));
  const SymbolicExprCompact compact(conditions.table);
  EXPECT_EQ(compact.countLiterals(net), 6000U);
  EXPECT_EQ(compact.countLiterals(compact(net, {net})), 3001U);
}

// Depth costs heap.
TEST(Compact, DeepConditionsNeedLittleStack) {
  constexpr std::size_t depth = 50000;
  std::string result;
  std::size_t literals = 0;
  runOnStack(isInstrumented ? 1024 * 1024 : 256 * 1024, [&] {
    SymbolicExprTable table;
    const auto symbol = [&](const char* aName, std::size_t i) {
      return SymbolicString(table, aName + std::to_string(i)).getId(table);
    };
    SymbolicExprId id = symbol("v", 0);
    for (std::size_t i = 1; i < depth; ++i) {
      id = i % 2 == 0 ? SymbolicAndExpr(table, id, symbol("v", i)).getId(table)
                      : SymbolicOrExpr(table, symbol("v", i), id).getId(table);
      if (i % 3 == 0) id = SymbolicNotExpr(table, id).getId(table);
    }
    const SymbolicExprCompact compact(table);
    literals = compact.countLiterals(compact(id));
  });
  EXPECT_EQ(literals, depth);
}

TEST(Compact, TheLargestCanonicalFormsTakeLittleTime) {
  const std::size_t numDisjuncts = isInstrumented ? 128 : 1024;
  RandomText random(41);
  // Every disjunct has one member of each of 64 pairs: much is common, nothing all of it.
  std::string pairs, chain;
  for (std::size_t i = 0; i < numDisjuncts; ++i) {
    pairs += i == 0 ? "" : " || ";
    for (std::size_t k = 0; k < 64; ++k) {
      pairs += (k == 0 ? "" : " && ") + (random.pick(2) == 0 ? std::string("a") : "b") +
               std::to_string(k);
    }
  }
  // Every disjunct shares a longer beginning with the next.
  for (std::size_t i = 0; i < numDisjuncts / 4; ++i) {
    chain += i == 0 ? "" : " || ";
    for (std::size_t k = 0; k < i; ++k) chain += "x" + std::to_string(k) + " && ";
    chain += "y" + std::to_string(i);
  }
  for (const std::string& text : {pairs, chain}) {
    Conditions conditions;
    const SymbolicExprId id = conditions.parse(text);
    const SymbolicExprCompact compact(conditions.table);
    const std::clock_t start = std::clock();
    const std::size_t literals = compact.countLiterals(compact(id));
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    EXPECT_LT(literals, compact.countLiterals(id));
    EXPECT_LT(seconds, 20.0);
    // Each x and y of the chain once, but for the last x.
    if (&text != &pairs && text == chain) {
      EXPECT_EQ(literals, 2 * (numDisjuncts / 4) - 1);
    }
  }
}

// Conjunctions are taken as they stand where they show at a glance that nothing is shorter.
TEST(Compact, ConjunctionsAtAGlanceAreWhatALongerLookGives) {
  static constexpr const char* const atoms[] = {
      "a",    "b",   "c",     "d",    "x<3", "x==1", "x<=y", "x<y",  "y>=2", "x==y",
      "f(a)", "s.m", "x+1>2", "x~=2", "z<1", "z>1",  "z==1", "z<=4", "true", "a==true"};
  RandomText random(61);
  for (int round = 0; round < 3000; ++round) {
    Conditions conditions;
    std::vector<SymbolicExprId> operands;
    for (std::size_t i = 0, count = 1 + random.pick(5); i < count; ++i) {
      const std::string atom = random.oneOf(atoms);
      operands.push_back(conditions.parse(random.pick(2) == 0 ? "!(" + atom + ")" : atom));
    }
    const SymbolicExprId typed = conditions.conjunction(operands);
    const SymbolicExprCompact compact(conditions.table);
    for (const SymbolicExprId net : {typed, conditions.simplified(typed)}) {
      const SymbolicExprId result = compact(net);
      if (compact(net, {net}) == result) continue;
      // What its simplified form gives.
      EXPECT_EQ(compact(net, {net}), compact(conditions.simplified(net))) << conditions.print(net);
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Where negations stand

// The shortest of all ways to write a formula where operands that are shorter when negated stand
// under a common negation or do not: the bytes for connectives, negations and parentheses.
std::size_t shortest(const detail::Formulas& aFormulas, const SymbolicExprTable& aTable,
                     detail::Formula aFormula, bool aIsOperand) {
  if (!aFormulas.isCompound(aFormula)) {
    if (!aFormula.isNegated()) return 0;
    switch (detail::NodeView(aTable, aFormulas.expression(aFormula)).kind()) {
      case SymbolicOp::Equal: return 0;     // a~=b
      case SymbolicOp::LessThan: return 3;  // ~(a<b)
      default: return 1;
    }
  }
  const bool isDisjunction = aFormula.isNegated();
  const detail::Formulas::Operands operands = aFormulas.operands(aFormula);
  const std::size_t connectives = 2 * (operands.size() - 1);
  std::size_t best = 1000;
  for (unsigned chosen = 0; chosen < 1U << operands.size(); ++chosen) {
    std::size_t length = connectives, numChosen = 0;
    bool isAllowed = true;
    for (std::size_t i = 0; i < operands.size(); ++i) {
      const detail::Formula operand = operands.first[i].negatedIf(isDisjunction);
      const bool isChosen = (chosen >> i & 1U) != 0;
      numChosen += isChosen;
      const std::size_t plain = shortest(aFormulas, aTable, operand, true);
      const std::size_t negated = shortest(aFormulas, aTable, !operand, true);
      length += isChosen ? negated : plain;
      isAllowed = isAllowed && (!isChosen || negated < plain);
    }
    if (numChosen == 1 || !isAllowed) continue;
    if (numChosen > 0) length += 3;
    if (isDisjunction && aIsOperand && numChosen < operands.size()) length += 2;
    best = std::min(best, length);
  }
  return best;
}

TEST(Compact, NoOtherGroupsOfNegationsGiveAShorterText) {
  RandomText random(17);
  for (int round = 0; round < 2000; ++round) {
    Conditions conditions;
    detail::Formulas formulas(conditions.table);
    std::vector<detail::Formula> made;
    for (const char* const atom : {"a", "b", "c", "d", "e==f", "g<h"}) {
      made.push_back(formulas.atom(conditions.parse(atom), 1));
    }
    for (std::size_t i = 0, n = 1 + random.pick(4); i < n; ++i) {
      detail::Formulas::List operands;
      for (std::size_t k = 0, count = 2 + random.pick(4); k < count; ++k) {
        operands.push_back(made[random.pick(made.size())].negatedIf(random.pick(2) == 0));
      }
      made.push_back(random.pick(2) == 0 ? formulas.conjunction(operands)
                                         : formulas.disjunction(operands));
    }
    detail::TextOrder order(conditions.table);
    detail::FormulaWriter writer(conditions.table, order, formulas);
    const detail::Formula formula = made.back();
    if (formula.isConstant()) continue;
    const std::string text = conditions.print(writer.write(formula));
    std::size_t printed = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      printed += std::string("&|()").find(text[i]) != std::string::npos;
      printed += text[i] == '~' && text[i + 1] != '=';
    }
    EXPECT_EQ(writer.length(formula), printed) << text;
    EXPECT_EQ(shortest(formulas, conditions.table, formula, false), printed) << text;
  }
}

}  // namespace
}  // namespace KS::test
