// Z3 as a witness that simplification keeps the meaning of conditions: for generated ones, and for
// the lines of a file, it has to refute that the condition and its simplified form ever differ.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

#include "bench/Z3Terms.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/RandomText.hpp"

namespace {

using namespace KS;

struct Tally {
  std::size_t equivalent = 0, undecided = 0, different = 0, refused = 0;
};

// Proves one condition; prints what is not proved.
void witness(z3::context& aContext, const std::string& aText, bool aCSyntax, Tally& aTally) {
  SymbolicExprTable table;
  const SymbolicExprId id = SymbolicExprParser(table, aCSyntax)(aText);
  if (id == invalidSymbolicExprId) {
    ++aTally.refused;
    std::printf("does not parse: %s\n", aText.c_str());
    return;
  }
  std::size_t passes = 0;
  const SymbolicExprId simplified = SymbolicExprSimplify(table, 30).simplify(id, passes);
  KSBench::Z3Terms terms(aContext, table);
  z3::solver solver(aContext);
  solver.set("timeout", 5000U);
  solver.add(terms.truth(id) != terms.truth(simplified));
  for (const z3::expr& condition : terms.conditions()) solver.add(condition);
  const z3::check_result result = solver.check();
  if (result == z3::unsat) {
    ++aTally.equivalent;
    return;
  }
  ++(result == z3::sat ? aTally.different : aTally.undecided);
  std::printf("%s: %s\n  gives %s\n", result == z3::sat ? "differs" : "undecided", aText.c_str(),
              SymbolicExprPrinter(table, false, true, false)(simplified).c_str());
  if (result == z3::sat) std::printf("  under %s\n", solver.get_model().to_string().c_str());
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Has Z3 prove that simplified conditions are equivalent to what they were made of");
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
