// GiNaC: a computer algebra system for C++. Symbols are declared before, in a symbol table, as its
// manual advises for parsers. It knows numbers only, so it takes part with dimensions.
#include <ginac/ginac.h>

#include <cmath>
#include <sstream>
#include <unordered_set>

#include "bench/Engine.hpp"
#include "bench/Measure.hpp"

namespace KSBench {

namespace {

using GiNaC::ex;

struct HashOfEx {
  std::size_t operator()(const ex& aExpr) const { return aExpr.gethash(); }
};
struct SameEx {
  bool operator()(const ex& a, const ex& b) const { return a.is_equal(b); }
};
using DistinctExes = std::unordered_set<ex, HashOfEx, SameEx>;

void addDistinct(const ex& aExpr, DistinctExes& aSet) {
  if (!aSet.insert(aExpr).second) return;
  for (std::size_t i = 0; i < aExpr.nops(); ++i) addDistinct(aExpr.op(i), aSet);
}

class Ginac : public Engine {
 public:
  explicit Ginac(const Inputs& aInputs) : Engine(aInputs) {
    for (const std::string& symbol : aInputs.dimensionSymbols) {
      symbols[symbol] = GiNaC::symbol(symbol);
    }
    for (const Term& term : aInputs.dimensions) texts.push_back(plainText(term));
  }

  std::string name() const override { return "GiNaC"; }
  std::string version() const override {
    return std::to_string(GINACLIB_MAJOR_VERSION) + "." + std::to_string(GINACLIB_MINOR_VERSION) +
           "." + std::to_string(GINACLIB_MICRO_VERSION);
  }

  Trial trial(Work aWork) override {
    switch (aWork) {
      case Work::ParseDimensions:
        return [this] {
          GiNaC::parser parse(symbols);
          std::vector<ex> exprs;
          return timed([&] { parseAll(parse, exprs); });
        };
      case Work::PrintDimensions: return [this] { return print(); };
      case Work::EvaluateDimensionsOnce: return [this] { return evaluateOnce(); };
      case Work::Chain: return [this] { return chain(); };
      case Work::MemoryDimensions: return [this] { return memory(); };
      default: return {};
    }
  }

  // Its quotients are fractions, ours whole numbers: texts with quotients can't be compared.
  std::vector<double> answers(Question aQuestion) override {
    if (aQuestion != Question::Dimensions) return {};
    GiNaC::parser parse(symbols);
    std::vector<ex> exprs;
    parseAll(parse, exprs);
    std::vector<double> results;
    for (int binding = 0; binding < numBindings; ++binding) {
      const GiNaC::exmap values = bindAll(binding);
      for (std::size_t i = 0; i < exprs.size(); ++i) {
        const bool isComparable = texts[i].find('/') == std::string::npos;
        results.push_back(isComparable ? evaluate(exprs[i], values) : NAN);
      }
    }
    return results;
  }

 private:
  void parseAll(GiNaC::parser& aParse, std::vector<ex>& aExprs) {
    aExprs.reserve(texts.size());
    for (const std::string& text : texts) aExprs.push_back(parse(aParse, text));
  }

  static ex parse(GiNaC::parser& aParse, const std::string& aText) {
    try {
      return aParse(aText);
    } catch (const GiNaC::pole_error&) {  // a quotient by zero, such as 1/(2-2)
      return 0;
    }
  }

  GiNaC::exmap bindAll(int aBinding) const {
    GiNaC::exmap values;
    for (const auto& [name, symbol] : symbols) {
      values[symbol] = GiNaC::numeric(1 + boundValue(name, aBinding));
    }
    return values;
  }

  static double evaluate(const ex& aExpr, const GiNaC::exmap& aValues) {
    try {
      const ex value = aExpr.subs(aValues, GiNaC::subs_options::no_pattern);
      return GiNaC::ex_to<GiNaC::numeric>(value).to_double();
    } catch (const GiNaC::pole_error&) {
      return 0;
    }
  }

  double print() {
    GiNaC::parser parse(symbols);
    std::vector<ex> exprs;
    parseAll(parse, exprs);
    std::ostringstream stream;
    return timed([&] {
      for (const ex& expr : exprs) {
        stream.str({});
        stream << expr;
      }
    });
  }

  double evaluateOnce() {
    GiNaC::parser parser(symbols);
    double sum = 0;
    const double time = timed([&] {
      const GiNaC::exmap values = bindAll(0);
      for (const std::string& text : texts) sum += evaluate(parse(parser, text), values);
    });
    return std::isnan(sum) ? NAN : time;
  }

  double chain() {
    GiNaC::symtab names;
    for (std::size_t i = 0; i < inputs.chainLength; ++i) {
      names[chainSymbol(i)] = GiNaC::symbol(chainSymbol(i));
    }
    GiNaC::parser parse(names);
    std::ostringstream stream;
    ex expr;
    const double time = timed([&] {
      expr = parse(inputs.chain);
      stream << expr;
    });
    return expr.nops() == inputs.chainLength ? time : NAN;
  }

  double memory() {
    GiNaC::parser parse(symbols);
    std::vector<ex> exprs;
    exprs.reserve(texts.size());
    const std::size_t before = heapBytes();
    parseAll(parse, exprs);
    const auto bytes = static_cast<double>(heapBytes() - before);
    DistinctExes distinct;
    for (const ex& expr : exprs) addDistinct(expr, distinct);
    return bytes / static_cast<double>(distinct.size());
  }

  GiNaC::symtab symbols;
  std::vector<std::string> texts;
};

}  // namespace

std::unique_ptr<Engine> makeGinac(const Inputs& aInputs) {
  return std::make_unique<Ginac>(aInputs);
}

}  // namespace KSBench
