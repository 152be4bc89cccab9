// Many values at once: what is asked of a lane holds there.
#include "decide/detail/Simulation.hpp"

#include <gtest/gtest.h>

#include <bitset>
#include <string>
#include <vector>

#include "decide/detail/Encoder.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace KS::Decide::detail {
namespace {

struct Row {
  const char* condition;
  std::size_t least;  // of 64 lanes that are led to it, those in which it shall hold
};

// Names in capitals are whole numbers, L is one of a list, R lies in a range.
constexpr Row rows[] = {
    {"x == 3", 64},
    {"x ~= 0", 64},
    {"x > 1 && x < 2", 64},
    {"x > 5 && x < 5.5 && x > 4 && x < 7", 64},
    {"N > 1 && N < 3 && N < 9 && N > -4", 64},
    // The whole numbers beside the ends of a gap.
    {"N > 100 && N < 200 && (N < 102 || N > 198) && N ~= 101", 16},
    {"N > 10 && N < 20 && M > 10 && M < 20 && N < M", 10},
    {"x > 0 && x < 1 && y > 0 && y < 1 && x < y", 10},
    {"p && ~q && r", 64},
    {"p && (q || r) && ~(p && q)", 20},
    // A truth that is also compared.
    {"x && x < 3 && x > -3", 64},
    {"~x && x > -1 && x < 7", 64},
    {"~x && ~y && x == y", 64},
    {"L > 2 && L < 7", 64},
    {"L ~= 4 && L > 1", 24},
    {"R > 0.25 && R < 9", 64},
    // Variables among each other.
    {"x < y", 40},
    {"x < y && y < z", 16},
    {"x == y", 8},
    {"a == 1 && b == 2 && c == 3 && d == 4 && e == 5", 64},
    // What can't hold.
    {"N > 5 && N < 6", 0},
    {"L > 4 && L < 9", 0},
    {"R > 1", 0},
};

struct Setting {
  Setting() {
    const auto id = [this](const char* name) { return SymbolicExprParser(table, false)(name); };
    for (const char* name : {"N", "M"}) domains.set(id(name), SymbolicExprDomain::integers());
    domains.set(id("L"), SymbolicExprDomain::values({9.0, 1.0, 4.0}));
    domains.set(id("R"), SymbolicExprDomain::interval(0, 1));
  }
  Literal truth(const char* aText) {
    return encoder.truth(SymbolicExprParser(table, false)(aText));
  }

  SymbolicExprTable table;
  SymbolicExprBindings bindings{table};
  Domains domains;
  Encoder encoder{table, bindings, domains};
};

std::bitset<64> lanesOf(std::uint64_t aWord) { return {aWord}; }

TEST(Simulation, LanesAreLedToWhatCanHold) {
  for (const Row& row : rows) {
    Setting setting;
    const Literal condition = setting.truth(row.condition);
    const Problem problem(setting.encoder.getFormula(), {condition});
    Simulation simulation(setting.encoder.getFormula(), problem);
    std::size_t holding = 0;
    for (std::size_t lane = 0; lane < Simulation::lanes; ++lane) {
      simulation.begin();
      EXPECT_TRUE(simulation.lead(lane, problem.local(condition)));
      simulation.run();
      for (const Literal fact : problem.getFacts()) simulation.require(fact);
      const auto lanes = lanesOf(simulation.holding(problem.local(condition)));
      if (lanes[lane]) ++holding;
      EXPECT_TRUE(row.least > 0 || lanes.none()) << row.condition;
    }
    EXPECT_GE(holding, row.least) << row.condition;
    // What takes too long is refused.
    simulation.begin();
    std::size_t led = 0;
    while (led < 10000 && simulation.lead(led % Simulation::lanes, problem.local(condition))) ++led;
    EXPECT_TRUE(led > 1 && led < 10000) << row.condition;
  }
}

TEST(Simulation, TheOtherLanesAreLeftToChance) {
  Setting setting;
  const Literal truth = setting.truth("p"), above = setting.truth("x > 3");
  const Problem problem(setting.encoder.getFormula(), {truth, above});
  Simulation simulation(setting.encoder.getFormula(), problem);
  for (int round = 0; round < 40; ++round) {
    simulation.begin();
    simulation.lead(63, problem.local(above));
    simulation.lead(7, problem.local(negated(above)));
    simulation.run();
    const auto truths = lanesOf(simulation.holding(problem.local(truth)));
    const auto aboves = lanesOf(simulation.holding(problem.local(above)));
    EXPECT_TRUE(aboves[63]);
    EXPECT_FALSE(aboves[7]);
    for (const auto& lanes : {truths, aboves}) EXPECT_TRUE(lanes.any() && !lanes.all());
    simulation.require(problem.local(truth));
    EXPECT_EQ(simulation.holding(problem.local(negated(truth))), 0U);
    EXPECT_EQ(lanesOf(simulation.holding(problem.local(truth))), truths);
  }
}

TEST(Simulation, LeavesOutValuesThatEvaluationDoesNotTellApart) {
  Setting setting;
  const Literal between = setting.truth("x > 1 && x < 1.00000001");
  const Problem problem(setting.encoder.getFormula(), {between});
  Simulation simulation(setting.encoder.getFormula(), problem);
  simulation.begin();
  simulation.lead(5, problem.local(between));
  simulation.run();
  EXPECT_EQ(simulation.holding(problem.local(between)), 0U);
  EXPECT_NE(simulation.holding(problem.local(negated(between))), 0U);
}

}  // namespace
}  // namespace KS::Decide::detail
