#include "simplify/detail/Operands.hpp"

#include <utility>

#include "simplify/detail/Relations.hpp"

namespace KS::detail {

// ---------------------------------------------------------------------------------------------
// Keeping operands

void Operands::addChain(SymbolicExprId aChain) {
  Ids flat;
  appendOperands(c, kind.op, aChain, flat);
  for (const SymbolicExprId operand : flat) addOne(operand);
}

// Files an operand that is about to come; the first time, all that are there.
void Operands::file(SymbolicExprId aNext) {
  if (places.empty()) {
    for (const Entry& entry : entries) places.emplace(entry.id, places.size());
  }
  places.emplace(static_cast<std::uint32_t>(aNext), static_cast<std::uint32_t>(entries.size()));
}

void Operands::remove(SymbolicExprId aOperand) {
  const std::size_t at = find(aOperand);
  if (at == entries.size()) return;
  present -= entries[at].isPresent ? 1 : 0;
  entries[at].isPresent = false;
}

Ids Operands::list() const {
  Ids ids;
  forEachSince(0, [&](SymbolicExprId aOperand) { ids.push_back(aOperand); });
  return ids;
}

// ---------------------------------------------------------------------------------------------
// Building chains

SymbolicExprId makeChain(SimplifyContext& c, SymbolicOp aOp, const Ids& aOperands) {
  const SymbolicExprId chain =
      extendChain(c, aOp, aOperands[0], aOperands.data() + 1, aOperands.size() - 1);
  const bool isFinal =
      std::all_of(aOperands.begin(), aOperands.end(),
                  [&](SymbolicExprId aOperand) { return c.finals.mayHold(aOp, aOperand); });
  if (isFinal) c.finals.addChain(chain);
  return chain;
}

SymbolicExprId canonicalChain(SimplifyContext& c, SymbolicOp aOp, Ids&& aOperands) {
  c.order.sort(aOperands.data(), aOperands.data() + aOperands.size());
  if (aOp == SymbolicOp::Or && aOperands.size() == 2) orderTwo(c, aOperands[0], aOperands[1]);
  return makeChain(c, aOp, aOperands);
}

bool orderTwo(SimplifyContext& c, SymbolicExprId& a, SymbolicExprId& b) {
  constexpr std::size_t notRank = 6, noRank = 7;
  // The place of a kind in the canonical order; kinds outside it come last, together.
  const auto rank = [&](SymbolicExprId aId) {
    if (const std::optional<Relation> relation = relationOf(c, aId)) {
      return relationOrder(relation->op);
    }
    return c.node(aId).is(SymbolicOp::Not) ? notRank : noRank;
  };
  const std::size_t rankA = rank(a), rankB = rank(b);
  const bool isSameKind =
      rankA == rankB && (rankA < noRank || c.node(a).kind() == c.node(b).kind());
  // b || a -> a || b
  if (rankB < rankA || (isSameKind && c.order.isBefore(b, a))) std::swap(a, b);
  return rankA != rankB || isSameKind;
}

SymbolicExprId makeOrderedDisjunction(SimplifyContext& c, SymbolicExprId aOr) {
  SymbolicExprId a = c.node(aOr).left(), b = c.node(aOr).right();
  orderTwo(c, a, b);
  return makeChain(c, SymbolicOp::Or, {a, b});
}

}  // namespace KS::detail
