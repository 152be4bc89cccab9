#include "compact/detail/Compactor.hpp"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "base/detail/Intern.hpp"
#include "compact/detail/Assumptions.hpp"
#include "compact/detail/Factoring.hpp"
#include "compact/detail/FormulaReader.hpp"
#include "compact/detail/FormulaWriter.hpp"
#include "compact/detail/ImpliedOperands.hpp"
#include "compact/detail/Saturating.hpp"

namespace KS::detail {

namespace {

// As many passes as the service allows itself.
constexpr std::size_t maxPasses = 10;
// What one rewriting leaves, another may shorten; two or three mostly are enough.
constexpr int maxRounds = 8;

Formula shortened(Formulas& aFormulas, Formula aFormula) {
  Factoring factoring(aFormulas);
  Formula formula = aFormula;
  for (int round = 0; round < maxRounds; ++round) {
    const Formula before = formula;
    formula = factoring.factor(Assumptions(aFormulas).rewrite(before));
    if (formula == before) break;
  }
  return formula;
}

}  // namespace

Compactor::Compactor(SymbolicExprTable& aTable, SymbolicExprCompact::Implies aImplies)
    : table(aTable),
      implies(std::move(aImplies)),
      simplify(aTable, maxPasses),
      sizes(aTable),
      relations(simplify, sizes),
      order(aTable) {}

SymbolicExprId Compactor::compact(SymbolicExprId aNet) {
  return withoutImplied(rewritten(aNet).id);
}

SymbolicExprId Compactor::compact(SymbolicExprId aNet, const std::vector<SymbolicExprId>& aPath) {
  const Form net = rewritten(aNet);
  if (net.literals <= 1) return net.id;
  std::vector<SymbolicExprId> conjuncts;
  for (const SymbolicExprId condition : aPath) {
    const SymbolicExprId form = simplifiedOrTyped(condition).id;
    if (std::find(conjuncts.begin(), conjuncts.end(), form) == conjuncts.end()) {
      conjuncts.push_back(form);
    }
  }
  const Form path = rewrite(conjuncts);
  return withoutImplied(path.isShorterThan(net) ? path.id : net.id);
}

// A condition alone.
Compactor::Form Compactor::rewritten(SymbolicExprId aId) {
  const auto known = forms.find(aId);
  if (known != forms.end()) return known->second;
  const Form form = rewrite({aId});
  forms.emplace(aId, form);
  return form;
}

// A condition of a path, as typed or simplified.
Compactor::Form Compactor::simplifiedOrTyped(SymbolicExprId aId) {
  const auto known = pathForms.find(aId);
  if (known != pathForms.end()) return known->second;
  Form form = rewritten(aId);
  try {
    std::size_t passes = 0;
    const Form simplified = rewritten(simplify.simplify(aId, passes));
    if (!form.isShorterThan(simplified)) form = simplified;
  } catch (const std::length_error&) {
    // It is too large to be simplified.
  }
  pathForms.emplace(aId, form);
  return form;
}

// The conjunction of conditions.
Compactor::Form Compactor::rewrite(const std::vector<SymbolicExprId>& aConjuncts) {
  if (table.getIdTRUE() == invalidSymbolicExprId) table.addBoolSymbols();
  std::size_t literals = 0, nodes = 0;
  for (const SymbolicExprId conjunct : aConjuncts) {
    literals = saturatingSum(literals, sizes(conjunct).literals);
    nodes = saturatingSum(nodes, sizes(conjunct).nodes);
  }
  if (nodes > SymbolicExprCompact::maxNodes) {
    SymbolicExprId id = aConjuncts.front();
    for (std::size_t i = 1; i < aConjuncts.size(); ++i) {
      id = intern<SymbolicAndExpr>(table, id, aConjuncts[i]);
    }
    return {id, literals, std::numeric_limits<std::size_t>::max()};
  }
  Formulas formulas(table);
  FormulaReader reader(table, sizes, relations, formulas);
  Formulas::List operands;
  for (const SymbolicExprId conjunct : aConjuncts) operands.push_back(reader.read(conjunct));
  const Formula formula = shortened(formulas, formulas.conjunction(operands));
  FormulaWriter writer(table, order, formulas);
  const SymbolicExprId id = writer.write(formula);
  return {id, formulas.literals(formula), writer.length(formula)};
}

SymbolicExprId Compactor::withoutImplied(SymbolicExprId aId) {
  if (!implies || sizes(aId).nodes > SymbolicExprCompact::maxNodes) return aId;
  const auto known = askedForms.find(aId);
  if (known != askedForms.end()) return known->second;
  Formulas formulas(table);
  const Formula formula = FormulaReader(table, sizes, relations, formulas).read(aId);
  FormulaWriter writer(table, order, formulas);
  const Formula needed = ImpliedOperands(formulas, writer, implies).drop(formula);
  const SymbolicExprId id = needed == formula ? aId : writer.write(shortened(formulas, needed));
  askedForms.emplace(aId, id);
  return id;
}

}  // namespace KS::detail
