// The same work by this library and by general-purpose engines, side by side in one run.
//
//   ks_peers [--corpus DIR] [--repetitions N] [--rows TEXT]
//
// Prints a table in Markdown. The exit status is 1 where engines disagree about an answer.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "bench/Engine.hpp"
#include "bench/Measure.hpp"

namespace KSBench {

namespace {

// Ours, the limit, then the peers.
using Engines = std::vector<std::unique_ptr<Engine>>;
constexpr std::size_t limitColumn = 1;

enum class Unit { Nanoseconds, Milliseconds, Bytes };

struct Row {
  Work work;
  const char* name;
  Unit unit;
  double target;     ///< Ours over the best peer; 0 where the target is a figure.
  double ownTarget;  ///< Ours in the unit of the row; 0 where the target is a ratio.
};

constexpr Row rows[] = {
    {Work::ParseDimensions, "parse and intern, dimensions", Unit::Nanoseconds, 1.0 / 3, 0},
    {Work::ParseConditions, "parse and intern, conditions", Unit::Nanoseconds, 1.0 / 3, 0},
    {Work::PrintDimensions, "print, dimensions", Unit::Nanoseconds, 0.5, 0},
    {Work::PrintConditions, "print, conditions", Unit::Nanoseconds, 0.5, 0},
    {Work::EvaluateDimensionsOnce, "parse, bind, evaluate once, dimensions", Unit::Nanoseconds,
     0.25, 0},
    {Work::EvaluateConditionsOnce, "parse, bind, evaluate once, conditions", Unit::Nanoseconds,
     0.25, 0},
    {Work::EvaluateAgainCycling, "evaluate again, one after the other", Unit::Nanoseconds, 1, 0},
    {Work::EvaluateAgainHot, "evaluate again, each 100 times over", Unit::Nanoseconds, 1, 0},
    {Work::EvaluateAgainProgram, "the same, ours as one program", Unit::Nanoseconds, 1, 0},
    {Work::SweepDimensions, "all dimensions for other values", Unit::Nanoseconds, 0, 80},
    {Work::SimplifyConditions, "simplify a condition", Unit::Nanoseconds, 1, 0},
    {Work::SimplifyRedundant, "simplify a redundant condition", Unit::Nanoseconds, 1, 0},
    {Work::SimplifyRedundantDeeply, "the same, Z3's ctx-simplify", Unit::Nanoseconds, 1, 0},
    {Work::NetConditions, "net condition of a block, tree of 10,000", Unit::Nanoseconds, 1, 0},
    {Work::NetConditionsBadOrder, "the same, a bad variable order", Unit::Nanoseconds, 1, 0},
    {Work::NetConditionsDense, "net condition, tree of 1,000, large locals", Unit::Nanoseconds, 1,
     0},
    {Work::NetConditionsDenseByNode, "the same, by node that is in no local", Unit::Nanoseconds, 0,
     100},
    {Work::Conjunction, "conjunction of 1,024 relations, one by one", Unit::Milliseconds, 0, 10},
    {Work::ConjunctionBadOrder, "the same, a bad variable order", Unit::Milliseconds, 0, 10},
    {Work::Chain, "chain of 100,000 terms, parsed and printed", Unit::Milliseconds, 1, 0},
    {Work::MemoryDimensions, "memory per distinct node, dimensions", Unit::Bytes, 0, 100},
    {Work::MemoryConditions, "memory per distinct node, conditions", Unit::Bytes, 0, 100},
};

// By what a repetition's cost is divided to be in the unit of the row.
double divisor(const Row& aRow, const Inputs& aInputs) {
  if (aRow.unit == Unit::Milliseconds) return 1e6;
  switch (aRow.work) {
    case Work::ParseDimensions:
    case Work::PrintDimensions:
    case Work::EvaluateDimensionsOnce:
    case Work::SweepDimensions: return static_cast<double>(aInputs.dimensions.size());
    case Work::SimplifyRedundant:
    case Work::SimplifyRedundantDeeply: return static_cast<double>(aInputs.redundant.size());
    case Work::NetConditions:
    case Work::NetConditionsBadOrder: return static_cast<double>(aInputs.tree.locals.size());
    case Work::NetConditionsDense: return static_cast<double>(aInputs.denseTree.locals.size());
    case Work::NetConditionsDenseByNode: return static_cast<double>(aInputs.netNodes.size());
    case Work::MemoryDimensions:
    case Work::MemoryConditions: return 1;
    default: return static_cast<double>(aInputs.conditions.size());
  }
}

std::vector<Term> readTerms(const std::vector<std::string>& aTexts) {
  std::vector<Term> terms;
  terms.reserve(aTexts.size());
  for (const std::string& text : aTexts) terms.push_back(readTerm(text));
  return terms;
}

std::vector<std::string> symbolsOf(std::initializer_list<const std::vector<Term>*> aLists) {
  std::set<std::string> names;
  for (const auto* list : aLists) {
    for (const Term& term : *list) addSymbols(term, names);
  }
  return {names.begin(), names.end()};
}

ReadTree readTree(BlockTree aBlocks) {
  ReadTree tree;
  for (const std::string& local : aBlocks.locals) {
    tree.locals.push_back(readTerm(local.empty() ? "true" : local));
  }
  tree.blocks = std::move(aBlocks);
  return tree;
}

Inputs makeInputs(Corpus aCorpus) {
  Inputs inputs;
  inputs.corpus = std::move(aCorpus);
  inputs.dimensions = readTerms(inputs.corpus.dimensions);
  inputs.conditions = readTerms(inputs.corpus.conditions);
  inputs.redundant = readTerms(inputs.corpus.redundant);
  inputs.dimensionSymbols = symbolsOf({&inputs.dimensions});
  inputs.tree = readTree(makeTree(10000));
  inputs.denseTree = readTree(makeTree(1000, inputs.corpus.conditions));
  addNetNodes(inputs.denseTree, inputs);
  inputs.conditionSymbols = symbolsOf({&inputs.conditions, &inputs.redundant, &inputs.tree.locals});
  inputs.relations = makeRelations(1024);
  inputs.chainLength = 100000;
  inputs.chain = makeChain(inputs.chainLength);
  return inputs;
}

Engines makeEngines(const Inputs& aInputs) {
  Engines engines;
  engines.push_back(makeOurs(aInputs));
  engines.push_back(makeLimit(aInputs));
#ifdef KS_BENCH_GINAC
  engines.push_back(makeGinac(aInputs));
#endif
#ifdef KS_BENCH_MUPARSER
  engines.push_back(makeMuParser(aInputs));
#endif
#ifdef KS_BENCH_Z3
  engines.push_back(makeZ3(aInputs));
#endif
#ifdef KS_BENCH_BUDDY
  engines.push_back(makeBuddy(aInputs));
#endif
  return engines;
}

// The engines take turns, so that what disturbs the machine disturbs all of them. None goes on once
// it has taken a second.
std::vector<double> measure(const Row& aRow, const Engines& aEngines, const Inputs& aInputs,
                            int aRepetitions) {
  std::vector<Trial> trials;
  for (const auto& engine : aEngines) trials.push_back(engine->trial(aRow.work));
  std::vector<std::vector<double>> costs(trials.size());
  std::vector<double> spent(trials.size());
  for (int repetition = 0; repetition < aRepetitions; ++repetition) {
    for (std::size_t i = 0; i < trials.size(); ++i) {
      if (!trials[i] || spent[i] > 1e9) continue;
      costs[i].push_back(trials[i]());
      spent[i] += costs[i].back();
    }
  }
  std::vector<double> figures;
  for (auto& list : costs) figures.push_back(median(std::move(list)) / divisor(aRow, aInputs));
  return figures;
}

std::string figure(double aValue, Unit aUnit) {
  if (std::isnan(aValue)) return "";
  char text[32];
  std::snprintf(text, sizeof text, aUnit == Unit::Milliseconds ? "%.2f ms" : "%.0f", aValue);
  return text;
}

void printRow(const Row& aRow, const std::vector<double>& aFigures) {
  std::printf("| %-42s |", aRow.name);
  double best = NAN;
  for (std::size_t i = 0; i < aFigures.size(); ++i) {
    std::printf(" %10s |", figure(aFigures[i], aRow.unit).c_str());
    if (i > limitColumn) best = std::fmin(best, aFigures[i]);
  }
  const double overLimit = aFigures[0] / aFigures[limitColumn];
  char times[32] = "";
  if (!std::isnan(overLimit)) std::snprintf(times, sizeof times, "%.2f", overLimit);
  std::printf(" %12s |", times);
  const double ratio = aFigures[0] / best;
  const bool isByRatio = aRow.target > 0;
  const bool isMet = isByRatio ? ratio <= aRow.target : aFigures[0] <= aRow.ownTarget;
  char target[32];
  if (isByRatio) {
    std::snprintf(target, sizeof target, "%.2f", aRow.target);
  } else {
    std::snprintf(target, sizeof target, "%s", figure(aRow.ownTarget, aRow.unit).c_str());
  }
  if (std::isnan(ratio)) {
    std::printf("       | %8s | %-6s |\n", target, isByRatio ? "" : isMet ? "yes" : "NO");
  } else {
    std::printf(" %5.2f | %8s | %-6s |\n", ratio, target, isMet ? "yes" : "NO");
  }
  std::fflush(stdout);
}

// Ours wraps at 32 bits, the others do not.
double wrapped(double aNumber) {
  if (std::isnan(aNumber) || std::fabs(aNumber) > 9e15) return NAN;
  const auto bits = static_cast<std::uint64_t>(static_cast<std::int64_t>(aNumber));
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
}

// The number of answers in which the engines differ from ours.
std::size_t compareAnswers(const Engines& aEngines) {
  struct Named {
    Question question;
    const char* name;
  };
  std::size_t differences = 0;
  for (const Named& asked : {Named{Question::Dimensions, "values of dimensions"},
                             Named{Question::Conditions, "truth of conditions"},
                             Named{Question::Simplified, "truth of simplified conditions"},
                             Named{Question::Net, "truth of net conditions"},
                             Named{Question::NetDense, "truth of large net conditions"}}) {
    const std::vector<double> ours = aEngines[0]->answers(asked.question);
    for (std::size_t i = 1; i < aEngines.size(); ++i) {
      const std::vector<double> theirs = aEngines[i]->answers(asked.question);
      if (theirs.empty()) continue;
      if (theirs.size() != ours.size()) throw std::logic_error("answers are missing");
      std::size_t compared = 0, different = 0;
      for (std::size_t j = 0; j < ours.size(); ++j) {
        const double expected = wrapped(theirs[j]);
        if (std::isnan(expected)) continue;
        ++compared;
        if (ours[j] != expected) ++different;
      }
      std::printf("- %s: %zu compared with %s, %zu different\n", asked.name, compared,
                  aEngines[i]->name().c_str(), different);
      std::fflush(stdout);
      differences += different;
    }
  }
  return differences;
}

// The rows whose names contain the text; the answers are compared where that is every row.
int run(const Corpus& aCorpus, int aRepetitions, const std::string& aRows) {
  keepMemory();
  const Inputs inputs = makeInputs(aCorpus);
  const Engines engines = makeEngines(inputs);
  std::printf("| %-42s |", "nanoseconds or bytes each, unless said");
  for (const auto& engine : engines) {
    std::printf(" %10s |", (engine->name() + " " + engine->version()).c_str());
  }
  std::printf(" of the limit | ratio |   target | met    |\n|%s|", std::string(44, '-').c_str());
  for (std::size_t i = 0; i < engines.size(); ++i) std::printf("-----------:|");
  std::printf("------------:|------:|---------:|--------|\n");
  for (const Row& row : rows) {
    if (std::strstr(row.name, aRows.c_str()) == nullptr) continue;
    printRow(row, measure(row, engines, inputs, aRepetitions));
  }
  std::printf("\nIn net conditions of the tree with large locals %zu nodes are in no local one.\n",
              inputs.netNodes.size());
  if (!aRows.empty()) return EXIT_SUCCESS;
  std::printf("\n");
  return compareAnswers(engines) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

}  // namespace KSBench

int main(int aArgc, char** aArgv) {
  std::string directory, rows;
  int repetitions = 21;
  for (int i = 1; i < aArgc; i += 2) {
    const char* value = i + 1 < aArgc ? aArgv[i + 1] : "";
    if (std::strcmp(aArgv[i], "--corpus") == 0 && *value != '\0') {
      directory = value;
    } else if (std::strcmp(aArgv[i], "--rows") == 0 && *value != '\0') {
      rows = value;
    } else if (std::strcmp(aArgv[i], "--repetitions") != 0 ||
               std::from_chars(value, value + std::strlen(value), repetitions).ptr == value ||
               repetitions < 1) {
      std::fprintf(stderr, "usage: ks_peers [--corpus DIR] [--repetitions N] [--rows TEXT]\n");
      return 2;
    }
  }
  try {
    return KSBench::run(directory.empty() ? KSBench::makeCorpus() : KSBench::readCorpus(directory),
                        repetitions, rows);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ks_peers: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
