// What expression commands cost by the library alone: parsing, the operation and rendering of every
// line, in one process and without input or output. `bench/pipe.py` measures it beside the tool.
//
//   ks_pipe print|simplify|eval [NAME=INT...] < LINES    in M syntax; names for eval
//
// Prints the CPU time, in nanoseconds, and the length of all answers.
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "bench/Measure.hpp"
#include "eval/SymbolicExprEval.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"

namespace {

using Values = std::vector<std::pair<std::string, int>>;

// A table and what works in it.
struct Workplace {
  explicit Workplace(const Values& aValues) {
    table.addBoolSymbols();
    for (const auto& [name, value] : aValues) {
      table.registerValueId(name, KS::SymbolicIntValue(table, value).getId(table));
    }
  }

  KS::SymbolicExprTable table;
  KS::SymbolicExprParser parse{table, false};
  KS::SymbolicExprSimplify simplify{table, 10};
  KS::SymbolicExprEval eval{table};
  KS::SymbolicExprPrinter print{table, true, false, false};
};

enum class Command { Print, Simplify, Eval };

std::string answer(Workplace& aPlace, Command aCommand, const std::string& aLine) {
  KS::SymbolicExprId id = aPlace.parse(aLine);
  if (id == KS::invalidSymbolicExprId) throw std::runtime_error("no expression: " + aLine);
  if (aCommand == Command::Eval) {
    char text[32];
    const int length = std::snprintf(text, sizeof text, "%.15g", aPlace.eval.eval(id).front());
    return {text, static_cast<std::size_t>(length)};
  }
  std::size_t passes = 0;
  if (aCommand == Command::Simplify) id = aPlace.simplify.simplify(id, passes);
  return aPlace.print(id);
}

// A new table now and then: a small one stays in the processor's cache.
std::size_t answerAll(Command aCommand, const Values& aValues,
                      const std::vector<std::string>& aLines) {
  constexpr std::size_t maxNodes = std::size_t{16} << 10;
  std::unique_ptr<Workplace> place;
  std::size_t length = 0;
  for (const std::string& line : aLines) {
    if (place == nullptr || place->table.size() > maxNodes) {
      place = std::make_unique<Workplace>(aValues);
    }
    length += answer(*place, aCommand, line).size();
  }
  return length;
}

Command commandNamed(const std::string& aName) {
  if (aName == "print") return Command::Print;
  if (aName == "simplify") return Command::Simplify;
  if (aName == "eval") return Command::Eval;
  throw std::runtime_error("usage: ks_pipe print|simplify|eval [NAME=INT...]");
}

void measure(const std::vector<std::string>& aArguments) {
  const Command command = commandNamed(aArguments.empty() ? "" : aArguments[0]);
  Values values;
  for (std::size_t i = 1; i < aArguments.size(); ++i) {
    const std::string& argument = aArguments[i];
    const std::size_t equals = argument.find('=');
    values.emplace_back(argument.substr(0, equals), std::stoi(argument.substr(equals + 1)));
  }
  std::vector<std::string> lines;
  for (std::string line; std::getline(std::cin, line);) lines.push_back(line);
  KSBench::keepMemory();
  std::size_t length = 0;
  const double time = KSBench::timed([&] { length = answerAll(command, values, lines); });
  std::printf("%.0f %zu\n", time, length);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    measure({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
