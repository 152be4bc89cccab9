// Z3: a theorem prover with hash-consed expressions. Texts are read as one SMT-LIB script, which is
// its fastest way by far; they are spelled in SMT-LIB beforehand.
#include <z3++.h>

#include <cmath>
#include <unordered_set>

#include "bench/Engine.hpp"
#include "bench/Measure.hpp"

namespace KSBench {

namespace {

using Exprs = std::vector<z3::expr>;

std::string declarations(const std::vector<std::string>& aSymbols) {
  std::string script = "(declare-fun number (Int) Bool)\n";
  for (const std::string& symbol : aSymbols) script += "(declare-const " + symbol + " Int)\n";
  return script;
}

// A number has to be the argument of a predicate to be asserted.
std::string numberScript(const std::vector<std::string>& aSymbols,
                         const std::vector<Term>& aTerms) {
  std::string script = declarations(aSymbols);
  for (const Term& term : aTerms) script += "(assert (number " + smtNumber(term) + "))\n";
  return script;
}

std::string truthScript(const std::vector<std::string>& aSymbols, const std::vector<Term>& aTerms) {
  std::string script = declarations(aSymbols);
  for (const Term& term : aTerms) script += "(assert " + smtTruth(term) + ")\n";
  return script;
}

Exprs toExprs(const z3::expr_vector& aVector, bool aIsNumber) {
  Exprs exprs;
  for (unsigned i = 0; i < aVector.size(); ++i) {
    exprs.push_back(aIsNumber ? aVector[static_cast<int>(i)].arg(0) : aVector[static_cast<int>(i)]);
  }
  return exprs;
}

z3::model bindAll(z3::context& aContext, const std::vector<std::string>& aSymbols, int aBinding,
                  int aLeast) {
  z3::model model(aContext);
  for (const std::string& symbol : aSymbols) {
    z3::func_decl decl = aContext.int_const(symbol.c_str()).decl();
    z3::expr value = aContext.int_val(aLeast + boundValue(symbol, aBinding));
    model.add_const_interp(decl, value);
  }
  return model;
}

std::size_t countDistinct(const Exprs& aExprs) {
  std::unordered_set<unsigned> seen;
  Exprs pending = aExprs;
  while (!pending.empty()) {
    const z3::expr expr = pending.back();
    pending.pop_back();
    if (!seen.insert(Z3_get_ast_id(expr.ctx(), expr)).second) continue;
    for (unsigned i = 0; i < expr.num_args(); ++i) pending.push_back(expr.arg(i));
  }
  return seen.size();
}

class Z3 : public Engine {
 public:
  explicit Z3(const Inputs& aInputs)
      : Engine(aInputs),
        dimensions(numberScript(aInputs.dimensionSymbols, aInputs.dimensions)),
        conditions(truthScript(aInputs.conditionSymbols, aInputs.conditions)),
        redundant(truthScript(aInputs.conditionSymbols, aInputs.redundant)),
        locals(truthScript(aInputs.conditionSymbols, aInputs.tree.locals)),
        denseLocals(truthScript(aInputs.conditionSymbols, aInputs.denseTree.locals)) {}

  std::string name() const override { return "Z3"; }
  std::string version() const override {
    unsigned major = 0, minor = 0, build = 0, revision = 0;
    Z3_get_version(&major, &minor, &build, &revision);
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(build);
  }

  Trial trial(Work aWork) override {
    switch (aWork) {
      case Work::ParseDimensions: return parsing(dimensions);
      case Work::ParseConditions: return parsing(conditions);
      case Work::PrintDimensions: return printing(dimensions, true);
      case Work::PrintConditions: return printing(conditions, false);
      case Work::EvaluateDimensionsOnce:
        return evaluatingOnce(dimensions, inputs.dimensionSymbols, true);
      case Work::EvaluateConditionsOnce:
        return evaluatingOnce(conditions, inputs.conditionSymbols, false);
      case Work::EvaluateAgainCycling: return [this] { return evaluateAgain(1); };
      case Work::EvaluateAgainHot: return [this] { return evaluateAgain(hotRounds); };
      case Work::SimplifyConditions: return simplifying(conditions);
      case Work::SimplifyRedundant: return simplifying(redundant);
      case Work::SimplifyRedundantDeeply: return [this] { return simplifyDeeply(); };
      case Work::NetConditions: return [this] { return netConditions(locals, inputs.tree); };
      case Work::NetConditionsDense:
        return [this] { return netConditions(denseLocals, inputs.denseTree); };
      case Work::Conjunction: return [this] { return conjunction(); };
      case Work::Chain: return [this] { return chain(); };
      case Work::MemoryDimensions: return memory(dimensions, true);
      case Work::MemoryConditions: return memory(conditions, false);
      default: return {};
    }
  }

  // Its quotients round down, ours toward zero: texts with quotients can't be compared.
  std::vector<double> answers(Question aQuestion) override {
    z3::context context;
    const bool isNumber = aQuestion == Question::Dimensions;
    Exprs exprs = toExprs(context.parse_string(scriptOf(aQuestion).c_str()), isNumber);
    if (aQuestion == Question::Simplified) {
      for (z3::expr& expr : exprs) expr = expr.simplify();
    }
    if (aQuestion == Question::Net) exprs = netSample(exprs, inputs.tree);
    if (aQuestion == Question::NetDense) exprs = netSample(exprs, inputs.denseTree);
    std::vector<double> results;
    for (int binding = 0; binding < numBindings; ++binding) {
      const auto& symbols = isNumber ? inputs.dimensionSymbols : inputs.conditionSymbols;
      const z3::model model = bindAll(context, symbols, binding, isNumber ? 1 : 0);
      for (std::size_t i = 0; i < exprs.size(); ++i) {
        const bool isComparable =
            !isNumber || inputs.corpus.dimensions[i].find('/') == std::string::npos;
        const z3::expr value = model.eval(exprs[i], true);
        results.push_back(!isComparable ? NAN
                          : isNumber    ? value.as_double()
                                        : static_cast<double>(value.is_true()));
      }
    }
    return results;
  }

 private:
  const std::string& scriptOf(Question aQuestion) const {
    switch (aQuestion) {
      case Question::Dimensions: return dimensions;
      case Question::Conditions: return conditions;
      case Question::Simplified: return redundant;
      case Question::Net: return locals;
      default: return denseLocals;
    }
  }

  static Trial parsing(const std::string& aScript) {
    return [&aScript] {
      z3::context context;
      context.parse_string("(declare-const a Int) (assert (= a 1))");
      z3::expr_vector exprs(context);
      return timed([&] { exprs = context.parse_string(aScript.c_str()); });
    };
  }

  // The default spelling is SMT-LIB, laid out in lines by a search that takes ten times as long.
  static Trial printing(const std::string& aScript, bool aIsNumber) {
    return [&aScript, aIsNumber] {
      z3::context context;
      Z3_set_ast_print_mode(context, Z3_PRINT_LOW_LEVEL);
      const Exprs exprs = toExprs(context.parse_string(aScript.c_str()), aIsNumber);
      std::size_t length = 0;
      const double time = timed([&] {
        for (const z3::expr& expr : exprs) {
          length += std::string(Z3_ast_to_string(context, expr)).size();
        }
      });
      return length == 0 ? NAN : time;
    };
  }

  static Trial evaluatingOnce(const std::string& aScript, const std::vector<std::string>& aSymbols,
                              bool aIsNumber) {
    return [&aScript, &aSymbols, aIsNumber] {
      z3::context context;
      return timed([&] {
        const Exprs exprs = toExprs(context.parse_string(aScript.c_str()), aIsNumber);
        const z3::model model = bindAll(context, aSymbols, 0, 1);
        for (const z3::expr& expr : exprs) model.eval(expr, true);
      });
    };
  }

  double evaluateAgain(std::size_t aRounds) {
    z3::context context;
    const Exprs exprs = toExprs(context.parse_string(conditions.c_str()), false);
    const z3::model model = bindAll(context, inputs.conditionSymbols, 0, 0);
    return timed([&] {
      for (std::size_t i = 0; i < exprs.size(); i += aRounds) {
        for (std::size_t j = 0; j < aRounds; ++j) model.eval(exprs[i], true);
      }
    });
  }

  static Trial simplifying(const std::string& aScript) {
    return [&aScript] {
      z3::context context;
      Exprs exprs = toExprs(context.parse_string(aScript.c_str()), false);
      return timed([&] {
        for (z3::expr& expr : exprs) expr = expr.simplify();
      });
    };
  }

  // Simplifies under what the context says, which absorbs as ours does.
  double simplifyDeeply() {
    z3::context context;
    const Exprs exprs = toExprs(context.parse_string(redundant.c_str()), false);
    const z3::tactic simplify(context, "ctx-simplify");
    return timed([&] {
      for (const z3::expr& expr : exprs) {
        z3::goal goal(context);
        goal.add(expr);
        simplify(goal);
      }
    });
  }

  // The conjunction with the parent's net condition, flat and with constants folded.
  static void addNets(const Exprs& aLocals, const ReadTree& aTree, Exprs& aNets) {
    for (std::size_t i = 0; i < aLocals.size(); ++i) {
      if (i == 0) {
        aNets.push_back(aLocals[i]);
        continue;
      }
      const z3::expr& above = aNets[aTree.blocks.parents[i]];
      aNets.push_back(aLocals[i].is_true() ? above : (above && aLocals[i]).simplify());
    }
  }

  static double netConditions(const std::string& aScript, const ReadTree& aTree) {
    z3::context context;
    Exprs exprs = toExprs(context.parse_string(aScript.c_str()), false);
    for (z3::expr& expr : exprs) expr = expr.simplify();
    Exprs nets;
    nets.reserve(exprs.size());
    return timed([&] { addNets(exprs, aTree, nets); });
  }

  static Exprs netSample(const Exprs& aLocals, const ReadTree& aTree) {
    Exprs nets;
    addNets(aLocals, aTree, nets);
    Exprs sample;
    for (std::size_t i = 0; i < nets.size(); i += netSampleStep) sample.push_back(nets[i]);
    return sample;
  }

  double conjunction() {
    z3::context context;
    std::vector<Term> terms;
    std::set<std::string> names;
    for (const std::string& text : inputs.relations) {
      terms.push_back(readTerm(text));
      addSymbols(terms.back(), names);
    }
    const std::string script = truthScript({names.begin(), names.end()}, terms);
    const Exprs relations = toExprs(context.parse_string(script.c_str()), false);
    return timed([&] {
      z3::expr all = relations[0];
      for (const z3::expr& relation : relations) all = (all && relation).simplify();
    });
  }

  double chain() {
    std::vector<std::string> symbols;
    std::string sum = "(+";
    for (std::size_t i = 0; i < inputs.chainLength; ++i) {
      symbols.push_back(chainSymbol(i));
      sum += i % 2 == 1 ? " (- " + symbols.back() + ")" : " " + symbols.back();
    }
    const std::string script = declarations(symbols) + "(assert (number " + sum + ")))";
    z3::context context;
    Z3_set_ast_print_mode(context, Z3_PRINT_LOW_LEVEL);
    std::size_t length = 0;
    const double time = timed([&] {
      const z3::expr expr = context.parse_string(script.c_str())[0].arg(0);
      length = std::string(Z3_ast_to_string(context, expr)).size();
    });
    return length < inputs.chain.size() ? NAN : time;
  }

  static Trial memory(const std::string& aScript, bool aIsNumber) {
    return [&aScript, aIsNumber] {
      z3::context context;
      context.parse_string("(declare-const a Int) (assert (= a 1))");
      const std::size_t before = heapBytes();
      const z3::expr_vector vector = context.parse_string(aScript.c_str());
      const auto bytes = static_cast<double>(heapBytes() - before);
      return bytes / static_cast<double>(countDistinct(toExprs(vector, aIsNumber)));
    };
  }

  const std::string dimensions;
  const std::string conditions;
  const std::string redundant;
  const std::string locals;
  const std::string denseLocals;
};

}  // namespace

std::unique_ptr<Engine> makeZ3(const Inputs& aInputs) { return std::make_unique<Z3>(aInputs); }

}  // namespace KSBench
