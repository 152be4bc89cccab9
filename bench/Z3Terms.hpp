// Expressions as terms of Z3.
#pragma once

#include <z3++.h>

#include <cstdio>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "base/KSSymbolicExpr.hpp"

namespace KSBench {

/// Expressions as Z3 terms over the reals. A symbol is true unless it is zero. What the reals do
/// not have (remainders, bit operations, shifts, calls) is a function of which nothing is known.
class Z3Terms {
 public:
  /// Borrows both. The symbols that are named are whole numbers.
  Z3Terms(z3::context& aContext, const KS::SymbolicExprTable& aTable,
          std::unordered_set<std::string> aWholes = {})
      : context(aContext), table(aTable), wholes(std::move(aWholes)) {}

  /// Whether the expression holds.
  z3::expr truth(KS::SymbolicExprId aId) { return asTruth(term(aId)); }
  /// Its value, a truth value being 0 or 1.
  z3::expr number(KS::SymbolicExprId aId) { return asNumber(term(aId)); }
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
  z3::expr term(KS::SymbolicExprId aId) {
    std::vector<KS::SymbolicExprId> open{aId};
    while (!open.empty()) {
      const KS::SymbolicExprId id = open.back();
      const KS::SymbolicExpr& node = *table.get(id);
      const std::size_t before = open.size();
      for (std::size_t i = 0; i < node.getNumInputs(); ++i) {
        if (known.count(node.getInput(i)) == 0) open.push_back(node.getInput(i));
      }
      if (open.size() > before) continue;
      open.pop_back();
      if (known.count(id) != 0) continue;  // met again meanwhile
      known.emplace(id, make(node));
    }
    return known.at(aId);
  }

  z3::expr make(const KS::SymbolicExpr& aNode) {
    const auto op = static_cast<KS::SymbolicOp>(aNode.getKind());
    if (op == KS::SymbolicOp::String)
      return symbol(static_cast<const KS::SymbolicString&>(aNode).getText());
    if (aNode.isNumber()) return literal(aNode);
    const auto in = [&](std::size_t i) { return known.at(aNode.getInput(i)); };
    const z3::expr a = in(0), b = in(aNode.getNumInputs() - 1);
    switch (op) {
      case KS::SymbolicOp::And: return asTruth(a) && asTruth(b);
      case KS::SymbolicOp::Or: return asTruth(a) || asTruth(b);
      case KS::SymbolicOp::Not: return !asTruth(a);
      default: break;
    }
    const z3::expr x = asNumber(a), y = asNumber(b);
    switch (op) {
      case KS::SymbolicOp::Plus: return x + y;
      case KS::SymbolicOp::Minus: return x - y;
      case KS::SymbolicOp::UnaryMinus: return -x;
      case KS::SymbolicOp::Multiply: return x * y;
      case KS::SymbolicOp::Divide: divisors.push_back(y != context.real_val(0)); return x / y;
      case KS::SymbolicOp::Equal: return x == y;
      case KS::SymbolicOp::NotEqual: return x != y;
      case KS::SymbolicOp::LessThan: return x < y;
      case KS::SymbolicOp::LessThanEqual: return x <= y;
      case KS::SymbolicOp::GreaterThan: return x > y;
      case KS::SymbolicOp::GreaterThanEqual: return x >= y;
      default: return unknown(aNode);
    }
  }

  z3::expr symbol(const std::string& aName) {
    if (aName == "true" || aName == "false") return context.bool_val(aName == "true");
    if (wholes.count(aName) != 0) return z3::to_real(context.int_const(aName.c_str()));
    return context.real_const(aName.c_str());
  }

  z3::expr literal(const KS::SymbolicExpr& aNode) {
    const double value = aNode.getNumericValue();
    if (aNode.getKind() == static_cast<int>(KS::SymbolicOp::IntValue)) {
      return context.real_val(std::to_string(static_cast<int>(value)).c_str());
    }
    char text[400];
    std::snprintf(text, sizeof text, "%.60f", value);
    return context.real_val(text);
  }

  z3::expr unknown(const KS::SymbolicExpr& aNode) {
    std::string name = "op" + std::to_string(aNode.getKind());
    z3::expr_vector inputs(context);
    z3::sort_vector sorts(context);
    for (std::size_t i = 0; i < aNode.getNumInputs(); ++i) {
      inputs.push_back(asNumber(known.at(aNode.getInput(i))));
      sorts.push_back(context.real_sort());
    }
    if (aNode.getKind() == static_cast<int>(KS::SymbolicOp::MemberValue)) {
      name += "." + static_cast<const KS::SymbolicMemberValue&>(aNode).getMember();
    }
    name += "/" + std::to_string(aNode.getNumInputs());
    return context.function(name.c_str(), sorts, context.real_sort())(inputs);
  }

  z3::context& context;
  const KS::SymbolicExprTable& table;
  std::unordered_set<std::string> wholes;
  std::unordered_map<KS::SymbolicExprId, z3::expr> known;
  std::vector<z3::expr> divisors;
};

}  // namespace KSBench
