#include "eval/detail/Failures.hpp"

#include <stdexcept>

namespace KS::Eval::detail {

bool isBoolean(const SymbolicExpr& aSymbol, Scalar& aValue) {
  const std::string& name = nameOf(aSymbol);
  if (name != "true" && name != "false") return false;
  aValue = name == "true";
  return true;
}

std::string noValueText(const SymbolicExprTable& aTable, const SymbolicExpr& aExpr) {
  const auto op = static_cast<SymbolicOp>(aExpr.getKind());
  if (op == SymbolicOp::String) return "the symbol '" + nameOf(aExpr) + "' has no value";
  if (op == SymbolicOp::MemberValue) {
    return "the member access '." + static_cast<const SymbolicMemberValue&>(aExpr).getMember() +
           "' has no value";
  }
  const SymbolicExpr& function = *aTable.get(aExpr.getInput(0));
  const bool isNamed = static_cast<SymbolicOp>(function.getKind()) == SymbolicOp::String;
  return "the call of '" + (isNamed ? nameOf(function) : std::string("?")) + "' has no value";
}

std::string noTruthText(const Value& aList) {
  return "a list of " + std::to_string(aList.vector().size()) +
         " elements where a truth value is needed";
}

void failOnLengths(std::size_t aLeft, std::size_t aRight) {
  throw SymbolicExprEvalError("operands of different lengths: a vector of " +
                              std::to_string(aLeft) + " and a vector of " + std::to_string(aRight) +
                              " elements");
}

void failOnListInList(std::size_t aElement) {
  throw SymbolicExprEvalError("a list inside a list: element " + std::to_string(aElement) +
                              " of the outer one is a list");
}

void requireElements(const Value& aValue, const char* aFunction) {
  if (aValue.tag() != Value::Vector || !aValue.vector().empty()) return;
  throw std::invalid_argument(std::string(aFunction) + ": a list has an element at least");
}

}  // namespace KS::Eval::detail
