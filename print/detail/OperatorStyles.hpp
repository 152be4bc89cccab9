// What stands around the operands of every kind, per layout.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "print/detail/Operators.hpp"

namespace KS::detail {

/// The choices of a printer.
struct TextLayout {
  bool mSyntax;
  bool spaceLogicalOps;
  bool preprocessor;
};

/// Whether the boolean symbols are written as 0 and 1.
constexpr bool namesBooleans(TextLayout aLayout) {
  return aLayout.preprocessor && !aLayout.mSyntax;
}

/// A set of precedences: those of the operands that need no parentheses in some place.
using Bare = std::uint16_t;

inline constexpr Bare everything = 0xFFFF;
constexpr Bare below(unsigned aPrecedence) { return static_cast<Bare>((1U << aPrecedence) - 1); }

/// How a kind is written in one layout.
struct OperatorStyle {
  char text[8] = {};  // with its blanks, copied as a whole
  std::uint8_t length = 0;
  std::uint8_t precedence = 0;
  Bare left = everything;  // the first operand, the only one of a unary operator
  Bare right = everything;

  constexpr std::string_view view() const { return {text, length}; }
};

/// The styles of all kinds in one layout, by kind code.
using StyleTable = std::array<OperatorStyle, numKinds>;

constexpr bool hasBlanks(SymbolicOp aOp, TextLayout aLayout) {
  if (aOp == SymbolicOp::MemberValue || isUnaryOperator(aOp)) return false;
  return aLayout.preprocessor || (aLayout.spaceLogicalOps && isConnective(aOp));
}

constexpr OperatorStyle styleOf(SymbolicOp aOp, TextLayout aLayout) {
  OperatorStyle style;
  const char* spelling = operatorText(aOp).spelling(aLayout.mSyntax);
  if (spelling == nullptr) {
    style.precedence = isLeaf(aOp) ? std::uint8_t{leafPrecedence} : std::uint8_t{postfixPrecedence};
    return style;
  }
  const bool joinsMember =
      aOp == SymbolicOp::MemberValue && aLayout.preprocessor && !aLayout.mSyntax;
  if (joinsMember) spelling = "_";
  const bool blanks = hasBlanks(aOp, aLayout);
  if (blanks) style.text[style.length++] = ' ';
  while (*spelling != '\0') style.text[style.length++] = *spelling++;
  if (blanks) style.text[style.length++] = ' ';
  const unsigned precedence = operatorText(aOp).precedence;
  style.precedence = static_cast<std::uint8_t>(precedence);
  style.right = below(precedence);
  style.left = isUnaryOperator(aOp) ? below(precedence) : below(precedence + 1);
  if (aLayout.preprocessor && aOp == SymbolicOp::Or) {
    style.left &= static_cast<Bare>(~(1U << andPrecedence));
    style.right &= static_cast<Bare>(~(1U << andPrecedence));
  }
  return style;
}

constexpr std::size_t layoutIndex(TextLayout aLayout) {
  return (aLayout.mSyntax ? 4U : 0U) + (aLayout.spaceLogicalOps ? 2U : 0U) +
         (aLayout.preprocessor ? 1U : 0U);
}

constexpr std::array<StyleTable, 8> makeStyleTables() {
  std::array<StyleTable, 8> all{};
  for (std::size_t i = 0; i < all.size(); ++i) {
    const TextLayout layout{(i & 4) != 0, (i & 2) != 0, (i & 1) != 0};
    for (int op = 0; op < numKinds; ++op) {
      all[i][static_cast<std::size_t>(op)] = styleOf(static_cast<SymbolicOp>(op), layout);
    }
  }
  return all;
}

inline constexpr std::array<StyleTable, 8> styleTables = makeStyleTables();

/// The styles of a layout.
inline const StyleTable& stylesOf(TextLayout aLayout) { return styleTables[layoutIndex(aLayout)]; }

}  // namespace KS::detail
