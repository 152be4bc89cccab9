// Conjunctions among the operands of a disjunction: absorption and merging.
#include <algorithm>
#include <cstdint>
#include <iterator>

#include "simplify/detail/Pattern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

using namespace detail;

// One conjunction and its factors, ordered by id. The factors of all lie in one pool.
struct SymbolicExprSimplifyVisitor::Conjunct {
  SymbolicExprId id = invalidSymbolicExprId;
  SymbolicExprId* first = nullptr;
  SymbolicExprId* last = nullptr;
  std::uint64_t signature = 0;  // one bit per factor: a subset's bits are a subset
  bool changed = false;
  bool dropped = false;

  const SymbolicExprId* begin() const { return first; }
  const SymbolicExprId* end() const { return last; }
  std::size_t size() const { return static_cast<std::size_t>(last - first); }

  void sign() {
    signature = 0;
    for (const SymbolicExprId factor : *this) signature |= std::uint64_t{1} << (factor % 64);
  }
  void erase(SymbolicExprId aFactor) {
    last = std::remove(first, last, aFactor);
    sign();
    changed = true;
  }
  bool isSubsetOf(const Conjunct& aOther) const {
    return (signature & ~aOther.signature) == 0 && size() <= aOther.size() &&
           std::includes(aOther.begin(), aOther.end(), begin(), end());
  }
};

namespace {

using Id = SymbolicExprId;
using IdPair = std::pair<Id, Id>;
using IdPairs = boost::container::small_vector<IdPair, 16>;

// The pairs that start with the id, in an ordered list of pairs.
std::pair<const IdPair*, const IdPair*> pairsOf(const IdPairs& aPairs, Id aId) {
  const IdPair* const end = aPairs.data() + aPairs.size();
  const IdPair* const first = std::lower_bound(aPairs.data(), end, IdPair{aId, 0});
  const IdPair* last = first;
  while (last != end && last->first == aId) ++last;
  return {first, last};
}

// Against the operands that are no conjunctions: a || (!a && b) -> a || b. A factor whose
// complement is an operand holds wherever the conjunction still matters.
template <class Set, class Conjuncts>
void dropImpliedFactors(const Set& aSet, const IdPairs& aComplements, Conjuncts& aConjuncts) {
  for (auto& conjunct : aConjuncts) {
    const std::vector<Id> factors(conjunct.begin(), conjunct.end());
    for (const Id factor : factors) {
      const auto [first, last] = pairsOf(aComplements, factor);
      if (std::any_of(first, last, [&](const IdPair& p) { return aSet.contains(p.second); })) {
        conjunct.erase(factor);
      }
    }
  }
}

// (a && b) || (a && b && c) -> a && b. Few conjunctions are compared each with each; of many, each
// is filed under the rarest of its factors, and looks for smaller ones under all of them.
template <class Conjuncts>
void dropAbsorbed(Conjuncts& aConjuncts) {
  constexpr std::size_t few = 32;
  // Of two equal ones the first stays.
  const auto absorbs = [&](std::size_t aOther, std::size_t i) {
    const auto& other = aConjuncts[aOther];
    const auto& conjunct = aConjuncts[i];
    return aOther != i && !other.dropped && other.isSubsetOf(conjunct) &&
           (other.size() < conjunct.size() || aOther < i);
  };
  if (aConjuncts.size() <= few) {
    for (std::size_t i = 0; i < aConjuncts.size(); ++i) {
      for (std::size_t other = 0; other < aConjuncts.size() && !aConjuncts[i].dropped; ++other) {
        aConjuncts[i].dropped = absorbs(other, i);
      }
    }
    return;
  }
  boost::unordered_flat_map<Id, std::size_t> uses;
  for (const auto& conjunct : aConjuncts) {
    for (const Id factor : conjunct) ++uses[factor];
  }
  IdPairs files;  // factor, index of a conjunction
  for (std::size_t i = 0; i < aConjuncts.size(); ++i) {
    if (aConjuncts[i].size() == 0) continue;
    const Id* const rarest = std::min_element(aConjuncts[i].begin(), aConjuncts[i].end(),
                                              [&](Id a, Id b) { return uses.at(a) < uses.at(b); });
    files.emplace_back(*rarest, i);
  }
  std::sort(files.begin(), files.end());
  for (std::size_t i = 0; i < aConjuncts.size(); ++i) {
    auto& conjunct = aConjuncts[i];
    conjunct.dropped = std::any_of(conjunct.begin(), conjunct.end(), [&](Id aFactor) {
      const auto [first, last] = pairsOf(files, aFactor);
      return std::any_of(first, last,
                         [&](const IdPair& aFiled) { return absorbs(aFiled.second, i); });
    });
  }
}

// (a && b) || (a && !b) -> a. One merge a conjunction; what it makes possible comes in the next
// round. `aInOrder` gives a conjunction's factors in text order: which pair merges first must not
// depend on ids.
template <class Conjuncts, class InOrder>
void mergeComplementary(const IdPairs& aComplements, Conjuncts& aConjuncts, InOrder aInOrder) {
  using Conjunct = typename Conjuncts::value_type;
  const auto before = [](const auto& a, const auto& b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
  };
  std::vector<Conjunct*> byFactors;
  byFactors.reserve(aConjuncts.size());
  for (Conjunct& conjunct : aConjuncts) byFactors.push_back(&conjunct);
  std::sort(byFactors.begin(), byFactors.end(),
            [&](const Conjunct* a, const Conjunct* b) { return before(*a, *b); });
  const auto find = [&](const std::vector<Id>& aFactors) -> Conjunct* {
    const auto place = std::lower_bound(
        byFactors.begin(), byFactors.end(), aFactors,
        [&](const Conjunct* aConjunct, const auto& f) { return before(*aConjunct, f); });
    const bool isThere = place != byFactors.end() && std::equal(aFactors.begin(), aFactors.end(),
                                                                (*place)->begin(), (*place)->end());
    return isThere && !(*place)->dropped && !(*place)->changed ? *place : nullptr;
  };
  const auto partner = [&](const Conjunct& aConjunct, Id aFactor) -> Conjunct* {
    const auto [first, last] = pairsOf(aComplements, aFactor);
    for (const IdPair* pair = first; pair != last; ++pair) {
      std::vector<Id> factors(aConjunct.begin(), aConjunct.end());
      *std::find(factors.begin(), factors.end(), aFactor) = pair->second;
      std::sort(factors.begin(), factors.end());
      if (Conjunct* other = find(factors)) return other;
    }
    return nullptr;
  };
  std::vector<std::pair<Conjunct*, Id>> merged;
  for (Conjunct& conjunct : aConjuncts) {
    if (conjunct.dropped || conjunct.changed) continue;
    for (const Id factor : aInOrder(conjunct)) {
      if (Conjunct* other = partner(conjunct, factor)) {
        other->dropped = true;
        conjunct.changed = true;
        merged.emplace_back(&conjunct, factor);
        break;
      }
    }
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
    addOperand(disjunction, factor, members);
    if (std::includes(aSet.begin(), aSet.end(), members.begin(), members.end())) {
      aSet.erase(aTerm);
      return;
    }
  }
}

// The conjunctions of the set. Those that another operand absorbs are taken out of the set:
// a || (a && b) -> a.
SymbolicExprSimplifyVisitor::Conjuncts SymbolicExprSimplifyVisitor::takeConjuncts(
    OperandSet& aSet, std::vector<SymbolicExprId>& aPool) const {
  Ids terms, others;  // ordered, as the set is
  for (const SymbolicExprId operand : aSet) {
    (kindOf(operand) == SymbolicOp::And ? terms : others).push_back(operand);
  }
  Conjuncts conjuncts;
  boost::container::small_vector<std::size_t, 16> starts;
  for (const SymbolicExprId term : terms) {
    const std::size_t start = aPool.size();
    appendChain(SymbolicOp::And, term, aPool);
    const auto isOperand = [&](SymbolicExprId aFactor) {
      return std::binary_search(others.begin(), others.end(), aFactor);
    };
    const auto isOr = [this](SymbolicExprId aFactor) { return kindOf(aFactor) == SymbolicOp::Or; };
    const auto first = aPool.begin() + static_cast<std::ptrdiff_t>(start);
    if (std::any_of(first, aPool.end(), isOperand)) {
      aSet.erase(term);
    } else if (std::any_of(first, aPool.end(), isOr)) {
      simplifyORExprForAbsorptionRule(aSet, term);
    }
    if (!aSet.contains(term)) {
      aPool.resize(start);
      continue;
    }
    std::sort(first, aPool.end());
    conjuncts.emplace_back().id = term;
    starts.push_back(start);
  }
  starts.push_back(aPool.size());
  for (std::size_t i = 0; i < conjuncts.size(); ++i) {
    conjuncts[i].first = aPool.data() + starts[i];
    conjuncts[i].last = aPool.data() + starts[i + 1];
    conjuncts[i].sign();
  }
  return conjuncts;
}

// The pairs of operands and factors of which one negates the other, in both directions and ordered.
SymbolicExprSimplifyVisitor::IdPairs SymbolicExprSimplifyVisitor::findComplements(
    const OperandSet& aSet, const std::vector<SymbolicExprId>& aFactors) const {
  boost::container::small_vector<SymbolicExprId, 32> all(aSet.begin(), aSet.end());
  all.insert(all.end(), aFactors.begin(), aFactors.end());
  std::sort(all.begin(), all.end());
  all.erase(std::unique(all.begin(), all.end()), all.end());

  IdPairs pairs;
  const auto addPair = [&](SymbolicExprId a, SymbolicExprId b) {
    if (!std::binary_search(all.begin(), all.end(), b)) return;
    pairs.emplace_back(a, b);
    pairs.emplace_back(b, a);
  };
  for (const SymbolicExprId id : all) {
    const NodeDigest& node = digest(id);
    // Nothing is interned to find out: a complement that the table does not hold is no operand.
    const auto addRelation = [&](SymbolicOp aOp) {
      addPair(id, Intern::find(table(), aOp, node.first, node.second));
    };
    switch (static_cast<SymbolicOp>(node.kind)) {
      case SymbolicOp::Not: addPair(id, node.first); break;
      case SymbolicOp::NotEqual: addRelation(SymbolicOp::Equal); break;
      case SymbolicOp::LessThan: addRelation(SymbolicOp::GreaterThanEqual); break;
      case SymbolicOp::GreaterThan: addRelation(SymbolicOp::LessThanEqual); break;
      default: break;
    }
  }
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

// Applies the rules until none changes anything.
bool SymbolicExprSimplifyVisitor::simplifyConjuncts(OperandSet& aSet) {
  const auto isAnd = [this](SymbolicExprId aId) { return kindOf(aId) == SymbolicOp::And; };
  if (std::none_of(aSet.begin(), aSet.end(), isAnd)) return false;
  const std::size_t before = aSet.size();
  for (bool changed = false;; changed = true) {
    std::vector<SymbolicExprId> pool;
    pool.reserve(32);
    Conjuncts conjuncts = takeConjuncts(aSet, pool);
    const IdPairs complements = findComplements(aSet, pool);
    if (!complements.empty()) dropImpliedFactors(aSet, complements, conjuncts);
    dropAbsorbed(conjuncts);
    if (!complements.empty()) {
      std::sort(conjuncts.begin(), conjuncts.end(), [this](const Conjunct& a, const Conjunct& b) {
        return compareExprs(a.id, b.id) < 0;
      });
      mergeComplementary(complements, conjuncts, [this](const Conjunct& aConjunct) {
        std::vector<SymbolicExprId> sorted(aConjunct.begin(), aConjunct.end());
        order.sort(sorted.data(), sorted.data() + sorted.size());
        return sorted;
      });
    }
    // What one becomes may be what another was, so all go before any comes.
    for (const Conjunct& conjunct : conjuncts) {
      if (conjunct.dropped || conjunct.changed) aSet.erase(conjunct.id);
    }
    bool again = false;
    for (const Conjunct& conjunct : conjuncts) {
      if (conjunct.dropped || !conjunct.changed) continue;
      again = true;
      // Without factors it is true, and decides.
      const OperandSet factors(conjunct.begin(), conjunct.end());
      addOperand(disjunction, factors.empty() ? constant(true) : rebuild(conjunction, factors),
                 aSet);
    }
    if (!again) return changed || aSet.size() < before;
  }
}

}  // namespace KS
