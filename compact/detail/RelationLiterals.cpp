#include "compact/detail/RelationLiterals.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/detail/NodeView.hpp"
#include "simplify/detail/Connective.hpp"
#include "simplify/detail/ValueChangingRules.hpp"

namespace KS::detail {

namespace {

bool isEquality(Rel aOp) { return aOp == Rel::Eq || aOp == Rel::Ne; }

// The relation of an outcome that makes one.
Rel made(Outcome aOutcome) { return static_cast<Rel>(relationOrder(madeRelation(aOutcome))); }

// Whether the evaluator's tolerance plays a part in what two relations to the same constant give.
bool dependsOnTolerance(SymbolicOp aConnective, Rel aFirst, Rel aSecond) {
  return std::any_of(std::begin(pairsWithinTolerance), std::end(pairsWithinTolerance),
                     [&](const RelationPair& aPair) {
                       return aPair.connective == aConnective && aPair.first == aFirst &&
                              aPair.second == aSecond;
                     });
}

// The outcome of two relations, of which the caller says which one comes first in the rows.
Outcome outcome(const Connective& aKind, const RelationLiteral& aFirst,
                const RelationLiteral& aSecond) {
  const bool differ = aFirst.isInteger && aFirst.value != aSecond.value;
  if (!differ && dependsOnTolerance(aKind.op, aFirst.op, aSecond.op)) return Outcome::Stay;
  const PairRow& row =
      aKind.pairs[static_cast<std::size_t>(aFirst.op)][static_cast<std::size_t>(aSecond.op)];
  if (!aFirst.isInteger) return row.same;
  if (!differ) return row.equal;
  return aFirst.value < aSecond.value ? row.less : row.greater;
}

// The same for relations in any order; the outcome is as of the order given.
Outcome outcomeInAnyOrder(const Connective& aKind, const RelationLiteral& a,
                          const RelationLiteral& b) {
  if (a.op <= b.op) return outcome(aKind, a, b);
  const Outcome result = outcome(aKind, b, a);
  return result == Outcome::First    ? Outcome::Second
         : result == Outcome::Second ? Outcome::First
                                     : result;
}

// Both as relations of a conjunction, or their negations as relations of a disjunction.
Meeting meetAlike(const Connective& aKind, const RelationLiteral& a, const RelationLiteral& b) {
  const Outcome result = outcomeInAnyOrder(aKind, a, b);
  switch (result) {
    case Outcome::Stay: return {};
    case Outcome::First: return {Meeting::First, {}};
    case Outcome::Second: return {Meeting::Second, {}};
    case Outcome::Decide: return {Meeting::False, {}};
    default: break;
  }
  // The rows make relations to the first one's right operand.
  RelationLiteral joined = a.op <= b.op ? a : b;
  joined.op = made(result);
  return {Meeting::Made, joined};
}

// `a` and the negation of `b`.
Meeting meetNegated(const RelationLiteral& a, const RelationLiteral& b) {
  switch (outcomeInAnyOrder(conjunction, a, b)) {
    case Outcome::First: return {Meeting::False, {}};   // a implies b
    case Outcome::Decide: return {Meeting::First, {}};  // a excludes b
    default: break;
  }
  // Where a || b is always true, b's negation implies a.
  const bool isCover = outcomeInAnyOrder(disjunction, a, b) == Outcome::Decide;
  return {isCover ? Meeting::Second : Meeting::Stay, {}};
}

Meeting swapped(Meeting aMeeting) {
  if (aMeeting.result == Meeting::First) return {Meeting::Second, {}};
  if (aMeeting.result == Meeting::Second) return {Meeting::First, {}};
  return aMeeting;
}

}  // namespace

std::optional<RelationLiteral> RelationLiteral::of(const SymbolicExprTable& aTable,
                                                   SymbolicExprId aId) {
  const NodeView node(aTable, aId);
  if (!node.isRelation()) return std::nullopt;
  const NodeView right(aTable, node.right());
  const bool isInteger = right.is(SymbolicOp::IntValue);
  return RelationLiteral{node.left(), node.right(), static_cast<Rel>(relationOrder(node.kind())),
                         false,       isInteger,    isInteger ? right.intValue() : 0};
}

RelationLiteral RelationLiteral::operator!() const {
  RelationLiteral negation = *this;
  if (isEquality(op)) {
    negation.op = op == Rel::Eq ? Rel::Ne : Rel::Eq;
  } else {
    negation.isNegated = !isNegated;
  }
  return negation;
}

Meeting meet(const RelationLiteral& a, const RelationLiteral& b) {
  // An equality or inequality is a relation and the negation of one.
  const bool isPlainA = !a.isNegated, isPlainB = !b.isNegated;
  const bool isNegationA = a.isNegated || isEquality(a.op);
  const bool isNegationB = b.isNegated || isEquality(b.op);
  Meeting result;
  const auto isOpen = [&] { return result.result == Meeting::Stay; };
  if (isPlainA && isPlainB) result = meetAlike(conjunction, a, b);
  if (isOpen() && isNegationA && isNegationB) {
    result = meetAlike(disjunction, !a, !b);
    result.made = !result.made;
  }
  if (isOpen() && isPlainA && isNegationB) result = meetNegated(a, !b);
  if (isOpen() && isNegationA && isPlainB) result = swapped(meetNegated(b, !a));
  return result;
}

}  // namespace KS::detail
