// The library itself.
#include <cmath>

#include "bench/Engine.hpp"
#include "bench/Measure.hpp"
#include "bench/TreeCustomizer.hpp"
#include "core.hpp"

namespace KSBench {

namespace {

using Ids = std::vector<KS::SymbolicExprId>;

Ids parseAll(KS::SymbolicExprTable& aTable, const std::vector<std::string>& aTexts) {
  const KS::SymbolicExprParser parse(aTable, true);
  Ids ids;
  ids.reserve(aTexts.size());
  for (const std::string& text : aTexts) ids.push_back(parse(text));
  return ids;
}

void bindAll(KS::SymbolicExprTable& aTable, const std::vector<std::string>& aNames, int aBinding,
             int aLeast) {
  for (const std::string& name : aNames) {
    aTable.registerValueId(
        name, KS::SymbolicIntValue(aTable, aLeast + boundValue(name, aBinding)).getId(aTable));
  }
}

void simplifyAll(KS::SymbolicExprTable& aTable, Ids& aIds) {
  const KS::SymbolicExprSimplify simplify(aTable, 10);
  for (KS::SymbolicExprId& id : aIds) {
    std::size_t passes = 0;
    id = simplify.simplify(id, passes);
  }
}

class Ours : public Engine {
 public:
  using Engine::Engine;
  std::string name() const override { return "ours"; }
  std::string version() const override { return libtqKSSymbolicExpr_version; }

  Trial trial(Work aWork) override {
    switch (aWork) {
      case Work::ParseDimensions: return parsing(inputs.corpus.dimensions);
      case Work::ParseConditions: return parsing(inputs.corpus.conditions);
      case Work::PrintDimensions: return printing(inputs.corpus.dimensions);
      case Work::PrintConditions: return printing(inputs.corpus.conditions);
      case Work::EvaluateDimensionsOnce:
        return evaluatingOnce(inputs.corpus.dimensions, inputs.dimensionSymbols);
      case Work::EvaluateConditionsOnce:
        return evaluatingOnce(inputs.corpus.conditions, inputs.conditionSymbols);
      case Work::EvaluateAgainCycling: return evaluatingAgain(1);
      case Work::EvaluateAgainHot: return evaluatingAgain(hotRounds);
      case Work::EvaluateAgainProgram: return [this] { return runProgram(); };
      case Work::SweepDimensions: return [this] { return sweepDimensions(); };
      case Work::SimplifyConditions: return simplifying(inputs.corpus.conditions);
      case Work::SimplifyRedundant:
      case Work::SimplifyRedundantDeeply: return simplifying(inputs.corpus.redundant);
      case Work::NetConditions:
      case Work::NetConditionsBadOrder: return [this] { return netConditions(inputs.tree); };
      case Work::NetConditionsDense:
      case Work::NetConditionsDenseByNode:
        return [this] { return netConditions(inputs.denseTree); };
      case Work::Conjunction:
      case Work::ConjunctionBadOrder: return [this] { return conjunction(); };
      case Work::Chain: return [this] { return chain(); };
      case Work::MemoryDimensions: return memory(inputs.corpus.dimensions);
      case Work::MemoryConditions: return memory(inputs.corpus.conditions);
    }
    return {};
  }

  std::vector<double> answers(Question aQuestion) override {
    if (aQuestion == Question::Net) return netAnswers(inputs.tree);
    if (aQuestion == Question::NetDense) return netAnswers(inputs.denseTree);
    const bool isNumber = aQuestion == Question::Dimensions;
    const auto& texts = isNumber                            ? inputs.corpus.dimensions
                        : aQuestion == Question::Conditions ? inputs.corpus.conditions
                                                            : inputs.corpus.redundant;
    std::vector<double> results;
    for (int binding = 0; binding < numBindings; ++binding) {
      KS::SymbolicExprTable table;
      Ids ids = parseAll(table, texts);
      if (aQuestion == Question::Simplified) simplifyAll(table, ids);
      answer(table, ids, binding, isNumber, results);
    }
    return results;
  }

 private:
  void answer(KS::SymbolicExprTable& aTable, const Ids& aIds, int aBinding, bool aIsNumber,
              std::vector<double>& aResults) {
    bindAll(aTable, aIsNumber ? inputs.dimensionSymbols : inputs.conditionSymbols, aBinding,
            aIsNumber ? 1 : 0);
    const KS::SymbolicExprEval evaluate(aTable);
    for (const KS::SymbolicExprId id : aIds) {
      const double number = evaluate.evalNumber(id);
      aResults.push_back(aIsNumber ? number : static_cast<double>(number != 0.0));
    }
  }

  static Trial parsing(const std::vector<std::string>& aTexts) {
    return [&aTexts] {
      KS::SymbolicExprTable table;
      return timed([&] { parseAll(table, aTexts); });
    };
  }

  static Trial printing(const std::vector<std::string>& aTexts) {
    return [&aTexts] {
      KS::SymbolicExprTable table;
      const Ids ids = parseAll(table, aTexts);
      const KS::SymbolicExprPrinter print(table, false, false, false);
      std::size_t length = 0;
      const double time = timed([&] {
        for (const KS::SymbolicExprId id : ids) length += print(id).size();
      });
      return length == 0 ? NAN : time;
    };
  }

  static Trial evaluatingOnce(const std::vector<std::string>& aTexts,
                              const std::vector<std::string>& aSymbols) {
    return [&aTexts, &aSymbols] {
      KS::SymbolicExprTable table;
      double sum = 0;
      const double time = timed([&] {
        bindAll(table, aSymbols, 0, 1);
        const KS::SymbolicExprParser parse(table, true);
        const KS::SymbolicExprEval evaluate(table);
        for (const std::string& text : aTexts) sum += evaluate.evalNumber(parse(text));
      });
      return std::isnan(sum) ? NAN : time;
    };
  }

  // The same expression `aRounds` times before the next one; the items are as many in any case.
  Trial evaluatingAgain(std::size_t aRounds) {
    return [this, aRounds] {
      KS::SymbolicExprTable table;
      Ids ids = parseAll(table, inputs.corpus.conditions);
      bindAll(table, inputs.conditionSymbols, 0, 0);
      const KS::SymbolicExprEval evaluate(table);
      double sum = 0;
      const auto sweep = [&] {
        for (std::size_t i = 0; i < ids.size(); i += aRounds) {
          for (std::size_t j = 0; j < aRounds; ++j) sum += evaluate.evalNumber(ids[i]);
        }
      };
      sweep();
      const double time = timed(sweep);
      return std::isnan(sum) ? NAN : time;
    };
  }

  // The expressions of the hot evaluation, compiled together. Every run is given all values anew.
  double runProgram() {
    KS::SymbolicExprTable table;
    const Ids all = parseAll(table, inputs.corpus.conditions);
    Ids ids, symbols;
    for (std::size_t i = 0; i < all.size(); i += hotRounds) ids.push_back(all[i]);
    std::vector<KS::Eval::Value> values;
    for (const std::string& name : inputs.conditionSymbols) {
      symbols.push_back(KS::SymbolicString(table, name).getId(table));
      values.emplace_back(boundValue(name, 0));
    }
    KS::SymbolicExprRunner runner(table, ids, symbols);
    double sum = 0;
    const auto sweep = [&] {
      for (std::size_t j = 0; j < hotRounds; ++j) {
        for (const auto& outcome : runner.run(values)) {
          sum += outcome.value.value().scalar().toDouble();
        }
      }
    };
    sweep();
    const double time = timed(sweep);
    return std::isnan(sum) ? NAN : time;
  }

  // Compiled, and run before for other values.
  double sweepDimensions() {
    KS::SymbolicExprTable table;
    const KS::SymbolicExprProgram program(table, parseAll(table, inputs.corpus.dimensions));
    double sum = 0, time = 0;
    for (int binding = 0; binding < 2; ++binding) {
      KS::SymbolicExprBindings bindings(table);
      for (const std::string& name : inputs.dimensionSymbols) {
        bindings.set(name, 1 + boundValue(name, binding));
      }
      time = timed([&] {
        for (const auto& outcome : program.run(bindings)) {
          sum += outcome.value.value().scalar().toDouble();
        }
      });
    }
    return std::isnan(sum) ? NAN : time;
  }

  static Trial simplifying(const std::vector<std::string>& aTexts) {
    return [&aTexts] {
      KS::SymbolicExprTable table;
      Ids ids = parseAll(table, aTexts);
      return timed([&] { simplifyAll(table, ids); });
    };
  }

  // The local conditions are known to the service, as they are to the peers.
  static double netConditions(const ReadTree& aTree) {
    const TreeCustomizer customizer(aTree.blocks);
    KS::VCService service;
    for (const KSBlock& block : customizer.all()) {
      service.getMExprLocalVVCEIdx(&block, &customizer);
    }
    return timed([&] {
      for (const KSBlock& block : customizer.all()) {
        service.getMExprNetVVCEIdx(&block, &customizer);
      }
    });
  }

  std::vector<double> netAnswers(const ReadTree& aTree) {
    const TreeCustomizer customizer(aTree.blocks);
    KS::VCService service;
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < customizer.all().size(); i += netSampleStep) {
      texts.push_back(
          service.printCExpr(service.getMExprNetVVCEIdx(&customizer.all()[i], &customizer)));
      if (texts.back().empty()) texts.back() = "true";
    }
    std::vector<double> results;
    for (int binding = 0; binding < numBindings; ++binding) {
      KS::SymbolicExprTable table;
      const Ids ids = parseAll(table, texts);
      answer(table, ids, binding, false, results);
    }
    return results;
  }

  double conjunction() {
    KS::VCService service;
    Ids relations;
    for (const std::string& text : inputs.relations) relations.push_back(service.simplify(text));
    return timed([&] {
      KS::SymbolicExprId all = relations[0];
      for (const KS::SymbolicExprId relation : relations) all = service.AND(all, relation);
    });
  }

  double chain() {
    KS::SymbolicExprTable table;
    const KS::SymbolicExprPrinter print(table, false, false, false);
    std::string text;
    const double time =
        timed([&] { text = print(KS::SymbolicExprParser(table, true)(inputs.chain)); });
    return text == inputs.chain ? time : NAN;
  }

  static Trial memory(const std::vector<std::string>& aTexts) {
    return [&aTexts] {
      const std::size_t before = heapBytes();
      KS::SymbolicExprTable table;
      parseAll(table, aTexts).clear();
      return static_cast<double>(heapBytes() - before) / static_cast<double>(table.size());
    };
  }
};

}  // namespace

void addNetNodes(const ReadTree& aTree, Inputs& aInputs) {
  const TreeCustomizer customizer(aTree.blocks);
  KS::VCService service;
  const KS::SymbolicExprTable& table = service.getTable();
  Ids nets;
  for (const KSBlock& block : customizer.all()) {
    service.getMExprLocalVVCEIdx(&block, &customizer);
  }
  aInputs.numLocalNodes = table.size();
  for (const KSBlock& block : customizer.all()) {
    nets.push_back(service.getMExprNetVVCEIdx(&block, &customizer));
  }
  // What is not needed, but an intermediate result, is left out; numbers close the gaps.
  std::vector<std::uint32_t> numbers(table.size());
  for (const KS::SymbolicExprId net : nets) {
    if (net < table.size()) numbers[net] = 1;
  }
  for (std::size_t id = table.size(); id-- > aInputs.numLocalNodes;) {
    const KS::SymbolicExpr& node = *table.get(id);
    for (std::size_t i = 0; numbers[id] != 0 && i < node.getNumInputs(); ++i) {
      numbers[node.getInput(i)] = 1;
    }
  }
  for (std::size_t id = 0; id < table.size(); ++id) {
    if (id < aInputs.numLocalNodes) numbers[id] = static_cast<std::uint32_t>(id);
    if (id < aInputs.numLocalNodes || numbers[id] == 0) continue;
    const KS::SymbolicExpr& node = *table.get(id);
    numbers[id] = static_cast<std::uint32_t>(aInputs.numLocalNodes + aInputs.netNodes.size());
    const auto input = [&](std::size_t aIdx) { return numbers[node.getInput(aIdx)]; };
    aInputs.netNodes.push_back(
        {node.getKind(), input(0), node.getNumInputs() > 1 ? input(1) : input(0)});
  }
}

std::unique_ptr<Engine> makeOurs(const Inputs& aInputs) { return std::make_unique<Ours>(aInputs); }

}  // namespace KSBench
