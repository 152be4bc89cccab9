#include "simplify/detail/RelationPairs.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>
#include <set>

#include "simplify/detail/Relations.hpp"

namespace KS::detail {

namespace {

// ---------------------------------------------------------------------------------------------
// One pair

Outcome outcomeOf(const Connective& aKind, SymbolicOp aFirst, int c1, SymbolicOp aSecond, int c2) {
  const PairRow& row = aKind.pairs[relationOrder(aFirst)][relationOrder(aSecond)];
  return c1 < c2 ? row.less : c1 == c2 ? row.equal : row.greater;
}

// What two relations of one group give together, or nothing where both stay. The first stands in
// front of the second in the order of relations.
std::optional<SymbolicExprId> combine(SimplifyContext& c, const Connective& aKind,
                                      SymbolicExprId aFirst, SymbolicExprId aSecond) {
  const std::optional<Relation> a = relationOf(c, aFirst), b = relationOf(c, aSecond);
  const NodeView c1 = c.node(a->right), c2 = c.node(b->right);
  const bool areIntegers = c1.is(SymbolicOp::IntValue) && c2.is(SymbolicOp::IntValue);
  const Outcome outcome = areIntegers
                              ? outcomeOf(aKind, a->op, c1.intValue(), b->op, c2.intValue())
                              : aKind.pairs[relationOrder(a->op)][relationOrder(b->op)].same;
  switch (outcome) {
    case Outcome::Stay: return std::nullopt;
    case Outcome::First: return aFirst;
    case Outcome::Second: return aSecond;
    case Outcome::Decide: return c.constant(aKind.absorbing);
    default: return makeRelation(c, {madeRelation(outcome), a->left, a->right});
  }
}

// ---------------------------------------------------------------------------------------------
// Many relations to integers

// Relations of this kind to different integers never give anything together.
SymbolicOp inertKind(const Connective& aKind) {
  return aKind.op == SymbolicOp::And ? SymbolicOp::NotEqual : SymbolicOp::Equal;
}

// Takes relations to integers out of a large group that the pairs would take out: pairing n of them
// costs n squared. (Saves: 298 KB of `x != 0 && x <= 0 && ...` take ?? s instead of 33 s.) Left are
// one of each kind, for which the rows keep the smaller or the larger constant, and the inert ones
// that no other implies.
class ThinnedRelations {
 public:
  ThinnedRelations(SimplifyContext& aContext, const Connective& aKind, const Ids& aGroup)
      : c(aContext), kind(aKind), inert(relationOrder(inertKind(aKind))) {
    left = c.node(aGroup.front()).left();
    for (const SymbolicExprId relation : aGroup) {
      const NodeView node = c.node(relation);
      const int constant = c.node(node.right()).intValue();
      if (node.is(inertKind(kind))) {
        inertInOrder.push_back(constant);
      } else {
        constants[relationOrder(node.kind())].insert(constant);
      }
    }
  }

  // Writes the relations that are left; the absorbing value alone where the group decides.
  void write(Ids& aRest) {
    const auto decide = [&] { aRest.assign(1, c.constant(kind.absorbing)); };
    aRest.clear();
    for (const int constant : inertInOrder) {
      switch (meet(constant)) {
        case Outcome::Decide: return decide();
        case Outcome::Stay: aRest.push_back(relation(inert, constant)); break;
        default: break;
      }
    }
    for (std::size_t op = 0; op < constants.size(); ++op) {
      if (constants[op].empty()) continue;
      const Outcome ofTwo = kind.pairs[op][op].less;
      if (ofTwo == Outcome::Decide && constants[op].size() > 1) return decide();
      const bool isLargest = ofTwo == Outcome::Second;
      aRest.push_back(relation(op, isLargest ? *constants[op].rbegin() : *constants[op].begin()));
    }
  }

 private:
  // What becomes of the inert relation to a constant among the others: it stays, or it goes
  // (`First`), alone or together with one whose place a new relation takes, or it decides. Where
  // one implies it, it goes alone.
  Outcome meet(int aConstant) {
    std::optional<std::pair<std::size_t, Outcome>> made;
    for (std::size_t op = 0; op < constants.size(); ++op) {
      const std::set<int>& others = constants[op];
      if (others.empty()) continue;
      const bool isFirst = op < inert;
      const PairRow& row = isFirst ? kind.pairs[op][inert] : kind.pairs[inert][op];
      const bool areSome[] = {*others.begin() < aConstant, others.count(aConstant) > 0,
                              *others.rbegin() > aConstant};
      const Outcome outcomes[] = {isFirst ? row.less : row.greater, row.equal,
                                  isFirst ? row.greater : row.less};
      for (std::size_t i = 0; i < 3; ++i) {
        if (!areSome[i] || outcomes[i] == Outcome::Stay) continue;
        if (outcomes[i] == Outcome::Decide) return Outcome::Decide;
        const bool makesRelation = outcomes[i] > Outcome::Decide;
        if (!makesRelation || relationOrder(madeRelation(outcomes[i])) == op) {
          return Outcome::First;
        }
        if (!made) made = {op, outcomes[i]};
      }
    }
    if (!made) return Outcome::Stay;
    constants[made->first].erase(aConstant);
    constants[relationOrder(madeRelation(made->second))].insert(aConstant);
    return made->second;
  }

  SymbolicExprId relation(std::size_t aOrder, int aConstant) {
    return makeRelation(c, {relationKinds[aOrder], left, Intern::integer(c.table, aConstant)});
  }

  SimplifyContext& c;
  const Connective& kind;
  const std::size_t inert;
  SymbolicExprId left = invalidSymbolicExprId;
  std::vector<int> inertInOrder;
  std::array<std::set<int>, 6> constants;  // of the others, by the order of relations
};

// ---------------------------------------------------------------------------------------------
// All pairs

// Pairs relations that stand in text order; see `pairRelations`. (Dropping one of two leaves every
// pair before them as it was, so there the scan goes on.)
void pairInOrder(SimplifyContext& c, const Connective& aKind, Ids& aGroup) {
  // Inert relations stand together in text order and may be many, so all pairs of them are passed
  // over at once.
  const auto isInert = [&](SymbolicExprId aId) { return c.node(aId).is(inertKind(aKind)); };
  std::size_t inertEnd = 0;
  const auto erase = [&](std::size_t i) {
    aGroup.erase(aGroup.begin() + static_cast<std::ptrdiff_t>(i));
    inertEnd = 0;
  };
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
    const bool isInOrder =
        relationOrder(c.node(aGroup[i]).kind()) <= relationOrder(c.node(aGroup[j]).kind());
    const std::optional<SymbolicExprId> both =
        combine(c, aKind, aGroup[isInOrder ? i : j], aGroup[isInOrder ? j : i]);
    if (!both) {
      ++j;
    } else if (*both == c.constant(aKind.absorbing)) {
      aGroup.assign(1, *both);
    } else if (*both == aGroup[i]) {
      erase(j);
    } else if (*both == aGroup[j]) {
      erase(i);
      j = i + 1;
    } else {
      erase(j);
      aGroup[i] = *both;
      c.order.sort(aGroup.data(), aGroup.data() + aGroup.size());
      aGroup.erase(std::unique(aGroup.begin(), aGroup.end()), aGroup.end());
      i = 0;
      j = 1;
    }
  }
}

}  // namespace

void pairRelations(SimplifyContext& c, const Connective& aKind, Ids& aGroup) {
  constexpr std::size_t fewRelations = 16;
  c.order.sort(aGroup.data(), aGroup.data() + aGroup.size());
  const bool areToIntegers = c.node(c.node(aGroup.front()).right()).is(SymbolicOp::IntValue);
  if (areToIntegers && aGroup.size() > fewRelations && c.roads.isOpen(FastRoad::ThinnedRelations)) {
    c.roads.took(FastRoad::ThinnedRelations);
    ThinnedRelations(c, aKind, aGroup).write(aGroup);
    c.order.sort(aGroup.data(), aGroup.data() + aGroup.size());
  }
  pairInOrder(c, aKind, aGroup);
}

// ---------------------------------------------------------------------------------------------
// The groups among the operands of a chain

RelationPairs::Entries RelationPairs::newRelations() {
  Entries relations;
  operands.forEachSince(seen, [&](SymbolicExprId aOperand) {
    if (const std::optional<Relation> r = relationOf(c, aOperand)) {
      const bool isToInteger = c.node(r->right).is(SymbolicOp::IntValue);
      relations.push_back({{r->left, isToInteger ? invalidSymbolicExprId : r->right}, aOperand});
    }
  });
  seen = operands.end();
  return relations;
}

void RelationPairs::apply() {
  const bool isFirst = seen == 0;
  Entries relations = newRelations();
  if (isFirst) {
    pairAll(relations);
  } else if (!relations.empty()) {
    pairNew(relations);
  }
  // What pairing made has been paired with its group.
  seen = operands.end();
}

void RelationPairs::sortByKey(Entries& aRelations) {
  std::sort(aRelations.begin(), aRelations.end(),
            [](const Entry& a, const Entry& b) { return a.key < b.key; });
}

void RelationPairs::pairAll(Entries& aRelations) {
  if (aRelations.size() < 2) return;
  sortByKey(aRelations);
  for (auto first = aRelations.begin(); first != aRelations.end() && !operands.isDecided();) {
    const auto last = std::find_if(first, aRelations.end(),
                                   [&](const Entry& aEntry) { return aEntry.key != first->key; });
    Ids group;
    std::transform(first, last, std::back_inserter(group),
                   [](const Entry& aEntry) { return aEntry.relation; });
    pairGroup(group);
    first = last;
  }
}

void RelationPairs::pairNew(Entries& aRelations) {
  // The first time, the groups are filed from all operands; from then on what is new is added.
  const bool isFiled = groups != nullptr;
  if (!isFiled) {
    groups = std::make_unique<boost::unordered_flat_map<Key, Ids>>();
    seen = 0;
  }
  for (const Entry& entry : isFiled ? aRelations : newRelations()) {
    (*groups)[entry.key].push_back(entry.relation);
  }
  sortByKey(aRelations);
  const Key* last = nullptr;
  for (const Entry& entry : aRelations) {
    if (last != nullptr && *last == entry.key) continue;
    last = &entry.key;
    Ids& group = (*groups)[entry.key];
    const auto isGone = [&](SymbolicExprId aId) { return !operands.contains(aId); };
    group.erase(std::remove_if(group.begin(), group.end(), isGone), group.end());
    pairGroup(group);
    if (operands.isDecided()) return;
  }
}

// Replaces the relations of a group among the operands by what they give together.
void RelationPairs::pairGroup(Ids& aGroup) {
  if (aGroup.size() < 2) return;
  Ids before = aGroup;
  pairRelations(c, operands.connective(), aGroup);
  // Every pair that gives something leaves fewer relations.
  if (aGroup.size() == before.size()) return;
  Ids after = aGroup, gone;
  std::sort(before.begin(), before.end());
  std::sort(after.begin(), after.end());
  std::set_difference(before.begin(), before.end(), after.begin(), after.end(),
                      std::back_inserter(gone));
  for (const SymbolicExprId relation : gone) operands.remove(relation);
  for (const SymbolicExprId relation : aGroup) operands.add(relation);
}

}  // namespace KS::detail
