// The library alone, with Google Benchmark. Times are CPU times; where an iteration goes through a
// whole corpus, "items_per_second" counts expressions.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <set>

#include "bench/Corpus.hpp"
#include "bench/Measure.hpp"
#include "bench/Term.hpp"
#include "bench/TreeCustomizer.hpp"
#include "core.hpp"

namespace KSBench {

namespace {

using KS::SymbolicExprId;
using KS::SymbolicExprTable;
using Ids = std::vector<SymbolicExprId>;
using Texts = std::vector<std::string>;

Corpus corpus;

enum Kind { Dimensions, Conditions, Redundant };

const Texts& textsOf(const benchmark::State& aState) {
  switch (aState.range(0)) {
    case Dimensions: return corpus.dimensions;
    case Conditions: return corpus.conditions;
    default: return corpus.redundant;
  }
}

Ids parseAll(SymbolicExprTable& aTable, const Texts& aTexts) {
  const KS::SymbolicExprParser parse(aTable, true);
  Ids ids;
  ids.reserve(aTexts.size());
  for (const std::string& text : aTexts) ids.push_back(parse(text));
  return ids;
}

Texts symbolsOf(const SymbolicExprTable& aTable, const Ids& aIds) {
  const KS::SymbolicExprSymbols collect(aTable);
  std::set<std::string> distinct;
  for (const SymbolicExprId id : aIds) {
    Texts names;
    collect(id, names);
    distinct.insert(names.begin(), names.end());
  }
  return {distinct.begin(), distinct.end()};
}

void bindAll(SymbolicExprTable& aTable, const Texts& aNames) {
  for (const std::string& name : aNames) {
    aTable.registerValueId(name,
                           KS::SymbolicIntValue(aTable, 1 + boundValue(name, 0)).getId(aTable));
  }
}

// Runs `aWork(table, ids)` over corpora that are parsed into a new table each time, untimed.
template <class Work>
void overParsed(benchmark::State& aState, Work aWork) {
  const Texts& texts = textsOf(aState);
  for (auto unused : aState) {
    aState.PauseTiming();
    auto table = std::make_unique<SymbolicExprTable>();
    const Ids ids = parseAll(*table, texts);
    aState.ResumeTiming();
    aWork(*table, ids);
    aState.PauseTiming();
    table.reset();
    aState.ResumeTiming();
  }
  aState.SetItemsProcessed(aState.iterations() * static_cast<std::int64_t>(texts.size()));
}

void parseAndIntern(benchmark::State& aState) {
  const Texts& texts = textsOf(aState);
  double bytesPerNode = 0;
  for (auto unused : aState) {
    const std::size_t before = heapBytes();
    SymbolicExprTable table;
    parseAll(table, texts).clear();
    bytesPerNode = static_cast<double>(heapBytes() - before) / static_cast<double>(table.size());
  }
  aState.SetItemsProcessed(aState.iterations() * static_cast<std::int64_t>(texts.size()));
  aState.counters["bytes_per_node"] = bytesPerNode;
}

void print(benchmark::State& aState) {
  overParsed(aState, [](SymbolicExprTable& aTable, const Ids& aIds) {
    const KS::SymbolicExprPrinter printer(aTable, false, false, false);
    for (const SymbolicExprId id : aIds) benchmark::DoNotOptimize(printer(id));
  });
}

void evaluateOnce(benchmark::State& aState) {
  const Texts& texts = textsOf(aState);
  SymbolicExprTable first;
  const Texts names = symbolsOf(first, parseAll(first, texts));
  for (auto unused : aState) {
    SymbolicExprTable table;
    bindAll(table, names);
    const Ids ids = parseAll(table, texts);
    const KS::SymbolicExprEval evaluate(table);
    for (const SymbolicExprId id : ids) benchmark::DoNotOptimize(evaluate.evalNumber(id));
  }
  aState.SetItemsProcessed(aState.iterations() * static_cast<std::int64_t>(texts.size()));
}

void evaluateAgain(benchmark::State& aState) {
  const Texts& texts = textsOf(aState);
  SymbolicExprTable table;
  const Ids ids = parseAll(table, texts);
  bindAll(table, symbolsOf(table, ids));
  const KS::SymbolicExprEval evaluate(table);
  for (auto unused : aState) {
    for (const SymbolicExprId id : ids) benchmark::DoNotOptimize(evaluate.evalNumber(id));
  }
  aState.SetItemsProcessed(aState.iterations() * static_cast<std::int64_t>(texts.size()));
}

void simplify(benchmark::State& aState) {
  overParsed(aState, [](SymbolicExprTable& aTable, const Ids& aIds) {
    const KS::SymbolicExprSimplify simplifier(aTable, 10);
    std::size_t passes = 0;
    for (const SymbolicExprId id : aIds) benchmark::DoNotOptimize(simplifier.simplify(id, passes));
  });
}

void convertToM(benchmark::State& aState) {
  overParsed(aState, [](SymbolicExprTable& aTable, const Ids& aIds) {
    const KS::SymbolicExprC2M convert(aTable);
    for (const SymbolicExprId id : aIds) benchmark::DoNotOptimize(convert(id));
  });
}

void convertToC(benchmark::State& aState) {
  overParsed(aState, [](SymbolicExprTable& aTable, const Ids& aIds) {
    const KS::SymbolicExprM2C convert(aTable);
    for (const SymbolicExprId id : aIds) benchmark::DoNotOptimize(convert(id));
  });
}

// ---------------------------------------------------------------------------------------------
// The service

void queryNets(KS::VCService& aService, const TreeCustomizer& aCustomizer) {
  for (const KSBlock& block : aCustomizer.all()) {
    benchmark::DoNotOptimize(aService.getMExprNetVVCEIdx(&block, &aCustomizer));
  }
}

// From the texts to the net conditions of all blocks.
void netConditionsCold(benchmark::State& aState) {
  const BlockTree tree = makeTree(static_cast<std::size_t>(aState.range(0)));
  const TreeCustomizer customizer(tree);
  for (auto unused : aState) {
    KS::VCService service;
    queryNets(service, customizer);
  }
  aState.SetItemsProcessed(aState.iterations() * aState.range(0));
}

// The same where every block has a long condition.
void netConditionsDense(benchmark::State& aState) {
  const BlockTree tree = makeTree(static_cast<std::size_t>(aState.range(0)), corpus.conditions);
  const TreeCustomizer customizer(tree);
  for (auto unused : aState) {
    KS::VCService service;
    queryNets(service, customizer);
  }
  aState.SetItemsProcessed(aState.iterations() * aState.range(0));
}

void netConditionsCached(benchmark::State& aState) {
  const BlockTree tree = makeTree(static_cast<std::size_t>(aState.range(0)));
  const TreeCustomizer customizer(tree);
  KS::VCService service;
  queryNets(service, customizer);
  for (auto unused : aState) queryNets(service, customizer);
  aState.SetItemsProcessed(aState.iterations() * aState.range(0));
}

// ---------------------------------------------------------------------------------------------
// Sizes

std::string joined(const Texts& aOperands, const std::string& aJoint) {
  std::string text;
  for (const std::string& operand : aOperands) text += (text.empty() ? "" : aJoint) + operand;
  return text;
}

// Parses, simplifies and prints a text.
void roundTrip(benchmark::State& aState, const std::string& aText) {
  for (auto unused : aState) {
    SymbolicExprTable table;
    std::size_t passes = 0;
    const SymbolicExprId id = KS::SymbolicExprSimplify(table, 10).simplify(
        KS::SymbolicExprParser(table, true)(aText), passes);
    benchmark::DoNotOptimize(KS::SymbolicExprPrinter(table, false, false, false)(id));
  }
  aState.SetComplexityN(aState.range(0));
}

void chain(benchmark::State& aState) {
  roundTrip(aState, makeChain(static_cast<std::size_t>(aState.range(0))));
}

void conjunction(benchmark::State& aState) {
  roundTrip(aState, joined(makeRelations(static_cast<std::size_t>(aState.range(0))), "&&"));
}

void conjunctionOneByOne(benchmark::State& aState) {
  const Texts relations = makeRelations(static_cast<std::size_t>(aState.range(0)));
  for (auto unused : aState) {
    KS::VCService service;
    SymbolicExprId all = service.simplify(relations[0]);
    for (const std::string& relation : relations) {
      all = service.AND(all, service.simplify(relation));
    }
    benchmark::DoNotOptimize(all);
  }
  aState.SetComplexityN(aState.range(0));
}

// x + x, squared and so on: n nodes that unfold to 2 to the power n.
void sharedExpression(benchmark::State& aState) {
  for (auto unused : aState) {
    SymbolicExprTable table;
    SymbolicExprId id = KS::SymbolicString(table, "x").getId(table);
    table.registerValueId("x", KS::SymbolicIntValue(table, 1).getId(table));
    for (std::int64_t i = 0; i < aState.range(0); ++i) {
      id = i % 2 == 0 ? KS::SymbolicPlusExpr(table, id, id).getId(table)
                      : KS::SymbolicMultiplyExpr(table, id, id).getId(table);
    }
    benchmark::DoNotOptimize(KS::SymbolicExprEval(table).eval(id));
    benchmark::DoNotOptimize(KS::SymbolicExprC2M{table}(id));
    Texts names;
    KS::SymbolicExprSymbols{table}(id, names);
  }
  aState.SetComplexityN(aState.range(0));
}

BENCHMARK(parseAndIntern)->Arg(Dimensions)->Arg(Conditions)->Arg(Redundant)->ArgName("corpus");
BENCHMARK(print)->Arg(Dimensions)->Arg(Conditions)->ArgName("corpus");
BENCHMARK(evaluateOnce)->Arg(Dimensions)->Arg(Conditions)->ArgName("corpus");
BENCHMARK(evaluateAgain)->Arg(Dimensions)->Arg(Conditions)->ArgName("corpus");
BENCHMARK(simplify)->Arg(Dimensions)->Arg(Conditions)->Arg(Redundant)->ArgName("corpus");
BENCHMARK(convertToM)->Arg(Dimensions)->Arg(Conditions)->ArgName("corpus");
BENCHMARK(convertToC)->Arg(Dimensions)->Arg(Conditions)->ArgName("corpus");
BENCHMARK(netConditionsCold)->Arg(1000)->Arg(10000)->ArgName("blocks");
BENCHMARK(netConditionsDense)->Arg(1000)->ArgName("blocks");
BENCHMARK(netConditionsCached)->Arg(1000)->Arg(10000)->ArgName("blocks");
BENCHMARK(chain)->RangeMultiplier(8)->Range(8, 4096)->Complexity();
BENCHMARK(conjunction)->RangeMultiplier(8)->Range(8, 4096)->Complexity();
BENCHMARK(conjunctionOneByOne)->RangeMultiplier(8)->Range(8, 4096)->Complexity();
BENCHMARK(sharedExpression)->RangeMultiplier(8)->Range(8, 4096)->Complexity();

}  // namespace

}  // namespace KSBench

int main(int aArgc, char** aArgv) {
  benchmark::Initialize(&aArgc, aArgv);
  const bool hasCorpus = aArgc == 3 && std::string(aArgv[1]) == "--corpus";
  if (aArgc > 1 && !hasCorpus) {
    std::fprintf(stderr, "usage: ks_bench [--benchmark_...] [--corpus DIR]\n");
    return 2;
  }
  KSBench::keepMemory();
  try {
    KSBench::corpus = hasCorpus ? KSBench::readCorpus(aArgv[2]) : KSBench::makeCorpus();
    benchmark::RunSpecifiedBenchmarks();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ks_bench: %s\n", error.what());
    return 1;
  }
}
