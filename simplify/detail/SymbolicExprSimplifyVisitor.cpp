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
    : SymbolicExprXFormVisitor(aTable), context(aTable), chains(context) {}
SymbolicExprSimplifyVisitor::~SymbolicExprSimplifyVisitor() = default;

// ---------------------------------------------------------------------------------------------
// The walk

void SymbolicExprSimplifyVisitor::restart() {
  // Emptying a map takes time in the most that it ever held.
  constexpr std::size_t fewResults = 256;
  if (results.bucket_count() > fewResults) {
    results = {};
  } else if (!results.empty()) {
    results.clear();
  }
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
  const SymbolicExprId result = chains.simplify(conjunction, both, 2, *this);
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
  if (node.result == aId) {
    context.finals.addUnchanged(aId);
  } else {
    results.emplace(aId, node.result);
  }
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

void SymbolicExprSimplifyVisitor::visit(const SymbolicEqualExpr&) {
  visitRelation(SymbolicOp::Equal);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicNotEqualExpr&) {
  visitRelation(SymbolicOp::NotEqual);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicLessThanExpr&) {
  visitRelation(SymbolicOp::LessThan);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicLessThanEqualExpr&) {
  visitRelation(SymbolicOp::LessThanEqual);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicGreaterThanExpr&) {
  visitRelation(SymbolicOp::GreaterThan);
}
void SymbolicExprSimplifyVisitor::visit(const SymbolicGreaterThanEqualExpr&) {
  visitRelation(SymbolicOp::GreaterThanEqual);
}
void SymbolicExprSimplifyVisitor::visitRelation(SymbolicOp aOp) {
  const auto [L, R] = takeTwo();
  give(simplifyRelation(context, {aOp, L, R}));
}

void SymbolicExprSimplifyVisitor::visit(const SymbolicNotExpr&) {
  give(simplifyNot(context, visited != nullptr ? visited->operands[0] : pop()));
}

void SymbolicExprSimplifyVisitor::visit(const SymbolicAndExpr&) { visitChain(conjunction); }
void SymbolicExprSimplifyVisitor::visit(const SymbolicOrExpr&) { visitChain(disjunction); }
void SymbolicExprSimplifyVisitor::visitChain(const Connective& aKind) {
  if (visited != nullptr) {
    return give(chains.simplify(aKind, visited->operands, visited->count, *this));
  }
  const auto [L, R] = takeTwo();
  written = {L, R};
  const SymbolicExprId both[] = {L, R};
  give(chains.simplify(aKind, both, 2, *this));
}

// ---------------------------------------------------------------------------------------------
// How a disjunction is written

bool SymbolicExprSimplifyVisitor::comesTo(SymbolicExprId aFirst, SymbolicExprId aSecond) const {
  return visited != nullptr ? isWrittenAs(visited->id, aFirst, aSecond)
                            : written.L == aFirst && written.R == aSecond;
}

// A link comes to `first || second` where its two operands come to the one and the other, or where
// both come to that. Inputs are older than their users, so ids tell the order of links.
bool SymbolicExprSimplifyVisitor::isWrittenAs(SymbolicExprId aLink, SymbolicExprId aFirst,
                                              SymbolicExprId aSecond) const {
  const auto isOpenLink = [this](SymbolicExprId aId) {
    return context.node(aId).is(SymbolicOp::Or) && !isFinal(aId);
  };
  std::vector<SymbolicExprId> links{aLink};
  boost::unordered_flat_map<SymbolicExprId, bool> comes{{aLink, false}};
  for (std::size_t i = 0; i < links.size(); ++i) {
    const NodeView node = context.node(links[i]);
    for (const SymbolicExprId input : {node.left(), node.right()}) {
      if (isOpenLink(input) && comes.emplace(input, false).second) links.push_back(input);
    }
  }
  std::sort(links.begin(), links.end());
  const auto isThat = [&](SymbolicExprId aInput) {
    if (isOpenLink(aInput)) return comes.at(aInput);
    const NodeView node = context.node(known(aInput));
    return node.is(SymbolicOp::Or) && node.left() == aFirst && node.right() == aSecond;
  };
  const auto isOperand = [&](SymbolicExprId aInput, SymbolicExprId aOperand) {
    return !isOpenLink(aInput) && known(aInput) == aOperand;
  };
  for (const SymbolicExprId link : links) {
    const NodeView node = context.node(link);
    comes.at(link) = (isThat(node.left()) && isThat(node.right())) ||
                     (isOperand(node.left(), aFirst) && isOperand(node.right(), aSecond));
  }
  return comes.at(aLink);
}

// ---------------------------------------------------------------------------------------------
// The rules one by one

int SymbolicExprSimplifyVisitor::compareExprs(const SymbolicExprId& aLhs,
                                              const SymbolicExprId& aRhs) const {
  return context.order.compare(aLhs, aRhs);
}

void SymbolicExprSimplifyVisitor::normalizeAdd() {
  SymbolicExprId R = pop(), L = pop();
  orderSum(context, L, R);
  push(L);
  push(R);
}

void SymbolicExprSimplifyVisitor::normalizeMultiply() {
  SymbolicExprId R = pop(), L = pop();
  orderProduct(context, L, R);
  push(L);
  push(R);
}

SymbolicExprId SymbolicExprSimplifyVisitor::normalizeRelOp(SymbolicExprId aId) const {
  return detail::normalizeRelOp(context, aId);
}

SymbolicExprId SymbolicExprSimplifyVisitor::normalizeSymbolicOrExpr(SymbolicExprId aOr) const {
  SymbolicExprId a = context.node(aOr).left(), b = context.node(aOr).right();
  orderTwo(context, a, b);
  return makeChain(context, SymbolicOp::Or, {a, b});
}

void SymbolicExprSimplifyVisitor::getUniqueSymbolicAndExprs(const SymbolicExpr& aAnd,
                                                            OperandSet& aSet) const {
  addOperands(conjunction, aAnd, aSet);
}

void SymbolicExprSimplifyVisitor::getUniqueSymbolicOrExprs(const SymbolicExpr& aOr,
                                                           OperandSet& aSet) const {
  addOperands(disjunction, aOr, aSet);
}

void SymbolicExprSimplifyVisitor::addOperands(const Connective& aKind, const SymbolicExpr& aChain,
                                              OperandSet& aSet) const {
  Operands operands(context, aKind);
  operands.add(aChain.getId(result()));
  const Ids all = operands.list();
  aSet.insert(all.begin(), all.end());
}

void SymbolicExprSimplifyVisitor::simplifyANDExprWithNOTTerms(
    OperandSet& aSet, const SymbolicExprId& aNotTerm) const {
  decideByNotTerm(conjunction, aSet, aNotTerm);
}

void SymbolicExprSimplifyVisitor::simplifyORExprWithNOTTerms(OperandSet& aSet,
                                                             const SymbolicExprId& aNotTerm) const {
  decideByNotTerm(disjunction, aSet, aNotTerm);
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
