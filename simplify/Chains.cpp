// Conjunctions and disjunctions of any number of operands.
#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "simplify/detail/Pattern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

using namespace detail;

namespace {

// A chain that grows operand by operand mostly is in order: no reason to sort all of it each time.
template <class Iterator>
void sortIfNeeded(Iterator aFirst, Iterator aLast) {
  if (!std::is_sorted(aFirst, aLast)) std::sort(aFirst, aLast);
}

}  // namespace

SymbolicExprId SymbolicExprSimplifyVisitor::constant(bool aValue) const {
  return aValue ? table().getIdTRUE() : table().getIdFALSE();
}

// ---------------------------------------------------------------------------------------------
// Flattening and rebuilding

// Adds operands to a set; of an operand that is a chain of the same connective, its operands.
void SymbolicExprSimplifyVisitor::addOperands(const Connective& aKind,
                                              const SymbolicExprId* aOperands, std::size_t aCount,
                                              OperandSet& aSet) const {
  Ids flat;
  for (std::size_t i = 0; i < aCount; ++i) {
    if (kindOf(aOperands[i]) == aKind.op) {
      appendChain(aKind.op, aOperands[i], flat);
    } else {
      flat.push_back(aOperands[i]);
    }
  }
  for (SymbolicExprId& operand : flat) operand = normalizeRelOp(operand);
  sortIfNeeded(flat.begin(), flat.end());
  flat.erase(std::unique(flat.begin(), flat.end()), flat.end());
  aSet.insert(boost::container::ordered_unique_range, flat.begin(), flat.end());
}

void SymbolicExprSimplifyVisitor::addOperand(const Connective& aKind, SymbolicExprId aOperand,
                                             OperandSet& aSet) const {
  if (kindOf(aOperand) == aKind.op) {
    addOperands(aKind, &aOperand, 1, aSet);
  } else {
    aSet.insert(normalizeRelOp(aOperand));
  }
}

void SymbolicExprSimplifyVisitor::getUniqueSymbolicAndExprs(const SymbolicExpr& aAnd,
                                                            OperandSet& aSet) const {
  addOperand(conjunction, aAnd.getId(table()), aSet);
}

void SymbolicExprSimplifyVisitor::getUniqueSymbolicOrExprs(const SymbolicExpr& aOr,
                                                           OperandSet& aSet) const {
  addOperand(disjunction, aOr.getId(table()), aSet);
}

SymbolicExprId SymbolicExprSimplifyVisitor::join(const Connective& aKind,
                                                 const SymbolicExprId* aOperands,
                                                 std::size_t aCount) {
  SymbolicExprId chain = aOperands[0];
  bool fixed = true;
  for (std::size_t i = 0; i < aCount; ++i) {
    if (i > 0) {
      chain = aKind.op == SymbolicOp::And ? intern<SymbolicAndExpr>(table(), chain, aOperands[i])
                                          : intern<SymbolicOrExpr>(table(), chain, aOperands[i]);
    }
    // No rule applies to operands that are left over, but for distribution: with fewer of them, it
    // may be within its limit.
    fixed = fixed && isFixed(aOperands[i]) &&
            (aKind.op == SymbolicOp::Or || kindOf(aOperands[i]) != SymbolicOp::Or);
  }
  if (fixed) Digests::setSimplified(table(), chain);
  return chain;
}

// The chain of operands to which no rule applies: left-deep in text order. Two operands of a
// disjunction have an order of their own.
SymbolicExprId SymbolicExprSimplifyVisitor::rebuild(const Connective& aKind,
                                                    const OperandSet& aSet) {
  Ids all(aSet.begin(), aSet.end());
  return rebuild(aKind, all);
}

// The same for a list without repetitions, which is sorted.
SymbolicExprId SymbolicExprSimplifyVisitor::rebuild(const Connective& aKind, Ids& aOperands) {
  order.sort(aOperands.data(), aOperands.data() + aOperands.size());
  if (aKind.op == SymbolicOp::Or && aOperands.size() == 2 &&
      kindOf(aOperands[0]) != kindOf(aOperands[1])) {
    return normalizeSymbolicOrExpr(aOperands[0], aOperands[1]);
  }
  return join(aKind, aOperands.data(), aOperands.size());
}

// ---------------------------------------------------------------------------------------------
// The chain as a whole

SymbolicExprId SymbolicExprSimplifyVisitor::simplifyChain(const Connective& aKind,
                                                          const SymbolicExprId* aOperands,
                                                          std::size_t aCount) {
  if (aKind.op == SymbolicOp::And && aCount == 2) {
    if (const std::optional<SymbolicExprId> longer = unrelated.extend(aOperands[0], aOperands[1])) {
      return *longer;
    }
    if (const std::optional<SymbolicExprId> distributed =
            distributePair(aOperands[0], aOperands[1])) {
      return *distributed;
    }
  }
  OperandSet set;
  addOperands(aKind, aOperands, aCount, set);
  if (const std::optional<SymbolicExprId> decided = reduce(aKind, set)) return *decided;
  // A disjunction of two that nothing simplifies keeps their order where none is prescribed.
  if (aKind.op == SymbolicOp::Or && aCount == 2 && set.size() == 2) {
    const SymbolicExprId a = normalizeRelOp(aOperands[0]), b = normalizeRelOp(aOperands[1]);
    if (set.contains(a) && set.contains(b)) return normalizeSymbolicOrExpr(a, b);
  }
  return rebuild(aKind, set);
}

SymbolicExprId SymbolicExprSimplifyVisitor::simplifySet(const Connective& aKind, OperandSet& aSet) {
  const std::optional<SymbolicExprId> decided = reduce(aKind, aSet);
  return decided ? *decided : rebuild(aKind, aSet);
}

// Applies the rules to the operands until none changes anything. Returns the result where it is not
// a chain of what is left in the set: a constant, a single operand, or what distribution made.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::reduce(const Connective& aKind,
                                                                  OperandSet& aSet) {
  const SymbolicExprId absorbing = constant(aKind.absorbing);
  for (bool changed = true; changed && aSet.size() > 1;) {
    // One look at the operands tells which rules can apply.
    std::size_t constants = 0, chains = 0, nots = 0, relations = 0;
    for (const SymbolicExprId operand : aSet) {
      const SymbolicOp op = kindOf(operand);
      constants += operand == constant(true) || operand == constant(false);
      chains += op == aKind.dual;
      nots += op == SymbolicOp::Not;
      relations += isRelation(op);
    }
    changed = false;
    if (constants > 0) {
      if (aSet.contains(absorbing)) return absorbing;
      aSet.erase(constant(!aKind.absorbing));
    }
    if (chains > 0 && aKind.op == SymbolicOp::And && aSet.size() > 1) {
      if (const std::optional<SymbolicExprId> distributed = distribute(aSet)) return distributed;
    }
    if (nots > 0) changed = applyNotTerms(aKind, aSet);
    if (chains > 0 && aKind.op == SymbolicOp::Or) changed = simplifyConjuncts(aSet) || changed;
    if (relations > 1) changed = combineRelations(aKind, aSet) || changed;
  }
  if (aSet.empty()) return constant(!aKind.absorbing);
  if (aSet.size() > 1) return std::nullopt;
  return *aSet.begin();
}

SymbolicExprId SymbolicExprSimplifyVisitor::normalizeSymbolicOrExpr(SymbolicExprId a,
                                                                    SymbolicExprId b) {
  // The rank of a kind in the canonical order; kinds outside it rank last, together.
  const auto rank = [this](SymbolicExprId aId) {
    const std::optional<Relation> asRelation = relation(aId);
    switch (asRelation ? asRelation->op : kindOf(aId)) {
      case SymbolicOp::LessThanEqual: return 0;
      case SymbolicOp::LessThan: return 1;
      case SymbolicOp::GreaterThanEqual: return 2;
      case SymbolicOp::GreaterThan: return 3;
      case SymbolicOp::Equal: return 4;
      case SymbolicOp::NotEqual: return 5;
      case SymbolicOp::Not: return 6;
      default: return 7;
    }
  };
  const int rankA = rank(a), rankB = rank(b);
  const bool sameKind = rankA == rankB && (rankA < 7 || kindOf(a) == kindOf(b));
  const bool exchange = rankB < rankA || (sameKind && compareExprs(a, b) > 0);
  const SymbolicExprId ordered[] = {exchange ? b : a, exchange ? a : b};
  return join(disjunction, ordered, 2);
}

// ---------------------------------------------------------------------------------------------
// Negated operands

void SymbolicExprSimplifyVisitor::simplifyANDExprWithNOTTerms(
    OperandSet& aSet, const SymbolicExprId& aNotTerm) const {
  decideByNotTerm(conjunction, aSet, aNotTerm);
}

void SymbolicExprSimplifyVisitor::simplifyORExprWithNOTTerms(OperandSet& aSet,
                                                             const SymbolicExprId& aNotTerm) const {
  decideByNotTerm(disjunction, aSet, aNotTerm);
}

// In a conjunction: x && !x -> FALSE; a && b && !(a && b) -> FALSE; a && !(a || b) -> FALSE, and
// the same for a conjunction a whose operands stand there one by one.
// In a disjunction: x || !x -> TRUE;  a || b || !(a || b) -> TRUE;  a || !(a && b) -> TRUE.
void SymbolicExprSimplifyVisitor::decideByNotTerm(const Connective& aKind, OperandSet& aSet,
                                                  SymbolicExprId aNotTerm) const {
  const auto isOperand = [&](SymbolicExprId aId) { return aSet.contains(aId); };
  const auto standsThere = [&](SymbolicExprId aId) {
    if (kindOf(aId) != aKind.op) return isOperand(aId);
    OperandSet inner;
    addOperand(aKind, aId, inner);
    return std::all_of(inner.begin(), inner.end(), isOperand);
  };
  const SymbolicExprId y = digest(aNotTerm).first;
  bool decided = standsThere(y);
  if (!decided && kindOf(y) == aKind.dual) {
    Ids inner;
    appendChain(aKind.dual, y, inner);
    decided = std::any_of(inner.begin(), inner.end(), standsThere);
  }
  if (decided) aSet = {constant(aKind.absorbing)};
}

// In a conjunction: a && !(a && b) -> a && !b. In a disjunction: a || !(a || b) -> a || !b.
// Returns what the negated term becomes.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::reduceNotTerm(const Connective& aKind,
                                                                         const OperandSet& aSet,
                                                                         SymbolicExprId aNotTerm) {
  const SymbolicExprId y = digest(aNotTerm).first;
  if (kindOf(y) != aKind.op) return std::nullopt;
  OperandSet inner, left;
  addOperand(aKind, y, inner);
  std::set_difference(inner.begin(), inner.end(), aSet.begin(), aSet.end(),
                      std::inserter(left, left.end()));
  if (left.size() == inner.size() || left.empty()) return std::nullopt;
  return simplifyNot(rebuild(aKind, left));
}

bool SymbolicExprSimplifyVisitor::applyNotTerms(const Connective& aKind, OperandSet& aSet) {
  bool changed = false;
  Ids open;
  const auto isNot = [this](SymbolicExprId aId) { return kindOf(aId) == SymbolicOp::Not; };
  std::copy_if(aSet.begin(), aSet.end(), std::back_inserter(open), isNot);
  while (!open.empty()) {
    const SymbolicExprId term = open.back();
    open.pop_back();
    if (aKind.op == SymbolicOp::And) {
      simplifyANDExprWithNOTTerms(aSet, term);
    } else {
      simplifyORExprWithNOTTerms(aSet, term);
    }
    if (aSet.size() == 1) return true;
    if (const std::optional<SymbolicExprId> reduced = reduceNotTerm(aKind, aSet, term)) {
      aSet.erase(term);
      addOperand(aKind, *reduced, aSet);
      // The new operand may decide or reduce any of the others.
      changed = true;
      open.clear();
      std::copy_if(aSet.begin(), aSet.end(), std::back_inserter(open), isNot);
    }
  }
  return changed;
}

// ---------------------------------------------------------------------------------------------
// Pairs of relations

// What two operands give together, or nothing where both stay.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::combine(const Connective& aKind,
                                                                   SymbolicExprId aFirst,
                                                                   SymbolicExprId aSecond) const {
  const std::optional<Relation> a = relation(aFirst), b = relation(aSecond);
  if (!a || !b || a->left != b->left) return std::nullopt;
  int c1 = 0, c2 = 0;
  const PairRow& row = aKind.pairs[relationOrder(a->op)][relationOrder(b->op)];
  Outcome outcome = Outcome::Stay;
  if (intVal(c1).match(table(), a->right) && intVal(c2).match(table(), b->right)) {
    outcome = c1 < c2 ? row.less : c1 == c2 ? row.equal : row.greater;
  } else if (a->right == b->right) {
    outcome = row.same;
  }
  switch (outcome) {
    case Outcome::Stay: return std::nullopt;
    case Outcome::First: return aFirst;
    case Outcome::Second: return aSecond;
    case Outcome::Decide: return constant(aKind.absorbing);
    default: return makeRelation({madeRelation(outcome), a->left, a->right});
  }
}

// Combines relations that may combine, given in text order: the first pair in that order that
// gives something is replaced, and the scan starts again where a new relation came in. (Dropping
// one of two leaves every pair before them as it was, so there the scan goes on.) Returns whether
// anything changed; an absorbing value is then the only member left.
bool SymbolicExprSimplifyVisitor::combineGroup(const Connective& aKind, Ids& aGroup) {
  // Relations of this kind to other integers never combine; they stand together in text order and
  // may be many, so all pairs of them are passed over at once.
  const SymbolicOp inert = aKind.op == SymbolicOp::And ? SymbolicOp::NotEqual : SymbolicOp::Equal;
  const auto isInert = [&](SymbolicExprId aId) { return kindOf(aId) == inert; };
  std::size_t inertEnd = 0;
  const auto erase = [&](std::size_t i) {
    aGroup.erase(aGroup.begin() + static_cast<std::ptrdiff_t>(i));
    inertEnd = 0;
  };
  const std::size_t before = aGroup.size();
  std::size_t i = 0, j = 1;
  while (i + 1 < aGroup.size()) {
    if (j == aGroup.size()) {
      ++i;
      j = i + 1;
      continue;
    }
    if (isInert(aGroup[i]) && isInert(aGroup[j])) {
      if (inertEnd <= j) {
        const auto from = aGroup.begin() + static_cast<std::ptrdiff_t>(j);
        inertEnd = static_cast<std::size_t>(std::find_if_not(from, aGroup.end(), isInert) -
                                            aGroup.begin());
      }
      j = inertEnd;
      continue;
    }
    const bool inOrder = relationOrder(kindOf(aGroup[i])) <= relationOrder(kindOf(aGroup[j]));
    const std::optional<SymbolicExprId> both =
        combine(aKind, aGroup[inOrder ? i : j], aGroup[inOrder ? j : i]);
    if (!both) {
      ++j;
    } else if (*both == constant(aKind.absorbing)) {
      aGroup = {*both};
    } else if (*both == aGroup[i]) {
      erase(j);
    } else if (*both == aGroup[j]) {
      erase(i);
      j = i + 1;
    } else {
      erase(j);
      aGroup[i] = *both;
      order.sort(aGroup.data(), aGroup.data() + aGroup.size());
      aGroup.erase(std::unique(aGroup.begin(), aGroup.end()), aGroup.end());
      i = 0;
      j = 1;
    }
  }
  return aGroup.size() < before;
}

bool SymbolicExprSimplifyVisitor::combineRelations(const Connective& aKind, OperandSet& aSet) {
  // Only relations over one left operand combine, and of these only those to integers with each
  // other and those to one other right operand.
  struct Entry {
    SymbolicExprId left, right, operand;
    bool operator<(const Entry& aOther) const {
      return std::tie(left, right, operand) < std::tie(aOther.left, aOther.right, aOther.operand);
    }
  };
  boost::container::small_vector<Entry, 12> byOperands;
  for (const SymbolicExprId operand : aSet) {
    if (const std::optional<Relation> r = relation(operand)) {
      const bool toInteger = kindOf(r->right) == SymbolicOp::IntValue;
      byOperands.push_back({r->left, toInteger ? invalidSymbolicExprId : r->right, operand});
    }
  }
  sortIfNeeded(byOperands.begin(), byOperands.end());

  bool changed = false;
  Ids group;
  for (auto first = byOperands.begin(); first != byOperands.end();) {
    const auto last = std::find_if(first, byOperands.end(), [&](const Entry& aEntry) {
      return aEntry.left != first->left || aEntry.right != first->right;
    });
    group.clear();
    std::transform(first, last, std::back_inserter(group),
                   [](const Entry& e) { return e.operand; });
    if (group.size() > 1) {
      order.sort(group.data(), group.data() + group.size());
      if (combineGroup(aKind, group)) {
        changed = true;
        if (group.front() == constant(aKind.absorbing)) {
          aSet = {group.front()};
          return true;
        }
        for (auto entry = first; entry != last; ++entry) aSet.erase(entry->operand);
        aSet.insert(group.begin(), group.end());
      }
    }
    first = last;
  }
  return changed;
}

}  // namespace KS
