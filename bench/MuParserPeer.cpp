// muParser: compiles a text to bytecode and evaluates it with double precision. It compiles at the
// first evaluation, so it cannot parse alone. It has no "!", which is defined as its manual shows.
#include <muParser.h>

#include <cmath>
#include <map>

#include "bench/Engine.hpp"
#include "bench/Measure.hpp"

namespace KSBench {

namespace {

double notOf(double aValue) { return aValue == 0.0 ? 1.0 : 0.0; }

struct Variables {
  Variables(const std::vector<std::string>& aNames, int aBinding, int aLeast) {
    for (const std::string& name : aNames) values[name] = aLeast + boundValue(name, aBinding);
  }
  std::map<std::string, double> values;
};

class MuParser : public Engine {
 public:
  explicit MuParser(const Inputs& aInputs) : Engine(aInputs) {
    for (const Term& term : aInputs.dimensions) dimensions.push_back(plainText(term));
    for (const Term& term : aInputs.conditions) conditions.push_back(plainText(term));
  }

  std::string name() const override { return "muParser"; }
  std::string version() const override {
    return mu::ParserVersion.substr(0, mu::ParserVersion.find(' '));
  }

  Trial trial(Work aWork) override {
    switch (aWork) {
      case Work::ParseDimensions:
      case Work::EvaluateDimensionsOnce:
        return [this] { return evaluateOnce(dimensions, inputs.dimensionSymbols); };
      case Work::ParseConditions:
      case Work::EvaluateConditionsOnce:
        return [this] { return evaluateOnce(conditions, inputs.conditionSymbols); };
      case Work::EvaluateAgainCycling: return again(conditions, inputs.conditions, 0, 1);
      case Work::EvaluateAgainHot:
      case Work::EvaluateAgainProgram: return again(conditions, inputs.conditions, 0, hotRounds);
      case Work::SweepDimensions: return again(dimensions, inputs.dimensions, 1, 1);
      default: return {};
    }
  }

  // Its quotients are fractions, ours whole numbers: texts with quotients can't be compared.
  std::vector<double> answers(Question aQuestion) override {
    const bool isNumber = aQuestion == Question::Dimensions;
    if (!isNumber && aQuestion != Question::Conditions) return {};
    std::vector<double> results;
    for (int binding = 0; binding < numBindings; ++binding) {
      Variables variables(isNumber ? inputs.dimensionSymbols : inputs.conditionSymbols, binding,
                          isNumber ? 1 : 0);
      mu::Parser parser = makeParser();
      for (auto& [name, value] : variables.values) parser.DefineVar(name, &value);
      for (const std::string& text : isNumber ? dimensions : conditions) {
        parser.SetExpr(text);
        const double value = parser.Eval();
        if (isNumber) {
          results.push_back(text.find('/') == std::string::npos ? value : NAN);
        } else {
          results.push_back(static_cast<double>(value != 0.0));
        }
      }
    }
    return results;
  }

 private:
  static mu::Parser makeParser() {
    mu::Parser parser;
    parser.DefineInfixOprt("!", notOf, mu::prINFIX);
    return parser;
  }

  static double evaluateOnce(const std::vector<std::string>& aTexts,
                             const std::vector<std::string>& aSymbols) {
    mu::Parser parser = makeParser();
    double sum = 0;
    const double time = timed([&] {
      Variables variables(aSymbols, 0, 1);
      for (auto& [name, value] : variables.values) parser.DefineVar(name, &value);
      for (const std::string& text : aTexts) {
        parser.SetExpr(text);
        sum += parser.Eval();
      }
    });
    return sum == 0 ? NAN : time;
  }

  // A parser of its own for each expression, compiled; the same one `aRounds` times before the
  // next.
  static Trial again(const std::vector<std::string>& aTexts, const std::vector<Term>& aTerms,
                     int aLeast, std::size_t aRounds) {
    return [&aTexts, &aTerms, aLeast, aRounds] {
      std::set<std::string> names;
      for (const Term& term : aTerms) addSymbols(term, names);
      Variables variables({names.begin(), names.end()}, 0, aLeast);
      const mu::Parser empty = makeParser();
      std::vector<mu::Parser> parsers(aTexts.size() / aRounds, empty);
      for (std::size_t i = 0; i < parsers.size(); ++i) {
        std::set<std::string> used;
        addSymbols(aTerms[i * aRounds], used);
        for (const std::string& name : used) {
          parsers[i].DefineVar(name, &variables.values.at(name));
        }
        parsers[i].SetExpr(aTexts[i * aRounds]);
        parsers[i].Eval();
      }
      double sum = 0;
      const auto sweep = [&] {
        for (mu::Parser& parser : parsers) {
          for (std::size_t j = 0; j < aRounds; ++j) sum += parser.Eval();
        }
      };
      sweep();
      const double time = timed(sweep);
      return std::isnan(sum) ? NAN : time;
    };
  }

  std::vector<std::string> dimensions;
  std::vector<std::string> conditions;
};

}  // namespace

std::unique_ptr<Engine> makeMuParser(const Inputs& aInputs) {
  return std::make_unique<MuParser>(aInputs);
}

}  // namespace KSBench
