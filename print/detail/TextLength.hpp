// How long the text of an expression is, without writing it.
#pragma once

#include <cstddef>

#include "base/KSSymbolicExpr.hpp"
#include "print/detail/OperatorStyles.hpp"

namespace KS::detail {

/// A text that is to be written.
struct TextSource {
  const SymbolicExprTable& table;
  const SymbolicExpr& root;
  TextLayout layout;
  /// Whether symbols are written under names that only their predicate knows.
  bool renames;
};

/// The length of the text in bytes, or `aLimit + 1` where it is greater. Names that are not known
/// count nothing. Time and memory are in the distinct nodes: the text of a shared expression can
/// double with every level. Throws `std::out_of_range` like the writer.
std::size_t textLength(const TextSource& aSource, std::size_t aLimit);

/// Throws the `std::length_error` of `aRenderer` that says that a text is longer than `aLimit`.
[[noreturn]] void failLength(const char* aRenderer, std::size_t aLimit);

}  // namespace KS::detail
