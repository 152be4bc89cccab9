// The rows for pairs of relations, proved one by one: every row against the truth of the pair for
// all x.
#include <gtest/gtest.h>

#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "simplify/detail/Connective.hpp"
#include "simplify/detail/PairRules.hpp"

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

}  // namespace
}  // namespace KS::detail
