// A reader of the language that shares nothing with the library's: level by level, each operand
// tried anew, as the language is defined.
#pragma once

#include <optional>
#include <string>

#include "base/SymbolicExprTable.hpp"

namespace KS::test {

/// What a text means, or nothing for a text that is no expression: "+(a 1)" for a sum, "1.5" by its
/// bits, every operation with its operands. In C syntax prefix "~" is a complement.
std::optional<std::string> readReference(const std::string& aText, bool aCSyntax);

/// What an expression of a table means, in the same words. Recurses over its depth.
std::string meaningOf(const SymbolicExprTable& aTable, SymbolicExprId aId);

/// How the reader writes the value of a real literal.
std::string realByItsBits(double aValue);

}  // namespace KS::test
