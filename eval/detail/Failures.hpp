// What has no value, and how that is told.
#pragma once

#include <string>

#include "base/KSSymbolicExpr.hpp"
#include "eval/Eval.hpp"
#include "eval/SymbolicExprEvalError.hpp"

namespace KS::Eval::detail {

/// The text of a symbol.
inline const std::string& nameOf(const SymbolicExpr& aSymbol) {
  return static_cast<const SymbolicString&>(aSymbol).getText();
}

/// Whether a symbol for which nothing is bound or registered has a value all the same, which then
/// is `aValue`: "true" and "false" have.
bool isBoolean(const SymbolicExpr& aSymbol, Scalar& aValue);

/// Why a symbol, a call or a member access has no value.
std::string noValueText(const SymbolicExprTable& aTable, const SymbolicExpr& aExpr);

/// Why there is no truth value.
std::string noTruthText(const Value& aList);

/// Throws `SymbolicExprEvalError` for operands with so many elements each, which differ.
[[noreturn]] void failOnLengths(std::size_t aLeft, std::size_t aRight);

/// Throws `SymbolicExprEvalError` for a list whose element with that number, from 1, is a list.
[[noreturn]] void failOnListInList(std::size_t aElement);

/// Why what leads back to the node `aId` has no value. The way round is what was entered since that
/// node: the ids of the path's frames. There is a symbol on it, the one that leads to something
/// newer than itself; the way is told from the first symbol on it to where that comes again.
template <class Path>
std::string cycleText(const SymbolicExprTable& aTable, const Path& aPath, SymbolicExprId aId) {
  std::string first;
  std::string names;
  bool isOnWay = false;
  for (const auto& frame : aPath) {
    isOnWay = isOnWay || frame.id == aId;
    const SymbolicExpr& node = *aTable.get(frame.id);
    if (!isOnWay || static_cast<SymbolicOp>(node.getKind()) != SymbolicOp::String) continue;
    const std::string name = "'" + nameOf(node) + "'";
    if (first.empty()) first = name;
    names += name + " -> ";
  }
  return "the value of a symbol leads back to itself: " + names + first;
}

/// Throws `std::invalid_argument`, which names `aFunction`, for a list without elements: no
/// expression has it for its value.
void requireElements(const Value& aValue, const char* aFunction);

}  // namespace KS::Eval::detail
