// Conjunctions among the operands of a disjunction: absorption and merging.
#include <algorithm>
#include <cstdint>
#include <iterator>

#include "simplify/detail/Pattern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

using namespace detail;

// The factors of one conjunction, in the order of the chain and ordered by id.
struct SymbolicExprSimplifyVisitor::Conjunct {
  SymbolicExprId id = invalidSymbolicExprId;
  std::vector<SymbolicExprId> factors;
  std::vector<SymbolicExprId> byId;
  std::uint64_t signature = 0;  // one bit per factor: a subset's bits are a subset
  bool changed = false;
  bool dropped = false;

  void update() {
    byId = factors;
    std::sort(byId.begin(), byId.end());
    signature = 0;
    for (const SymbolicExprId factor : byId) signature |= std::uint64_t{1} << (factor % 64);
  }
  void erase(SymbolicExprId aFactor) {
    factors.erase(std::find(factors.begin(), factors.end(), aFactor));
    update();
    changed = true;
  }
  bool isSubsetOf(const Conjunct& aOther) const {
    return (signature & ~aOther.signature) == 0 && byId.size() <= aOther.byId.size() &&
           std::includes(aOther.byId.begin(), aOther.byId.end(), byId.begin(), byId.end());
  }
};

namespace {

using Id = SymbolicExprId;
using IdPair = std::pair<Id, Id>;
using PairRange =
    std::pair<std::vector<IdPair>::const_iterator, std::vector<IdPair>::const_iterator>;

// The pairs that start with the id, in an ordered list of pairs.
PairRange pairsOf(const std::vector<IdPair>& aPairs, Id aId) {
  const auto first = std::lower_bound(aPairs.begin(), aPairs.end(), IdPair{aId, 0});
  return {first, std::upper_bound(first, aPairs.end(), IdPair{aId, invalidSymbolicExprId})};
}

// Against the operands that are no conjunctions: a || (!a && b) -> a || b. A factor whose
// complement is an operand holds wherever the conjunction still matters.
template <class Set, class Conjuncts>
void dropImpliedFactors(const Set& aSet, const std::vector<IdPair>& aComplements,
                        Conjuncts& aConjuncts) {
  for (auto& conjunct : aConjuncts) {
    const std::vector<Id> factors = conjunct.factors;
    for (const Id factor : factors) {
      const auto [first, last] = pairsOf(aComplements, factor);
      if (std::any_of(first, last, [&](const IdPair& p) { return aSet.contains(p.second); })) {
        conjunct.erase(factor);
      }
    }
  }
}

// (a && b) || (a && b && c) -> a && b. Each conjunction is filed under the rarest of its factors,
// and looks for smaller ones under all of them.
template <class Conjuncts>
void dropAbsorbed(Conjuncts& aConjuncts) {
  if (aConjuncts.size() < 2) return;
  std::vector<Id> uses;
  for (const auto& conjunct : aConjuncts) {
    uses.insert(uses.end(), conjunct.byId.begin(), conjunct.byId.end());
  }
  std::sort(uses.begin(), uses.end());
  const auto count = [&](Id aFactor) {
    const auto [first, last] = std::equal_range(uses.begin(), uses.end(), aFactor);
    return last - first;
  };
  std::vector<IdPair> files;  // factor, index of a conjunction
  for (std::size_t i = 0; i < aConjuncts.size(); ++i) {
    const auto& factors = aConjuncts[i].byId;
    if (factors.empty()) continue;
    const auto rarest = std::min_element(factors.begin(), factors.end(),
                                         [&](Id a, Id b) { return count(a) < count(b); });
    files.emplace_back(*rarest, i);
  }
  std::sort(files.begin(), files.end());
  for (std::size_t i = 0; i < aConjuncts.size(); ++i) {
    auto& conjunct = aConjuncts[i];
    // Of two equal ones the first stays.
    const auto absorbs = [&](const IdPair& aFiled) {
      const auto& other = aConjuncts[aFiled.second];
      return aFiled.second != i && !other.dropped && other.isSubsetOf(conjunct) &&
             (other.byId.size() < conjunct.byId.size() || aFiled.second < i);
    };
    conjunct.dropped = std::any_of(conjunct.byId.begin(), conjunct.byId.end(), [&](Id aFactor) {
      const auto [first, last] = pairsOf(files, aFactor);
      return std::any_of(first, last, absorbs);
    });
  }
}

// (a && b) || (a && !b) -> a. The conjunctions stand in an order of their own, so that no result
// depends on ids.
template <class Conjuncts>
void mergeComplementary(const std::vector<IdPair>& aComplements, Conjuncts& aConjuncts) {
  using Conjunct = typename Conjuncts::value_type;
  std::vector<Conjunct*> byFactors;
  for (Conjunct& conjunct : aConjuncts) {
    if (!conjunct.dropped) byFactors.push_back(&conjunct);
  }
  const auto before = [](const auto& a, const auto& b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
  };
  std::sort(byFactors.begin(), byFactors.end(),
            [&](const Conjunct* a, const Conjunct* b) { return before(a->byId, b->byId); });
  const auto find = [&](const std::vector<Id>& aFactors) -> Conjunct* {
    const auto place = std::lower_bound(
        byFactors.begin(), byFactors.end(), aFactors,
        [&](const Conjunct* aConjunct, const auto& f) { return before(aConjunct->byId, f); });
    const bool isThere =
        place != byFactors.end() &&
        std::equal(aFactors.begin(), aFactors.end(), (*place)->byId.begin(), (*place)->byId.end());
    return isThere && !(*place)->dropped && !(*place)->changed ? *place : nullptr;
  };
  // One merge a conjunction; what it makes possible comes in the next round.
  const auto merge = [&](Conjunct& aConjunct) {
    for (const Id factor : aConjunct.factors) {
      const auto [first, last] = pairsOf(aComplements, factor);
      for (auto pair = first; pair != last; ++pair) {
        std::vector<Id> partner = aConjunct.byId;
        *std::find(partner.begin(), partner.end(), factor) = pair->second;
        std::sort(partner.begin(), partner.end());
        if (Conjunct* other = find(partner)) {
          other->dropped = true;
          aConjunct.changed = true;
          return factor;
        }
      }
    }
    return invalidSymbolicExprId;
  };
  std::vector<std::pair<Conjunct*, Id>> merged;
  for (Conjunct& conjunct : aConjuncts) {
    if (conjunct.dropped || conjunct.changed) continue;
    const Id factor = merge(conjunct);
    if (factor != invalidSymbolicExprId) merged.emplace_back(&conjunct, factor);
  }
  for (const auto& [conjunct, factor] : merged) conjunct->erase(factor);
}

}  // namespace

// (a || b) && c, of which all of (a || b) are operands of the disjunction too: it adds nothing.
void SymbolicExprSimplifyVisitor::simplifyORExprForAbsorptionRule(
    OperandSet& aSet, const SymbolicExprId& aTerm) const {
  if (kindOf(aTerm) != SymbolicOp::And) return;
  Ids factors;
  appendChain(SymbolicOp::And, aTerm, factors);
  for (const SymbolicExprId factor : factors) {
    if (kindOf(factor) != SymbolicOp::Or) continue;
    OperandSet members;
    addChain(disjunction, factor, members);
    if (std::includes(aSet.begin(), aSet.end(), members.begin(), members.end())) {
      aSet.erase(aTerm);
      return;
    }
  }
}

// The conjunctions of the set. Those that another operand absorbs are taken out of the set:
// a || (a && b) -> a.
SymbolicExprSimplifyVisitor::Conjuncts SymbolicExprSimplifyVisitor::takeConjuncts(
    OperandSet& aSet) const {
  Ids terms;
  for (const SymbolicExprId operand : aSet) {
    if (kindOf(operand) == SymbolicOp::And) terms.push_back(operand);
  }
  Conjuncts conjuncts;
  conjuncts.reserve(terms.size());
  for (const SymbolicExprId term : terms) {
    simplifyORExprForAbsorptionRule(aSet, term);
    if (!aSet.contains(term)) continue;
    Conjunct& conjunct = conjuncts.emplace_back();
    conjunct.id = term;
    appendChain(SymbolicOp::And, term, conjunct.factors);
    const auto isOperand = [&](SymbolicExprId aFactor) { return aSet.contains(aFactor); };
    if (std::any_of(conjunct.factors.begin(), conjunct.factors.end(), isOperand)) {
      aSet.erase(term);
      conjuncts.pop_back();
      continue;
    }
    conjunct.update();
  }
  return conjuncts;
}

// The pairs of operands and factors of which one negates the other, in both directions and ordered.
std::vector<SymbolicExprSimplifyVisitor::IdPair> SymbolicExprSimplifyVisitor::findComplements(
    const OperandSet& aSet, const Conjuncts& aConjuncts) const {
  std::vector<SymbolicExprId> all(aSet.begin(), aSet.end());
  for (const Conjunct& conjunct : aConjuncts) {
    all.insert(all.end(), conjunct.byId.begin(), conjunct.byId.end());
  }
  std::sort(all.begin(), all.end());
  all.erase(std::unique(all.begin(), all.end()), all.end());

  std::vector<IdPair> pairs;
  const auto addPair = [&](SymbolicExprId a, SymbolicExprId b) {
    if (!std::binary_search(all.begin(), all.end(), b)) return;
    pairs.emplace_back(a, b);
    pairs.emplace_back(b, a);
  };
  for (const SymbolicExprId id : all) {
    const SymbolicExpr& node = *table().get(id);
    // Nothing is interned to find out: a complement that the table does not hold is no operand.
    const auto addRelation = [&](SymbolicOp aOp) {
      addPair(id, Intern::find(table(), aOp, {node.getInput(0), node.getInput(1)}));
    };
    switch (static_cast<SymbolicOp>(node.getKind())) {
      case SymbolicOp::Not: addPair(id, node.getInput(0)); break;
      case SymbolicOp::NotEqual: addRelation(SymbolicOp::Equal); break;
      case SymbolicOp::LessThan: addRelation(SymbolicOp::GreaterThanEqual); break;
      case SymbolicOp::GreaterThan: addRelation(SymbolicOp::LessThanEqual); break;
      default: break;
    }
  }
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

// Merging depends on the order of conjunctions and factors, and results must not depend on ids.
void SymbolicExprSimplifyVisitor::sortByText(Conjuncts& aConjuncts) {
  for (Conjunct& conjunct : aConjuncts) {
    order.sort(conjunct.factors.data(), conjunct.factors.data() + conjunct.factors.size());
  }
  std::sort(aConjuncts.begin(), aConjuncts.end(),
            [this](const Conjunct& a, const Conjunct& b) { return compareExprs(a.id, b.id) < 0; });
}

// Applies the rules until none changes anything.
bool SymbolicExprSimplifyVisitor::simplifyConjuncts(OperandSet& aSet) {
  const std::size_t before = aSet.size();
  for (bool again = true, changed = false;; changed = true) {
    Conjuncts conjuncts = takeConjuncts(aSet);
    const std::vector<IdPair> complements =
        conjuncts.empty() ? std::vector<IdPair>() : findComplements(aSet, conjuncts);
    if (!complements.empty()) {
      sortByText(conjuncts);
      dropImpliedFactors(aSet, complements, conjuncts);
    }
    dropAbsorbed(conjuncts);
    if (!complements.empty()) mergeComplementary(complements, conjuncts);

    again = false;
    for (const Conjunct& conjunct : conjuncts) {
      if (!conjunct.dropped && !conjunct.changed) continue;
      aSet.erase(conjunct.id);
      if (conjunct.dropped) continue;
      again = true;
      addOperand(disjunction,
                 conjunct.factors.empty()
                     ? constant(true)
                     : join(conjunction, conjunct.factors.data(), conjunct.factors.size()),
                 aSet);
    }
    if (!again) return changed || aSet.size() < before;
  }
}

}  // namespace KS
