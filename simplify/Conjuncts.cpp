// Conjunctions among the operands of a disjunction: absorption and merging.
#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "simplify/detail/Pattern.hpp"
#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

namespace KS {

using namespace detail;

namespace {

// A 64-bit value per id whose sum over a set tells sets apart.
std::uint64_t mark(SymbolicExprId aId) {
  std::uint64_t h = aId + 0x9e3779b97f4a7c15U;
  h = (h ^ (h >> 30)) * 0xbf58476d1ce4e5b9U;
  h = (h ^ (h >> 27)) * 0x94d049bb133111ebU;
  return h ^ (h >> 31);
}

}  // namespace

// The factors of one conjunction, ordered by text for the rules and by id for comparison.
struct SymbolicExprSimplifyVisitor::Conjunct {
  Ids factors;
  Ids byId;
  std::uint64_t sum = 0;        // of the factors' marks: equal for equal sets
  std::uint64_t signature = 0;  // one bit per factor: a subset's bits are a subset
  bool dropped = false;

  void update() {
    byId = factors;
    std::sort(byId.begin(), byId.end());
    sum = signature = 0;
    for (const SymbolicExprId factor : byId) {
      sum += mark(factor);
      signature |= std::uint64_t{1} << (mark(factor) >> 58);
    }
  }
  bool isSubsetOf(const Conjunct& aOther) const {
    return (signature & ~aOther.signature) == 0 && byId.size() <= aOther.byId.size() &&
           std::includes(aOther.byId.begin(), aOther.byId.end(), byId.begin(), byId.end());
  }
};

// What negates an operand, as far as the table holds it: nothing is interned to find out. For
// x < 3 that is x >= 3 and !(x < 3). The invalid id stands for a form that there is not.
std::array<SymbolicExprId, 2> SymbolicExprSimplifyVisitor::findComplements(
    SymbolicExprId aId) const {
  const auto complementOp = [](SymbolicOp aOp) {
    switch (aOp) {
      case SymbolicOp::Equal: return SymbolicOp::NotEqual;
      case SymbolicOp::NotEqual: return SymbolicOp::Equal;
      case SymbolicOp::LessThan: return SymbolicOp::GreaterThanEqual;
      case SymbolicOp::GreaterThanEqual: return SymbolicOp::LessThan;
      case SymbolicOp::GreaterThan: return SymbolicOp::LessThanEqual;
      default: return SymbolicOp::GreaterThan;
    }
  };
  SymbolicExprId opposite = invalidSymbolicExprId;
  if (logicalNot(any(opposite)).match(table(), aId)) return {opposite, invalidSymbolicExprId};
  if (const std::optional<Relation> r = relation(aId)) {
    opposite = Intern::find(table(), complementOp(r->op), {r->left, r->right});
  }
  return {opposite, Intern::find(table(), SymbolicOp::Not, {aId})};
}

// (a || b) && c, of which all of (a || b) are operands of the disjunction too: it adds nothing.
void SymbolicExprSimplifyVisitor::simplifyORExprForAbsorptionRule(
    OperandSet& aSet, const SymbolicExprId& aTerm) const {
  if (kindOf(aTerm) != SymbolicOp::And) return;
  OperandSet factors;
  addChain(conjunction, aTerm, factors);
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

// Takes the conjunctions out of the set, in text order, so that no result depends on ids.
std::vector<SymbolicExprSimplifyVisitor::Conjunct> SymbolicExprSimplifyVisitor::takeConjuncts(
    OperandSet& aSet) const {
  Ids terms;
  const auto isAnd = [this](SymbolicExprId aId) { return kindOf(aId) == SymbolicOp::And; };
  std::copy_if(aSet.begin(), aSet.end(), std::back_inserter(terms), isAnd);
  for (const SymbolicExprId term : terms) simplifyORExprForAbsorptionRule(aSet, term);
  terms.clear();
  std::copy_if(aSet.begin(), aSet.end(), std::back_inserter(terms), isAnd);
  if (terms.empty()) return {};
  order.sort(terms);

  std::vector<Conjunct> conjuncts(terms.size());
  for (std::size_t i = 0; i < terms.size(); ++i) {
    aSet.erase(terms[i]);
    OperandSet factors;
    addChain(conjunction, terms[i], factors);
    conjuncts[i].factors.assign(factors.begin(), factors.end());
    order.sort(conjuncts[i].factors);
    conjuncts[i].update();
  }
  return conjuncts;
}

// Against the operands that are no conjunctions:
//   a || (a && b) -> a;  a || (!a && b) -> a || b
bool SymbolicExprSimplifyVisitor::dropImplied(const OperandSet& aSet,
                                              std::vector<Conjunct>& aConjuncts) const {
  const auto isOperand = [&](SymbolicExprId aId) { return aSet.contains(aId); };
  // A factor whose complement is an operand holds wherever the conjunction still matters.
  const auto isImplied = [&](SymbolicExprId aFactor) {
    const auto complements = findComplements(aFactor);
    return std::any_of(complements.begin(), complements.end(), isOperand);
  };
  bool changed = false;
  for (Conjunct& conjunct : aConjuncts) {
    Ids& factors = conjunct.factors;
    conjunct.dropped = std::any_of(factors.begin(), factors.end(), isOperand);
    if (conjunct.dropped) continue;
    const auto end = std::remove_if(factors.begin(), factors.end(), isImplied);
    if (end == factors.end()) continue;
    factors.erase(end, factors.end());
    conjunct.update();
    changed = true;
  }
  return changed;
}

// (a && b) || (a && b && c) -> a && b. Each conjunction is filed under the rarest of its factors,
// and a larger one looks for smaller ones under all of its own.
void SymbolicExprSimplifyVisitor::dropAbsorbed(std::vector<Conjunct>& aConjuncts) {
  boost::unordered_flat_map<SymbolicExprId, std::size_t> uses;
  for (const Conjunct& conjunct : aConjuncts) {
    for (const SymbolicExprId factor : conjunct.factors) ++uses[factor];
  }
  const auto rarer = [&](SymbolicExprId a, SymbolicExprId b) { return uses.at(a) < uses.at(b); };
  boost::unordered_flat_map<SymbolicExprId, std::vector<std::size_t>> files;
  for (std::size_t i = 0; i < aConjuncts.size(); ++i) {
    const Ids& factors = aConjuncts[i].byId;
    if (!factors.empty()) {
      files[*std::min_element(factors.begin(), factors.end(), rarer)].push_back(i);
    }
  }
  for (Conjunct& conjunct : aConjuncts) {
    const auto isAbsorbedBy = [&](std::size_t i) {
      const Conjunct& other = aConjuncts[i];
      // Of two equal ones the first stays.
      return &other != &conjunct && !other.dropped && other.isSubsetOf(conjunct) &&
             (other.byId.size() < conjunct.byId.size() || &other < &conjunct);
    };
    for (const SymbolicExprId factor : conjunct.byId) {
      const auto file = files.find(factor);
      if (file == files.end()) continue;
      if (std::any_of(file->second.begin(), file->second.end(), isAbsorbedBy)) {
        conjunct.dropped = true;
        break;
      }
    }
  }
}

// (a && b) || (a && !b) -> a. Partners are found by the sum of marks that they would have.
bool SymbolicExprSimplifyVisitor::mergeComplements(std::vector<Conjunct>& aConjuncts) const {
  boost::unordered_flat_map<std::uint64_t, Conjunct*> bySum;
  for (Conjunct& conjunct : aConjuncts) {
    if (!conjunct.dropped) bySum.emplace(conjunct.sum, &conjunct);
  }
  bool changed = false;
  for (Conjunct& conjunct : aConjuncts) {
    if (conjunct.dropped) continue;
    const auto partner = [&](SymbolicExprId aFactor) -> Conjunct* {
      for (const SymbolicExprId complement : findComplements(aFactor)) {
        const auto found = bySum.find(conjunct.sum - mark(aFactor) + mark(complement));
        if (found == bySum.end() || found->second->dropped) continue;
        Ids expected = conjunct.byId;
        *std::find(expected.begin(), expected.end(), aFactor) = complement;
        std::sort(expected.begin(), expected.end());
        if (found->second->byId == expected) return found->second;
      }
      return nullptr;
    };
    for (std::size_t i = 0; i < conjunct.factors.size(); ++i) {
      if (Conjunct* other = partner(conjunct.factors[i])) {
        other->dropped = true;
        bySum.erase(conjunct.sum);
        conjunct.factors.erase(conjunct.factors.begin() + static_cast<std::ptrdiff_t>(i));
        conjunct.update();
        changed = true;
        break;
      }
    }
  }
  return changed;
}

// Applies the rules until none changes anything, then puts the conjunctions back.
void SymbolicExprSimplifyVisitor::simplifyConjuncts(OperandSet& aSet) {
  for (bool changed = true; changed;) {
    std::vector<Conjunct> conjuncts = takeConjuncts(aSet);
    if (conjuncts.empty()) return;
    changed = dropImplied(aSet, conjuncts);
    dropAbsorbed(conjuncts);
    changed = mergeComplements(conjuncts) || changed;
    for (const Conjunct& conjunct : conjuncts) {
      if (conjunct.dropped) continue;
      addOperand(disjunction,
                 conjunct.factors.empty() ? constant(true) : join(conjunction, conjunct.factors),
                 aSet);
    }
  }
}

}  // namespace KS
