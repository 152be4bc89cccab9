#include "compact/detail/ImpliedOperands.hpp"

#include <algorithm>
#include <utility>

namespace KS::detail {

namespace {

// Questions are written into the table, so their size is limited as well as their number.
constexpr std::size_t maxLiteralsAsked = std::size_t{1} << 18;

}  // namespace

Formula ImpliedOperands::drop(Formula aFormula) {
  const Formula never = Formula::constant(false), always = Formula::constant(true);
  if (aFormula.isConstant()) return aFormula;
  if (ask(aFormula, never)) return never;
  if (ask(always, aFormula)) return always;
  if (!formulas.isCompound(aFormula)) return aFormula;
  enter(aFormula);
  for (;;) {
    Frame& top = path.back();
    if (top.next == top.operands.size()) {
      const Formula result = formulas.conjunction(top.operands).negatedIf(top.isNegated);
      path.pop_back();
      if (path.empty()) return result;
      path.back().operands[path.back().next++] = result;
    } else if (formulas.isCompound(top.operands[top.next])) {
      enter(top.operands[top.next]);
    } else {
      ++top.next;
    }
  }
}

// Begins with a conjunction or the negation of one: first its own operands, then what is in them.
void ImpliedOperands::enter(Formula aFormula) {
  const Formulas::Operands operands = formulas.operands(aFormula);
  Formulas::List list(operands.begin(), operands.end());
  dropImplied(list);
  path.push_back({std::move(list), 0, aFormula.isNegated()});
}

void ImpliedOperands::dropImplied(Formulas::List& aOperands) {
  std::stable_sort(aOperands.begin(), aOperands.end(), [this](Formula a, Formula b) {
    return formulas.literals(a) > formulas.literals(b);
  });
  for (std::size_t i = 0; i < aOperands.size() && mayAsk;) {
    Formulas::List others = aOperands;
    others.erase(others.begin() + static_cast<std::ptrdiff_t>(i));
    if (isImplied(others, aOperands[i])) {
      aOperands = std::move(others);
    } else {
      ++i;
    }
  }
}

// Whether an operand is implied by the others beside it and those of the conjunctions around.
bool ImpliedOperands::isImplied(const Formulas::List& aOthers, Formula aOperand) {
  Formulas::List premises = aOthers;
  for (const Frame& frame : path) {
    for (std::size_t i = 0; i < frame.operands.size(); ++i) {
      if (i != frame.next) premises.push_back(frame.operands[i]);
    }
  }
  return ask(formulas.conjunction(premises), aOperand);
}

bool ImpliedOperands::ask(Formula aPremise, Formula aConclusion) {
  const std::size_t size = formulas.literals(aPremise) + formulas.literals(aConclusion);
  mayAsk = mayAsk && questions < SymbolicExprCompact::maxQuestions &&
           size <= maxLiteralsAsked - literals;
  if (!mayAsk) return false;
  ++questions;
  literals += size;
  return implies(writer.write(aPremise), writer.write(aConclusion));
}

}  // namespace KS::detail
