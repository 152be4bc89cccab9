// What simplification refuses to write out, and what it costs at most.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/RandomText.hpp"
#include "tests/support/SimplifyRows.hpp"
#include "variants/VCService.hpp"

namespace KS::test {
namespace {

std::string numbered(const std::string& aName, std::size_t aIdx) {
  return aName + std::to_string(aIdx);
}

std::string joined(const std::vector<std::string>& aOperands, const char* aConnective) {
  std::string text;
  for (const std::string& operand : aOperands) {
    text += (text.empty() ? "" : aConnective) + operand;
  }
  return text;
}

std::size_t count(const std::string& aText, const std::string& aPart) {
  std::size_t found = 0;
  for (std::size_t at = 0; (at = aText.find(aPart, at)) != std::string::npos; ++at) ++found;
  return found;
}

// So many disjunctions of so many symbols, and symbols beside them.
std::vector<std::string> product(const std::vector<std::size_t>& aSizes, std::size_t aNumRest) {
  std::vector<std::string> operands;
  for (std::size_t i = 0; i < aSizes.size(); ++i) {
    std::vector<std::string> members;
    for (std::size_t j = 0; j < aSizes[i]; ++j) {
      members.push_back(numbered(numbered("m", i) + "_", j));
    }
    operands.push_back("(" + joined(members, "||") + ")");
  }
  for (std::size_t i = 0; i < aNumRest; ++i) operands.push_back(numbered("r", i));
  return operands;
}

TEST(SimplifyLimits, ConjunctionsAreDistributedUpToDisjunctsAndLiterals) {
  const struct {
    std::vector<std::size_t> sizes;
    std::size_t numRest;
    std::size_t disjuncts;  // of the result; 0 where the disjunctions stay
  } rows[] = {
      {{32, 32}, 0, 1024},
      {{1024}, 1, 1024},
      {{25, 41}, 0, 0},
      {{1025}, 1, 0},
      {{2, 2, 2, 2, 2, 2, 2, 2, 2, 2}, 54, 1024},
      {{2, 2, 2, 2, 2, 2, 2, 2, 2, 2}, 55, 0},
      {{2}, 32767, 2},
      {{2}, 32768, 0},
      {{2, 3}, 10920, 6},
      {{2, 3}, 10921, 0},
  };
  for (const auto& row : rows) {
    const std::vector<std::string> operands = product(row.sizes, row.numRest);
    const std::string result = simplified(joined(operands, "&&"), 10).text;
    std::size_t members = 0;
    for (const std::size_t size : row.sizes) members += size - 1;
    const std::size_t expected = row.disjuncts != 0 ? row.disjuncts - 1 : members;
    EXPECT_EQ(count(result, "||"), expected) << row.sizes.size() << ", " << row.numRest;
    EXPECT_EQ(count(result, "(") == 0, row.disjuncts != 0) << row.sizes.size();
  }
}

// Members that are conjunctions count with all their literals, what another operand absorbs does
// not count, and absorption among the disjuncts comes too late to help.
TEST(SimplifyLimits, LiteralsAreCountedBeforeAbsorption) {
  const std::string rest = joined(product({}, 30000), "&&");
  const auto isDistributed = [&](const std::string& aOperands) {
    return count(simplified(aOperands + "&&" + rest, 10).text, "(") == 0;
  };
  std::string longMember = "a0";
  for (std::size_t i = 1; i < 5535; ++i) longMember += numbered("&&a", i);
  EXPECT_TRUE(isDistributed("(" + longMember + "||b)"));
  EXPECT_FALSE(isDistributed("(" + longMember + "&&a5536&&a5537||b)"));
  EXPECT_TRUE(isDistributed("(a||b)&&(r7||c)&&(d||r8)"));
  EXPECT_TRUE(isDistributed("(r7||c)&&(d||r8)"));
  EXPECT_FALSE(isDistributed("(a||b)&&(a||c)"));
}

// Nested conjunctions, each within its own limits or beyond them: neither order nor what was
// distributed elsewhere matters, and the result is final.
TEST(SimplifyLimits, DependOnTheConjunctionAlone) {
  std::mt19937 shuffler(3);
  RandomText random(3);
  for (std::size_t i = 0; i < 40; ++i) {
    std::vector<std::string> inner =
        product({2 + random.pick(2), 3, 2 + random.pick(3), 2, 2, 2 + random.pick(2), 2, 2, 2}, 1);
    std::vector<std::string> outer = product({2, 2 + random.pick(3), 2 + random.pick(3)}, 1);
    for (std::string& operand : outer) std::replace(operand.begin(), operand.end(), 'm', 'n');
    std::string expected;
    for (int round = 0; round < 4; ++round) {
      std::shuffle(inner.begin(), inner.end(), shuffler);
      std::vector<std::string> all = outer;
      all.push_back("(" + joined(inner, "&&") + "||s)");
      std::shuffle(all.begin(), all.end(), shuffler);
      const std::string text = joined(all, "&&");
      const Simplified result = simplified(text, 10);
      if (round == 0) expected = result.text;
      ASSERT_EQ(result.text, expected) << text;
      ASSERT_EQ(simplified(expected, 10).text, expected) << text;
      // After an expression that distributes much.
      SymbolicExprTable table;
      const SymbolicExprSimplify simplify(table, 10);
      std::size_t passes = 0;
      const SymbolicExprParser parse(table, true);
      const SymbolicExprId much = parse(joined(inner, "&&") + "||" + text);
      simplify.simplify(much, passes);
      const SymbolicExprPrinter print(table, false, true, false);
      ASSERT_EQ(print(simplify.simplify(parse(text), passes)), expected) << text;
    }
  }
}

// 65,536 literals are distributed so many times over; each time they give the same.
std::string distributedOften(std::size_t aTimes) {
  const std::string one = joined(product({2, 2, 2, 2, 2, 2, 2, 2, 2, 2}, 54), "&&");
  std::vector<std::string> all;
  for (std::size_t i = 0; i < aTimes; ++i) {
    all.push_back("(" + one + "&&(" + numbered("p", i) + "||!" + numbered("p", i) + "))");
  }
  return joined(all, "||");
}

// The same of two disjunctions that have nothing in common.
std::string twoDistributedOften(std::size_t aTimes) {
  const auto disjunction = [](const std::string& name) {
    std::vector<std::string> all;
    for (std::size_t i = 0; i < 32; ++i) {
      std::vector<std::string> literals;
      for (std::size_t k = 0; k < 32; ++k) literals.push_back(numbered(name, 32 * i + k));
      all.push_back(joined(literals, "&&"));
    }
    return joined(all, "||");
  };
  const std::string left = "(" + disjunction("a") + ")&&(" + disjunction("b");
  std::vector<std::string> all;
  for (std::size_t i = 0; i < aTimes; ++i) {
    all.push_back("(" + left + "||" + numbered("p", i) + "&&!" + numbered("p", i) + "))");
  }
  return joined(all, "||");
}

TEST(SimplifyLimits, OneSimplificationDistributesSoMuchInAll) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "sanitizers take a minute for 16 million literals";
#endif
  for (const auto often : {distributedOften, twoDistributedOften}) {
    VCService service;
    const SymbolicExprId once = service.simplify(often(1));
    EXPECT_EQ(service.simplify(often(256)), once);
    const std::string tooMuch = often(257);
    const auto failure = [&] {
      try {
        service.simplify(tooMuch);
        return std::string("no failure");
      } catch (const std::length_error& error) {
        return std::string(error.what());
      }
    };
    for (int again = 0; again < 2; ++again) {
      EXPECT_NE(failure().find("16777216"), std::string::npos) << failure();
      EXPECT_EQ(service.AND(once, once), once);
      EXPECT_EQ(service.printMExpr(service.simplify("(a || b) && c")), "(a && c) || (b && c)");
    }
  }
}

// ---------------------------------------------------------------------------------------------

// Each of these took time in the square of its operands once.
TEST(SimplifyLimits, LongConditionsTakeTimeInTheirLength) {
  using Operand = std::string (*)(std::size_t);
  static constexpr const char* relations[] = {"!=", "<=", "<", ">", ">="};
  const struct {
    const char* first;
    const char* connective;
    Operand operand;
    const char* result;  // how it begins
  } rows[] = {
      {"a0", "||", [](std::size_t i) { return numbered("!a", i) + numbered("&&a", i + 1); },
       "a0||a1||a10||"},
      {"a0", "||",
       [](std::size_t i) {
         return numbered("!a", i) + numbered("&&a", i + 1) + "&&z||" + numbered("a", i + 1) +
                "&&!z";
       },
       "a0||a1||a10||"},
      {"a0", "&&", [](std::size_t i) { return numbered("!(a", i) + numbered("&&!a", i + 1) + ")"; },
       "a0&&a1&&a10&&"},
      {"x0<=1&&x0>=1", "&&",
       [](std::size_t i) {
         return numbered("!(x", i) + numbered("==1&&!(x", i + 1) + "<=1))" +
                numbered("&&x", i + 1) + ">=1";
       },
       "x0==1&&x10000==1&&"},
      {"x0<1||x0==1", "||",
       [](std::size_t i) {
         return numbered("x", i) + numbered(">1&&x", i + 1) + numbered("<1||x", i + 1) + "==1";
       },
       "x0<=1||x10000<=1||"},
      {"x!=0", "&&",
       [](std::size_t i) {
         return std::string("x") + relations[i % 5] + std::to_string(i % 3 == 0 ? i : 2 * i + 1);
       },
       "false"},
      {"x>=5", "&&",
       [](std::size_t i) { return (i % 9 == 0 ? "x<=" : "x!=") + std::to_string(99999 - i); },
       "x!="},
      {"x<5", "||",
       [](std::size_t i) { return (i % 9 == 0 ? "x>=" : "x==") + std::to_string(99999 - i); },
       "x<5||x=="},
      {"a0", "==", [](std::size_t i) { return numbered("a", i + 1); }, "a0==a1=="},
      {"a0", "<", [](std::size_t i) { return numbered("a", i + 1); }, "a0<a1<"},
      {"a0", "==", [](std::size_t i) { return numbered("a", 99999 - i); }, ""},
  };
  constexpr std::size_t numOperands = 20000;
  for (const auto& row : rows) {
    std::string text = row.first;
    for (std::size_t i = 0; i < numOperands; ++i) text += row.connective + row.operand(i);
    const std::clock_t start = std::clock();
    SymbolicExprTable table;
    std::size_t passes = 0;
    const SymbolicExprId id = SymbolicExprParser(table, true)(text);
    const SymbolicExprId result = SymbolicExprSimplify(table, 10).simplify(id, passes);
    const std::string begin = SymbolicExprPrinter(table, false, false, false)(result).substr(0, 30);
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    EXPECT_EQ(begin.rfind(row.result, 0), 0U) << text.substr(0, 60) << " gives " << begin;
    EXPECT_LT(seconds, 15) << text.substr(0, 60);
  }
}

}  // namespace
}  // namespace KS::test
