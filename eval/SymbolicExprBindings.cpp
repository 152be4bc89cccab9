#include "eval/SymbolicExprBindings.hpp"

#include <stdexcept>
#include <string>
#include <utility>

#include "base/detail/Intern.hpp"
#include "base/detail/NodeView.hpp"
#include "eval/detail/Failures.hpp"
#include "eval/detail/Operations.hpp"

namespace KS {

namespace {

constexpr char setter[] = "KS::SymbolicExprBindings::set";

}  // namespace

SymbolicExprId SymbolicExprBindings::symbolNamed(const std::string& aName) const {
  return detail::Intern::findSymbol(*table, aName);
}

void SymbolicExprBindings::set(const std::string& aName, Eval::Value aValue) {
  Eval::detail::requireElements(aValue, setter);
  const SymbolicExprId symbol = symbolNamed(aName);
  if (symbol == invalidSymbolicExprId) {
    unknownNames.insert_or_assign(aName, std::move(aValue));
  } else {
    values.insert_or_assign(symbol, std::move(aValue));
  }
}

void SymbolicExprBindings::set(SymbolicExprId aId, Eval::Value aValue) {
  Eval::detail::requireElements(aValue, setter);
  if (Eval::detail::isLiteral(static_cast<SymbolicOp>(table->get(aId)->getKind()))) {
    throw std::invalid_argument(setter + std::string(": a literal has its own value"));
  }
  values.insert_or_assign(aId, std::move(aValue));
}

const Eval::Value* SymbolicExprBindings::find(SymbolicExprId aId) const {
  const auto value = values.find(aId);
  if (value != values.end()) return &value->second;
  if (unknownNames.empty() || aId >= table->size()) return nullptr;
  if (!detail::NodeView(*table, aId).is(SymbolicOp::String)) return nullptr;
  const auto& symbol = static_cast<const SymbolicString&>(*table->get(aId));
  const auto named = unknownNames.find(symbol.getText());
  return named == unknownNames.end() ? nullptr : &named->second;
}

}  // namespace KS
