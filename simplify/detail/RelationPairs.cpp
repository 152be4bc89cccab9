#include "simplify/detail/RelationPairs.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

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

// Constants, by their places in a list that is in numeric order: which are there, and which of
// those in a range of places has the first text.
class ConstantSet {
 public:
  static constexpr std::uint32_t none = 0xFFFFFFFF;

  explicit ConstantSet(std::size_t aCount) : count(aCount), first(2 * aCount, none) {}

  // `aTextRank` is the constant's place in the order of texts.
  void insert(std::size_t aPlace, std::uint32_t aTextRank) { set(aPlace, aTextRank); }
  void erase(std::size_t aPlace) { set(aPlace, none); }
  // The least rank from one place to before another, or none where nothing is there.
  std::uint32_t firstText(std::size_t aFrom, std::size_t aTo) const {
    std::uint32_t least = none;
    for (aFrom += count, aTo += count; aFrom < aTo; aFrom /= 2, aTo /= 2) {
      if (aFrom % 2 != 0) least = std::min(least, first[aFrom++]);
      if (aTo % 2 != 0) least = std::min(least, first[--aTo]);
    }
    return least;
  }
  bool contains(std::size_t aPlace) const { return first[aPlace + count] != none; }

 private:
  void set(std::size_t aPlace, std::uint32_t aTextRank) {
    std::size_t at = aPlace + count;
    for (first[at] = aTextRank; at > 1; at /= 2) {
      first[at / 2] = std::min(first[at], first[at ^ 1]);
    }
  }

  std::size_t count;
  std::vector<std::uint32_t> first;  // a binary tree, its leaves from `count` on
};

// Takes relations to integers out of a large group in text order that pairing would take out, of
// which n cost n squared there. (Saves: 298 KB of `x != 0 && x <= 0 && ...` take 0.05 s instead of
// 33 s.) Inert relations meet the others in text order, as they would; of the others, the rows keep
// the smallest or the largest of each kind.
class ThinnedRelations {
 public:
  ThinnedRelations(SimplifyContext& aContext, const Connective& aKind, const Ids& aGroup)
      : c(aContext),
        kind(aKind),
        inert(relationOrder(inertKind(aKind))),
        left(c.node(aGroup.front()).left()) {
    for (const SymbolicExprId relation : aGroup) constants.push_back(constantOf(relation));
    std::sort(constants.begin(), constants.end());
    constants.erase(std::unique(constants.begin(), constants.end()), constants.end());
    ranks.assign(constants.size(), ConstantSet::none);
    for (std::size_t op = 0; op < 6; ++op) others.emplace_back(constants.size());
    // Relations of one kind stand in the order of their constants' texts.
    rankTexts();
    for (const SymbolicExprId relation : aGroup) {
      const std::size_t at = placeOf(constantOf(relation));
      if (c.node(relation).is(inertKind(kind))) {
        inertPlaces.push_back(at);
      } else {
        others[relationOrder(c.node(relation).kind())].insert(at, ranks[at]);
      }
    }
  }

  // Writes the relations that are left; the absorbing value alone where the group decides.
  void write(Ids& aRest) {
    const auto decide = [&] { aRest.assign(1, c.constant(kind.absorbing)); };
    aRest.clear();
    for (const std::size_t at : inertPlaces) {
      switch (meet(at)) {
        case Outcome::Decide: return decide();
        case Outcome::Stay: aRest.push_back(relation(inert, at)); break;
        default: break;
      }
    }
    for (std::size_t op = 0; op < 6; ++op) {
      Ids places;
      for (std::size_t at = 0; at < constants.size(); ++at) {
        if (others[op].contains(at)) places.push_back(at);
      }
      if (places.empty()) continue;
      const Outcome ofTwo = kind.pairs[op][op].less;
      if (ofTwo == Outcome::Decide && places.size() > 1) return decide();
      aRest.push_back(relation(op, ofTwo == Outcome::Second ? places.back() : places.front()));
    }
  }

 private:
  int constantOf(SymbolicExprId aRelation) const {
    return c.node(c.node(aRelation).right()).intValue();
  }
  std::size_t placeOf(int aConstant) const {
    return static_cast<std::size_t>(
        std::lower_bound(constants.begin(), constants.end(), aConstant) - constants.begin());
  }
  void rankTexts() {
    std::vector<std::pair<std::string, std::size_t>> texts;
    for (std::size_t at = 0; at < constants.size(); ++at) {
      texts.emplace_back(std::to_string(constants[at]), at);
    }
    std::sort(texts.begin(), texts.end());
    for (std::size_t rank = 0; rank < texts.size(); ++rank) {
      ranks[texts[rank].second] = static_cast<std::uint32_t>(rank);
    }
  }

  // What becomes of the inert relation to a constant: it stays, or it decides; or it goes, alone
  // or with one of the others whose place a new relation takes. The first of the others in text
  // order with which it gives something tells.
  Outcome meet(std::size_t aPlace) {
    for (const SymbolicOp other :
         {SymbolicOp::NotEqual, SymbolicOp::LessThan, SymbolicOp::LessThanEqual, SymbolicOp::Equal,
          SymbolicOp::GreaterThan, SymbolicOp::GreaterThanEqual}) {
      const std::size_t op = relationOrder(other);
      const bool isFirst = op < inert;
      const PairRow& row = isFirst ? kind.pairs[op][inert] : kind.pairs[inert][op];
      const struct {
        Outcome outcome;
        std::size_t from, to;
      } classes[] = {{isFirst ? row.less : row.greater, 0, aPlace},
                     {row.equal, aPlace, aPlace + 1},
                     {isFirst ? row.greater : row.less, aPlace + 1, constants.size()}};
      Outcome outcome = Outcome::Stay;
      std::uint32_t first = ConstantSet::none;
      for (const auto& among : classes) {
        if (among.outcome == Outcome::Stay) continue;
        const std::uint32_t rank = others[op].firstText(among.from, among.to);
        if (rank < first) {
          first = rank;
          outcome = among.outcome;
        }
      }
      if (outcome == Outcome::Stay) continue;
      if (outcome > Outcome::Decide) {
        others[op].erase(aPlace);
        others[relationOrder(madeRelation(outcome))].insert(aPlace, ranks[aPlace]);
      }
      return outcome;
    }
    return Outcome::Stay;
  }

  SymbolicExprId relation(std::size_t aOrder, std::size_t aPlace) {
    return makeRelation(c,
                        {relationKinds[aOrder], left, Intern::integer(c.table, constants[aPlace])});
  }

  SimplifyContext& c;
  const Connective& kind;
  const std::size_t inert;
  const SymbolicExprId left;
  std::vector<int> constants;        // all of the group, in numeric order
  std::vector<std::uint32_t> ranks;  // of their texts
  std::vector<std::size_t> inertPlaces;
  std::vector<ConstantSet> others;  // by the order of relations
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
  constexpr std::size_t mostRelationsPaired = 16;
  c.order.sort(aGroup.data(), aGroup.data() + aGroup.size());
  const bool areToIntegers = c.node(c.node(aGroup.front()).right()).is(SymbolicOp::IntValue);
  if (areToIntegers && aGroup.size() > mostRelationsPaired &&
      c.roads.isOpen(FastRoad::ThinnedRelations)) {
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
