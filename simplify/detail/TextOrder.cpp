#include "simplify/detail/TextOrder.hpp"

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <utility>

#include "base/KSSymbolicExpr.hpp"

namespace KS::detail {

TextOrder::TextOrder(const SymbolicExprTable& aTable)
    : table(aTable), printer(aTable, false, false, false) {}

std::string_view TextOrder::text(SymbolicExprId aId) {
  const SymbolicExpr& node = *table.get(aId);
  // A symbol is its own text.
  if (node.getKind() == static_cast<int>(SymbolicOp::String)) {
    return static_cast<const SymbolicString&>(node).getText();
  }
  std::unique_ptr<const std::string>& text = texts[aId];
  if (text == nullptr) text = std::make_unique<const std::string>(printer(aId));
  return *text;
}

int TextOrder::compare(SymbolicExprId a, SymbolicExprId b) {
  return a == b ? 0 : text(a).compare(text(b));
}

void TextOrder::sort(SymbolicExprId* aFirst, SymbolicExprId* aLast) {
  boost::container::small_vector<std::pair<std::string_view, SymbolicExprId>, 12> keyed;
  for (const SymbolicExprId* id = aFirst; id != aLast; ++id) keyed.emplace_back(text(*id), *id);
  std::sort(keyed.begin(), keyed.end());
  std::transform(keyed.begin(), keyed.end(), aFirst, [](const auto& key) { return key.second; });
}

}  // namespace KS::detail
