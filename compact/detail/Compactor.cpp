#include "compact/detail/Compactor.hpp"

#include <boost/unordered/unordered_flat_set.hpp>
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

// Whether a canonical form is so much larger than what it was made of that it is not worth the time
// to look for a shorter form in it. It may be larger a thousand times.
bool isHopeless(std::size_t aLiterals, std::size_t aPathLiterals) {
  return aLiterals > 4096 && aLiterals / 16 > aPathLiterals;
}

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
      order(aTable),
      readOnce(aTable) {}

SymbolicExprId Compactor::compact(SymbolicExprId aNet) {
  return withoutImplied(rewritten(aNet).id);
}

SymbolicExprId Compactor::compact(SymbolicExprId aNet, const std::vector<SymbolicExprId>& aPath) {
  table.get(aNet);  // throws for an unknown id, and so for those of the path
  for (const SymbolicExprId condition : aPath) table.get(condition);
  if (isCompact(aNet)) return withoutImplied(aNet);
  const Form path = pathForm(aPath);
  if (path.isShortest || isHopeless(sizes(aNet).literals, path.literals)) {
    return withoutImplied(path.id);
  }
  const Form net = rewritten(aNet);
  return withoutImplied(path.isShorterThan(net) ? path.id : net.id);
}

bool Compactor::isCompact(SymbolicExprId aId) {
  addBoolSymbols();
  return aId == table.getIdTRUE() || aId == table.getIdFALSE() ||
         readOnce.isCompactConjunction(aId, order);
}

// Without them, "true" would be a symbol.
void Compactor::addBoolSymbols() {
  if (table.getIdTRUE() == invalidSymbolicExprId) table.addBoolSymbols();
}

// A condition alone.
Compactor::Form Compactor::rewritten(SymbolicExprId aId) {
  const auto known = forms.find(aId);
  if (known != forms.end()) return known->second;
  const Form form = rewrite({aId});
  forms.emplace(aId, form);
  return form;
}

// The conditions of a path, each in its shortest form.
Compactor::Form Compactor::pathForm(const std::vector<SymbolicExprId>& aPath) {
  std::vector<SymbolicExprId> conjuncts;
  boost::unordered_flat_set<SymbolicExprId> met;
  for (const SymbolicExprId condition : aPath) {
    const SymbolicExprId form = simplifiedOrTyped(condition).id;
    if (met.insert(form).second) conjuncts.push_back(form);
  }
  return rewrite(conjuncts);
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
  addBoolSymbols();
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
    return {id, literals, std::numeric_limits<std::size_t>::max(), false};
  }
  Formulas formulas(table);
  FormulaReader reader(table, sizes, relations, formulas);
  Formulas::List operands;
  for (const SymbolicExprId conjunct : aConjuncts) operands.push_back(reader.read(conjunct));
  const Formula formula = shortened(formulas, formulas.conjunction(operands));
  FormulaWriter writer(table, order, formulas);
  const SymbolicExprId id = writer.write(formula);
  return {id, formulas.literals(formula), writer.length(formula),
          readOnce.holds(formulas, formula)};
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
