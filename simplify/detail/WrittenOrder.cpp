#include "simplify/detail/WrittenOrder.hpp"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <vector>

namespace KS::detail {

// A link comes to `first || second` where its two operands come to the one and the other, or where
// both come to that. Inputs are older than their users, so ids tell the order of links.
bool WrittenOrder::comesTo(SymbolicExprId aFirst, SymbolicExprId aSecond) const {
  std::vector<SymbolicExprId> links{whole};
  boost::unordered_flat_map<SymbolicExprId, bool> comes{{whole, false}};
  for (std::size_t i = 0; i < links.size(); ++i) {
    const NodeView node = c.node(links[i]);
    for (const SymbolicExprId input : {node.left(), node.right()}) {
      if (isOpenLink(input) && comes.emplace(input, false).second) links.push_back(input);
    }
  }
  std::sort(links.begin(), links.end());
  const auto isThat = [&](SymbolicExprId aInput) {
    if (isOpenLink(aInput)) return comes.at(aInput);
    const NodeView node = c.node(results.find(aInput));
    return node.is(SymbolicOp::Or) && node.left() == aFirst && node.right() == aSecond;
  };
  const auto isOperand = [&](SymbolicExprId aInput, SymbolicExprId aOperand) {
    return !isOpenLink(aInput) && results.find(aInput) == aOperand;
  };
  for (const SymbolicExprId link : links) {
    const NodeView node = c.node(link);
    comes.at(link) = (isThat(node.left()) && isThat(node.right())) ||
                     (isOperand(node.left(), aFirst) && isOperand(node.right(), aSecond));
  }
  return comes.at(whole);
}

}  // namespace KS::detail
