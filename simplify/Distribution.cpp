// Distribution of a conjunction over disjunctions.
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
template <class Lists, class Use>
void forEachPick(const Lists& aLists, Use aUse) {
  using Members = typename Lists::value_type;
  boost::container::small_vector<typename Members::const_iterator, 4> places;
  boost::container::small_vector<typename Members::value_type, 4> picks;
  for (const Members& members : aLists) {
    places.push_back(members.begin());
    picks.push_back(members.front());
  }
  for (std::size_t i = 0; i < places.size();) {
    aUse(picks);
    for (i = 0; i < places.size(); ++i) {
      const bool isLast = ++places[i] == aLists[i].end();
      if (isLast) places[i] = aLists[i].begin();
      picks[i] = *places[i];
      if (!isLast) break;
    }
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Distribution: (a || b) && c -> (a && c) || (b && c)

// A simplified disjunction and what is simplified too; nothing where the general way is to be gone.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::distributePair(SymbolicExprId a,
                                                                          SymbolicExprId b) {
  const auto isOr = [this](SymbolicExprId aId) { return kindOf(aId) == SymbolicOp::Or; };
  if (!isFixed(a) || !isFixed(b) || (!isOr(a) && !isOr(b))) return std::nullopt;
  const SymbolicExprId rest = isOr(a) ? (isOr(b) ? constant(true) : b) : a;
  if (rest == constant(false) || (rest == constant(true) && !(isOr(a) && isOr(b)))) {
    return std::nullopt;
  }
  Lists disjunctions;
  std::size_t disjuncts = 1;
  for (const SymbolicExprId operand : {a, b}) {
    if (!isOr(operand)) continue;
    appendOperands(SymbolicOp::Or, operand, disjunctions.emplace_back());
    disjuncts = std::min(disjuncts * disjunctions.back().size(), maxDisjuncts + 1);
  }
  if (disjuncts > std::min(maxDisjuncts, disjunctsLeft)) return std::nullopt;
  const std::optional<SymbolicExprId> result = distributeUnrelated(rest, disjunctions);
  if (result) disjunctsLeft -= disjuncts;
  return result;
}

std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::distribute(OperandSet& aSet) {
  OperandSet rest;
  Lists disjunctions;
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
  return distributeOver(restResult, disjunctions);
}

// What is distributed: lists of simplified conjunctions, of which every result takes one each.
SymbolicExprSimplifyVisitor::PartLists SymbolicExprSimplifyVisitor::takeApart(
    SymbolicExprId aRest, const Lists& aDisjunctions) {
  PartLists lists;
  if (aRest != constant(true)) lists.emplace_back().push_back(unrelated.takeApart(aRest));
  for (const Ids& members : aDisjunctions) {
    PartLists::value_type& parts = lists.emplace_back();
    for (const SymbolicExprId member : members) parts.push_back(unrelated.takeApart(member));
  }
  return lists;
}

// For a conjunction and disjunctions that are simplified and have no subject in common: no rule
// applies to the conjunctions of their members that did not apply to the members. Nothing where
// that is not so.
std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::distributeUnrelated(
    SymbolicExprId aRest, const Lists& aDisjunctions) {
  const Unrelated::Scope scope(unrelated);
  const PartLists lists = takeApart(aRest, aDisjunctions);
  const auto isPlain = [](const Unrelated::Part& aPart) { return aPart.isPlain; };
  for (const auto& list : lists) {
    if (!std::all_of(list.begin(), list.end(), isPlain)) return std::nullopt;
    const std::uint32_t first = list.front().subjects.first;
    if (!unrelated.areUnrelated({lists[0][0].subjects.first, first},
                                {first, list.back().subjects.last})) {
      return std::nullopt;
    }
  }
  boost::container::small_vector<TextOrder::Key, 12> conjuncts;
  forEachPick(lists, [&](const auto& aPicks) {
    conjuncts.push_back(unrelated.key(unrelated.conjoin(aPicks.data(), aPicks.size())));
  });
  unrelated.sort(conjuncts.data(), conjuncts.data() + conjuncts.size());
  Ids ids;
  for (const TextOrder::Key& conjunct : conjuncts) ids.push_back(conjunct.id);
  return join(disjunction, ids.data(), ids.size());
}

SymbolicExprId SymbolicExprSimplifyVisitor::distributeOver(SymbolicExprId aRest,
                                                           const Lists& aDisjunctions) {
  const Unrelated::Scope scope(unrelated);
  const PartLists lists = takeApart(aRest, aDisjunctions);
  OperandSet conjuncts;
  forEachPick(lists, [&](const auto& aPicks) {
    if (unrelated.areUnrelated(aPicks.data(), aPicks.size())) {
      const Unrelated::Scope pick(unrelated);
      conjuncts.insert(unrelated.conjoin(aPicks.data(), aPicks.size()).id);
      return;
    }
    OperandSet factors;
    for (const Unrelated::Part& part : aPicks) addOperand(conjunction, part.id, factors);
    addOperand(disjunction, simplifySet(conjunction, factors), conjuncts);
  });
  return simplifySet(disjunction, conjuncts);
}

}  // namespace KS
