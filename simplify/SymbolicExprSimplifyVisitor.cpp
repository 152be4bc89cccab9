#include "simplify/detail/SymbolicExprSimplifyVisitor.hpp"

#include "base/detail/Walk.hpp"

namespace KS {

namespace {

bool isChain(SymbolicOp aOp) { return aOp == SymbolicOp::And || aOp == SymbolicOp::Or; }

// Whether the visit of the kind has rules; all other kinds are rebuilt from their operands.
bool hasRules(SymbolicOp aOp) {
  return (aOp >= SymbolicOp::Plus && aOp <= SymbolicOp::Not && aOp != SymbolicOp::UnaryMinus &&
          aOp != SymbolicOp::Modulo);
}

}  // namespace

SymbolicExprSimplifyVisitor::SymbolicExprSimplifyVisitor(SymbolicExprTable& aTable)
    : SymbolicExprXFormVisitor(aTable), order(aTable), unrelated(aTable, order) {}
SymbolicExprSimplifyVisitor::~SymbolicExprSimplifyVisitor() = default;

int SymbolicExprSimplifyVisitor::compareExprs(const SymbolicExprId& aLhs,
                                              const SymbolicExprId& aRhs) const {
  return order.compare(aLhs, aRhs);
}

// Whether a pass gives the id back, as far as that is known.
bool SymbolicExprSimplifyVisitor::isFixed(SymbolicExprId aId) const {
  return detail::Digests::isSimplified(table(), aId);
}

void SymbolicExprSimplifyVisitor::restart() {
  // Emptying a map takes time in the most that it ever held.
  constexpr std::size_t few = 256;
  if (results.bucket_count() > few) {
    results = {};
  } else if (!results.empty()) {
    results.clear();
  }
  order.trim();
  disjunctsLeft = maxDisjunctsInAll;
  limitReached = false;
}

SymbolicExprId SymbolicExprSimplifyVisitor::pass(SymbolicExprId aId) {
  if (isFixed(aId)) return aId;
  if (const auto known = results.find(aId); known != results.end()) return known->second;
  enter(aId);
  for (;;) {
    Frame& top = path.back();
    if (top.next < operands.size()) {
      const SymbolicExprId operand = operands[top.next];
      if (isFixed(operand)) {
        ++top.next;
      } else if (const auto known = results.find(operand); known != results.end()) {
        operands[top.next++] = known->second;
      } else {
        enter(operand);
      }
      continue;
    }
    const Frame done = top;
    const SymbolicExprId simplified = apply(done.id, done.first);
    if (simplified == done.id && !limitReached) {
      detail::Digests::setSimplified(table(), simplified);
    } else {
      results.emplace(done.id, simplified);
    }
    operands.resize(done.first);
    path.pop_back();
    if (path.empty()) return simplified;
    operands[path.back().next++] = simplified;
  }
}

std::optional<SymbolicExprId> SymbolicExprSimplifyVisitor::conjoin(SymbolicExprId a,
                                                                   SymbolicExprId b) {
  if (!isFixed(a) || !isFixed(b)) return std::nullopt;
  const SymbolicExprId both[] = {a, b};
  const SymbolicExprId result = simplifyChain(detail::conjunction, both, 2);
  return isFixed(result) ? std::optional(result) : std::nullopt;
}

// Opens a frame whose operands are the node's inputs, or the operands of the whole chain.
void SymbolicExprSimplifyVisitor::enter(SymbolicExprId aId) {
  const SymbolicOp op = kindOf(aId);
  const std::size_t first = operands.size();
  if (isChain(op)) {
    appendChain(op, aId, operands, true);
  } else {
    const SymbolicExpr& node = *table().get(aId);
    for (std::size_t i = 0, n = node.getNumInputs(); i < n; ++i) {
      operands.push_back(detail::checkedInput(node, aId, i));
    }
  }
  path.push_back({aId, first, first});
}

// The result for a node whose operands, simplified, lie in `operands` from `aFirst` on.
SymbolicExprId SymbolicExprSimplifyVisitor::apply(SymbolicExprId aId, std::size_t aFirst) {
  const SymbolicOp op = kindOf(aId);
  if (isChain(op)) {
    return simplifyChain(op == SymbolicOp::And ? detail::conjunction : detail::disjunction,
                         operands.data() + aFirst, operands.size() - aFirst);
  }
  if (detail::isRelation(op)) return simplifyRelation({op, operands[aFirst], operands[aFirst + 1]});
  if (op == SymbolicOp::Not) return simplifyNot(operands[aFirst]);
  const SymbolicExpr& node = *table().get(aId);
  if (!hasRules(op)) {
    bool unchanged = true;
    for (std::size_t i = aFirst; i < operands.size(); ++i) {
      unchanged = unchanged && operands[i] == node.getInput(i - aFirst);
    }
    if (unchanged) return aId;
  }
  for (std::size_t i = aFirst; i < operands.size(); ++i) push(operands[i]);
  detail::visitNode(node, *this);
  return pop();
}

void SymbolicExprSimplifyVisitor::visit(const SymbolicAndExpr&) {
  const std::vector<SymbolicExprId> both = pop(2);
  push(simplifyChain(detail::conjunction, both.data(), both.size()));
}

void SymbolicExprSimplifyVisitor::visit(const SymbolicOrExpr&) {
  const std::vector<SymbolicExprId> both = pop(2);
  push(simplifyChain(detail::disjunction, both.data(), both.size()));
}

}  // namespace KS
