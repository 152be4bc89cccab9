#include "compact/detail/Assumptions.hpp"

#include <algorithm>

namespace KS::detail {

namespace {

// Of relations over one left operand that are assumed, only so many of the latest are looked at.
constexpr std::size_t maxRelationsAsked = 16;

std::pair<SymbolicExprId, SymbolicExprId> keyOf(const RelationLiteral& aRelation) {
  return {aRelation.left, aRelation.isInteger ? invalidSymbolicExprId : aRelation.right};
}

}  // namespace

Formula Assumptions::rewrite(Formula aFormula) {
  Formula result = aFormula;
  if (!enter(aFormula, result)) return result;
  for (;;) {
    Frame& top = path.back();
    if (top.next < operands.size()) {
      const Formula operand = operands[top.next];
      if (enter(operand, result)) continue;
      path.back().next += 1;  // entered and done at once
      operands[path.back().next - 1] = result;
      continue;
    }
    const Frame done = top;
    forget(done.mark);
    const auto first = operands.begin() + static_cast<std::ptrdiff_t>(done.first);
    Formulas::List rewritten(first, operands.end());
    operands.erase(first, operands.end());
    path.pop_back();
    result = formulas.conjunction(rewritten).negatedIf(done.isNegated);
    if (path.empty()) return result;
    operands[path.back().next++] = result;
  }
}

// Begins to rewrite a conjunction or the negation of one, of which nothing is known. Returns false
// where the result is there at once.
bool Assumptions::enter(Formula aFormula, Formula& aResult) {
  aResult = aFormula;
  if (!formulas.isCompound(aFormula)) return false;
  const std::size_t first = operands.size();
  bool isFalse = false;
  for (const Formula operand : formulas.operands(aFormula)) {
    const Known value = known(operand);
    if (value == Known::Nothing) operands.push_back(operand);
    isFalse = isFalse || value == Known::False;
  }
  const auto begin = operands.begin() + static_cast<std::ptrdiff_t>(first);
  const bool hasCompound = std::any_of(
      begin, operands.end(), [&](Formula aOperand) { return formulas.isCompound(aOperand); });
  if (isFalse || !hasCompound) {
    Formulas::List rest(begin, operands.end());
    operands.erase(begin, operands.end());
    const Formula result = isFalse ? Formula::constant(false) : formulas.conjunction(rest);
    aResult = result.negatedIf(aFormula.isNegated());
    return false;
  }
  path.push_back({first, first, assumed.size(), aFormula.isNegated()});
  for (std::size_t i = first; i < operands.size(); ++i) assume(operands[i]);
  return true;
}

Assumptions::Known Assumptions::known(Formula aFormula) const {
  const Known value = aFormula.index() < values.size() ? values[aFormula.index()] : Known::Nothing;
  if (value == Known::Nothing) return knownRelation(aFormula);
  return (value == Known::True) != aFormula.isNegated() ? Known::True : Known::False;
}

Assumptions::Known Assumptions::knownRelation(Formula aFormula) const {
  const RelationLiteral* const relation = formulas.relation(aFormula);
  if (relation == nullptr) return Known::Nothing;
  const auto others = relations.find(keyOf(*relation));
  if (others == relations.end()) return Known::Nothing;
  const Formulas::List& list = others->second;
  const std::size_t first = list.size() - std::min(list.size(), maxRelationsAsked);
  for (std::size_t i = first; i < list.size(); ++i) {
    const Meeting meeting = meet(*formulas.relation(list[i]), *relation);
    if (meeting.result == Meeting::First) return Known::True;
    if (meeting.result == Meeting::False) return Known::False;
  }
  return Known::Nothing;
}

void Assumptions::assume(Formula aFormula) {
  if (values.size() <= aFormula.index()) values.resize(formulas.size(), Known::Nothing);
  values[aFormula.index()] = aFormula.isNegated() ? Known::False : Known::True;
  assumed.push_back(aFormula);
  if (const RelationLiteral* const relation = formulas.relation(aFormula)) {
    relations[keyOf(*relation)].push_back(aFormula);
  }
}

void Assumptions::forget(std::size_t aMark) {
  for (; assumed.size() > aMark; assumed.pop_back()) {
    values[assumed.back().index()] = Known::Nothing;
    if (const RelationLiteral* const relation = formulas.relation(assumed.back())) {
      relations[keyOf(*relation)].pop_back();
    }
  }
}

}  // namespace KS::detail
