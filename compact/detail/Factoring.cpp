#include "compact/detail/Factoring.hpp"

#include <algorithm>
#include <utility>

namespace KS::detail {

namespace {

Formula clauseOf(Formulas& aFormulas, Clause aMembers) { return aFormulas.disjunction(aMembers); }

Formula conjunctionOf(Formulas& aFormulas, const std::vector<Clause>& aClauses) {
  Formulas::List operands;
  for (const Clause& clause : aClauses) operands.push_back(clauseOf(aFormulas, clause));
  return aFormulas.conjunction(operands);
}

}  // namespace

Formula Factoring::factor(Formula aFormula) {
  RewriteStack stack;
  return Formula::ofCode(rewriteDistinct(stack, aFormula.code(), *this));
}

SymbolicExprId Factoring::known(SymbolicExprId aCode) const {
  const Formula formula = Formula::ofCode(aCode);
  if (!formulas.isCompound(formula)) return aCode;
  const auto result = results.find(formula.index());
  if (result == results.end()) return invalidSymbolicExprId;
  return Formula::ofCode(result->second).negatedIf(formula.isNegated()).code();
}

template <class List>
void Factoring::appendOperands(SymbolicExprId aCode, List& aOperands) {
  for (const Formula operand : extract(Formula::ofCode(aCode))) {
    aOperands.push_back(operand.code());
  }
}

SymbolicExprId Factoring::rewrite(SymbolicExprId aCode, const SymbolicExprId* aOperands,
                                  std::size_t aCount) {
  const Formula formula = Formula::ofCode(aCode);
  Formulas::List operands;
  for (std::size_t i = 0; i < aCount; ++i) operands.push_back(Formula::ofCode(aOperands[i]));
  const Formula result = formulas.conjunction(operands);
  results[formula.index()] = result.code();
  return result.negatedIf(formula.isNegated()).code();
}

// The operands of a conjunction, with common parts of those that are disjunctions taken out.
Formulas::List Factoring::extract(Formula aFormula) {
  Formulas::List operands;
  std::vector<Clause> all;
  for (const Formula operand : formulas.operands(aFormula)) {
    if (!formulas.isCompound(operand)) {
      operands.push_back(operand);
      continue;
    }
    Clause& clause = all.emplace_back();  // in order, as the operands are
    for (const Formula member : formulas.operands(operand)) clause.push_back(!member);
  }
  if (all.size() > 1) {
    Clauses clauses(formulas, std::move(all), work);
    for (Factors best = clauses.bestFactors(); best.saved > 0; best = clauses.bestFactors()) {
      if (!clauses.remove(best)) break;
      Formulas::List sides{conjunctionOf(formulas, best.quotient),
                           conjunctionOf(formulas, best.divisor)};
      operands.push_back(formulas.disjunction(sides));
    }
    all = clauses.rest();
  }
  for (Clause& clause : all) operands.push_back(clauseOf(formulas, std::move(clause)));
  return operands;
}

}  // namespace KS::detail
