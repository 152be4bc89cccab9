// An expression as text from left to right: writing it, and comparing two.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/KSSymbolicExpr.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "print/detail/OperatorStyles.hpp"

namespace KS::detail {

/// The text that a renderer (`StringifySymbolicExpr`, or `PreprocessorVCExpr` for the preprocessor
/// form) gives for the node, in a third of its time: the strength of an operand follows from its
/// kind, so whatever stands before it is known before it is entered, and nothing is ever inserted.
/// Throws `std::out_of_range` where an input is not an older node of the table, and
/// `std::length_error` where the text is longer than `aMaxLength`; where nothing is renamed, that
/// is found out before more than a megabyte is written.
std::string writeText(const SymbolicExprTable& aTable, const SymbolicExpr& aRoot,
                      const SymbolicExprPrinter::Predicate& aPredicate, TextLayout aLayout,
                      std::size_t aMaxLength);

/// How a text begins: its first bytes, or all of it.
struct TextStart {
  static constexpr std::size_t capacity = 30;
  std::array<char, capacity> text;
  std::uint8_t length = 0;
  bool isWhole = false;

  std::string_view view() const { return {text.data(), length}; }
};

/// The start of what the printer gives in C syntax without blanks, as long as it fits.
TextStart textStart(const SymbolicExprTable& aTable, SymbolicExprId aId);

/// How far two texts are compared.
inline constexpr std::size_t maxComparedLength = std::size_t{256} << 20;

/// Compares what the printer gives in C syntax without blanks byte by byte: negative, zero or
/// positive, as the first text stands before, with or after the second. Neither text is written,
/// and an expression that both come to at the same time is passed over unread, so the cost is
/// in the distinct nodes and not in the length of the texts. Different expressions with one text,
/// such as doubles that differ in no digit that is printed, are read; where more than
/// `maxComparedLength` bytes had to be read, throws `std::length_error`. No printer's limit counts
/// here: what is read is not kept, and an order must not depend on how texts are printed.
int compareTexts(const SymbolicExprTable& aTable, SymbolicExprId a, SymbolicExprId b);

}  // namespace KS::detail
