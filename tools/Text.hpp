// Text from files and command lines on its way to terminals, tables and JSON.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

namespace ksexpr {

/// Appends the characters of a text to `aOut`, whose last line ends in the screen column `aColumn`
/// (counted from 0), and returns where it ends then. Tabs become blanks. What a terminal does not
/// show but obeys (control characters, marks that turn the direction of writing, separators of
/// lines) and what is no UTF-8 becomes a question mark.
std::size_t appendPrintable(std::string& aOut, std::string_view aText, std::size_t aColumn);

/// The text as one line for a terminal or a table, see `appendPrintable`.
std::string printable(std::string_view aText);

/// The printable text as part of a message: only its beginning if it is long.
std::string shortened(std::string_view aText);

/// The number of characters of a UTF-8 text; a byte that is no part of one counts as one.
std::size_t countCharacters(std::string_view aText);

/// The columns that a printable text takes on a screen: two for each wide character, none for a
/// mark that combines with the character before it. Counts no further than `aLimit`, which it
/// returns for a wider text.
std::size_t displayWidth(std::string_view aText,
                         std::size_t aLimit = std::numeric_limits<std::size_t>::max());

/// The bytes of the first line of a printable text that is broken into lines of `aWidth` columns:
/// before a logical operator, the outermost one in the second half of the line, else before a word,
/// else between characters. At least one character; blanks behind belong to no line.
std::size_t lengthOfFirstLine(std::string_view aText, std::size_t aWidth);

/// Removes the byte order mark that a text begins with, if it does.
void dropByteOrderMark(std::string& aText);

/// The text, or as much of it as fits the columns together with an ellipsis.
std::string cutToWidth(std::string_view aText, std::size_t aWidth);

/// The shortest text that reads back as the same number; at most 17 significant digits.
std::string numberText(double aValue);

/// Whether a text stands as it is between the quotes of a JSON string.
bool isPlainInJson(std::string_view aText);
/// Appends a text as it stands between the quotes of a JSON string, in ASCII where a terminal would
/// not show a character. The text must be UTF-8.
void appendJsonCharacters(std::string& aOut, std::string_view aText);
/// Appends a text as a JSON string.
void appendJson(std::string& aOut, std::string_view aText);
/// The same, or null where there is no text.
void appendJsonOrNull(std::string& aOut, const std::string_view* aText);

}  // namespace ksexpr
