// A reader of the language that shares nothing with the library's: level by level, each operand
// tried anew, as the language is defined.
#pragma once

#include <optional>
#include <string>

namespace KS::test {

/// What a text means, or nothing for a text that is no expression: "+(a 1)" for a sum, "1.5" by its
/// bits, every operation with its operands. In C syntax prefix "~" is a complement.
std::optional<std::string> readReference(const std::string& aText, bool aCSyntax);

/// How the reader writes the value of a real literal.
std::string realByItsBits(double aValue);

}  // namespace KS::test
