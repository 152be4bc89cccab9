// Z3 as a witness that simplified and compact forms keep the meaning of conditions: for generated
// ones, and for the lines of a file, it has to refute that the condition and its form ever differ.
#include <z3++.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/KSSymbolicExpr.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tests/support/RandomText.hpp"

namespace {

using namespace KS;

// Expressions as Z3 terms over the reals. A symbol is true unless it is zero. What the reals do not
// have (remainders, bit operations, shifts, calls) is a function of which nothing is known.
class Terms {
 public:
  Terms(z3::context& aContext, const SymbolicExprTable& aTable)
      : context(aContext), table(aTable) {}

  z3::expr truth(SymbolicExprId aId) { return asTruth(term(aId)); }
  /// What must hold for the terms to mean something: no divisor is zero.
  const std::vector<z3::expr>& conditions() const { return divisors; }

 private:
  z3::expr asTruth(const z3::expr& aTerm) {
    return aTerm.is_bool() ? aTerm : aTerm != context.real_val(0);
  }
  z3::expr asNumber(const z3::expr& aTerm) {
    return aTerm.is_bool() ? z3::ite(aTerm, context.real_val(1), context.real_val(0)) : aTerm;
  }

  // Inputs are older than their users.
  z3::expr term(SymbolicExprId aId) {
    std::vector<SymbolicExprId> open{aId};
    while (!open.empty()) {
      const SymbolicExprId id = open.back();
      const SymbolicExpr& node = *table.get(id);
      const std::size_t before = open.size();
      for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
        if (known.count(node.getInput(i)) == 0) open.push_back(node.getInput(i));
      }
      if (open.size() > before) continue;
      open.pop_back();
      if (known.count(id) == 0) known.emplace(id, make(node));
    }
    return known.at(aId);
  }

  z3::expr make(const SymbolicExpr& aNode) {
    const auto op = static_cast<SymbolicOp>(aNode.getKind());
    if (op == SymbolicOp::String)
      return symbol(static_cast<const SymbolicString&>(aNode).getText());
    if (aNode.isNumber()) return number(aNode);
    const auto in = [&](std::size_t i) { return known.at(aNode.getInput(i)); };
    const z3::expr a = in(0), b = in(aNode.getNumInputs() - 1);
    switch (op) {
      case SymbolicOp::And: return asTruth(a) && asTruth(b);
      case SymbolicOp::Or: return asTruth(a) || asTruth(b);
      case SymbolicOp::Not: return !asTruth(a);
      default: break;
    }
    const z3::expr x = asNumber(a), y = asNumber(b);
    switch (op) {
      case SymbolicOp::Plus: return x + y;
      case SymbolicOp::Minus: return x - y;
      case SymbolicOp::UnaryMinus: return -x;
      case SymbolicOp::Multiply: return x * y;
      case SymbolicOp::Divide: divisors.push_back(y != context.real_val(0)); return x / y;
      case SymbolicOp::Equal: return x == y;
      case SymbolicOp::NotEqual: return x != y;
      case SymbolicOp::LessThan: return x < y;
      case SymbolicOp::LessThanEqual: return x <= y;
      case SymbolicOp::GreaterThan: return x > y;
      case SymbolicOp::GreaterThanEqual: return x >= y;
      default: return unknown(aNode);
    }
  }

  z3::expr symbol(const std::string& aName) {
    if (aName == "true" || aName == "false") return context.bool_val(aName == "true");
    return context.real_const(aName.c_str());
  }

  z3::expr number(const SymbolicExpr& aNode) {
    const double value = aNode.getNumericValue();
    if (aNode.getKind() == static_cast<int>(SymbolicOp::IntValue)) {
      return context.real_val(std::to_string(static_cast<int>(value)).c_str());
    }
    char text[400];
    std::snprintf(text, sizeof text, "%.60f", value);
    return context.real_val(text);
  }

  z3::expr unknown(const SymbolicExpr& aNode) {
    std::string name = "op" + std::to_string(aNode.getKind());
    z3::expr_vector inputs(context);
    z3::sort_vector sorts(context);
    for (std::size_t i = 0; i < aNode.getNumInputs(); ++i) {
      inputs.push_back(asNumber(known.at(aNode.getInput(i))));
      sorts.push_back(context.real_sort());
    }
    if (aNode.getKind() == static_cast<int>(SymbolicOp::MemberValue)) {
      name += "." + static_cast<const SymbolicMemberValue&>(aNode).getMember();
    }
    name += "/" + std::to_string(aNode.getNumInputs());
    return context.function(name.c_str(), sorts, context.real_sort())(inputs);
  }

  z3::context& context;
  const SymbolicExprTable& table;
  std::unordered_map<SymbolicExprId, z3::expr> known;
  std::vector<z3::expr> divisors;
};

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
  Terms terms;
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
