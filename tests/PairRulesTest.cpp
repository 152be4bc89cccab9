// The rows for pairs of relations, proved one by one: every row against the truth of the pair for
// all x, and against what simplification makes of the pair written out.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "simplify/detail/Connective.hpp"
#include "simplify/detail/ValueChangingRules.hpp"
#include "tests/support/Instrumented.hpp"
#include "tests/support/RandomText.hpp"

namespace KS::detail {
namespace {

constexpr Rel relations[] = {Rel::Le, Rel::Lt, Rel::Ge, Rel::Gt, Rel::Eq, Rel::Ne};
constexpr const char* spellings[] = {"<=", "<", ">=", ">", "==", "!="};

bool holds(Rel aRel, int a, int b) {
  switch (aRel) {
    case Rel::Le: return a <= b;
    case Rel::Lt: return a < b;
    case Rel::Ge: return a >= b;
    case Rel::Gt: return a > b;
    case Rel::Eq: return a == b;
    case Rel::Ne: return a != b;
  }
  return false;
}

// The truth of a condition over x, for x in quarters of the constants' unit: a constant c stands
// at 4 * c, and no integer lies at the three places after it.
using Truth = std::vector<bool>;
constexpr int unit = 4, lowest = -2, highest = 2;

template <class Condition>
Truth truthOf(Condition aCondition) {
  Truth truth;
  for (int x = (lowest - 2) * unit; x <= (highest + 2) * unit; ++x) truth.push_back(aCondition(x));
  return truth;
}

Truth truthOf(Rel aRel, int aConstant) {
  return truthOf([&](int x) { return holds(aRel, x, aConstant * unit); });
}

struct Table {
  const char* name;
  const Connective& connective;
  const PairRow* rows;
  std::size_t count;
  Truth both(const Truth& a, const Truth& b) const {
    Truth truth(a.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
      truth[i] = connective.absorbing ? a[i] || b[i] : a[i] && b[i];
    }
    return truth;
  }
};
const Table tables[] = {
    {" && ", conjunction, conjunctionRows, std::size(conjunctionRows)},
    {" || ", disjunction, disjunctionRows, std::size(disjunctionRows)},
};

Outcome outcomeFor(const PairRow& aRow, int c1, int c2) {
  return c1 < c2 ? aRow.less : c1 == c2 ? aRow.equal : aRow.greater;
}

std::optional<Rel> made(Outcome aOutcome) {
  switch (aOutcome) {
    case Outcome::Eq: return Rel::Eq;
    case Outcome::Ne: return Rel::Ne;
    case Outcome::Lt: return Rel::Lt;
    case Outcome::Le: return Rel::Le;
    case Outcome::Gt: return Rel::Gt;
    case Outcome::Ge: return Rel::Ge;
    default: return std::nullopt;
  }
}

std::string relationText(Rel aRel, const std::string& aRight) {
  return "x" + std::string(spellings[static_cast<std::size_t>(aRel)]) + aRight;
}

std::string pairText(const Table& aTable, const PairRow& aRow, const std::string& c1,
                     const std::string& c2) {
  return relationText(aRow.first, c1) + aTable.name + relationText(aRow.second, c2);
}

Truth truthOf(const Table& aTable, const PairRow& aRow, Outcome aOutcome, int c1, int c2) {
  const Truth first = truthOf(aRow.first, c1), second = truthOf(aRow.second, c2);
  switch (aOutcome) {
    case Outcome::Stay: return aTable.both(first, second);
    case Outcome::First: return first;
    case Outcome::Second: return second;
    case Outcome::Decide: return Truth(first.size(), aTable.connective.absorbing);
    default: return truthOf(*made(aOutcome), c1);
  }
}

template <class Check>
void forEachRowAndConstants(Check aCheck) {
  for (const Table& table : tables) {
    for (std::size_t i = 0; i < table.count; ++i) {
      for (int c1 = lowest; c1 <= highest; ++c1) {
        for (int c2 = lowest; c2 <= highest; ++c2) aCheck(table, table.rows[i], c1, c2);
      }
    }
  }
}

TEST(PairRules, EveryRowKeepsTheMeaning) {
  forEachRowAndConstants([](const Table& aTable, const PairRow& aRow, int c1, int c2) {
    const Truth pair = aTable.both(truthOf(aRow.first, c1), truthOf(aRow.second, c2));
    const std::string text = pairText(aTable, aRow, std::to_string(c1), std::to_string(c2));
    EXPECT_EQ(pair, truthOf(aTable, aRow, outcomeFor(aRow, c1, c2), c1, c2)) << text;
    if (c1 == c2) {
      EXPECT_EQ(pair, truthOf(aTable, aRow, aRow.same, c1, c1)) << text << ", same";
    }
  });
}

// A pair over x that is decided, one of the two, or one relation with one of the constants.
bool hasSingleForm(const Table& aTable, const PairRow& aRow, int c1, int c2) {
  const Truth pair = aTable.both(truthOf(aRow.first, c1), truthOf(aRow.second, c2));
  if (pair == Truth(pair.size(), aTable.connective.absorbing)) return true;
  for (const Rel relation : relations) {
    if (pair == truthOf(relation, c1) || pair == truthOf(relation, c2)) return true;
  }
  return false;
}

TEST(PairRules, DisjunctionsMissNothing) {
  const Table& table = tables[1];
  std::size_t covered = 0;
  for (std::size_t first = 0; first < 6; ++first) {
    for (std::size_t second = first; second < 6; ++second) {
      PairRow row = table.connective.pairs[first][second];
      // Pairs without a row stay.
      row.first = relations[first];
      row.second = relations[second];
      for (int c1 = lowest; c1 <= highest; ++c1) {
        for (int c2 = lowest; c2 <= highest; ++c2) {
          // A relation with itself is one operand.
          if (first == second && c1 == c2) continue;
          const bool single = hasSingleForm(table, row, c1, c2);
          const std::string text = pairText(table, row, std::to_string(c1), std::to_string(c2));
          EXPECT_EQ(outcomeFor(row, c1, c2) != Outcome::Stay, single) << text;
          if (c1 == c2) {
            EXPECT_EQ(row.same != Outcome::Stay, single) << text << ", same";
          }
          covered += single ? 1 : 0;
        }
      }
    }
  }
  EXPECT_GT(covered, 0U);
}

// What simplification must make of a row: the text of its outcome, or the pair in one of its two
// orders.
std::vector<std::string> expectedTexts(const Table& aTable, const PairRow& aRow, Outcome aOutcome,
                                       const std::string& c1, const std::string& c2) {
  const std::string first = relationText(aRow.first, c1), second = relationText(aRow.second, c2);
  if (first == second) return {first};
  switch (aOutcome) {
    case Outcome::Stay: return {first + aTable.name + second, second + aTable.name + first};
    case Outcome::First: return {first};
    case Outcome::Second: return {second};
    case Outcome::Decide: return {aTable.connective.absorbing ? "true" : "false"};
    default: return {relationText(*made(aOutcome), c1)};
  }
}

std::string simplifiedText(const std::string& aText) {
  SymbolicExprTable table;
  std::size_t passes = 0;
  const SymbolicExprId id = SymbolicExprParser(table, true)(aText);
  return SymbolicExprPrinter(table, false, true,
                             false)(SymbolicExprSimplify(table, 10).simplify(id, passes));
}

// Every column of every row is what two operands in either order and among others really give.
TEST(PairRules, EveryRowIsReached) {
  std::size_t rows = 0;
  for (const Table& table : tables) {
    for (std::size_t i = 0; i < table.count; ++i, ++rows) {
      const PairRow& row = table.rows[i];
      const struct {
        Outcome outcome;
        const char *c1, *c2;
      } columns[] = {{row.less, "1", "2"},    {row.equal, "1", "1"}, {row.greater, "2", "1"},
                     {row.less, "-9", "-8"},  {row.same, "y", "y"},  {row.same, "s.m", "s.m"},
                     {row.same, "y+1", "y+1"}};
      for (const auto& column : columns) {
        const std::vector<std::string> expected =
            expectedTexts(table, row, column.outcome, column.c1, column.c2);
        const std::string first = relationText(row.first, column.c1);
        const std::string second = relationText(row.second, column.c2);
        for (const std::string& text : {first + table.name + second, second + table.name + first}) {
          const std::string result = simplifiedText(text);
          EXPECT_TRUE(result == expected.front() || result == expected.back())
              << text << " gives " << result << ", the row " << expected.front();
        }
      }
    }
  }
  EXPECT_EQ(rows, std::size(conjunctionRows) + std::size(disjunctionRows));
}

// ---------------------------------------------------------------------------------------------
// Evaluation, which compares with a tolerance

constexpr double tolerance = 1.0 / (1 << 26);

// The value of a condition for values of x and y.
double evaluated(const std::string& aText, double aX, double aY) {
  SymbolicExprTable table;
  table.registerValueId("x", SymbolicDoubleValue(table, aX).getId(table));
  table.registerValueId("y", SymbolicDoubleValue(table, aY).getId(table));
  return SymbolicExprEval(table).eval(SymbolicExprParser(table, true)(aText)).front();
}

bool isWithinTolerance(SymbolicOp aConnective, Rel aFirst, Rel aSecond) {
  return std::any_of(std::begin(pairsWithinTolerance), std::end(pairsWithinTolerance),
                     [&](const RelationPair& aPair) {
                       return aPair.connective == aConnective && aPair.first == aFirst &&
                              aPair.second == aSecond;
                     });
}

// The rows that change a value do so within the tolerance alone, and they are the listed ones.
TEST(PairRules, ChangesWithinTheToleranceAreListed) {
  for (const Table& table : tables) {
    for (std::size_t i = 0; i < table.count; ++i) {
      const PairRow& row = table.rows[i];
      const std::string text = pairText(table, row, "1", "1");
      const std::string result = simplifiedText(text);
      bool changes = false;
      for (const double distance : {0.0, 0.5 * tolerance, -0.5 * tolerance, tolerance, -tolerance,
                                    2 * tolerance, -2 * tolerance}) {
        const double x = 1.0 + distance;
        const bool isChanged = evaluated(text, x, 0) != evaluated(result, x, 0);
        EXPECT_TRUE(!isChanged || (x != 1.0 && std::abs(x - 1.0) < tolerance)) << text << ", " << x;
        changes = changes || isChanged;
      }
      EXPECT_EQ(changes, isWithinTolerance(table.connective.op, row.first, row.second)) << text;
    }
  }
}

// Conditions in which no listed pair can meet keep their value within the tolerance, too.
TEST(PairRules, OtherConditionsKeepTheirValueWithinTheTolerance) {
  static constexpr const char* const families[][3] = {
      {"<=", "==", ">="}, {"<", "<=", "<"}, {">", ">=", ">"}, {"==", "!=", "=="}};
  test::RandomText random(17);
  for (std::size_t i = 0; i < test::tries(3000); ++i) {
    const auto& ofX = families[random.pick(4)];
    const auto& ofY = families[random.pick(4)];
    std::string text;
    for (std::size_t part = 0, parts = 1 + random.pick(4); part < parts; ++part) {
      text += part == 0 ? "(" : random.pick(2) == 0 ? " && (" : " || (";
      for (std::size_t k = 0, n = 1 + random.pick(3); k < n; ++k) {
        const bool isX = random.pick(2) == 0;
        const std::string op = random.oneOf(isX ? ofX : ofY);
        const std::string relation = (isX ? "x" : "y") + op + std::to_string(1 + random.pick(2));
        // A negated equality becomes a relation of another kind.
        const bool isNegated = op != "==" && op != "!=" && random.pick(4) == 0;
        text += (k == 0                ? ""
                 : random.pick(2) == 0 ? " && "
                                       : " || ") +
                (isNegated ? "!(" + relation + ")" : relation);
      }
      text += ")";
    }
    const std::string result = simplifiedText(text);
    static constexpr double distances[] = {0, 0.4, -0.4, 0.9, -0.9, 3, -3};
    for (const double dx : distances) {
      for (const double dy : distances) {
        const double x = 1.0 + static_cast<double>(random.pick(2)) + dx * tolerance;
        const double y = 1.0 + static_cast<double>(random.pick(2)) + dy * tolerance;
        ASSERT_EQ(evaluated(text, x, y), evaluated(result, x, y)) << text << " gives " << result;
      }
    }
  }
}

}  // namespace
}  // namespace KS::detail
