// How operators are written: spelling in both dialects and binding strength, in one table.
#pragma once

#include <array>
#include <cstddef>

#include "base/detail/Kinds.hpp"

namespace KS::detail {

/// An operator's spelling and strength.
struct OperatorText {
  const char* mSyntax = nullptr;
  const char* cSyntax = nullptr;
  unsigned precedence = 0;

  /// The spelling in a dialect; null for a kind that is no operator.
  constexpr const char* spelling(bool aMSyntax) const { return aMSyntax ? mSyntax : cSyntax; }
};

/// The precedence of a text that is never wrapped.
inline constexpr unsigned leafPrecedence = 0;
/// The precedence of calls, lists and member access.
inline constexpr unsigned postfixPrecedence = 2;
/// The precedence of a conjunction, which the preprocessor form sets off inside a disjunction.
inline constexpr unsigned andPrecedence = 13;

/// By kind code. A larger precedence binds more loosely, as C orders its operators.
inline constexpr std::array<OperatorText, numKinds> operatorTexts = [] {
  static_assert(numKinds == 32, "a new kind: is it an operator with a spelling?");
  std::array<OperatorText, numKinds> all{};
  const auto set = [&all](SymbolicOp aOp, const char* aMSyntax, const char* aCSyntax,
                          unsigned aPrecedence) {
    all[static_cast<std::size_t>(aOp)] = OperatorText{aMSyntax, aCSyntax, aPrecedence};
  };
  set(SymbolicOp::UnaryMinus, "-", "-", 3);
  set(SymbolicOp::Not, "~", "!", 3);
  set(SymbolicOp::BitCompl, "~", "~", 3);
  set(SymbolicOp::Multiply, "*", "*", 5);
  set(SymbolicOp::Divide, "/", "/", 5);
  set(SymbolicOp::Modulo, "%", "%", 5);
  set(SymbolicOp::Plus, "+", "+", 6);
  set(SymbolicOp::Minus, "-", "-", 6);
  set(SymbolicOp::ShiftLeft, "<<", "<<", 7);
  set(SymbolicOp::ShiftRight, ">>", ">>", 7);
  set(SymbolicOp::LessThan, "<", "<", 8);
  set(SymbolicOp::LessThanEqual, "<=", "<=", 8);
  set(SymbolicOp::GreaterThan, ">", ">", 8);
  set(SymbolicOp::GreaterThanEqual, ">=", ">=", 8);
  set(SymbolicOp::Equal, "==", "==", 9);
  set(SymbolicOp::NotEqual, "~=", "!=", 9);
  set(SymbolicOp::BitAnd, "&", "&", 10);
  set(SymbolicOp::BitXOr, "^", "^", 11);
  set(SymbolicOp::BitOr, "|", "|", 12);
  set(SymbolicOp::And, "&&", "&&", andPrecedence);
  set(SymbolicOp::Or, "||", "||", 14);
  set(SymbolicOp::MemberValue, ".", ".", postfixPrecedence);
  return all;
}();

/// The table's line for a kind.
constexpr const OperatorText& operatorText(SymbolicOp aOp) {
  return operatorTexts[static_cast<std::size_t>(aOp)];
}

}  // namespace KS::detail
