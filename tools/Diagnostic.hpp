// Messages about text: where it is wrong, and the line with a caret under the place.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ksexpr {

/// A place in a text, both counted from 1; columns count characters, not bytes.
struct Place {
  std::size_t line;
  std::size_t column;
};

/// The place of the byte at `aOffset`, which may be the end of the text.
Place placeOf(std::string_view aText, std::size_t aOffset);

/// The line of `aText` around `aOffset` and a line with a caret under it, each with its newline.
/// Tabs are expanded, what a terminal can't show is a question mark, and of a long line only the
/// surroundings are shown.
std::string excerpt(std::string_view aText, std::size_t aOffset);

/// A complete message: "source:line:column: message" and the excerpt. The first line of the text
/// is line `aFirstLine` of the source.
std::string diagnostic(const std::string& aSource, std::size_t aFirstLine, std::string_view aText,
                       std::size_t aOffset, const std::string& aMessage);

/// The line of a note that follows a message, or nothing for no note.
std::string noteLine(const std::string& aNote);

/// The text as one line for a terminal or a table: tabs are blanks, what can't be shown is a
/// question mark.
std::string printable(std::string_view aText);

/// The number of characters of a UTF-8 text; a byte that is no part of one counts as one.
std::size_t countCharacters(std::string_view aText);

}  // namespace ksexpr
