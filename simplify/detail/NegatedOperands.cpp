#include "simplify/detail/NegatedOperands.hpp"

#include <algorithm>
#include <utility>

#include "simplify/detail/Relations.hpp"

namespace KS::detail {

void NegatedOperands::apply() {
  if (operands.end() == seen) return;
  const bool isFirstCall = seen == 0;
  collect();
  // Most chains have no negation to which a rule applies, and are looked at once.
  if (negations.empty() || (isFirstCall && !matchesAny())) {
    seen = operands.end();
    return;
  }
  if (file == nullptr) file = std::make_unique<File>();
  for (;;) {
    takeNew();
    if (operands.isDecided() || (file->lackingOne.empty() && file->lackingMore.empty())) return;
    shorten();
  }
}

void NegatedOperands::collect() {
  operands.forEachSince(collected, [&](SymbolicExprId aOperand) {
    if (c.node(aOperand).is(SymbolicOp::Not)) negations.push_back(aOperand);
  });
  collected = operands.end();
}

// Calls `aUse(members, canShorten)` for the groups of a negation.
template <class Use>
void NegatedOperands::forEachGroup(SymbolicExprId aNegation, Use aUse) {
  const Connective& kind = operands.connective();
  const auto use = [&](SymbolicExprId aChain, bool aCanShorten) {
    Ids group;
    appendOperands(c, kind.op, aChain, group);
    for (SymbolicExprId& member : group) member = normalizeRelOp(c, member);
    std::sort(group.begin(), group.end());
    group.erase(std::unique(group.begin(), group.end()), group.end());
    aUse(group, aCanShorten);
  };
  const SymbolicExprId negated = c.node(aNegation).left();
  use(negated, c.node(negated).is(kind.op));
  if (!c.node(negated).is(kind.dual)) return;
  Ids inner;
  appendOperands(c, kind.dual, negated, inner);
  for (const SymbolicExprId member : inner) use(member, false);
}

// Whether the test accepts an operand of a chain. Mostly one of the last tells, and none has to be
// collected.
template <class Test>
bool NegatedOperands::anyMember(SymbolicExprId aChain, Test aTest) const {
  const SymbolicOp op = operands.connective().op;
  const auto accepts = [&](SymbolicExprId aId) { return aTest(normalizeRelOp(c, aId)); };
  for (SymbolicExprId link = aChain;; link = c.node(link).left()) {
    if (!c.node(link).is(op)) return accepts(link);
    const SymbolicExprId last = c.node(link).right();
    if (c.node(last).is(op)) break;
    if (accepts(last)) return true;
  }
  Ids members;
  appendOperands(c, op, aChain, members);
  return std::any_of(members.begin(), members.end(), accepts);
}

bool NegatedOperands::decides(SymbolicExprId aNegation) const {
  const auto knowsAll = [this](SymbolicExprId aChain) {
    return !anyMember(aChain, [this](SymbolicExprId aId) { return !operands.knew(aId); });
  };
  const SymbolicExprId negated = c.node(aNegation).left();
  if (knowsAll(negated)) return true;
  if (!c.node(negated).is(operands.connective().dual)) return false;
  Ids inner;
  appendOperands(c, operands.connective().dual, negated, inner);
  return std::any_of(inner.begin(), inner.end(), knowsAll);
}

// Whether a rule applies to any of the negations.
bool NegatedOperands::matchesAny() const {
  const auto knows = [this](SymbolicExprId aId) { return operands.knew(aId); };
  return std::any_of(negations.begin(), negations.end(), [&](SymbolicExprId aNegation) {
    const SymbolicExprId negated = c.node(aNegation).left();
    return (c.node(negated).is(operands.connective().op) && anyMember(negated, knows)) ||
           decides(aNegation);
  });
}

void NegatedOperands::fileGroups(SymbolicExprId aNegation) {
  File& f = *file;
  forEachGroup(aNegation, [&](const Ids& aMembers, bool aCanShorten) {
    const auto group = static_cast<std::uint32_t>(f.groups.size());
    f.groups.push_back({aNegation, static_cast<std::uint32_t>(f.members.size()),
                        static_cast<std::uint32_t>(aMembers.size()), 0, aCanShorten});
    f.members.insert(f.members.end(), aMembers.begin(), aMembers.end());
    for (const SymbolicExprId member : aMembers) {
      if (operands.knew(member)) continue;
      ++f.groups[group].numMissing;
      f.groupsMissing[member].push_back(group);
    }
    if (f.groups[group].numMissing == 0) {
      operands.decide();
    } else if (aCanShorten && f.groups[group].numMissing < aMembers.size()) {
      noteShortenable(group);
    }
  });
}

// Counts an operand in the groups that miss it.
void NegatedOperands::noteOperand(SymbolicExprId aOperand) {
  File& f = *file;
  const auto missing = f.groupsMissing.find(aOperand);
  if (missing == f.groupsMissing.end()) return;
  for (const std::uint32_t group : missing->second) {
    if (--f.groups[group].numMissing == 0 && operands.contains(f.groups[group].negation)) {
      operands.decide();
    }
    if (f.groups[group].canShorten) noteShortenable(group);
  }
  f.groupsMissing.erase(missing);
}

void NegatedOperands::noteShortenable(std::uint32_t aGroup) {
  (file->groups[aGroup].numMissing == 1 ? file->lackingOne : file->lackingMore).push_back(aGroup);
}

// Takes operands into account that came since the last time: first in the groups that are filed,
// then in those of the negations that are not.
void NegatedOperands::takeNew() {
  if (file->numFiled > 0) {
    operands.forEachSince(seen, [this](SymbolicExprId aOperand) { noteOperand(aOperand); });
  }
  seen = operands.end();
  collect();
  for (; file->numFiled < negations.size() && !operands.isDecided(); ++file->numFiled) {
    const SymbolicExprId negation = negations[file->numFiled];
    if (operands.contains(negation)) fileGroups(negation);
  }
}

// Replaces the negations that lack one member, or all that can be shortened if there is none.
void NegatedOperands::shorten() {
  const SymbolicOp op = operands.connective().op;
  std::vector<std::uint32_t> chosen;
  chosen.swap(file->lackingOne.empty() ? file->lackingMore : file->lackingOne);
  Ids replacements;
  for (const std::uint32_t index : chosen) {
    Group& group = file->groups[index];
    if (!group.canShorten) continue;
    Ids left;
    for (std::uint32_t i = 0; i < group.numMembers; ++i) {
      const SymbolicExprId member = file->members[group.firstMember + i];
      if (!operands.knew(member)) left.push_back(member);
    }
    operands.remove(group.negation);
    replacements.push_back(simplifyNot(c, canonicalChain(c, op, std::move(left))));
    group.canShorten = false;
  }
  for (const SymbolicExprId replacement : replacements) operands.add(replacement);
}

}  // namespace KS::detail
