#include "simplify/detail/Products.hpp"

#include <algorithm>
#include <array>

#include "base/detail/Intern.hpp"

namespace KS::detail {

namespace {

constexpr std::uint32_t bitOf(SymbolicOp aKind) {
  static_assert(numKinds == 32, "a set of kinds has 32 bits");
  return std::uint32_t{1} << static_cast<unsigned>(aKind);
}

}  // namespace

void Products::apply() {
  while (takeNew()) {
    findComplements();
    dropAbsorbedByOperands();
    if (hasComplements) dropImpliedFactors();
    dropAbsorbedByProducts();
    if (hasComplements) mergeComplementary();
    replaceChanged();
    if (operands.isDecided()) return;
  }
}

// Takes what came; returns whether there is a product that it may concern.
bool Products::takeNew() {
  newOperands.clear();
  changed.clear();
  firstNew = static_cast<Index>(products.size());
  firstNewFactor = static_cast<Index>(factors.size());
  operands.forEachSince(seen, [this](SymbolicExprId aOperand) {
    newOperands.push_back(aOperand);
    kindsSeen |= bitOf(c.node(aOperand).kind());
    if (c.node(aOperand).is(SymbolicOp::And)) {
      takeProduct(aOperand);
    } else {
      hasPlainOperands = true;
    }
  });
  seen = operands.end();
  return !products.empty() && !newOperands.empty();
}

void Products::takeProduct(SymbolicExprId aId) {
  if (factors.capacity() == 0) factors.reserve(64);
  const auto first = static_cast<Index>(factors.size());
  appendOperands(c, SymbolicOp::And, aId, factors);
  std::sort(factors.begin() + first, factors.end());
  Product product{aId, first, static_cast<Index>(factors.size()), 0, false, false};
  sign(product);
  for (const SymbolicExprId* factor = begin(product); factor != end(product); ++factor) {
    kindsSeen |= bitOf(c.node(*factor).kind());
  }
  products.push_back(product);
}

// ---------------------------------------------------------------------------------------------
// Complements

// Adds the pairs of what came. Nothing is interned to find them: what the table does not hold is
// neither operand nor factor.
void Products::findComplements() {
  // Mostly the kinds tell that there are none.
  const auto has = [this](SymbolicOp aKind) { return (kindsSeen & bitOf(aKind)) != 0; };
  const auto haveBoth = [&](SymbolicOp a, SymbolicOp b) { return has(a) && has(b); };
  if (!has(SymbolicOp::Not) && !haveBoth(SymbolicOp::Equal, SymbolicOp::NotEqual) &&
      !haveBoth(SymbolicOp::LessThan, SymbolicOp::GreaterThanEqual) &&
      !haveBoth(SymbolicOp::GreaterThan, SymbolicOp::LessThanEqual)) {
    return;
  }
  // In the first round all is new, so each pair is found from one of its two sides.
  const bool isFirstRound = firstNew == 0;
  boost::container::small_vector<IdPair, 8> found;
  const auto add = [&](SymbolicExprId a, SymbolicExprId b) {
    if (b != invalidSymbolicExprId) found.emplace_back(a, b);
  };
  // Products share most of their factors: one that was looked at recently is not looked at again.
  std::array<std::uint32_t, 64> recent;
  recent.fill(NodeDigest::none);
  Ids all;
  const auto find = [&](SymbolicExprId aId) {
    const auto id = static_cast<std::uint32_t>(aId);
    if (std::exchange(recent[id % recent.size()], id) == id) return;
    all.push_back(aId);
    const NodeView node = c.node(aId);
    const SymbolicOp kind = node.kind();
    if (kind == SymbolicOp::Not) add(aId, node.left());
    if (kind == SymbolicOp::NotEqual || kind == SymbolicOp::LessThan ||
        kind == SymbolicOp::GreaterThan || (!isFirstRound && node.isRelation())) {
      add(aId, Intern::find(c.table, counterRelation(kind), node.left(), node.right()));
    }
    if (!isFirstRound) add(aId, Intern::find(c.table, SymbolicOp::Not, aId));
  };
  for (const SymbolicExprId operand : newOperands) find(operand);
  std::for_each(factors.begin() + firstNewFactor, factors.end(), find);
  if (found.empty()) return;
  if (isFirstRound) {
    std::sort(all.begin(), all.end());
    const auto isElsewhere = [&](const IdPair& aPair) {
      return !std::binary_search(all.begin(), all.end(), aPair.second);
    };
    found.erase(std::remove_if(found.begin(), found.end(), isElsewhere), found.end());
  }
  for (const auto& [a, b] : found) {
    if (anyComplement(a, [other = b](SymbolicExprId aId) { return aId == other; })) continue;
    filed().complements.add(a, static_cast<Index>(b));
    filed().complements.add(b, static_cast<Index>(a));
    hasComplements = true;
  }
}

// ---------------------------------------------------------------------------------------------
// a || (a && b) -> a; a || b || (a || b) && c -> a || b

void Products::dropAbsorbedByOperands() {
  std::vector<Index> absorbed;
  for (Index i = firstNew; i < products.size(); ++i) {
    if (isAbsorbedByOperands(products[i])) absorbed.push_back(i);
  }
  if (firstNew > 0) {
    fileUsers(firstNew);
    for (const SymbolicExprId operand : newOperands) {
      files->users.findIf(operand, [&](Index i) {
        if (i < firstNew && !products[i].isGone &&
            (hasFactor(products[i], operand) || isAbsorbedByOperands(products[i]))) {
          absorbed.push_back(i);
        }
        return false;
      });
    }
  }
  // All are found before any goes, so that their order does not matter.
  for (const Index i : absorbed) drop(i);
}

bool Products::isAbsorbedByOperands(const Product& aProduct) const {
  const auto isOperand = [this](SymbolicExprId aId) { return operands.contains(aId); };
  return (hasPlainOperands && std::any_of(begin(aProduct), end(aProduct), isOperand)) ||
         ((kindsSeen & bitOf(SymbolicOp::Or)) != 0 &&
          hasFactorOfOperands(c, begin(aProduct), end(aProduct), isOperand));
}

// ---------------------------------------------------------------------------------------------
// a || (!a && b) -> a || b

void Products::dropImpliedFactors() {
  const auto isOperand = [this](SymbolicExprId aId) { return operands.contains(aId); };
  for (Index i = firstNew; i < products.size(); ++i) {
    if (products[i].isGone) continue;
    const Ids all(begin(products[i]), end(products[i]));
    for (const SymbolicExprId factor : all) {
      if (anyComplement(factor, isOperand)) removeFactor(i, factor);
    }
  }
  if (firstNew == 0) return;
  for (const SymbolicExprId operand : newOperands) {
    if (!operands.contains(operand)) continue;
    anyComplement(operand, [&](SymbolicExprId aFactor) {
      files->users.findIf(aFactor, [&](Index i) {
        if (i < firstNew && !products[i].isGone && hasFactor(products[i], aFactor)) {
          removeFactor(i, aFactor);
        }
        return false;
      });
      return false;
    });
  }
}

// ---------------------------------------------------------------------------------------------
// (a && b) || (a && b && c) -> a && b

void Products::dropAbsorbedByProducts() {
  if (isWorthPairing()) {
    const auto isFresh = [this](Index i) { return i >= firstNew || products[i].isChanged; };
    for (Index i = 0; i < products.size(); ++i) {
      // Most pairs end with the first comparison.
      const std::uint64_t others = ~products[i].signature;
      for (Index other = 0; other < products.size() && !products[i].isGone; ++other) {
        if ((products[other].signature & others) != 0) continue;
        if ((isFresh(i) || isFresh(other)) && absorbs(other, i)) drop(i);
      }
    }
    return;
  }
  // Of many, each is filed under the rarest of its factors. A product looks for smaller ones under
  // all of its factors, and for larger ones among the users of its rarest one.
  countUses();
  std::vector<Index> fresh = changed;
  for (Index i = firstNew; i < products.size(); ++i) fresh.push_back(i);
  const auto isIdle = [this](Index i) { return products[i].isGone || products[i].size() == 0; };
  fresh.erase(std::remove_if(fresh.begin(), fresh.end(), isIdle), fresh.end());
  for (const Index i : fresh) files->byRarestFactor.add(rarestFactor(products[i]), i);
  for (const Index i : fresh) {
    const auto absorbsIt = [&](Index aOther) { return absorbs(aOther, i); };
    if (std::any_of(begin(products[i]), end(products[i]), [&](SymbolicExprId aFactor) {
          return files->byRarestFactor.findIf(aFactor, absorbsIt);
        })) {
      drop(i);
    }
  }
  if (firstNew == 0) return;
  fileUsers(static_cast<Index>(products.size()));
  for (const Index i : fresh) {
    if (products[i].isGone) continue;
    files->users.findIf(rarestFactor(products[i]), [&](Index aOther) {
      if (!products[aOther].isGone && absorbs(i, aOther)) drop(aOther);
      return false;
    });
  }
}

// Whether each product is compared with each. Bits tell few of many factors apart.
bool Products::isWorthPairing() const {
  constexpr std::size_t few = 32, many = 128, fewFactors = 24;
  return products.size() <= few ||
         (products.size() <= many && factors.size() <= fewFactors * products.size());
}

// Whether a product goes because of another. Of two equal ones, one that is as it was stays.
bool Products::absorbs(Index aOther, Index aProduct) const {
  const Product& other = products[aOther];
  const Product& product = products[aProduct];
  if (aOther == aProduct || other.isGone || !isSubset(other, product)) return false;
  if (other.size() < product.size()) return true;
  return other.isChanged == product.isChanged ? aOther < aProduct : product.isChanged;
}

SymbolicExprId Products::rarestFactor(const Product& aProduct) const {
  SymbolicExprId rarest = invalidSymbolicExprId;
  Index least = ~Index{0};
  for (const SymbolicExprId* factor = begin(aProduct); factor != end(aProduct); ++factor) {
    const Index uses = files->numUses.at(*factor);
    if (uses < least) {
      least = uses;
      rarest = *factor;
    }
  }
  return rarest;
}

void Products::countUses() {
  Files& all = filed();
  for (; all.inUses < products.size(); ++all.inUses) {
    std::for_each(begin(products[all.inUses]), end(products[all.inUses]),
                  [&](SymbolicExprId aFactor) { ++all.numUses[aFactor]; });
  }
}

// ---------------------------------------------------------------------------------------------
// (a && b) || (a && !b) -> a

void Products::mergeComplementary() {
  std::vector<Index> candidates;
  for (Index i = firstNew; i < products.size(); ++i) {
    const Product& product = products[i];
    if (product.isGone || product.isChanged) continue;
    for (const SymbolicExprId* factor = begin(product); factor != end(product); ++factor) {
      if (!anyComplement(*factor, [](SymbolicExprId) { return true; })) continue;
      fileByFactors();
      if (const Product* const partner = findPartner(product, *factor)) {
        candidates.insert(candidates.end(), {i, static_cast<Index>(partner - products.data())});
      }
    }
  }
  if (candidates.empty()) return;
  // Which pair merges first must not depend on ids.
  std::sort(candidates.begin(), candidates.end());
  candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
  std::sort(candidates.begin(), candidates.end(),
            [this](Index a, Index b) { return c.order.isBefore(products[a].id, products[b].id); });
  std::vector<std::pair<Index, SymbolicExprId>> merged;
  for (const Index i : candidates) {
    if (products[i].isGone || products[i].isChanged) continue;
    Ids inTextOrder(begin(products[i]), end(products[i]));
    c.order.sort(inTextOrder.data(), inTextOrder.data() + inTextOrder.size());
    for (const SymbolicExprId factor : inTextOrder) {
      const Product* const partner = findPartner(products[i], factor);
      if (partner == nullptr) continue;
      drop(static_cast<Index>(partner - products.data()));
      products[i].isChanged = true;  // one merge a round; what it makes possible comes in the next
      merged.emplace_back(i, factor);
      break;
    }
  }
  for (const auto& [i, factor] : merged) {
    products[i].isChanged = false;
    removeFactor(i, factor);
  }
}

// The product with the same factors but for the complement of one.
const Products::Product* Products::findPartner(const Product& aProduct,
                                               SymbolicExprId aFactor) const {
  const Product* found = nullptr;
  anyComplement(aFactor, [&](SymbolicExprId aComplement) {
    Ids wanted(begin(aProduct), end(aProduct));
    *std::find(wanted.begin(), wanted.end(), aFactor) = aComplement;
    std::sort(wanted.begin(), wanted.end());
    return files->byFactors.findIf(
        hashOf(wanted.data(), wanted.data() + wanted.size()), [&](Index i) {
          const Product& other = products[i];
          if (other.isGone || other.isChanged ||
              !std::equal(wanted.begin(), wanted.end(), begin(other), end(other))) {
            return false;
          }
          found = &other;
          return true;
        });
  });
  return found;
}

// ---------------------------------------------------------------------------------------------
// Factors, and what becomes of products

// What one becomes may be what another was, so all go before any comes.
void Products::replaceChanged() {
  std::vector<Index> left;
  for (const Index i : changed) {
    if (products[i].isGone) continue;
    drop(i);
    left.push_back(i);
  }
  for (const Index i : left) {
    // Without factors it is true.
    if (products[i].size() == 0) return operands.decide();
    operands.add(canonicalChain(c, SymbolicOp::And, Ids(begin(products[i]), end(products[i]))));
  }
}

void Products::drop(Index aProduct) {
  operands.remove(products[aProduct].id);
  products[aProduct].isGone = true;
}

void Products::removeFactor(Index aProduct, SymbolicExprId aFactor) {
  Product& product = products[aProduct];
  SymbolicExprId* const first = factors.data() + product.first;
  SymbolicExprId* const last = std::remove(first, factors.data() + product.last, aFactor);
  product.last = static_cast<Index>(last - factors.data());
  sign(product);
  if (!product.isChanged) changed.push_back(aProduct);
  product.isChanged = true;
}

void Products::sign(Product& aProduct) const {
  aProduct.signature = 0;
  for (const SymbolicExprId* factor = begin(aProduct); factor != end(aProduct); ++factor) {
    aProduct.signature |= std::uint64_t{1} << (*factor % 64);
  }
}

bool Products::hasFactor(const Product& aProduct, SymbolicExprId aFactor) const {
  return std::binary_search(begin(aProduct), end(aProduct), aFactor);
}

bool Products::isSubset(const Product& aProduct, const Product& aOther) const {
  return (aProduct.signature & ~aOther.signature) == 0 && aProduct.size() <= aOther.size() &&
         std::includes(begin(aOther), end(aOther), begin(aProduct), end(aProduct));
}

// The same for every order of the factors.
std::uint64_t Products::hashOf(const SymbolicExprId* aFirst, const SymbolicExprId* aLast) const {
  std::uint64_t sum = 0;
  for (; aFirst != aLast; ++aFirst) {
    std::size_t hash = 0;
    combine(hash, *aFirst);
    sum += hash * 0x9e3779b97f4a7c15;
  }
  return sum;
}

void Products::fileUsers(Index aEnd) {
  Files& all = filed();
  for (; all.inUsers < aEnd; ++all.inUsers) {
    const Product& product = products[all.inUsers];
    if (product.isGone) continue;
    for (const SymbolicExprId* factor = begin(product); factor != end(product); ++factor) {
      all.users.add(*factor, all.inUsers);
      if (!c.node(*factor).is(SymbolicOp::Or)) continue;
      Ids members;
      appendOperands(c, SymbolicOp::Or, *factor, members);
      for (const SymbolicExprId member : members) all.users.add(member, all.inUsers);
    }
  }
}

void Products::fileByFactors() {
  Files& all = filed();
  for (; all.inByFactors < products.size(); ++all.inByFactors) {
    const Product& product = products[all.inByFactors];
    if (!product.isGone) {
      all.byFactors.add(hashOf(begin(product), end(product)), all.inByFactors);
    }
  }
}

}  // namespace KS::detail
