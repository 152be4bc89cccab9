#include "simplify/detail/Distribution.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "simplify/detail/Chains.hpp"
#include "simplify/detail/SetDistribution.hpp"

namespace KS::detail {

std::optional<SymbolicExprId> Distribution::distribute(Operands& aOperands) {
  Lists lists = takeDisjunctions(aOperands);
  if (lists.empty()) return std::nullopt;
  const std::size_t numRest = aOperands.size() - lists.size();
  const auto numLiterals = literalsWithinLimits(numRest, lists);
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
  if (restResult != c.constant(true)) lists.emplace_back().push_back(restResult);
  const auto joined = areFinal ? joinSets(lists) : std::nullopt;
  return joined ? *joined : joinAny(lists);
}

std::optional<SymbolicExprId> Distribution::distributeTwo(SymbolicExprId a, SymbolicExprId b) {
  const bool isOrA = c.node(a).is(SymbolicOp::Or), isOrB = c.node(b).is(SymbolicOp::Or);
  if (!c.finals.contains(a) || !c.finals.contains(b)) return std::nullopt;
  Lists lists;
  if (isOrA) appendLeftDeep(c, SymbolicOp::Or, a, lists.emplace_back());
  if (isOrB) appendLeftDeep(c, SymbolicOp::Or, b, lists.emplace_back());
  const SymbolicExprId rest = isOrA && isOrB ? c.constant(true) : isOrA ? b : a;
  Ids restOperands;
  if (lists.size() == 1) {
    if (rest == c.constant(true) || rest == c.constant(false)) return std::nullopt;
    appendOperands(c, SymbolicOp::And, rest, restOperands);
    // (a || b) && a -> a
    if (std::find_first_of(lists[0].begin(), lists[0].end(), restOperands.begin(),
                           restOperands.end()) != lists[0].end()) {
      return std::nullopt;
    }
  }
  const auto numLiterals = literalsWithinLimits(restOperands.size(), lists);
  if (!numLiterals) return std::nullopt;
  if (!restOperands.empty()) lists.emplace_back().push_back(rest);
  const auto joined = joinSets(lists);
  if (joined) noteWork(*numLiterals);
  return joined;
}

// The members of the disjunctions; those that another operand absorbs are taken out.
Lists Distribution::takeDisjunctions(Operands& aOperands) const {
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

// What comes of members of final disjunctions and a final conjunction, if they are sets.
std::optional<SymbolicExprId> Distribution::joinSets(const Lists& aLists) {
  if (!c.roads.isOpen(FastRoad::SetDistribution)) return std::nullopt;
  const auto joined = distributeSets(c, chains, join, aLists);
  if (joined) c.roads.took(FastRoad::SetDistribution);
  return joined;
}

SymbolicExprId Distribution::joinAny(const Lists& aLists) {
  Operands disjuncts(c, disjunction);
  forEachPick(aLists, [&](const auto& aPicks) {
    Operands factors(c, conjunction);
    for (const auto& operand : aPicks) factors.add(*operand);
    disjuncts.add(chains.simplify(factors));
    return true;
  });
  return chains.simplify(disjuncts);
}

}  // namespace KS::detail
