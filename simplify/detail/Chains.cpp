#include "simplify/detail/Chains.hpp"

#include <algorithm>
#include <utility>

#include "simplify/detail/NegatedOperands.hpp"
#include "simplify/detail/Products.hpp"
#include "simplify/detail/RelationPairs.hpp"

namespace KS::detail {

SymbolicExprId Chains::simplify(const Connective& aKind, const SymbolicExprId* aOperands,
                                std::size_t aCount, const WrittenOrder* aWritten) {
  // a && a -> a, a || a -> a
  if (std::all_of(aOperands + 1, aOperands + aCount,
                  [&](SymbolicExprId aOperand) { return aOperand == aOperands[0]; })) {
    return aOperands[0];
  }
  if (aKind.op == SymbolicOp::And && aCount == 2) {
    if (const auto joined = conjoinTwo(aOperands[0], aOperands[1])) return *joined;
  }
  Operands operands(c, aKind);
  for (std::size_t i = 0; i < aCount; ++i) operands.add(aOperands[i]);
  if (const std::optional<SymbolicExprId> reduced = reduce(operands)) return *reduced;
  Ids rest = operands.list();
  if (aKind.op != SymbolicOp::Or || rest.size() != 2) {
    return canonicalChain(c, aKind.op, std::move(rest));
  }
  if (!orderTwo(c, rest[0], rest[1])) {
    if (c.order.isBefore(rest[1], rest[0])) std::swap(rest[0], rest[1]);
    const bool isOtherwise = aWritten != nullptr
                                 ? aWritten->comesTo(rest[1], rest[0])
                                 : aOperands[0] == rest[1] && aOperands[1] == rest[0];
    if (isOtherwise) std::swap(rest[0], rest[1]);
  }
  return makeChain(c, aKind.op, rest);
}

SymbolicExprId Chains::simplify(Operands& aOperands) {
  const std::optional<SymbolicExprId> reduced = reduce(aOperands);
  return reduced ? *reduced : canonicalChain(c, aOperands.connective().op, aOperands.list());
}

// The conjunction of two final operands by one of the faster roads, if one leads there.
std::optional<SymbolicExprId> Chains::conjoinTwo(SymbolicExprId a, SymbolicExprId b) {
  // A conjunction of more operands is long: it may be kept taken apart.
  constexpr std::size_t mostOperandsOfShort = 16;
  if (c.node(a).is(SymbolicOp::Or) || c.node(b).is(SymbolicOp::Or)) {
    return distribution.distributeTwo(a, b);
  }
  if (!c.roads.isOpen(FastRoad::DisjointJoin)) return std::nullopt;
  const std::size_t countA = join.countOperands(a, mostOperandsOfShort + 1);
  const std::size_t countB = join.countOperands(b, mostOperandsOfShort + 1);
  const bool isOther = countA == countB ? growing.knows(b) : countA < countB;
  const SymbolicExprId chain = isOther ? b : a, other = isOther ? a : b;
  const bool mayGrow = std::max(countA, countB) > mostOperandsOfShort &&
                       c.roads.isOpen(FastRoad::GrowingConjunction);
  std::optional<SymbolicExprId> result;
  FastRoad road = FastRoad::GrowingConjunction;
  if (mayGrow && growing.isWorthKeeping(chain)) result = growing.extend(chain, other);
  if (!result) {
    road = FastRoad::DisjointJoin;
    result = join.extend(chain, other);
  }
  if (!result && mayGrow) {
    road = FastRoad::GrowingConjunction;
    result = growing.extend(chain, other);
  }
  if (result) c.roads.took(road);
  if (mayGrow && result) growing.note(chain, *result);
  return result;
}

// Applies the rules to the operands until none changes anything. Returns the result where it is not
// a chain of what is left: a constant, a single operand, or what distribution made.
std::optional<SymbolicExprId> Chains::reduce(Operands& aOperands) {
  const Connective& kind = aOperands.connective();
  std::optional<NegatedOperands> negations;
  std::optional<Products> products;
  std::optional<RelationPairs> relations;
  std::size_t seen = 0, numNegations = 0, numDuals = 0, numRelations = 0;
  for (bool isChanged = true; isChanged && !aOperands.isDecided() && aOperands.size() > 1;) {
    const std::size_t sizeBefore = aOperands.size(), endBefore = aOperands.end();
    // One look at the operands tells which rules can apply.
    aOperands.forEachSince(seen, [&](SymbolicExprId aOperand) {
      const NodeView node = c.node(aOperand);
      numNegations += node.is(SymbolicOp::Not) ? 1 : 0;
      numDuals += node.is(kind.dual) ? 1 : 0;
      numRelations += node.isRelation() ? 1 : 0;
    });
    seen = endBefore;
    if (numDuals > 0 && kind.op == SymbolicOp::And) {
      if (const auto distributed = distribution.distribute(aOperands)) return distributed;
    }
    if (numNegations > 0) {
      if (!negations) negations.emplace(c, aOperands);
      negations->apply();
    }
    if (numDuals > 0 && kind.op == SymbolicOp::Or && !aOperands.isDecided()) {
      if (!products) products.emplace(c, aOperands);
      products->apply();
    }
    if (numRelations > 1 && !aOperands.isDecided()) {
      if (!relations) relations.emplace(c, aOperands);
      relations->apply();
    }
    isChanged = aOperands.size() != sizeBefore || aOperands.end() != endBefore;
  }
  if (aOperands.isDecided()) return c.constant(kind.absorbing);
  if (aOperands.size() == 0) return c.constant(!kind.absorbing);
  if (aOperands.size() == 1) return aOperands.list().front();
  return std::nullopt;
}

}  // namespace KS::detail
