#include "decide/detail/Witness.hpp"

#include <algorithm>
#include <cmath>

#include "base/KSSymbolicExpr.hpp"
#include "eval/SymbolicExprEval.hpp"

namespace KS::Decide::detail {

namespace {

SymbolicOp opOf(const SymbolicExpr& aExpr) { return static_cast<SymbolicOp>(aExpr.getKind()); }

// What a variable has whose domain is of names alone, where nothing is asked of it.
constexpr double freeName = 0x1p46;

// An int where the number is one.
Eval::Value asValue(double aNumber) {
  if (std::floor(aNumber) == aNumber && std::abs(aNumber) <= 2147483647.0) {
    return static_cast<int>(aNumber);
  }
  return aNumber;
}

}  // namespace

Witness::Witness(const Encoder& aEncoder, const Problem& aProblem, const Search& aSearch,
                 const std::vector<SymbolicExprId>& aExpressions)
    : encoder(aEncoder), problem(aProblem), search(aSearch) {
  std::vector<SymbolicExprId> copies;
  for (const SymbolicExprId expression : aExpressions) {
    encoder.getBuilder().appendVariables(expression, copies);
  }
  for (const SymbolicExprId copy : copies) addVariable(copy);
}

void Witness::addVariable(SymbolicExprId aCopy) {
  if (!places.emplace(aCopy, variables.size()).second) return;
  Variable variable{aCopy, encoder.domainOf(aCopy), false, 0};
  const bool isName = encoder.nameOf(aCopy) != nullptr;
  const TermIndex* term = encoder.findTerm(aCopy);
  if (term != nullptr && !problem.hasTerm(*term)) term = nullptr;
  if (term != nullptr) {
    const double number = search.value(*term);
    variable.isSettled = search.isSettled(*term) || isName;
    variable.value = asValue(number);
    if (!isName && !problem.isCompared(*term) && variable.domain == nullptr) {
      variable.value = number != 0;
    }
  } else if (isName) {
    // Nothing is asked of it; all that matters is that no other name has that number.
    variable.isSettled = true;
    variable.value = 0x1p45 + static_cast<double>(variables.size());
  } else if (variable.domain != nullptr && variable.domain->kind() == SymbolicExprDomain::List) {
    const auto* number = std::get_if<double>(variable.domain->list().data());
    variable.value = number != nullptr ? asValue(*number) : Eval::Value(freeName);
    variable.isSettled = number == nullptr;
  } else if (variable.domain != nullptr) {
    variable.value = asValue(std::clamp(0.0, variable.domain->low(), variable.domain->high()));
  } else {
    variable.value = false;
  }
  if (variable.domain != nullptr && variable.domain->kind() == SymbolicExprDomain::Boolean) {
    variable.value = variable.value.scalar().toBool();
  }
  variables.push_back(std::move(variable));
}

bool Witness::isAllowed(const Variable& aVariable) const {
  if (aVariable.domain == nullptr || aVariable.isSettled) return true;
  const SymbolicExprDomain& domain = *aVariable.domain;
  const double value = aVariable.value.scalar().toDouble();
  if (domain.kind() == SymbolicExprDomain::List) {
    return std::any_of(domain.list().begin(), domain.list().end(), [&](const auto& aValue) {
      const auto* number = std::get_if<double>(&aValue);
      return number != nullptr && *number == value;
    });
  }
  return domain.low() <= value && value <= domain.high() &&
         (domain.kind() == SymbolicExprDomain::Interval || std::floor(value) == value);
}

std::string Witness::nameOf(const Variable& aVariable) const {
  if (aVariable.domain == nullptr) return "";
  const double value = aVariable.value.scalar().toDouble();
  for (const SymbolicExprDomain::Value& listed : aVariable.domain->list()) {
    const auto* name = std::get_if<std::string>(&listed);
    if (name == nullptr) continue;
    const TermIndex* term = encoder.findName(*name);
    const bool isInProblem = term != nullptr && problem.hasTerm(*term);
    if (isInProblem ? search.value(*term) == value : value == freeName) return *name;
  }
  return "";
}

// Turns the operators of each arithmetic term around, from the value that the search gave it down
// to a variable that may have any.
void Witness::adapt(SymbolicExprBindings& aBindings, std::vector<Variable>& aVariables) const {
  const SymbolicExprTable& table = encoder.getBuilder().getTable();
  const SymbolicExprEval evaluation(table);
  const auto isOpen = [&](SymbolicExprId aId) {
    std::vector<SymbolicExprId> below;
    encoder.getBuilder().appendVariables(aId, below);
    return std::any_of(below.begin(), below.end(), [&](SymbolicExprId aVariable) {
      return !aVariables[places.at(aVariable)].isSettled;
    });
  };
  for (const TermIndex term : problem.getTerms()) {
    if (encoder.getFormula().getTerms()[term].kind != Term::Unknown || !search.isSettled(term)) {
      continue;
    }
    double target = search.value(term);
    SymbolicExprId id = encoder.copyOf(term);
    while (id != invalidSymbolicExprId) {
      const SymbolicExpr& node = *table.get(id);
      const SymbolicOp op = opOf(node);
      const auto place = places.find(id);
      if (place != places.end()) {
        Variable& variable = aVariables[place->second];
        if (variable.isSettled) break;
        variable.value = asValue(target);
        variable.isSettled = isAllowed(variable);
        aBindings.set(id, variable.value);
        break;
      }
      if (op < SymbolicOp::Plus || op > SymbolicOp::Divide) break;
      if (op == SymbolicOp::UnaryMinus) {
        target = -target;
        id = node.getInput(0);
        continue;
      }
      const bool isLeftOpen = isOpen(node.getInput(0));
      const double other = evaluation.evalNumber(node.getInput(isLeftOpen ? 1 : 0), aBindings);
      id = node.getInput(isLeftOpen ? 0 : 1);
      switch (op) {
        case SymbolicOp::Plus: target -= other; break;
        case SymbolicOp::Minus: target = isLeftOpen ? target + other : other - target; break;
        case SymbolicOp::Multiply: target /= other; break;
        default: target = isLeftOpen ? target * other : other / target; break;
      }
      if (!std::isfinite(target)) break;
    }
  }
}

bool Witness::find(const std::function<bool(const SymbolicExprBindings&)>& aHolds) {
  const SymbolicExprTable& table = encoder.getBuilder().getTable();
  const auto tryThese = [&](const std::vector<Variable>& aVariables,
                            const SymbolicExprBindings& aBindings) {
    try {
      for (const Variable& variable : aVariables) {
        if (!isAllowed(variable)) return false;
      }
      if (!aHolds(aBindings)) return false;
    } catch (const SymbolicExprEvalError&) {
      return false;  // of lists
    }
    found.clear();
    for (const Variable& variable : aVariables) {
      found.push_back({variable.copy, variable.value, nameOf(variable)});
    }
    return true;
  };
  const auto bound = [&](const std::vector<Variable>& aVariables) {
    SymbolicExprBindings bindings(table);
    for (const Variable& variable : aVariables) bindings.set(variable.copy, variable.value);
    return bindings;
  };
  if (tryThese(variables, bound(variables))) return true;
  if (!problem.hasUnknown()) return false;
  // What the search settled suits the relations over variables; where no value of the others suits
  // the arithmetic, all but the names are tried anew.
  for (const bool keepsSettled : {true, false}) {
    for (const int fill : {0, 1, 2, -1, 3, 10, 1000}) {
      std::vector<Variable> filled = variables;
      for (Variable& variable : filled) {
        if (!keepsSettled && encoder.nameOf(variable.copy) == nullptr) variable.isSettled = false;
        if (variable.isSettled) continue;
        const Eval::Value before = variable.value;
        variable.value = fill;
        if (!isAllowed(variable)) variable.value = before;
      }
      SymbolicExprBindings bindings = bound(filled);
      if (tryThese(filled, bindings)) return true;
      try {
        adapt(bindings, filled);
      } catch (const SymbolicExprEvalError&) {
        continue;  // of lists
      }
      if (tryThese(filled, bindings)) return true;
    }
  }
  return false;
}

}  // namespace KS::Decide::detail
