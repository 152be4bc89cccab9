#include "compact/detail/ExpressionSizes.hpp"

#include "base/detail/Walk.hpp"
#include "compact/detail/Saturating.hpp"

namespace KS::detail {

const ExpressionSize& ExpressionSizes::operator()(SymbolicExprId aId) {
  forEachDistinct(
      table, aId, [&](SymbolicExprId aNode) { return sizes.contains(aNode); },
      [&](SymbolicExprId aNode, const SymbolicExpr&) { sizes.emplace(aNode, measure(aNode)); });
  return sizes.find(aId)->second;
}

ExpressionSize ExpressionSizes::measure(SymbolicExprId aId) const {
  const SymbolicExpr& node = *table.get(aId);
  const auto op = static_cast<SymbolicOp>(node.getKind());
  ExpressionSize size;
  size.hasConnective = isConnective(op);
  for (std::size_t i = 0, n = node.getNumInputs(); i < n; ++i) {
    const ExpressionSize& input = sizes.find(node.getInput(i))->second;
    size.literals = saturatingSum(size.literals, input.literals);
    size.nodes = saturatingSum(size.nodes, input.nodes);
    size.hasConnective = size.hasConnective || input.hasConnective;
  }
  // A call's first input is the symbol of its name and counts for the call.
  const bool isBoolean = aId == table.getIdTRUE() || aId == table.getIdFALSE();
  if (op == SymbolicOp::String && !isBoolean) size.literals = 1;
  return size;
}

}  // namespace KS::detail
