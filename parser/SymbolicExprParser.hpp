// The entry from text to the expression table.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "base/SymbolicExprTable.hpp"
#include "host/KSPlatform.hpp"

namespace KS {

/// Where and why a text is not an expression.
struct SymbolicExprParseError {
  /// The offset in bytes at which the text stopped making sense; its length for a text that ends
  /// too early.
  std::size_t offset;
  /// What was expected there, such as "an operand".
  std::string expected;
  /// What explains it where that is not obvious, else empty: a name such as `NAND` begins with a
  /// number.
  std::string note{};
};

/// Parses expression text into a table. One grammar serves both dialects; they differ in prefix
/// "~", a bitwise complement in C syntax and a logical not in M syntax. Borrows the table and keeps
/// no other state between calls. Costs time in the length of the text.
///
///     SymbolicExprParser parse(table, false);
///     SymbolicExprId id = parse("A == 1 && ~B");
class KS_API SymbolicExprParser {
 public:
  /// The levels of brackets that may be open at once; deeper text is not an expression. There is no
  /// limit on the number of operands or on the length of a text.
  static constexpr std::size_t maxNesting = 256;

  /// Parses into `aTable`; `cSyntax` selects C syntax.
  SymbolicExprParser(SymbolicExprTable& aTable, bool cSyntax);

  /// The id of the expression that the whole text spells, every sub-expression interned, inputs
  /// first and left to right. The invalid id, with the table unchanged, for any other text.
  SymbolicExprId operator()(const std::string& aText) const;

  /// Nothing for a text that parses, else where it stops making sense. Changes no table.
  std::optional<SymbolicExprParseError> diagnose(const std::string& aText) const;

 private:
  SymbolicExprTable& table;
  bool cSyntax;
};

}  // namespace KS
