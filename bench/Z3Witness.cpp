// Z3 as a witness that simplified and compact forms keep the meaning of conditions: for generated
// ones, and for the lines of a file, it has to refute that the condition and its form ever differ.
#include <z3++.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "base/KSSymbolicExpr.hpp"
#include "bench/Z3Terms.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/RandomText.hpp"

namespace {

using namespace KS;

struct Tally {
  std::size_t equivalent = 0, undecided = 0, different = 0, refused = 0;
};

// What Z3 says of two expressions of one table.
class Prover {
 public:
  Prover(z3::context& aContext, const SymbolicExprTable& aTable)
      : context(aContext), table(aTable), terms(aContext, aTable), asked(aContext) {
    asked.set("timeout", 500U);
  }

  bool implies(SymbolicExprId aPremise, SymbolicExprId aConclusion) {
    // A solver that goes on is quicker than a new one; there are many questions.
    const z3::expr gap = terms.truth(aPremise) && !terms.truth(aConclusion);
    asked.push();
    asked.add(gap);
    for (const z3::expr& condition : terms.conditions()) asked.add(condition);
    const bool isImplied = asked.check() == z3::unsat;
    asked.pop();
    return isImplied;
  }
  // Prints what is not proved.
  void prove(SymbolicExprId aId, SymbolicExprId aResult, const char* aName, Tally& aTally) {
    const z3::check_result result = check(terms.truth(aId) != terms.truth(aResult));
    if (result == z3::unsat) {
      ++aTally.equivalent;
      return;
    }
    ++(result == z3::sat ? aTally.different : aTally.undecided);
    const SymbolicExprPrinter print(table, false, true, false);
    std::printf("%s, %s: %s\n  gives %s\n", result == z3::sat ? "differs" : "undecided", aName,
                print(aId).c_str(), print(aResult).c_str());
    if (result == z3::sat) std::printf("  under %s\n", model.c_str());
  }

 private:
  z3::check_result check(const z3::expr& aTruth) {
    z3::solver solver(context);
    solver.set("timeout", 5000U);
    solver.add(aTruth);
    for (const z3::expr& condition : terms.conditions()) solver.add(condition);
    const z3::check_result result = solver.check();
    if (result == z3::sat) model = solver.get_model().to_string();
    return result;
  }

  z3::context& context;
  const SymbolicExprTable& table;
  KSBench::Z3Terms terms;
  z3::solver asked;
  std::string model;
};

// Proves what becomes of one condition: simplified; compact, from the simplified form or the text;
// and compact without what Z3 finds implied.
void witness(z3::context& aContext, const std::string& aText, bool aCSyntax, Tally& aTally) {
  SymbolicExprTable table;
  const SymbolicExprId id = SymbolicExprParser(table, aCSyntax)(aText);
  if (id == invalidSymbolicExprId) {
    ++aTally.refused;
    std::printf("does not parse: %s\n", aText.c_str());
    return;
  }
  Prover prover(aContext, table);
  std::size_t passes = 0;
  const SymbolicExprId simplified = SymbolicExprSimplify(table, 30).simplify(id, passes);
  prover.prove(id, simplified, "simplified", aTally);
  const SymbolicExprCompact compact(table);
  prover.prove(id, compact(simplified), "compact", aTally);
  prover.prove(id, compact(id), "compact as typed", aTally);
  const auto implies = [&](SymbolicExprId aPremise, SymbolicExprId aConclusion) {
    return prover.implies(aPremise, aConclusion);
  };
  const SymbolicExprId asked = SymbolicExprCompact(table, implies)(simplified, {id});
  prover.prove(id, asked, "compact, implied operands dropped", aTally);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Has Z3 prove that simplified and compact conditions are equivalent to what they were made "
      "of");
  std::string file;
  std::size_t conditions = 10000, atoms = 16;
  std::uint64_t seed = 1;
  bool mSyntax = false;
  app.add_option("FILE", file, "A file with one condition a line");
  app.add_flag("--m", mSyntax, "The file is in M syntax");
  app.add_option("--conditions", conditions, "The number of generated conditions");
  app.add_option("--atoms", atoms, "The most atoms of a condition")->check(CLI::PositiveNumber);
  app.add_option("--seed", seed, "The seed of the generated conditions");
  CLI11_PARSE(app, argc, argv);
  try {
    z3::context context;
    Tally tally;
    if (!file.empty()) {
      std::ifstream stream(file);
      if (!stream) throw std::runtime_error("cannot read " + file);
      for (std::string line; std::getline(stream, line);) {
        if (!line.empty()) witness(context, line, !mSyntax, tally);
      }
    }
    test::RandomText random(seed);
    for (std::size_t i = 0; i < conditions; ++i) {
      witness(context, i % 2 == 0 ? random.condition(1 + i % atoms) : random.dense(2 + i % 8), true,
              tally);
    }
    std::printf("equivalent %zu, undecided %zu, different %zu, refused %zu\n", tally.equivalent,
                tally.undecided, tally.different, tally.refused);
    return tally.different + tally.refused == 0 ? 0 : 1;
  } catch (const z3::exception& error) {
    std::fprintf(stderr, "%s\n", error.msg());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
  }
  return 1;
}
