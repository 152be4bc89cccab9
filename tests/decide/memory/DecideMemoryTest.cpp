// Memory that ends anywhere while conditions are decided: the exception comes out, and the decider
// answers as if nothing had happened.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "decide/SymbolicExprDecider.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "tests/memory/FailEverywhere.hpp"

namespace KS {
namespace {

using test::Operation;

struct Decided {
  SymbolicExprTable table;
  SymbolicExprParser parse{table, false};
  std::vector<SymbolicExprId> ids{parse("x < y && y < 3 && (a || x > 1)"),
                                  parse("y <= x || f(bitand(x, 1)) == 2"),
                                  parse("x + 1 > 2 && ARCH ~= arm && ~a")};
  SymbolicExprId arch = parse("ARCH"), x = parse("x"), contrary = parse("y < x && ~(x > 5)");
  SymbolicExprId isArm = parse("ARCH == arm"), isMips = parse("ARCH == mips");
  SymbolicExprId isLow = parse("x < 1"), isHigh = parse("x > 2");
  SymbolicExprBindings bindings{table};
  SymbolicExprDecider decider{table};

  Decided() { bindings.set(x, 2.5); }
  std::string answers(std::size_t aShare);
};

std::string spelled(Truth aVerdict) { return std::to_string(static_cast<int>(aVerdict)); }
std::string spelled(const std::optional<bool>& aAnswer) {
  return !aAnswer ? "?" : *aAnswer ? "y" : "n";
}

constexpr Operation<Decided> settings[] = {
    {"domain of names",
     [](Decided& d) {
       std::vector<SymbolicExprDomain::Value> names;
       names.emplace_back("arm");
       names.emplace_back("a name of some length");
       d.decider.setDomain(d.arch, SymbolicExprDomain::values(std::move(names)));
       return std::string();
     }},
    {"domain of whole numbers",
     [](Decided& d) {
       d.decider.setDomain(d.x, SymbolicExprDomain::integers(2, 8));
       return std::string();
     }},
    {"assumed values",
     [](Decided& d) {
       d.decider.assume(d.bindings);
       return std::string();
     }},
    {"assumed condition",
     [](Decided& d) {
       d.decider.assume(d.isLow);
       return std::string();
     }},
};

constexpr Operation<Decided> questions[] = {
    {"verdicts",
     [](Decided& d) {
       return spelled(d.decider.decide(d.isMips)) + spelled(d.decider.decide(d.isLow)) +
              spelled(d.decider.decide(d.isHigh));
     }},
    {"verdicts on many",
     [](Decided& d) {
       std::string all;
       for (const Truth verdict : d.decider.decideAll({{d.ids[0]}, {d.ids[0], d.ids[1]}, d.ids})) {
         all += spelled(verdict);
       }
       return all;
     }},
    {"relations between conditions",
     [](Decided& d) {
       return spelled(d.decider.implies(d.ids[0], d.contrary)) +
              spelled(d.decider.equivalent(d.ids[0], d.ids[1])) +
              spelled(d.decider.exclusive(d.ids[0], d.contrary));
     }},
    {"examples",
     [](Decided& d) {
       std::string all = std::to_string(d.decider.witness(d.ids[2]).has_value());
       const auto values = d.decider.assignment({d.ids[0]}, {d.ids[1]});
       for (std::size_t i = 0; values && i < values->size(); ++i) all += (*values)[i].name + ',';
       return all;
     }},
    {"unknown terms",
     [](Decided& d) {
       return std::to_string(d.decider.unknownTerms(d.ids).size()) +
              std::to_string(static_cast<int>(d.decider.unknownCause({d.ids[2]})));
     }},
    {"contradiction",
     [](Decided& d) {
       const auto found = d.decider.smallestContradiction({d.ids[0], d.ids[2], d.contrary});
       return std::to_string(found.exists) + std::to_string(found.ids.size());
     }},
};

std::string Decided::answers(std::size_t aShare) {
  return test::shareOfAnswers(questions, *this, aShare);
}

// Solvers in which memory ended are not given back.
TEST(MemoryEnds, WhileConditionsAreDecided) {
  test::failEverywhere(settings);
  test::failEverywhere(questions, true);
  const std::size_t before = test::usedBytes();
  {
    Decided decided;
    for (std::size_t share = 0; share < test::numShares; ++share) decided.answers(share);
  }
  EXPECT_EQ(test::usedBytes(), before);
}

}  // namespace
}  // namespace KS
