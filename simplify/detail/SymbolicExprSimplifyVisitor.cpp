#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

#include <algorithm>
#include <vector>

#include "simplify/detail/Arithmetic.hpp"
#include "simplify/detail/NegatedOperands.hpp"
#include "simplify/detail/Products.hpp"
#include "simplify/detail/Relations.hpp"

namespace KS {

using namespace detail;

namespace {

// Whether there is a visit with rules for the kind; all others are rebuilt from their operands.
bool hasRules(SymbolicOp aKind) {
  static_assert(numKinds == 32, "a new kind: does simplification have rules for it?");
  return aKind >= SymbolicOp::Plus && aKind <= SymbolicOp::Not && aKind != SymbolicOp::UnaryMinus &&
         aKind != SymbolicOp::Modulo;
}

}  // namespace

SymbolicExprSimplifyVisitor::SymbolicExprSimplifyVisitor(SymbolicExprTable& aTable)
    : SymbolicExprXFormVisitor(aTable), context(aTable), chains(context), results(context.finals) {}
SymbolicExprSimplifyVisitor::~SymbolicExprSimplifyVisitor() = default;

// ---------------------------------------------------------------------------------------------
// The walk

void SymbolicExprSimplifyVisitor::restart() {
  results.clear();
  context.order.trim();
  context.distributedLiterals = 0;
}

SymbolicExprId SymbolicExprSimplifyVisitor::pass(SymbolicExprId aId) {
  return rewriteDistinct(stack, aId, *this);
}

std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::conjoin(SymbolicExprId a,
                                                                   SymbolicExprId b) {
  if (!isFinal(a) || !isFinal(b)) return std::nullopt;
  // true && b -> b
  if (a == context.constant(true)) return b;
  const SymbolicExprId both[] = {a, b};
  const SymbolicExprId result = chains.simplify(conjunction, both, 2);
  return isFinal(result) ? std::optional(result) : std::nullopt;
}

// The operands of a chain are those of all its links but for final ones, which are operands as they
// are; where both operands of a link are one, so is the link.
template <class List>
void SymbolicExprSimplifyVisitor::appendOperands(SymbolicExprId aId, List& aOperands) const {
  const NodeView node = context.node(aId);
  if (!node.isConnective()) {
    appendInputs(result(), aId, aOperands);
  } else if (node.left() == node.right()) {
    if (node.left() >= aId) detail::failBadInput();
    aOperands.push_back(node.left());
  } else {
    detail::appendOperands(context, node.kind(), aId, aOperands,
                           [this](SymbolicExprId aLink) { return isFinal(aLink); });
  }
}

SymbolicExprId SymbolicExprSimplifyVisitor::rewrite(SymbolicExprId aId,
                                                    const SymbolicExprId* aOperands,
                                                    std::size_t aCount) {
  Visited node{aId, aOperands, aCount, invalidSymbolicExprId};
  if (hasRules(context.node(aId).kind())) {
    visited = &node;
    visitNode(*result().get(aId), *this);
    visited = nullptr;
  } else {
    node.result = rebuild(node);
  }
  if (node.result == aId) context.finals.addUnchanged(aId);
  results.add(aId, node.result);
  return node.result;
}

// A node of a kind without rules over its new operands.
SymbolicExprId SymbolicExprSimplifyVisitor::rebuild(const Visited& aNode) {
  const SymbolicExpr& node = *result().get(aNode.id);
  bool isUnchanged = true;
  for (std::size_t i = 0; i < aNode.count; ++i) {
    isUnchanged = isUnchanged && aNode.operands[i] == node.getInput(i);
  }
  if (isUnchanged) return aNode.id;
  for (std::size_t i = 0; i < aNode.count; ++i) push(aNode.operands[i]);
  visitNode(node, *this);
  return pop();
}

// ---------------------------------------------------------------------------------------------
// Visits

SymbolicExprSimplifyVisitor::Two SymbolicExprSimplifyVisitor::takeTwo() {
  if (visited != nullptr) return {visited->operands[0], visited->operands[1]};
  const SymbolicExprId R = pop();
  return {pop(), R};
}

void SymbolicExprSimplifyVisitor::give(SymbolicExprId aResult) {
  if (visited != nullptr) {
    visited->result = aResult;
  } else {
    push(aResult);
  }
}

void SymbolicExprSimplifyVisitor::visit(const SymbolicPlusExpr&) {
  auto [L, R] = takeTwo();
  orderSum(context, L, R);
  give(simplifySum(result(), L, R));
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicMinusExpr&) {
  const auto [L, R] = takeTwo();
  give(simplifyDifference(result(), L, R));
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicMultiplyExpr&) {
  auto [L, R] = takeTwo();
  orderProduct(context, L, R);
  give(simplifyProduct(result(), L, R));
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicDivideExpr&) {
  const auto [L, R] = takeTwo();
  give(simplifyQuotient(result(), L, R));
}

void SymbolicExprSimplifyVisitor::visitRelation(SymbolicOp aOp) {
  const auto [L, R] = takeTwo();
  give(simplifyRelation(context, {aOp, L, R}));
}

void SymbolicExprSimplifyVisitor::visit(const SymbolicNotExpr&) {
  give(simplifyNot(context, visited != nullptr ? visited->operands[0] : pop()));
}

void SymbolicExprSimplifyVisitor::visitChain(const Connective& aKind) {
  if (visited != nullptr) {
    const WrittenOrder written(context, results, visited->id);
    return give(chains.simplify(aKind, visited->operands, visited->count, &written));
  }
  const auto [L, R] = takeTwo();
  const SymbolicExprId both[] = {L, R};
  give(chains.simplify(aKind, both, 2));
}

// ---------------------------------------------------------------------------------------------
// The rules one by one

void SymbolicExprSimplifyVisitor::orderTop(void (*aOrder)(SimplifyContext&, SymbolicExprId&,
                                                          SymbolicExprId&)) {
  SymbolicExprId R = pop(), L = pop();
  aOrder(context, L, R);
  push(L);
  push(R);
}

void SymbolicExprSimplifyVisitor::addOperands(const Connective& aKind, const SymbolicExpr& aChain,
                                              OperandSet& aSet) const {
  Operands operands(context, aKind);
  operands.add(aChain.getId(result()));
  const Ids all = operands.list();
  aSet.insert(all.begin(), all.end());
}

void SymbolicExprSimplifyVisitor::decideByNotTerm(const Connective& aKind, OperandSet& aSet,
                                                  SymbolicExprId aNotTerm) const {
  Operands operands(context, aKind);
  for (const SymbolicExprId operand : aSet) operands.add(operand);
  if (NegatedOperands(context, operands).decides(aNotTerm)) {
    aSet = {context.constant(aKind.absorbing)};
  }
}

void SymbolicExprSimplifyVisitor::simplifyORExprForAbsorptionRule(
    OperandSet& aSet, const SymbolicExprId& aTerm) const {
  Ids factors;
  detail::appendOperands(context, SymbolicOp::And, aTerm, factors);
  if (hasFactorOfOperands(context, factors.data(), factors.data() + factors.size(),
                          [&](SymbolicExprId aId) { return aSet.contains(aId); })) {
    aSet.erase(aTerm);
  }
}

}  // namespace KS
