// All operations of the decider against an enumeration of values. A gap between constants, and the
// room beyond them, has as many values as there are variables: fewer would miss orders such as
// 1 < x && x < y && y < 2.
#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "decide/SymbolicExprDecider.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace KS {
namespace {

const std::vector<std::string> kVariables = {"x", "y", "z"};
constexpr std::size_t kConditions = 5;

enum class Kind { Reals, Integers, Ranges, Lists, Mixed };

// The values that are enumerated for one variable, and its domain.
struct Choice {
  std::vector<double> values;
  std::vector<SymbolicExprDomain> domain;  // none or one
};

Choice choose(Kind aKind, std::mt19937& aRandom) {
  const std::vector<double> wholes = {-4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6};
  const std::vector<double> reals = {-3,    -2,  -1,    0,    0.25,  0.5, 0.75, 1, 1.125, 1.25,
                                     1.375, 1.5, 1.625, 1.75, 1.875, 2,   3,    4, 5};
  switch (aKind) {
    case Kind::Reals: return {reals, {}};
    case Kind::Integers: return {wholes, {SymbolicExprDomain::integers()}};
    case Kind::Ranges:
      if (aRandom() % 2 == 0) {
        return {{0, 1, 2, 3}, {SymbolicExprDomain::integers(0, 3)}};
      }
      return {{0, 0.25, 0.5, 0.75, 1}, {SymbolicExprDomain::interval(0, 1)}};
    case Kind::Lists:
      if (aRandom() % 2 == 0) return {{0, 1}, {SymbolicExprDomain::boolean()}};
      return {{-1, 1.5, 2}, {SymbolicExprDomain::values({-1.0, 1.5, 2.0})}};
    default: break;
  }
  Choice choice = choose(static_cast<Kind>(aRandom() % 4), aRandom);
  if (choice.domain.empty()) {  // the others' domains bring constants and gaps of their own
    choice.values.insert(choice.values.end(), {-4, -0.75, -0.5, -0.25, 2.25, 2.5, 2.75, 6});
  }
  return choice;
}

class Generator {
 public:
  explicit Generator(std::mt19937& aRandom) : random(aRandom) {}

  std::string condition(int aDepth) {
    if (aDepth == 0 || below(6) == 0) return atom(aDepth);
    switch (below(5)) {
      case 0: return "~(" + condition(aDepth - 1) + ")";
      case 1:
      case 2: return "(" + condition(aDepth - 1) + " && " + condition(aDepth - 1) + ")";
      default: return "(" + condition(aDepth - 1) + " || " + condition(aDepth - 1) + ")";
    }
  }

 private:
  std::size_t below(std::size_t aEnd) { return random() % aEnd; }
  std::string variable() { return kVariables[below(kVariables.size())]; }
  std::string constant() {
    const char* const texts[] = {"0", "1", "2", "1.5", "true", "false"};
    return texts[below(6)];
  }
  std::string side(int aDepth) {
    switch (below(aDepth > 0 ? 8 : 7)) {
      case 0:
      case 1:
      case 2: return constant();
      case 7: return "(" + condition(aDepth - 1) + ")";
      default: return variable();
    }
  }
  std::string atom(int aDepth) {
    if (below(5) == 0) return variable();
    const char* const relations[] = {" == ", " ~= ", " < ", " <= ", " > ", " >= "};
    const std::string left = side(aDepth);
    return "(" + left + relations[below(6)] + side(aDepth) + ")";
  }

  std::mt19937& random;
};

// The exact value of an expression over the three variables.
double evaluate(const SymbolicExprTable& aTable, SymbolicExprId aId,
                const std::vector<double>& aValues) {
  const SymbolicExpr& node = *aTable.get(aId);
  if (node.isNumber()) return node.getNumericValue();
  if (node.isLeaf()) {
    const std::string& text = static_cast<const SymbolicString&>(node).getText();
    if (text == "true" || text == "false") return text == "true";
    const auto place = std::find(kVariables.begin(), kVariables.end(), text);
    return aValues[static_cast<std::size_t>(place - kVariables.begin())];
  }
  const double left = evaluate(aTable, node.getInput(0), aValues);
  if (node.isUnary()) return left == 0;
  const double right = evaluate(aTable, node.getInput(1), aValues);
  switch (static_cast<SymbolicOp>(node.getKind())) {
    case SymbolicOp::Equal: return left == right;
    case SymbolicOp::NotEqual: return left != right;
    case SymbolicOp::LessThan: return left < right;
    case SymbolicOp::LessThanEqual: return left <= right;
    case SymbolicOp::GreaterThan: return left > right;
    case SymbolicOp::GreaterThanEqual: return left >= right;
    case SymbolicOp::And: return left != 0 && right != 0;
    default: return left != 0 || right != 0;
  }
}

using Mask = std::bitset<kConditions>;

// A random set of conditions, and which of them hold together under which of all values.
struct Case {
  Case(std::uint32_t aSeed, Kind aKind) : random(aSeed), decider(table) {
    const SymbolicExprParser parse(table, false);
    std::vector<std::vector<double>> values;
    for (const std::string& variable : kVariables) {
      const Choice choice = choose(aKind, random);
      values.push_back(choice.values);
      const SymbolicExprId id = SymbolicString(table, variable).getId(table);
      for (const SymbolicExprDomain& domain : choice.domain) decider.setDomain(id, domain);
    }
    Generator generator(random);
    const int depth = static_cast<int>(random() % 4);
    for (std::size_t i = 0; i < kConditions; ++i) {
      const std::string text = generator.condition(depth);
      texts += "\n  " + text;
      ids.push_back(parse(text));
    }
    for (const double x : values[0]) {
      for (const double y : values[1]) {
        for (const double z : values[2]) {
          Mask mask;
          for (std::size_t i = 0; i < kConditions; ++i) {
            mask[i] = evaluate(table, ids[i], {x, y, z}) != 0;
          }
          masks.insert(mask.to_ulong());
        }
      }
    }
  }

  bool canHold(const Mask& aWanted, const Mask& aUnwanted = 0) const {
    return std::any_of(masks.begin(), masks.end(), [&](unsigned long aMask) {
      return (Mask(aMask) & aWanted) == aWanted && (Mask(aMask) & aUnwanted).none();
    });
  }
  Truth verdict(const Mask& aWanted) const {
    if (!canHold(aWanted)) return Truth::Never;
    const bool isAlways = std::all_of(masks.begin(), masks.end(), [&](unsigned long aMask) {
      return (Mask(aMask) & aWanted) == aWanted;
    });
    return isAlways ? Truth::Always : Truth::Sometimes;
  }
  std::vector<SymbolicExprId> chosen(Mask aMask) const {
    std::vector<SymbolicExprId> result;
    for (std::size_t i = 0; i < kConditions; ++i) {
      if (aMask[i]) result.push_back(ids[i]);
    }
    return result;
  }

  std::mt19937 random;
  SymbolicExprTable table;
  SymbolicExprDecider decider;
  std::vector<SymbolicExprId> ids;
  std::string texts;
  std::set<unsigned long> masks;
};

class BruteForce : public testing::TestWithParam<Kind> {
 protected:
  // KS_CASES in the environment asks for more.
  static std::uint32_t numCases() {
    const char* text = std::getenv("KS_CASES");
    return text == nullptr ? 80 : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
  }
  template <class Check>
  void forEachCase(Check aCheck) {
    for (std::uint32_t seed = 0; seed < numCases(); ++seed) {
      Case made(seed * 7 + static_cast<std::uint32_t>(GetParam()), GetParam());
      SCOPED_TRACE("seed " + std::to_string(seed) + made.texts);
      aCheck(made);
      if (HasFailure()) return;
    }
  }
};

TEST_P(BruteForce, VerdictsAndRelations) {
  forEachCase([](Case& aCase) {
    SymbolicExprDecider& decider = aCase.decider;
    for (std::size_t i = 0; i < kConditions; ++i) {
      const Mask one = 1UL << i;
      ASSERT_EQ(decider.decide(aCase.ids[i]), aCase.verdict(one)) << i;
      const std::size_t other = (i + 1) % kConditions;
      const Mask two = one | Mask(1UL << other);
      const SymbolicExprId a = aCase.ids[i], b = aCase.ids[other];
      ASSERT_EQ(decider.decide({a, b}), aCase.verdict(two)) << i;
      ASSERT_EQ(decider.exclusive(a, b), !aCase.canHold(two)) << i;
      const bool implies = !aCase.canHold(one, 1UL << other);
      ASSERT_EQ(decider.implies(a, b), implies) << i;
      ASSERT_EQ(decider.equivalent(a, b), implies && !aCase.canHold(1UL << other, one)) << i;
    }
  });
}

TEST_P(BruteForce, WitnessesHoldInEvaluation) {
  forEachCase([](Case& aCase) {
    const SymbolicExprEval evaluation(aCase.table);
    for (unsigned long split = 0; split < 1UL << kConditions; split += 3) {
      const Mask wanted = split, unwanted = (split * 11) & ~split;
      const auto values = aCase.decider.witness(aCase.chosen(wanted), aCase.chosen(unwanted));
      ASSERT_EQ(values.has_value(), aCase.canHold(wanted, unwanted)) << wanted << unwanted;
      if (!values) continue;
      for (std::size_t i = 0; i < kConditions; ++i) {
        const bool holds = (wanted | unwanted)[i] && evaluation.eval(aCase.ids[i], *values)[0] != 0;
        ASSERT_EQ(holds, wanted[i]) << i;
      }
    }
  });
}

TEST_P(BruteForce, SmallestContradictions) {
  forEachCase([](Case& aCase) {
    const SymbolicExprContradiction found = aCase.decider.smallestContradiction(aCase.ids);
    const Mask all = Mask().set();
    ASSERT_EQ(found.exists, !aCase.canHold(all));
    if (!found.exists) return;
    std::size_t fewest = kConditions;
    for (unsigned long mask = 0; mask < 1UL << kConditions; ++mask) {
      if (!aCase.canHold(mask)) fewest = std::min(fewest, Mask(mask).count());
    }
    Mask chosen;
    for (const SymbolicExprId id : found.ids) {
      const auto place = std::find(aCase.ids.begin(), aCase.ids.end(), id);
      ASSERT_NE(place, aCase.ids.end());
      chosen.set(static_cast<std::size_t>(place - aCase.ids.begin()));
    }
    ASSERT_FALSE(aCase.canHold(chosen));
    ASSERT_TRUE(found.isMinimal && found.isShortest);
    ASSERT_EQ(found.ids.size(), fewest);
  });
}

TEST_P(BruteForce, ManyAtOnceAndUnderAssumptions) {
  forEachCase([](Case& aCase) {
    std::vector<std::vector<SymbolicExprId>> questions;
    for (unsigned long mask = 0; mask < 1UL << kConditions; mask += 2) {
      questions.push_back(aCase.chosen(mask));
    }
    const std::vector<Truth> free = aCase.decider.decideAll(questions);
    aCase.decider.assume(aCase.ids[0]);
    const std::vector<Truth> assumed = aCase.decider.decideAll(questions);
    const bool isPossible = aCase.canHold(1);
    for (unsigned long mask = 0; mask < 1UL << kConditions; mask += 2) {
      ASSERT_EQ(free[mask / 2], aCase.verdict(mask)) << mask;
      const bool canHold = aCase.canHold(mask | 1);
      bool canFail = false;
      for (const unsigned long held : aCase.masks) {
        canFail = canFail || ((held & 1) != 0 && (held & mask) != mask);
      }
      const Truth expected = !canHold || !isPossible ? Truth::Never
                             : canFail               ? Truth::Sometimes
                                                     : Truth::Always;
      ASSERT_EQ(assumed[mask / 2], expected) << mask;
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Domains, BruteForce,
                         testing::Values(Kind::Reals, Kind::Integers, Kind::Ranges, Kind::Lists,
                                         Kind::Mixed));

}  // namespace
}  // namespace KS
