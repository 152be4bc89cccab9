// Z3 as a witness of verdicts: it has to agree on random sets of conditions, over reals and over
// whole numbers, on whether all of a set can hold, whether they can fail, and whether the first
// implies the last.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include "bench/RandomConditions.hpp"
#include "bench/Z3Terms.hpp"
#include "decide/SymbolicExprDecider.hpp"
#include "parser/SymbolicExprParser.hpp"

namespace {

using namespace KS;

struct Tally {
  std::size_t same = 0, different = 0, unknown = 0, undecided = 0;
};

void compare(z3::context& aContext, KSBench::RandomConditions& aConditions, std::size_t aAtoms,
             Tally& aTally) {
  SymbolicExprTable table;
  const SymbolicExprParser parse(table, false);
  SymbolicExprDecider decider(table);
  std::unordered_set<std::string> wholes;
  const std::size_t kind = aConditions.below(3);  // reals, whole numbers, some of both
  for (char symbol = aConditions.firstSymbol; symbol <= aConditions.lastSymbol; ++symbol) {
    if (kind == 0 || (kind == 2 && aConditions.below(2) == 0)) continue;
    wholes.insert(std::string(1, symbol));
    decider.setDomain(parse(std::string(1, symbol)), SymbolicExprDomain::integers());
  }
  std::vector<SymbolicExprId> ids;
  std::string texts;
  for (std::size_t i = 0, count = 1 + aConditions.below(4); i < count; ++i) {
    texts += "  " + aConditions.make(1 + aConditions.below(aAtoms));
    ids.push_back(parse(texts.substr(texts.rfind("  ") + 2)));
    texts += '\n';
  }

  KSBench::Z3Terms terms(aContext, table, wholes);
  z3::expr_vector all(aContext);
  for (const SymbolicExprId id : ids) all.push_back(terms.truth(id));
  z3::solver solver(aContext);
  solver.set("timeout", 10000U);
  const auto canHold = [&](const z3::expr& aCondition) {
    solver.push();
    solver.add(aCondition);
    const z3::check_result result = solver.check();
    solver.pop();
    if (result == z3::unknown) ++aTally.undecided;
    return result;
  };
  const auto report = [&](const char* aWhat, bool aIsSame) {
    ++(aIsSame ? aTally.same : aTally.different);
    if (!aIsSame) std::printf("differs: %s of, kind %zu\n%s", aWhat, kind, texts.c_str());
  };
  const z3::expr conjunction = z3::mk_and(all);
  const z3::check_result holding = canHold(conjunction), failing = canHold(!conjunction);
  const Truth verdict = decider.decide(ids);
  if (holding == z3::unknown || failing == z3::unknown) return;
  if (verdict == Truth::Unknown) {
    ++aTally.unknown;
    std::printf("unknown:\n%s", texts.c_str());
    return;
  }
  const Truth theirs = holding == z3::unsat   ? Truth::Never
                       : failing == z3::unsat ? Truth::Always
                                              : Truth::Sometimes;
  report("verdict", verdict == theirs);
  report("verdict among many", decider.decideAll({ids, {ids[0]}})[0] == theirs);
  const z3::check_result against = canHold(terms.truth(ids[0]) && !terms.truth(ids.back()));
  if (against == z3::unknown) return;
  report("implication", decider.implies(ids[0], ids.back()) == (against == z3::unsat));
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Compares verdicts on random sets of conditions with those of Z3");
  std::size_t sets = 100000, atoms = 8;
  std::uint64_t seed = 1;
  app.add_option("--sets", sets, "The number of sets");
  app.add_option("--atoms", atoms, "The most atoms of a condition")->check(CLI::PositiveNumber);
  app.add_option("--seed", seed, "The seed of the conditions");
  CLI11_PARSE(app, argc, argv);
  try {
    z3::context context;
    KSBench::RandomConditions conditions(seed);
    Tally tally;
    for (std::size_t i = 0; i < sets; ++i) compare(context, conditions, atoms, tally);
    std::printf("same %zu, different %zu, unknown to us %zu, unknown to Z3 %zu\n", tally.same,
                tally.different, tally.unknown, tally.undecided);
    return tally.different + tally.unknown == 0 ? 0 : 1;
  } catch (const z3::exception& error) {
    std::fprintf(stderr, "%s\n", error.msg());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  return 1;
}
