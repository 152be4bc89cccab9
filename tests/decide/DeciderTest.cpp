// Verdicts on single conditions: one row a property of the theory.
#include "decide/SymbolicExprDecider.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"

namespace KS {
namespace {

const char* name(Truth aTruth) {
  const char* const names[] = {"never", "always", "sometimes", "unknown"};
  return names[static_cast<int>(aTruth)];
}

struct Row {
  const char* condition;
  const char* reals;     // the verdict
  const char* integers;  // where all symbols are whole numbers
};

const Row kRows[] = {
    {"a && ~a", "never", "never"},
    {"a || ~a", "always", "always"},
    {"a && b", "sometimes", "sometimes"},
    {"x == 1 && x == 2", "never", "never"},
    {"M == 1 && N == M && N == 2", "never", "never"},
    {"1 < x && x < y && y < 3", "sometimes", "never"},
    {"1 < x && x < y && y < 2", "sometimes", "never"},
    {"1 <= x && x <= 2 && x ~= 1 && x ~= 2", "sometimes", "never"},
    {"x < y && y < z && z < x", "never", "never"},
    {"x <= y && y <= z && z <= x && x ~= z", "never", "never"},
    {"x == 0.5", "sometimes", "never"},
    {"x < 0.5 || x > 0.5", "sometimes", "always"},
    {"A && A == 0", "never", "never"},
    {"~A == 1 && A", "never", "never"},
    {"(~A == 1) == (A == 0)", "always", "always"},
    {"(a && b) > c && c == 1", "never", "never"},
    {"true == 1 && false == 0", "always", "always"},
    {"x > 2 && x == 2", "never", "never"},
    {"x > 1 && x < 1.00000000001", "unknown", "never"},
    {"x > 1 && x < 1.00000000001 && x ~= x", "never", "never"},
    {"(x > 1 && x < 1.00000000001) || x == 3", "sometimes", "sometimes"},
    {"x + 1 > 3", "sometimes", "sometimes"},
    {"x + 1 > 3 && x + 1 < 2", "never", "never"},
    {"2 * 3 == 6", "always", "always"},
    {"x * 0 == 1", "unknown", "unknown"},
    {"x * 1e-200 * 1e-200 >= 1e10", "unknown", "unknown"},  // no infinite value is a witness
    {"x == nan || x < nan || x >= nan || nan > 3 || nan == 3", "never", "never"},
    // Whatever x is.
    {"x - nan ~= nan", "never", "never"},
    // A list may hold NaN, and holds nothing else where that is added.
    {"[x, 1] ~= nan", "unknown", "unknown"},
    {"[x, 1, 2] ~= nan", "unknown", "unknown"},
    {"[x, 1, 2, 3] ~= nan", "unknown", "unknown"},
    {"[x, 1] < 3 || [x, 1] >= 3", "unknown", "unknown"},
    {"[x, 1] + nan == nan && ~([x, 1] * nan > 3)", "always", "always"},
    {"-(x - nan) == nan && 1 - (x - nan) * 2 && ~(x + nan > 3)", "always", "always"},
    {"bitand(x - nan, 1) == 0 && y", "sometimes", "sometimes"},
    {"rem(x, 0) == rem(y, nan) * 2 && ~(rem(x, 0) < 1) && rem(x, 0)", "always", "always"},
    // Which is NaN if x is 0.
    {"rem(0, x) ~= nan", "sometimes", "sometimes"},
    {"rem(5, x) < 3 || rem(5, x) >= 3", "sometimes", "sometimes"},
    {"rem(5, x) <= 3 || rem(5, x) + 1 > 4", "sometimes", "sometimes"},
    {"rem(5, x) == rem(5, x) && -rem(5, x) + 1 <= 1 - rem(5, x)", "unknown", "unknown"},
    {"rem(5, x) < rem(5, x)", "never", "never"},
    {"rem(5, x) < 3 && rem(5, x) >= 3", "never", "never"},
    {"rem(x, 5) < 3 || rem(x, 5) >= 3", "always", "always"},
    {"x + inf - inf <= inf", "unknown", "unknown"},
    {"x + 1e300 - x <= inf", "always", "always"},
    {"bitand(6, 3) == 2", "always", "always"},
    {"f(x) == 1 && f(x) == 2", "never", "never"},
    {"f(x) == 1 && f(y) == 2", "sometimes", "sometimes"},
    {"f(a, b, c) == 1 && f(d, b, c) == 2", "sometimes", "sometimes"},
    {"f() == 1 && g() == 2", "sometimes", "sometimes"},
    {"S.m > 2 && S.m < 3", "sometimes", "sometimes"},
    {"x <= 2147483647 && x >= -2147483648", "sometimes", "always"},
    {"3", "always", "always"},
    {"0.0", "never", "never"},
    {"((a&&b)||(~a&&~b)) == ~(a ~= b) && (a == 0 || a == 1) && (b == 0 || b == 1)", "sometimes",
     "sometimes"},
};

TEST(Decider, Verdicts) {
  for (const Row& row : kRows) {
    for (const bool isInteger : {false, true}) {
      SymbolicExprTable table;
      const SymbolicExprParser parse(table, false);
      const SymbolicExprId id = parse(row.condition);
      ASSERT_NE(id, invalidSymbolicExprId) << row.condition;
      SymbolicExprDecider decider(table);
      if (isInteger) {
        for (const char* symbol : {"a", "b", "c", "x", "y", "z", "A", "M", "N"}) {
          decider.setDomain(SymbolicString(table, symbol).getId(table),
                            SymbolicExprDomain::integers());
        }
      }
      EXPECT_STREQ(name(decider.decide(id)), isInteger ? row.integers : row.reals)
          << row.condition << (isInteger ? " over integers" : " over reals");
    }
  }
}

class DeciderTest : public testing::Test {
 protected:
  SymbolicExprId parse(const std::string& aText) {
    const SymbolicExprId id = SymbolicExprParser(table, false)(aText);
    EXPECT_NE(id, invalidSymbolicExprId) << aText;
    return id;
  }
  std::string verdict(const std::string& aText) { return name(decider.decide(parse(aText))); }
  // The witness as text, "x=1 y=mips b=true".
  std::string witness(const std::string& aText) {
    const auto values = decider.assignment({parse(aText)});
    if (!values) return "none";
    std::string text;
    for (const SymbolicExprAssignment& entry : *values) {
      const Eval::Scalar& scalar = entry.value.scalar();
      std::string value = entry.name;
      if (value.empty() && scalar.tag() == Eval::Scalar::Bool) {
        value = scalar.getBool() ? "true" : "false";
      } else if (value.empty() && scalar.tag() == Eval::Scalar::Int) {
        value = std::to_string(scalar.getInt());
      } else if (value.empty()) {
        value = "double";
      }
      text += (text.empty() ? "" : " ") + SymbolicExprPrinter(table, true, false, false)(entry.id) +
              "=" + value;
    }
    return text;
  }

  SymbolicExprTable table;
  SymbolicExprDecider decider{table};
};

TEST_F(DeciderTest, WitnessesAreTypedAndComplete) {
  decider.setDomain(parse("ARCH"), SymbolicExprDomain::values({"arm", "mips", 7.0}));
  decider.setDomain(parse("N"), SymbolicExprDomain::integers(3, 8));
  decider.setDomain(parse("B"), SymbolicExprDomain::boolean());
  decider.setDomain(parse("Z"), SymbolicExprDomain::interval(-3, 0));
  decider.setDomain(parse("P"), SymbolicExprDomain::values({7.0}));
  const std::pair<const char*, const char*> rows[] = {
      {"a && ~b", "a=true b=false"},
      {"x > 2", "x=3"},
      {"x > 2 && x < 3", "x=double"},
      {"N > 7", "N=8"},
      {"a || N < 100", "a=true N=3"},
      {"B == 1", "B=true"},
      {"Z", "Z=-1"},
      {"~Z", "Z=0"},
      {"B || P == 8", "B=true P=7"},
      {"N < 4.00000001 && N ~= 4.000001", "N=3"},  // 4 is too close to the constant
      {"ARCH == mips", "ARCH=mips"},
      {"ARCH ~= mips && ARCH ~= arm", "ARCH=7"},
      {"ARCH ~= 7 && ARCH ~= arm", "ARCH=mips"},
      {"S.m == 2 && f(x) == 3", "S.m=2 f(x)=3"},
      {"g(1, 2, 3) == 1 && g(4, 2, 3) == 2", "g(1,2,3)=1 g(4,2,3)=2"},
      {"2*x + 1 == 7", "x=3"},
      {"10 - y/2 > 8 && y > 0", "y=2"},
      {"x - nan && y == 2", "x=false y=2"},  // evaluation needs x all the same
      {"a && ~a", "none"},
  };
  for (const auto& [condition, values] : rows) EXPECT_EQ(witness(condition), values) << condition;
}

TEST_F(DeciderTest, WholeNumbersEqualConstantsByWayOfOtherVariables) {
  decider.setDomain(parse("I"), SymbolicExprDomain::integers(-3, 8));
  EXPECT_EQ(verdict("I == x && x == 1.5"), "never");
  EXPECT_EQ(verdict("I == x && x == 8.5"), "never");
  EXPECT_EQ(verdict("I == x && x == 9"), "never");
  EXPECT_EQ(verdict("I == x && x == -4"), "never");
  EXPECT_EQ(verdict("I == x && x == y && y == -3"), "sometimes");
  EXPECT_EQ(verdict("I == x && x == y && y == J && J == 2.5"), "never");
}

// Without 0, with 0 at an end, and with nothing else.
TEST_F(DeciderTest, TruthsOfRanges) {
  const struct {
    SymbolicExprDomain domain;
    const char* verdict;
  } ranges[] = {{SymbolicExprDomain::interval(2, 5), "always"},
                {SymbolicExprDomain::interval(-5, -2), "always"},
                {SymbolicExprDomain::interval(-0.5, 0), "sometimes"},
                {SymbolicExprDomain::interval(0, 0.5), "sometimes"},
                {SymbolicExprDomain::interval(-0.0, 0), "never"},
                {SymbolicExprDomain::integers(3, 8), "always"},
                {SymbolicExprDomain::integers(-8, -3), "always"},
                {SymbolicExprDomain::integers(-8, 0), "sometimes"},
                {SymbolicExprDomain::integers(0, 0), "never"}};
  for (const auto& range : ranges) {
    decider.setDomain(parse("Q"), range.domain);
    EXPECT_EQ(verdict("Q"), range.verdict) << range.domain.low();
    for (const char* const text : {"Q", "Q && Q < 100 && Q > -100"}) {
      const auto values = decider.assignment({parse(text)});
      ASSERT_EQ(values.has_value(), range.verdict != std::string("never")) << range.domain.low();
      if (!values) continue;
      const double value = values->front().value.scalar().toDouble();
      EXPECT_TRUE(value != 0 && value >= range.domain.low() && value <= range.domain.high());
    }
  }
}

// Operators over constants, on either side.
TEST_F(DeciderTest, WitnessesSolveForAVariable) {
  const struct {
    const char* condition;
    double value;
  } solved[] = {{"x + 2.5 == 10.25", 7.75},  {"2.5 + x == 10.25", 7.75},
                {"x - 2.5 == 10.25", 12.75}, {"2.5 - x == 10.25", -7.75},
                {"x * 4 == 10.5", 2.625},    {"4 * x == 10.5", 2.625},
                {"x / 4 == 10.625", 42.5},   {"-x == 10.25", -10.25},
                {"10.25 == 2.5 + x", 7.75},  {"2 * (x - 1.25) + 3 == 10", 4.75}};
  for (const auto& row : solved) {
    const auto values = decider.assignment({parse(row.condition)});
    ASSERT_TRUE(values) << row.condition;
    EXPECT_EQ(values->front().value.scalar().toDouble(), row.value) << row.condition;
  }
}

TEST_F(DeciderTest, NamesAreDifferentFromEachOtherAndFromNumbers) {
  decider.setDomain(parse("ARCH"), SymbolicExprDomain::values({"arm", "mips"}));
  EXPECT_EQ(verdict("ARCH == arm && ARCH == mips"), "never");
  EXPECT_EQ(verdict("ARCH == arm || ARCH == mips"), "always");
  EXPECT_EQ(verdict("ARCH == 3"), "never");
  EXPECT_EQ(verdict("ARCH == 1e300"), "never");
  EXPECT_EQ(verdict("arm == mips"), "never");
  EXPECT_EQ(verdict("arm < mips && 1e300 < arm"), "always");
  EXPECT_EQ(verdict("x == arm && x == ARCH"), "sometimes");
  EXPECT_EQ(verdict("arm"), "always");
  EXPECT_EQ(verdict("x > 1e15 && x < arm"), "sometimes");
  decider.setDomain(parse("I"), SymbolicExprDomain::integers());
  EXPECT_EQ(verdict("I == arm"), "never");
  EXPECT_THROW(decider.setDomain(parse("arm"), SymbolicExprDomain::boolean()),
               std::invalid_argument);
  EXPECT_THROW(decider.setDomain(parse("x"), SymbolicExprDomain::values({"I"})),
               std::invalid_argument);
  EXPECT_THROW(decider.setDomain(parse("x"), SymbolicExprDomain::values({"x"})),
               std::invalid_argument);
  for (const char* const name : {"", "true", "false"}) {
    EXPECT_THROW(SymbolicExprDomain::values({"a", name}), std::invalid_argument) << name;
  }
  EXPECT_EQ(verdict("ARCH == arm || ARCH == mips"), "always");  // as before
  // A variable that can only be named constants has a value that is a name where nothing else is
  // asked of it, and holds where its name does.
  decider.setDomain(parse("OS"), SymbolicExprDomain::values({"linux"}));
  EXPECT_EQ(verdict("OS"), "always");
  EXPECT_EQ(witness("OS || b"), "OS=linux b=false");
  EXPECT_EQ(witness("x < 0 || ~OS"), "x=-1 OS=linux");
  // Another domain frees the names of the one before.
  decider.setDomain(parse("ARCH"), SymbolicExprDomain::integers());
  decider.setDomain(parse("arm"), SymbolicExprDomain::boolean());
  EXPECT_EQ(verdict("ARCH == arm"), "sometimes");
}

TEST(Domain, IsWhatItWasMadeAs) {
  const SymbolicExprDomain domains[] = {
      SymbolicExprDomain::values({7.0, "arm"}), SymbolicExprDomain::interval(-1, 2.5),
      SymbolicExprDomain::integers(), SymbolicExprDomain::boolean()};
  const double lows[] = {0, -1, -2147483648.0, 0}, highs[] = {0, 2.5, 2147483647.0, 1};
  SymbolicExprDomain assigned = SymbolicExprDomain::integers(3, 4);
  for (int kind = 0; kind < 4; ++kind) {
    const SymbolicExprDomain copy = domains[kind];
    assigned = copy;
    for (const auto* domain :
         std::initializer_list<const SymbolicExprDomain*>{&domains[kind], &copy, &assigned}) {
      EXPECT_EQ(domain->kind(), kind);
      EXPECT_EQ(domain->low(), lows[kind]);
      EXPECT_EQ(domain->high(), highs[kind]);
      EXPECT_EQ(domain->list(), domains[kind].list());
    }
  }
}

TEST_F(DeciderTest, AssumptionsHoldUntilTheyAreTakenBack) {
  decider.assume(parse("x > 3"));
  decider.assume(parse("y == x"));
  EXPECT_EQ(verdict("y > 3"), "always");
  EXPECT_EQ(verdict("y < 3"), "never");
  SymbolicExprBindings bindings(table);
  bindings.set("x", 5);
  bindings.set(parse("S.m"), 2.5);
  decider.assume(bindings);
  EXPECT_EQ(verdict("y == 5 && S.m > 2"), "always");
  EXPECT_EQ(verdict("x + 1 == 6"), "always");
  EXPECT_EQ(witness("y > 4"), "y=5");
  // A list of one is its element; of longer ones nothing is known.
  bindings.set("w", Eval::Value(std::vector<Eval::Scalar>{3}));
  bindings.set("v", Eval::Value(std::vector<Eval::Scalar>{1, 2.5}));
  decider.assume(bindings);
  EXPECT_EQ(verdict("w == 3 && w < 4"), "always");
  EXPECT_EQ(verdict("v == 1"), "unknown");
  EXPECT_EQ(verdict("v == [1, 2.5]"), "always");
  EXPECT_EQ(verdict("v == [1, 2]"), "unknown");
  EXPECT_EQ(verdict("v > 1 && w < 3"), "never");
  decider.clearAssumptions();
  EXPECT_EQ(verdict("y > 3"), "sometimes");
  // Values of terms do not show whether arithmetic that is assumed holds.
  decider.assume(parse("x*x > 4 && b"));
  EXPECT_EQ(decider.decideAll({{parse("b")}, {parse("~b")}, {parse("c"), parse("y > 1")}}),
            (std::vector<Truth>{Truth::Always, Truth::Never, Truth::Sometimes}));
  decider.assume(parse("x*x < 4"));
  EXPECT_EQ(decider.decideAll({{parse("c")}, {parse("~c")}}),
            (std::vector<Truth>{Truth::Never, Truth::Never}));
  decider.clearAssumptions();
  SymbolicExprTable other;
  EXPECT_THROW(decider.assume(SymbolicExprBindings(other)), std::invalid_argument);
}

TEST_F(DeciderTest, TellsWhatStandsInTheWay) {
  const SymbolicExprId hard = parse("x*x == 2 && x+1 < 7 && (b || x*x > 1)");
  EXPECT_EQ(decider.decide(hard), Truth::Unknown);
  EXPECT_EQ(decider.unknownCause({hard}), UnknownCause::Terms);
  EXPECT_EQ(decider.unknownTerms(hard), (std::vector<SymbolicExprId>{parse("x*x"), parse("x+1")}));
  EXPECT_TRUE(decider.unknownTerms(parse("x > 1")).empty());
  EXPECT_EQ(decider.unknownCause({parse("x > 1 && x < 1.00000000001")}), UnknownCause::NarrowGap);
  EXPECT_EQ(decider.unknownCause({parse("x > 1")}), UnknownCause::None);
  decider.setConflictLimit(0);
  EXPECT_EQ(decider.unknownCause({parse("x > 1 && y > x || z")}), UnknownCause::ConflictLimit);
}

TEST_F(DeciderTest, ManyVariablesInOneGapAreEvenlyPlaced) {
  std::string text = "1 < v0";
  for (int i = 1; i < 1000; ++i) {
    text += " && v" + std::to_string(i - 1) + " < v" + std::to_string(i);
  }
  const auto values = decider.assignment({parse(text + " && v999 < 2")});
  ASSERT_TRUE(values);
  double before = 1;
  for (const SymbolicExprAssignment& entry : *values) {
    EXPECT_GE(entry.value.scalar().toDouble() - before, 1.0 / 4096);
    before = entry.value.scalar().toDouble();
  }
  EXPECT_LT(before, 2);
}

TEST_F(DeciderTest, AnswersDoNotDependOnEarlierQuestions) {
  const char* const texts[] = {"x < y && y < 3 && (a || x > 1)", "y < x || (x == 2 && ~a)",
                               "z == x && z ~= y && y <= 7", "(a || b) && (~a || z < x)"};
  SymbolicExprDecider used(table);
  std::vector<SymbolicExprId> ids;
  for (const char* text : texts) ids.push_back(parse(text));
  for (const SymbolicExprId id : ids) used.smallestContradiction({id, ids[0], ids[3]});
  used.decideAll({ids, {ids[1], ids[2]}, {ids[2]}});
  for (auto id = ids.rbegin(); id != ids.rend(); ++id) used.witness(*id);
  for (const SymbolicExprId id : ids) {
    SymbolicExprDecider fresh(table);
    const auto expected = fresh.assignment({id}), found = used.assignment({id});
    ASSERT_TRUE(expected && found);
    ASSERT_EQ(expected->size(), found->size());
    for (std::size_t i = 0; i < found->size(); ++i) {
      EXPECT_EQ((*found)[i].id, (*expected)[i].id);
      EXPECT_EQ((*found)[i].value.scalar().toDouble(), (*expected)[i].value.scalar().toDouble());
    }
  }
}

TEST_F(DeciderTest, SmallestContradictionAmongManyConditions) {
  std::vector<SymbolicExprId> ids;
  for (int i = 0; i < 60; ++i) ids.push_back(parse("c" + std::to_string(i) + " > 0"));
  for (int i = 1; i < 30; ++i) {  // a circle of 30, and one of three
    ids.push_back(parse("v" + std::to_string(i - 1) + " < v" + std::to_string(i)));
  }
  ids.push_back(parse("v29 < v0"));
  const SymbolicExprId shortOne = parse("v7 < v3");
  ids.push_back(shortOne);
  ids.push_back(parse("v5 <= v3"));
  const SymbolicExprContradiction found = decider.smallestContradiction(ids);
  ASSERT_TRUE(found.exists && found.isMinimal && found.isShortest);
  EXPECT_EQ(found.ids,
            (std::vector<SymbolicExprId>{parse("v3 < v4"), parse("v4 < v5"), parse("v5 <= v3")}));
  EXPECT_FALSE(decider.smallestContradiction({ids[0], ids[1]}).exists);
  decider.assume(parse("a && ~a"));
  const SymbolicExprContradiction assumed = decider.smallestContradiction(ids);
  EXPECT_TRUE(assumed.exists && assumed.ids.empty() && assumed.isShortest);
}

// Distribution gives up on the first, and a decision per operand on the second.
TEST_F(DeciderTest, ConditionsThatAreTooMuchForCanonicalForms) {
  std::string text = "~a0 && ~b0";
  for (int i = 0; i < 6; ++i) {
    const std::string n = std::to_string(i);
    text += " && (a" + n + " || b" + n + ") && (c" + n + " || d" + n + ")";
  }
  EXPECT_EQ(verdict(text), "never");
  std::string chain = "x";
  for (int i = 0; i < 100000; ++i) chain += i % 2 == 0 ? " && x" : " || y";
  EXPECT_EQ(verdict(chain), "sometimes");
}

// The conjunction of texts that `aMake(i, j)` gives for all i < j < aCount.
template <class Make>
std::string forAllPairs(int aCount, const Make& aMake) {
  std::string text = "true";
  for (int j = 1; j < aCount; ++j) {
    for (int i = 0; i < j; ++i) text += " && " + aMake(std::to_string(i), std::to_string(j));
  }
  return text;
}

// A pigeon more than there are holes: each sits in one, and no two in the same.
std::string pigeons(int aHoles) {
  std::string text = "true";
  for (int pigeon = 0; pigeon <= aHoles; ++pigeon) {
    text += " && (false";
    for (int hole = 0; hole < aHoles; ++hole) {
      text += " || p" + std::to_string(pigeon) + "_" + std::to_string(hole);
    }
    text += ")";
  }
  for (int hole = 0; hole < aHoles; ++hole) {
    const std::string in = "_" + std::to_string(hole);
    text += " && " + forAllPairs(aHoles + 1, [&](const std::string& i, const std::string& j) {
              return "~(p" + i + in + " && p" + j + in + ")";
            });
  }
  return text;
}

// Numbers from 1 on that are all different; one more than there are where they are whole.
std::string differentNumbers(int aCount) {
  std::string text = forAllPairs(
      aCount, [](const std::string& i, const std::string& j) { return "v" + i + " ~= v" + j; });
  for (int i = 0; i < aCount; ++i) {
    const std::string v = "v" + std::to_string(i);
    text += " && 1 <= " + v + " && " + v + " <= " + std::to_string(aCount - 1);
  }
  return text;
}

// That an odd number of booleans hold, taken together from the first on or from the last on.
std::string parity(int aCount, bool aFromLast) {
  std::string text = "false";
  for (int i = 0; i < aCount; ++i) {
    const std::string b = "b" + std::to_string(aFromLast ? aCount - 1 - i : i);
    text = "((" + text + ") ~= " + b + ")";
  }
  return text;
}

std::string orderedVariables(int aCount) {
  std::string text = "x0 > 0";
  for (int i = 1; i < aCount; ++i) {
    text += " && x" + std::to_string(i) + " > x" + std::to_string(i - 1);
  }
  return text;
}

struct HardRow {
  const char* what;
  std::string condition;
  std::size_t limit;  // of conflicts
  const char* verdict;
};

// What is hard ends with a proof, or as unknown within the limit, never with a wrong verdict.
// What takes too many conflicts is not claimed.
TEST(Decider, ContradictionsSayWhetherTheyAreSmallest) {
  SymbolicExprTable table;
  const auto parse = [&](const std::string& aText) {
    return SymbolicExprParser(table, false)(aText);
  };
  SymbolicExprDecider decider(table);
  decider.setConflictLimit(100);
  // Whether the first can hold alone is too hard.
  const SymbolicExprId hard = parse("q && (" + pigeons(8) + ")"), notQ = parse("~q");
  SymbolicExprContradiction found = decider.smallestContradiction({hard, notQ});
  EXPECT_TRUE(found.exists && !found.isMinimal && !found.isShortest);
  EXPECT_EQ(found.ids, (std::vector<SymbolicExprId>{hard, notQ}));
  const SymbolicExprId a = parse("x < y"), b = parse("y < z"), c = parse("z < x");
  found = decider.smallestContradiction({a, b, c, parse("x < 7")});
  EXPECT_TRUE(found.exists && found.isMinimal && found.isShortest);
  EXPECT_EQ(found.ids, (std::vector<SymbolicExprId>{a, b, c}));
  // Arithmetic may have values that exclude others.
  const SymbolicExprId term = parse("x*x > 1");
  found = decider.smallestContradiction({a, b, c, term});
  EXPECT_TRUE(found.exists && !found.isMinimal && !found.isShortest);
  EXPECT_FALSE(decider.smallestContradiction({a, b, term}).exists);
  EXPECT_EQ(decider.equivalent(hard, notQ), std::nullopt);
}

TEST(Decider, HardConditionsEndWithinTheConflictLimit) {
  const HardRow rows[] = {
      {"pigeons", pigeons(5), 20000, "never"},
      {"pigeons", pigeons(8), 20000, "never"},
      {"pigeons", pigeons(8), 100, "unknown"},
      {"pigeons", pigeons(12), 2000, "unknown"},
      {"whole numbers", differentNumbers(5), 20000, "never"},
      {"whole numbers", differentNumbers(9), 300, "unknown"},
      {"one number less", differentNumbers(9) + " && v0 == 1.5", 300, "never"},
      {"parity", "(" + parity(20, false) + ") == ~(" + parity(20, false) + ")", 1000, "never"},
      {"parity", parity(20, false), 1000, "sometimes"},
      {"parity", "(" + parity(6, false) + ") ~= (" + parity(6, true) + ")", 20000, "never"},
      {"many variables", orderedVariables(10000), 1000, "sometimes"},
      {"a circle", orderedVariables(10000) + " && x0 > x9999", 1000, "never"},
  };
  for (const HardRow& row : rows) {
    SymbolicExprTable table;
    const SymbolicExprId id = SymbolicExprParser(table, false)(row.condition);
    ASSERT_NE(id, invalidSymbolicExprId) << row.what;
    SymbolicExprDecider decider(table);
    for (int i = 0; i < 20; ++i) {
      decider.setDomain(SymbolicString(table, "v" + std::to_string(i)).getId(table),
                        SymbolicExprDomain::integers());
      decider.setDomain(SymbolicString(table, "b" + std::to_string(i)).getId(table),
                        SymbolicExprDomain::boolean());
    }
    decider.setConflictLimit(row.limit);
    EXPECT_STREQ(name(decider.decide(id)), row.verdict) << row.what << ", " << row.limit;
    if (row.verdict != std::string("unknown")) continue;
    EXPECT_EQ(decider.unknownCause({id}), UnknownCause::ConflictLimit) << row.what;
    // Others are not touched by one that is given up, and no contradiction is claimed.
    const SymbolicExprId easy = SymbolicString(table, "easy").getId(table);
    EXPECT_EQ(decider.decideAll({{id}, {easy}, {easy, id}}),
              (std::vector<Truth>{Truth::Unknown, Truth::Sometimes, Truth::Unknown}))
        << row.what;
    EXPECT_FALSE(decider.smallestContradiction({easy, id}).exists) << row.what;
    EXPECT_EQ(decider.implies(id, easy), std::nullopt) << row.what;
    EXPECT_FALSE(decider.witness(id)) << row.what;
  }
}

// Values that arithmetic is thought to have, for one question, show nothing about another.
TEST_F(DeciderTest, QuestionsThatAreAskedTogetherLeaveEachOtherAlone) {
  EXPECT_EQ(decider.decideAll({{parse("a && y * 0 == 1")}, {parse("y * 0 == 1")}}),
            std::vector<Truth>(2, Truth::Unknown));
}

TEST_F(DeciderTest, RefusesWhatIsNotThere) {
  EXPECT_THROW(decider.decide(12345), std::out_of_range);
  const SymbolicExprId itself = SymbolicNotExpr(table, table.size()).getId(table);
  EXPECT_THROW(decider.decide(itself), std::out_of_range);
  const SymbolicExprId two = parse("2");
  const SymbolicExprId sum = SymbolicPlusExpr(table, table.size(), two).getId(table);
  EXPECT_THROW(decider.decide(SymbolicLessThanExpr(table, sum, two).getId(table)),
               std::out_of_range);
  const SymbolicExprId later = table.size() + 7;
  for (const SymbolicExprId id :
       {SymbolicLessThanExpr(table, SymbolicPlusExpr(table, later, two), two).getId(table),
        SymbolicLessThanExpr(table, SymbolicMemberValue(table, later, "m"), two).getId(table),
        SymbolicEqualExpr(table, two, later).getId(table),
        SymbolicAndExpr(table, two, later).getId(table)}) {
    EXPECT_THROW(decider.decide(id), std::out_of_range);
    EXPECT_THROW(decider.smallestContradiction({two, id}), std::out_of_range);
  }
  EXPECT_THROW(decider.assume(invalidSymbolicExprId), std::out_of_range);
  EXPECT_THROW(decider.setDomain(parse("x + 1"), SymbolicExprDomain::boolean()),
               std::invalid_argument);
  EXPECT_THROW(decider.setDomain(parse("3"), SymbolicExprDomain::boolean()), std::invalid_argument);
  EXPECT_THROW(SymbolicExprDomain::values({}), std::invalid_argument);
  EXPECT_THROW(SymbolicExprDomain::values({std::nan("")}), std::invalid_argument);
  EXPECT_THROW(SymbolicExprDomain::values({"true"}), std::invalid_argument);
  EXPECT_THROW(SymbolicExprDomain::integers(2, 1), std::invalid_argument);
  EXPECT_THROW(SymbolicExprDomain::interval(0, std::nan("")), std::invalid_argument);
  EXPECT_EQ(name(decider.decide(std::vector<SymbolicExprId>{})), std::string("always"));
  EXPECT_EQ(verdict("[a, b]"), "unknown");
}

TEST_F(DeciderTest, ReadsWhatIsAddedToTheTableLater) {
  EXPECT_EQ(verdict("x < 1"), "sometimes");
  const SymbolicExprId first = parse("x < 1"), later = parse("fresh > 2 && x > 1");
  EXPECT_EQ(decider.exclusive(first, later), true);
  EXPECT_EQ(decider.implies(std::vector<SymbolicExprId>{later, first}, parse("zero")), true);
  EXPECT_EQ(decider.equivalent(parse("~(x < 1)"), parse("1 <= x")), true);
  EXPECT_EQ(decider.equivalent(first, later), false);
}

}  // namespace
}  // namespace KS
