// How far programs are from the limit of a sweep: conditions under many configurations, by
// `SymbolicExprProgram` and by a loop that does nothing but compute the same steps in an array.
//
//   ks_sweep CONFIGURATIONS < CONDITIONS    in M syntax, one a line
//
// Prints the number of steps, the nanoseconds that each of the two takes for a step, and the number
// of conditions that hold, counted for each configuration. Variable number v has in configuration
// number c the value true where (v * 7919 + c * 104729) % 1000 is less than 500.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "base/SymbolicExprSymbols.hpp"
#include "bench/Measure.hpp"
#include "eval/SymbolicExprProgram.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace {

using KS::SymbolicExprId;
using KS::SymbolicOp;
using KSBench::timed;

bool valueOf(std::size_t aVariable, std::size_t aConfiguration) {
  return (aVariable * 7919 + aConfiguration * 104729) % 1000 < 500;
}

// The steps of a listing with their operands in place.
class Limit {
 public:
  Limit(const KS::SymbolicExprTable& aTable, const KS::SymbolicExprProgram::Listing& aListing,
        const std::vector<SymbolicExprId>& aVariables)
      : roots(aListing.roots), values(aListing.steps.size()), places(aVariables.size()) {
    std::vector<std::size_t> variableOf(aTable.size(), noVariable);
    for (std::size_t i = 0; i < aVariables.size(); ++i) variableOf[aVariables[i]] = i;
    for (std::size_t i = 0; i < aListing.steps.size(); ++i) {
      const KS::SymbolicExprProgram::Step& step = aListing.steps[i];
      if (step.value) {
        values[i] = step.value->toDouble();
      } else if (variableOf[step.id] != noVariable) {
        places[variableOf[step.id]] = i;
      } else if (step.operands.empty()) {
        throw std::runtime_error("a variable that is no symbol");
      } else {
        steps.push_back({static_cast<SymbolicOp>(aTable.get(step.id)->getKind()),
                         static_cast<std::uint32_t>(i),
                         static_cast<std::uint32_t>(step.operands.front()),
                         static_cast<std::uint32_t>(step.operands.back())});
      }
    }
  }

  std::size_t run(std::size_t aConfiguration) {
    for (std::size_t i = 0; i < places.size(); ++i) {
      values[places[i]] = valueOf(i, aConfiguration) ? 1 : 0;
    }
    for (const Step& step : steps) values[step.place] = result(step);
    std::size_t numHolding = 0;
    for (const std::size_t root : roots) numHolding += values[root] != 0 ? 1U : 0U;
    return numHolding;
  }

 private:
  static constexpr std::size_t noVariable = std::numeric_limits<std::size_t>::max();

  struct Step {
    SymbolicOp op;
    std::uint32_t place, left, right;
  };

  double result(const Step& aStep) const {
    const double left = values[aStep.left];
    const double right = values[aStep.right];
    switch (aStep.op) {
      case SymbolicOp::And: return left != 0 && right != 0 ? 1 : 0;
      case SymbolicOp::Or: return left != 0 || right != 0 ? 1 : 0;
      case SymbolicOp::Not: return left == 0 ? 1 : 0;
      case SymbolicOp::Equal: return left == right ? 1 : 0;
      case SymbolicOp::NotEqual: return left != right ? 1 : 0;
      case SymbolicOp::LessThan: return left < right ? 1 : 0;
      case SymbolicOp::LessThanEqual: return left <= right ? 1 : 0;
      case SymbolicOp::GreaterThan: return left > right ? 1 : 0;
      case SymbolicOp::GreaterThanEqual: return left >= right ? 1 : 0;
      default: throw std::runtime_error("an operator that conditions of models do not have");
    }
  }

  const std::vector<std::size_t> roots;
  std::vector<double> values;       // by step of the listing
  std::vector<std::size_t> places;  // of variables
  std::vector<Step> steps;
};

void measure(std::size_t aConfigurations) {
  KSBench::keepMemory();
  KS::SymbolicExprTable table;
  table.addBoolSymbols();
  const KS::SymbolicExprParser parse(table, false);
  const KS::SymbolicExprM2C toOperators(table);
  const KS::SymbolicExprSymbols symbolsOf(table);
  std::set<SymbolicExprId> distinct;
  std::set<std::string> names;
  for (std::string line; std::getline(std::cin, line);) {
    const SymbolicExprId id = parse(line);
    if (id == KS::invalidSymbolicExprId) throw std::runtime_error("no condition: " + line);
    distinct.insert(toOperators(id));
    std::vector<std::string> symbols;
    symbolsOf(id, symbols);
    names.insert(symbols.begin(), symbols.end());
  }
  names.erase("true");
  names.erase("false");
  std::vector<SymbolicExprId> variables;
  for (const std::string& name : names) {
    variables.push_back(KS::SymbolicString(table, name).getId(table));
  }

  const KS::SymbolicExprProgram program(table, {distinct.begin(), distinct.end()});
  Limit limit(table, program.list(), variables);
  std::size_t holding[2] = {0, 0};
  KS::SymbolicExprBindings bindings(table);
  const double ours = timed([&] {
    for (std::size_t c = 0; c < aConfigurations; ++c) {
      for (std::size_t i = 0; i < variables.size(); ++i) {
        bindings.set(variables[i], KS::Eval::Scalar(valueOf(i, c)));
      }
      for (const auto& outcome : program.run(bindings)) {
        if (outcome.value.value().scalar().toDouble() != 0) ++holding[0];
      }
    }
  });
  const double least = timed([&] {
    for (std::size_t c = 0; c < aConfigurations; ++c) holding[1] += limit.run(c);
  });
  if (holding[0] != holding[1]) throw std::runtime_error("the two have different answers");
  const auto count = static_cast<double>(program.list().steps.size() * aConfigurations);
  std::printf("%zu steps, %.2f ns each, limit %.2f ns, %zu hold\n", program.list().steps.size(),
              ours / count, least / count, holding[0]);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const long configurations = argc == 2 ? std::strtol(argv[1], nullptr, 10) : 0;
    if (configurations <= 0) throw std::runtime_error("usage: ks_sweep CONFIGURATIONS");
    measure(static_cast<std::size_t>(configurations));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
