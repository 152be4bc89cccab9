#include "simplify/detail/SetDistribution.hpp"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <iterator>
#include <utility>

#include "simplify/detail/Chains.hpp"
#include "simplify/detail/NumberedFactors.hpp"

namespace KS::detail {

namespace {

template <std::size_t numWords>
class SetDistribution {
 public:
  SetDistribution(SimplifyContext& aContext, Chains& aChains, DisjointJoin& aJoin)
      : c(aContext), chains(aChains), factors(aContext, aJoin) {}

  std::optional<SymbolicExprId> distribute(const Lists& aLists) {
    if (!takeApart(aLists) || !makeProducts(aLists)) return std::nullopt;
    if (products.empty()) return c.constant(false);
    // The members of one list match no rule, nor do conjunctions of them with something apart.
    const bool mayMatchOne = !areApart && mayMatchRuleForOne();
    putInOrder();
    if (!areApart) {
      if (mayMatchOne || mayMatchRuleForTwo()) return simplifyAny();
      dropAbsorbed();
    }
    return makeDisjunction();
  }

  /// Whether larger sets may do.
  bool isFull() const { return factors.areFull(); }

 private:
  using Factors = NumberedFactors<numWords>;
  using Set = typename Factors::Set;
  template <class Value, std::size_t count>
  using Few = typename Factors::template Few<Value, count>;

  struct Member {
    Set factors;
    Set meeting;  // what they meet, where it matters
  };

  bool takeApart(const Lists& aLists);
  bool makeProducts(const Lists& aLists);
  bool addProduct(const Set& aPick);
  Set groupOf(std::size_t aFactor, const Set& aAll) const;
  bool mayBecomeDisjunction(SymbolicExprId aFactor) const;
  std::optional<Set> simplifyGroup(const Set& aGroup);
  bool mayMatchRuleForOne() const;
  void putInOrder();
  bool mayMatchRuleForTwo() const;
  bool holds(const Set& aProduct) const {
    return std::binary_search(products.begin(), products.end(), aProduct);
  }
  void dropAbsorbed();
  Ids makeConjunctions();
  SymbolicExprId makeDisjunction();
  SymbolicExprId simplifyAny();

  SimplifyContext& c;
  Chains& chains;
  Factors factors;
  Few<Member, 32> members;  // of all lists
  // Whether lists have no factors in common, nor factors that meet.
  bool areApart = true;
  Few<Set, 64> products;
  typename Factors::Order order;
  // What becomes of factors that meet; the empty set where they contradict each other.
  boost::unordered_flat_map<Set, Set> simplified;
};

// ---------------------------------------------------------------------------------------------
// Picking

template <std::size_t numWords>
bool SetDistribution<numWords>::takeApart(const Lists& aLists) {
  return std::all_of(aLists.members.begin(), aLists.members.end(), [this](SymbolicExprId aMember) {
    return factors.addTo(members.emplace_back().factors, aMember);
  });
}

// Makes the products of all picks. False where one cannot be made.
template <std::size_t numWords>
bool SetDistribution<numWords>::makeProducts(const Lists& aLists) {
  Set taken, meeting;
  bool mayMeet = false;
  const Member* member = members.data();
  for (const std::size_t end : aLists.ends) {
    Set all;
    for (; member != members.data() + end; ++member) all |= member->factors;
    areApart = areApart && !all.hasCommon(taken);
    mayMeet = mayMeet || all.hasCommon(meeting);
    if (end == members.size()) break;
    taken |= all;
    meeting |= factors.meeting(all);
  }
  if (mayMeet) {
    areApart = false;
    for (Member& one : members) one.meeting = factors.meeting(one.factors);
  }
  return forEachPick(aLists, [&](const auto& aPicks) {
    Set pick, met;
    bool meets = false;
    for (const std::size_t picked : aPicks) {
      Set fresh = members[picked].factors;
      fresh -= pick;
      meets = meets || fresh.hasCommon(met);
      pick |= fresh;
      met |= members[picked].meeting;
    }
    if (meets) return addProduct(pick);
    products.push_back(pick);
    return true;
  });
}

// Adds the product of a pick in which factors of different members may meet, unless they contradict
// each other.
template <std::size_t numWords>
bool SetDistribution<numWords>::addProduct(const Set& aPick) {
  Set product, left = aPick;
  while (!left.isEmpty()) {
    const Set group = groupOf(left.first(), left);
    left -= group;
    if (group.isOne()) {
      product |= group;
      continue;
    }
    auto known = simplified.find(group);
    if (known == simplified.end()) {
      const std::optional<Set> result = simplifyGroup(group);
      if (!result) return false;
      known = simplified.emplace(group, *result).first;
    }
    if (known->second.isEmpty()) return true;
    product |= known->second;
  }
  products.push_back(product);
  return true;
}

// The factors of a set that meet one, by way of others or not.
template <std::size_t numWords>
typename SetDistribution<numWords>::Set SetDistribution<numWords>::groupOf(std::size_t aFactor,
                                                                           const Set& aAll) const {
  Set group, open;
  open.add(aFactor);
  while (!open.isEmpty()) {
    const std::size_t next = open.first();
    group.add(next);
    open |= factors.meeting(next);
    open &= aAll;
    open -= group;
  }
  return group;
}

// Whether others may leave a disjunction of the factor: a && !(a && !(b || c)) -> b || c. What a
// factor is about is little, and so is what is below it.
template <std::size_t numWords>
bool SetDistribution<numWords>::mayBecomeDisjunction(SymbolicExprId aFactor) const {
  const NodeView factor = c.node(aFactor);
  if (!factor.is(SymbolicOp::Not) || !c.node(factor.left()).is(SymbolicOp::And)) return false;
  Ids open{factor.left()};
  while (!open.empty()) {
    const NodeView node = c.node(open.back());
    open.pop_back();
    if (node.is(SymbolicOp::Or)) return true;
    if (node.is(SymbolicOp::And)) open.insert(open.end(), {node.left(), node.right()});
    if (node.is(SymbolicOp::Not)) open.push_back(node.left());
  }
  return false;
}

// What the general rules make of factors; nothing where that is no conjunction of factors. None is
// distributed here: what comes of that would have to be distributed again.
template <std::size_t numWords>
std::optional<typename SetDistribution<numWords>::Set> SetDistribution<numWords>::simplifyGroup(
    const Set& aGroup) {
  Operands operands(c, conjunction);
  bool mayDistribute = false;
  aGroup.forEach([&](std::size_t aFactor) {
    mayDistribute = mayDistribute || mayBecomeDisjunction(factors[aFactor]);
    operands.add(factors[aFactor]);
  });
  if (mayDistribute) return std::nullopt;
  const SymbolicExprId result = chains.simplify(operands);
  Set set;
  if (result == c.constant(false)) return set;
  return factors.addTo(set, result) ? std::optional(set) : std::nullopt;
}

// ---------------------------------------------------------------------------------------------
// Rules for the products of a disjunction

// Whether a rule may apply to a product of one factor, as an operand of the disjunction.
template <std::size_t numWords>
bool SetDistribution<numWords>::mayMatchRuleForOne() const {
  Set ones, all;
  for (const Set& product : products) {
    all |= product;
    if (product.isOne()) ones |= product;
  }
  if (ones.isEmpty()) return false;
  bool mayMatch = false;
  ones.forEach([&](std::size_t aFactor) {
    mayMatch = mayMatch || c.node(factors[aFactor]).is(SymbolicOp::Not) ||
               factors.meeting(aFactor).hasCommon(ones);
  });
  // a || (!a && b) -> a || b
  const auto complements = factors.complements();
  return mayMatch || std::any_of(complements.begin(), complements.end(), [&](const auto& aPair) {
           const auto [a, b] = aPair;
           return (ones.contains(a) && all.contains(b)) || (ones.contains(b) && all.contains(a));
         });
}

template <std::size_t numWords>
void SetDistribution<numWords>::putInOrder() {
  factors.order(order);
  for (Set& product : products) product = order.renumbered(product);
  std::sort(products.begin(), products.end());
  products.erase(std::unique(products.begin(), products.end()), products.end());
}

// Whether a rule other than absorption may apply to two products.
template <std::size_t numWords>
bool SetDistribution<numWords>::mayMatchRuleForTwo() const {
  // a && b || !(a && b) && c -> a && b || c
  for (const TextOrder::Text& factor : order.factors) {
    const NodeView node = c.node(factor.id);
    if (!node.is(SymbolicOp::Not) || !c.node(node.left()).is(SymbolicOp::And)) continue;
    const std::optional<Set> set = factors.find(node.left());
    if (set && holds(order.renumbered(*set))) return true;
  }
  // (a && b) || (a && !b) -> a
  for (const auto& [first, second] : factors.complements()) {
    for (const Set& product : products) {
      if (!product.contains(order.numbers[first])) continue;
      Set partner = product;
      partner.remove(order.numbers[first]);
      partner.add(order.numbers[second]);
      if (holds(partner)) return true;
    }
  }
  return false;
}

// (a && b) || (a && b && c) -> a && b
template <std::size_t numWords>
void SetDistribution<numWords>::dropAbsorbed() {
  struct Sized {
    std::size_t size;
    Set product;
  };
  Few<Sized, 64> bySize;
  for (const Set& product : products) bySize.push_back({product.size(), product});
  std::sort(bySize.begin(), bySize.end(),
            [](const Sized& a, const Sized& b) { return a.size < b.size; });
  // Those that are left move to the front.
  auto end = bySize.begin(), smallerEnd = end;
  for (auto i = bySize.begin(); i != bySize.end(); ++i) {
    if (end != bySize.begin() && end[-1].size < i->size) smallerEnd = end;
    if (std::none_of(bySize.begin(), smallerEnd, [&](const Sized& aSmaller) {
          return aSmaller.product.isSubsetOf(i->product);
        })) {
      *end++ = *i;
    }
  }
  products.clear();
  std::transform(bySize.begin(), end, std::back_inserter(products),
                 [](const Sized& aSized) { return aSized.product; });
  std::sort(products.begin(), products.end());
}

// ---------------------------------------------------------------------------------------------
// Building

// The conjunctions of the products, in their order. Each begins with the links that it has in
// common with the one before.
template <std::size_t numWords>
Ids SetDistribution<numWords>::makeConjunctions() {
  struct Link {
    std::size_t factor;
    SymbolicExprId chain;
  };
  Few<Link, 64> links(factors.size());
  std::size_t numLinks = 0;
  Ids ids;
  for (const Set* product = products.data(); product != products.data() + products.size();
       ++product) {
    const std::size_t first = numLinks == 0 ? 0 : product->firstDifference(product[-1]);
    while (numLinks > 0 && links[numLinks - 1].factor >= first) --numLinks;
    product->forEach(
        [&](std::size_t aFactor) {
          const SymbolicExprId id = order.factors[aFactor].id;
          const SymbolicExprId chain =
              numLinks == 0 ? id : intern<SymbolicAndExpr>(c.table, links[numLinks - 1].chain, id);
          links[numLinks++] = {aFactor, chain};
        },
        first);
    ids.push_back(links[numLinks - 1].chain);
    c.finals.addChain(ids.back());
  }
  return ids;
}

template <std::size_t numWords>
SymbolicExprId SetDistribution<numWords>::makeDisjunction() {
  Ids ids = makeConjunctions();
  if (ids.size() == 1) return ids.front();
  if (!order.isOfConjunctions) return canonicalChain(c, SymbolicOp::Or, std::move(ids));
  // Two conjunctions are in order.
  const auto isConjunction = [this](SymbolicExprId aId) { return c.node(aId).is(SymbolicOp::And); };
  if (ids.size() == 2 && !(isConjunction(ids[0]) && isConjunction(ids[1]))) {
    orderTwo(c, ids[0], ids[1]);
  }
  return makeChain(c, SymbolicOp::Or, ids);
}

template <std::size_t numWords>
SymbolicExprId SetDistribution<numWords>::simplifyAny() {
  Operands disjuncts(c, disjunction);
  for (const SymbolicExprId id : makeConjunctions()) disjuncts.add(id);
  return chains.simplify(disjuncts);
}

// At least so many factors the lists have: of one list, all members that are no conjunctions.
std::size_t leastFactors(const SimplifyContext& c, const Lists& aLists) {
  std::ptrdiff_t least = 0;
  auto member = aLists.members.begin();
  for (const std::size_t end : aLists.ends) {
    const auto last = aLists.members.begin() + static_cast<std::ptrdiff_t>(end);
    least = std::max<std::ptrdiff_t>(least, std::count_if(member, last, [&](SymbolicExprId aId) {
                                       return !c.node(aId).is(SymbolicOp::And);
                                     }));
    member = last;
  }
  return static_cast<std::size_t>(least);
}

// Tries sets of so many words, then of more if these are too small.
template <std::size_t numWords, std::size_t... more>
std::optional<SymbolicExprId> distributeSets(SimplifyContext& c, Chains& aChains,
                                             DisjointJoin& aJoin, const Lists& aLists,
                                             std::size_t aLeastFactors) {
  std::optional<SymbolicExprId> result;
  bool areTooSmall = aLeastFactors > FactorSet<numWords>::capacity;
  if (!areTooSmall) {
    SetDistribution<numWords> distribution(c, aChains, aJoin);
    result = distribution.distribute(aLists);
    areTooSmall = !result && distribution.isFull();
  }
  if constexpr (sizeof...(more) > 0) {
    if (areTooSmall) return distributeSets<more...>(c, aChains, aJoin, aLists, aLeastFactors);
  }
  return result;
}

}  // namespace

std::optional<SymbolicExprId> distributeSets(SimplifyContext& c, Chains& aChains,
                                             DisjointJoin& aJoin, const Lists& aLists) {
  return distributeSets<1, 8>(c, aChains, aJoin, aLists, leastFactors(c, aLists));
}

}  // namespace KS::detail
