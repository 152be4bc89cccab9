#include "simplify/detail/Distribution.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "simplify/detail/Chains.hpp"
#include "simplify/detail/SetDistribution.hpp"

namespace KS::detail {

std::optional<SymbolicExprId> Distribution::distribute(Operands& aOperands) {
  Lists lists;
  takeDisjunctions(aOperands, lists);
  if (lists.ends.empty()) return std::nullopt;
  const std::size_t numRest = aOperands.size() - lists.ends.size();
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
  if (restResult != c.constant(true)) {
    lists.members.push_back(restResult);
    lists.end();
  }
  const auto joined = areFinal ? joinSets(lists) : std::nullopt;
  return joined ? *joined : joinAny(lists);
}

std::optional<SymbolicExprId> Distribution::distributeTwo(SymbolicExprId a, SymbolicExprId b) {
  if (!c.finals.contains(a) || !c.finals.contains(b)) return std::nullopt;
  Lists lists;
  Ids rest;
  for (const SymbolicExprId operand : {a, b}) {
    const SymbolicOp kind = c.node(operand).kind();
    appendLeftDeep(c, kind == SymbolicOp::Or ? kind : SymbolicOp::And, operand,
                   kind == SymbolicOp::Or ? lists.members : rest);
    if (kind == SymbolicOp::Or) lists.end();
  }
  const auto numLiterals = literalsWithinLimits(rest.size(), lists);
  if (!numLiterals) return std::nullopt;
  // What another operand absorbs, and constants, need a closer look.
  const auto isRest = [&](SymbolicExprId aId) {
    return std::find(rest.begin(), rest.end(), aId) != rest.end();
  };
  if (isRest(c.constant(true)) || isRest(c.constant(false)) ||
      std::any_of(lists.members.begin(), lists.members.end(), isRest))
    return std::nullopt;
  if (!rest.empty()) {
    lists.members.push_back(c.node(a).is(SymbolicOp::Or) ? b : a);
    lists.end();
  }
  const auto joined = joinSets(lists);
  if (joined) noteWork(*numLiterals);
  return joined;
}

// Lists the members of the disjunctions; those that another operand absorbs are taken out.
void Distribution::takeDisjunctions(Operands& aOperands, Lists& aLists) const {
  Ids absorbed;
  aOperands.forEachSince(0, [&](SymbolicExprId aOperand) {
    if (!c.node(aOperand).is(SymbolicOp::Or)) return;
    if (c.finals.contains(aOperand)) {
      appendLeftDeep(c, SymbolicOp::Or, aOperand, aLists.members);
    } else {
      Operands any(c, disjunction);
      any.add(aOperand);
      any.forEachSince(0, [&](SymbolicExprId aMember) { aLists.members.push_back(aMember); });
    }
    // (a || b) && a -> a
    const auto first = aLists.members.begin() + static_cast<std::ptrdiff_t>(aLists.lastEnd());
    if (std::any_of(first, aLists.members.end(),
                    [&](SymbolicExprId aMember) { return aOperands.contains(aMember); })) {
      absorbed.push_back(aOperand);
      aLists.members.erase(first, aLists.members.end());
    } else {
      aLists.end();
    }
  });
  for (const SymbolicExprId operand : absorbed) aOperands.remove(operand);
}

// ---------------------------------------------------------------------------------------------
// Limits

// The literals of all disjuncts that the members and other operands give, one from each list and
// all others; nothing where there are too many of them or of disjuncts.
std::optional<std::size_t> Distribution::literalsWithinLimits(std::size_t aNumRest,
                                                              const Lists& aDisjunctions) const {
  std::size_t disjuncts = 1, first = 0;
  for (const std::size_t end : aDisjunctions.ends) {
    disjuncts *= end - std::exchange(first, end);
    if (disjuncts > maxDisjuncts) return std::nullopt;
  }
  std::size_t literals = disjuncts * aNumRest;
  first = 0;
  for (const std::size_t end : aDisjunctions.ends) {
    const std::size_t ofEach = disjuncts / (end - first);
    for (; first < end; ++first) {
      literals += ofEach * join.countOperands(aDisjunctions.members[first]);
    }
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
    for (const std::size_t picked : aPicks) factors.add(aLists.members[picked]);
    disjuncts.add(chains.simplify(factors));
    return true;
  });
  return chains.simplify(disjuncts);
}

}  // namespace KS::detail
