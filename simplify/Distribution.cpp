// Distribution of a conjunction over disjunctions, and conjunctions of operands that have nothing
// to do with each other.
#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "base/detail/Intern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

using namespace detail;

namespace {

// Calls `aUse` with every way to pick a member of each list.
template <class Use>
void forEachPick(const std::vector<std::vector<SymbolicExprId>>& aLists, Use aUse) {
  std::vector<std::size_t> places(aLists.size(), 0);
  std::vector<SymbolicExprId> picks(aLists.size());
  for (std::size_t i = 0; i < places.size();) {
    for (std::size_t j = 0; j < places.size(); ++j) picks[j] = aLists[j][places[j]];
    aUse(picks);
    for (i = 0; i < places.size() && ++places[i] == aLists[i].size(); ++i) places[i] = 0;
  }
}

// So many are put into a sorted list, or searched for, one by one.
constexpr std::size_t few = 8;

}  // namespace

// ---------------------------------------------------------------------------------------------
// Unrelated operands: those that no rule but distribution looks at together

// Adds what an operand of a conjunction is about: a relation about its left operand, a negation
// about what is below it, anything else about itself. Operands whose subjects differ have nothing
// to do with each other for any rule but distribution. False for a disjunction, which is
// distributed, and for an operand about too many.
bool SymbolicExprSimplifyVisitor::addSubjects(SymbolicExprId aOperand, Ids& aSubjects) const {
  constexpr std::size_t many = 64;
  const SymbolicOp kind = kindOf(aOperand);
  if (kind == SymbolicOp::Or) return false;
  if (kind != SymbolicOp::Not) {
    aSubjects.push_back(isRelation(kind) ? SymbolicExprId{digest(aOperand).first} : aOperand);
    return true;
  }
  const std::size_t before = aSubjects.size();
  Ids open{aOperand};
  while (!open.empty()) {
    const SymbolicExprId id = open.back();
    open.pop_back();
    const SymbolicOp op = kindOf(id);
    if (op == SymbolicOp::And || op == SymbolicOp::Or) {
      open.insert(open.end(), {digest(id).second, digest(id).first});
    } else if (op == SymbolicOp::Not) {
      open.push_back(digest(id).first);
    } else {
      aSubjects.push_back(isRelation(op) ? SymbolicExprId{digest(id).first} : id);
    }
    if (aSubjects.size() - before + open.size() > many) return false;
  }
  return true;
}

// The operands of a simplified conjunction, or one operand that stands for itself.
SymbolicExprSimplifyVisitor::Ids SymbolicExprSimplifyVisitor::conjunctionOperands(
    SymbolicExprId aId) const {
  Ids flat;
  for (; kindOf(aId) == SymbolicOp::And; aId = digest(aId).first) {
    flat.push_back(digest(aId).second);
  }
  flat.push_back(aId);
  std::reverse(flat.begin(), flat.end());
  return flat;
}

// Takes a simplified conjunction apart, unless it is what was extended last, or that before it was.
// False where it is a constant or its operands are about too many.
bool SymbolicExprSimplifyVisitor::loadGrowing(SymbolicExprId aChain) {
  if (growing.chain == aChain) return true;
  if (!isFixed(aChain) || aChain == constant(true) || aChain == constant(false)) return false;
  if (growing.before == aChain) {
    for (const SymbolicExprId added : growing.added) {
      growing.operands.erase(std::find(growing.operands.begin(), growing.operands.end(), added));
    }
    growing.subjects.dropLast(growing.addedSubjects);
  } else {
    growing.chain = growing.before = invalidSymbolicExprId;
    growing.operands = conjunctionOperands(aChain);
    Ids subjects;
    for (const SymbolicExprId operand : growing.operands) {
      if (!addSubjects(operand, subjects)) return false;
    }
    growing.subjects.clear();
    growing.subjects.add(subjects);
  }
  growing.chain = aChain;
  growing.before = invalidSymbolicExprId;
  return true;
}

void SymbolicExprSimplifyVisitor::Subjects::clear() {
  all.clear();
  if (inSet > 0) set = {};
  inSet = 0;
  wasAsked = false;
}

void SymbolicExprSimplifyVisitor::Subjects::dropLast(std::size_t aCount) {
  const std::size_t left = all.size() - aCount;
  for (std::size_t i = left; i < inSet; ++i) set.erase(all[i]);
  inSet = std::min(inSet, left);
  all.resize(left);
}

bool SymbolicExprSimplifyVisitor::Subjects::containsAny(const Ids& aSubjects) {
  constexpr std::size_t manyPairs = 512;
  const bool isFirst = !std::exchange(wasAsked, true);
  if (all.size() * aSubjects.size() <= manyPairs || (isFirst && aSubjects.size() <= few)) {
    return std::find_first_of(all.begin(), all.end(), aSubjects.begin(), aSubjects.end()) !=
           all.end();
  }
  for (; inSet < all.size(); ++inSet) set.insert(all[inSet]);
  return std::any_of(aSubjects.begin(), aSubjects.end(),
                     [this](SymbolicExprId aSubject) { return set.contains(aSubject); });
}

// Puts further operands in their places among those of a chain, and returns the chain of all. The
// operands before the first new one stay the chain that they are.
SymbolicExprId SymbolicExprSimplifyVisitor::insertOperands(SymbolicExprId aChain, Ids& aOperands,
                                                           const Ids& aAdded) {
  std::size_t links = aOperands.size();
  std::size_t first = links;
  if (aAdded.size() <= few) {
    for (const SymbolicExprId added : aAdded) {
      SymbolicExprId* const begin = aOperands.data();
      SymbolicExprId* const place = order.place(begin, begin + aOperands.size(), added);
      first = std::min(first, static_cast<std::size_t>(place - begin));
      aOperands.insert(aOperands.begin() + (place - begin), added);
    }
  } else {
    const Ids before = aOperands;
    aOperands.insert(aOperands.end(), aAdded.begin(), aAdded.end());
    order.sort(aOperands.data(), aOperands.data() + aOperands.size());
    const auto difference = std::mismatch(before.begin(), before.end(), aOperands.begin());
    first = static_cast<std::size_t>(difference.first - before.begin());
  }
  SymbolicExprId chain = aChain;
  for (; links > std::max<std::size_t>(first, 1); --links) chain = digest(chain).first;
  if (first == 0) chain = aOperands[0];
  for (std::size_t i = std::max<std::size_t>(first, 1); i < aOperands.size(); ++i) {
    chain = intern<SymbolicAndExpr>(table(), chain, aOperands[i]);
  }
  Digests::setSimplified(table(), chain);
  return chain;
}

// The conjunction of two that are simplified, one of which is mostly the longer: hosts build
// conjunctions operand by operand. Nothing where a rule might apply to operands of the two.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::extend(SymbolicExprId aChain,
                                                                  SymbolicExprId aOther) {
  const bool isKnown = aOther == growing.chain || aOther == growing.before;
  if (isKnown || kindOf(aChain) != SymbolicOp::And) std::swap(aChain, aOther);
  if (!isFixed(aOther) || aOther == constant(true) || aOther == constant(false) ||
      !loadGrowing(aChain)) {
    return std::nullopt;
  }
  Ids added, subjects;
  SymbolicExprId* const first = growing.operands.data();
  SymbolicExprId* const last = first + growing.operands.size();
  for (const SymbolicExprId operand : conjunctionOperands(aOther)) {
    Ids own;
    if (!addSubjects(operand, own)) return std::nullopt;
    if (!growing.subjects.containsAny(own)) {
      added.push_back(operand);
      subjects.insert(subjects.end(), own.begin(), own.end());
      continue;
    }
    const SymbolicExprId* const place = order.place(first, last, operand);
    if (place == last || *place != operand) return std::nullopt;
  }
  if (added.empty()) return aChain;
  growing.chain = insertOperands(aChain, growing.operands, added);
  growing.subjects.add(subjects);
  growing.before = added.size() <= few ? aChain : invalidSymbolicExprId;
  growing.added = added;
  growing.addedSubjects = subjects.size();
  return growing.chain;
}

// ---------------------------------------------------------------------------------------------
// Distribution: (a || b) && c -> (a && c) || (b && c)

std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::distribute(OperandSet& aSet) {
  OperandSet rest;
  std::vector<std::vector<SymbolicExprId>> disjunctions;
  bool areFixed = true;
  std::size_t disjuncts = 1;
  for (const SymbolicExprId operand : aSet) {
    if (kindOf(operand) != SymbolicOp::Or) {
      rest.insert(rest.end(), operand);
      continue;
    }
    OperandSet members;
    addOperand(disjunction, operand, members);
    // (a || b) && a -> a
    const auto isOperand = [&](SymbolicExprId aMember) { return aSet.contains(aMember); };
    if (std::any_of(members.begin(), members.end(), isOperand)) continue;
    areFixed = areFixed && isFixed(operand);
    disjunctions.emplace_back(members.begin(), members.end());
    disjuncts = std::min(disjuncts * members.size(), maxDisjuncts + 1);
  }
  if (disjunctions.empty()) {
    aSet = std::move(rest);
    return std::nullopt;
  }
  if (disjuncts > maxDisjuncts) return std::nullopt;
  if (disjuncts > disjunctsLeft) {
    limitReached = true;
    return std::nullopt;
  }
  disjunctsLeft -= disjuncts;
  const SymbolicExprId restResult = simplifySet(conjunction, rest);
  if (restResult == constant(false)) return restResult;
  if (areFixed && isFixed(restResult)) {
    if (const auto distributed = distributeUnrelated(restResult, disjunctions)) return distributed;
  }
  rest.clear();
  addOperand(conjunction, restResult, rest);
  rest.erase(constant(true));
  return distributeOver(rest, disjunctions);
}

// For a conjunction and disjunctions that are simplified and have no subject in common: no rule
// applies to the conjunctions of their members that did not apply to the members. Nothing where
// that is not so.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::distributeUnrelated(
    SymbolicExprId aRest, const std::vector<std::vector<SymbolicExprId>>& aDisjunctions) {
  const bool isAlone = aRest == constant(true);
  Subjects met;
  Ids own;
  const auto addOwn = [&](SymbolicExprId aConjunction) {
    const Ids factors = conjunctionOperands(aConjunction);
    return std::all_of(factors.begin(), factors.end(),
                       [&](SymbolicExprId aFactor) { return addSubjects(aFactor, own); });
  };
  if (!isAlone && !addOwn(aRest)) return std::nullopt;
  for (const std::vector<SymbolicExprId>& members : aDisjunctions) {
    met.add(own);
    own.clear();
    if (!std::all_of(members.begin(), members.end(), addOwn) || met.containsAny(own)) {
      return std::nullopt;
    }
  }

  const Ids rest = conjunctionOperands(aRest);
  OperandSet conjuncts;
  forEachPick(aDisjunctions, [&](const std::vector<SymbolicExprId>& aPicks) {
    Ids all = isAlone ? conjunctionOperands(aPicks[0]) : rest;
    Ids added;
    for (std::size_t i = isAlone ? 1 : 0; i < aPicks.size(); ++i) {
      const Ids more = conjunctionOperands(aPicks[i]);
      added.insert(added.end(), more.begin(), more.end());
    }
    conjuncts.insert(insertOperands(isAlone ? aPicks[0] : aRest, all, added));
  });
  return rebuild(disjunction, conjuncts);
}

SymbolicExprId SymbolicExprSimplifyVisitor::distributeOver(
    const OperandSet& aRest, const std::vector<std::vector<SymbolicExprId>>& aDisjunctions) {
  OperandSet conjuncts;
  forEachPick(aDisjunctions, [&](const std::vector<SymbolicExprId>& aPicks) {
    OperandSet factors = aRest;
    for (const SymbolicExprId member : aPicks) addOperand(conjunction, member, factors);
    addOperand(disjunction, simplifySet(conjunction, factors), conjuncts);
  });
  return simplifySet(disjunction, conjuncts);
}

}  // namespace KS
