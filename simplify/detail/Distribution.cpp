#include "simplify/detail/Distribution.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "simplify/detail/Chains.hpp"

namespace KS::detail {

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

std::optional<SymbolicExprId> Distribution::distribute(Operands& aOperands) {
  const Lists disjunctions = takeDisjunctions(aOperands);
  if (disjunctions.empty()) return std::nullopt;
  const std::size_t numRest = aOperands.size() - disjunctions.size();
  const auto numLiterals = literalsWithinLimits(numRest, disjunctions);
  if (!numLiterals) return std::nullopt;
  noteWork(*numLiterals);

  Operands rest(c, conjunction);
  bool areFinal = true;
  aOperands.forEachSince(0, [&](SymbolicExprId aOperand) {
    if (c.node(aOperand).is(SymbolicOp::Or)) {
      areFinal = areFinal && c.finals.contains(aOperand);
    } else {
      rest.add(aOperand);
    }
  });
  const SymbolicExprId restResult = chains.simplify(rest);
  if (restResult == c.constant(false)) return restResult;
  const DisjointJoin::Scope scope(join);
  const PartLists lists = takeApart(restResult, disjunctions);
  return areFinal && areDisjoint(lists) ? joinDisjoint(lists) : joinAny(lists);
}

std::optional<SymbolicExprId> Distribution::distributeTwo(SymbolicExprId a, SymbolicExprId b) {
  const bool isOrA = c.node(a).is(SymbolicOp::Or), isOrB = c.node(b).is(SymbolicOp::Or);
  if (!isOrA && !isOrB) return std::nullopt;
  if (!c.finals.contains(a) || !c.finals.contains(b)) return std::nullopt;
  const SymbolicExprId rest = !isOrA ? a : !isOrB ? b : c.constant(true);
  if (rest == c.constant(true) && !(isOrA && isOrB)) return std::nullopt;
  Lists disjunctions;
  if (isOrA) appendLeftDeep(c, SymbolicOp::Or, a, disjunctions.emplace_back());
  if (isOrB) appendLeftDeep(c, SymbolicOp::Or, b, disjunctions.emplace_back());
  const std::size_t numRest = isOrA && isOrB ? 0 : join.countOperands(rest);
  const auto numLiterals = literalsWithinLimits(numRest, disjunctions);
  if (!numLiterals) return std::nullopt;
  const DisjointJoin::Scope scope(join);
  const PartLists lists = takeApart(rest, disjunctions);
  if (!areDisjoint(lists)) return std::nullopt;
  noteWork(*numLiterals);
  return joinDisjoint(lists);
}

// The members of the disjunctions; those that another operand absorbs are taken out.
Distribution::Lists Distribution::takeDisjunctions(Operands& aOperands) const {
  Lists disjunctions;
  Ids absorbed;
  aOperands.forEachSince(0, [&](SymbolicExprId aOperand) {
    if (!c.node(aOperand).is(SymbolicOp::Or)) return;
    Ids& members = disjunctions.emplace_back();
    if (c.finals.contains(aOperand)) {
      appendLeftDeep(c, SymbolicOp::Or, aOperand, members);
    } else {
      Operands any(c, disjunction);
      any.add(aOperand);
      members = any.list();
    }
    // (a || b) && a -> a
    if (std::any_of(members.begin(), members.end(),
                    [&](SymbolicExprId aMember) { return aOperands.contains(aMember); })) {
      absorbed.push_back(aOperand);
      disjunctions.pop_back();
    }
  });
  for (const SymbolicExprId operand : absorbed) aOperands.remove(operand);
  return disjunctions;
}

// ---------------------------------------------------------------------------------------------
// Limits

// The literals of all disjuncts that the members and other operands give, one from each list and
// all others; nothing where there are too many of them or of disjuncts.
std::optional<std::size_t> Distribution::literalsWithinLimits(std::size_t aNumRest,
                                                              const Lists& aDisjunctions) const {
  std::size_t disjuncts = 1;
  for (const Ids& members : aDisjunctions) {
    disjuncts *= members.size();
    if (disjuncts > maxDisjuncts) return std::nullopt;
  }
  std::size_t literals = disjuncts * aNumRest;
  for (const Ids& members : aDisjunctions) {
    std::size_t ofMembers = 0;
    for (const SymbolicExprId member : members) ofMembers += join.countOperands(member);
    literals += ofMembers * (disjuncts / members.size());
  }
  return literals <= maxLiterals ? std::optional(literals) : std::nullopt;
}

void Distribution::noteWork(std::size_t aNumLiterals) {
  c.distributedLiterals += aNumLiterals;
  if (c.distributedLiterals > maxLiteralsInAll) {
    throw std::length_error("KS::SymbolicExprSimplify: conjunctions of more than " +
                            std::to_string(maxLiteralsInAll) +
                            " literals in all would have to be distributed");
  }
}

// ---------------------------------------------------------------------------------------------
// Joining the picks

// What is distributed: lists of final conjunctions, mostly, of which every disjunct of the result
// takes one each.
Distribution::PartLists Distribution::takeApart(SymbolicExprId aRest, const Lists& aDisjunctions) {
  PartLists lists;
  if (aRest != c.constant(true)) lists.emplace_back().push_back(join.takeApart(aRest));
  for (const Ids& members : aDisjunctions) {
    Parts& parts = lists.emplace_back();
    for (const SymbolicExprId member : members) parts.push_back(join.takeApart(member));
  }
  return lists;
}

// Whether the lists have no subject in common: no rule applies to conjunctions of their members
// that did not apply to the members.
bool Distribution::areDisjoint(const PartLists& aLists) const {
  if (!c.roads.isOpen(FastRoad::DisjointDistribution)) return false;
  for (const Parts& list : aLists) {
    if (!std::all_of(list.begin(), list.end(), [](const Part& aPart) { return aPart.isPlain; })) {
      return false;
    }
    const std::uint32_t first = list.front().subjects.first;
    if (!join.areDisjoint({aLists[0][0].subjects.first, first},
                          {first, list.back().subjects.last})) {
      return false;
    }
  }
  return true;
}

SymbolicExprId Distribution::joinDisjoint(const PartLists& aLists) {
  c.roads.took(FastRoad::DisjointDistribution);
  boost::container::small_vector<TextOrder::Key, 12> disjuncts;
  forEachPick(aLists, [&](const auto& aPicks) {
    disjuncts.push_back(join.key(join.join(aPicks.data(), aPicks.size())));
  });
  join.sort(disjuncts.data(), disjuncts.data() + disjuncts.size());
  Ids ids;
  for (const TextOrder::Key& disjunct : disjuncts) ids.push_back(disjunct.id);
  return makeChain(c, SymbolicOp::Or, ids);
}

SymbolicExprId Distribution::joinAny(const PartLists& aLists) {
  Operands disjuncts(c, disjunction);
  forEachPick(aLists, [&](const auto& aPicks) {
    if (c.roads.isOpen(FastRoad::DisjointDistribution) &&
        join.areDisjoint(aPicks.data(), aPicks.size())) {
      const DisjointJoin::Scope pick(join);
      disjuncts.add(join.join(aPicks.data(), aPicks.size()).id);
      return;
    }
    Operands factors(c, conjunction);
    for (const Part& part : aPicks) factors.add(part.id);
    disjuncts.add(chains.simplify(factors));
  });
  return chains.simplify(disjuncts);
}

}  // namespace KS::detail
