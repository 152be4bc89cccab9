// Messages about text: where it is wrong, and the line with a caret under the place.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "parser/SymbolicExprParser.hpp"

namespace ksexpr {

/// A place in a text, both counted from 1; columns count characters, not bytes.
struct Place {
  std::size_t line;
  std::size_t column;
};

/// The place of the byte at `aOffset`, which may be the end of the text.
Place placeOf(std::string_view aText, std::size_t aOffset);

/// The lines of a text, for many questions.
class Lines {
 public:
  /// Looks at the text once and keeps nothing of it but where lines end.
  explicit Lines(std::string_view aText);
  /// The line that the byte at `aOffset` stands in, counted from 1.
  std::size_t lineOf(std::size_t aOffset) const;

 private:
  std::vector<std::size_t> ends;
};

/// The line of `aText` around `aOffset` and a line with a caret under it, each with its newline.
/// Tabs are expanded, what a terminal can't show is a question mark, and of a long line only the
/// surroundings are shown.
std::string excerpt(std::string_view aText, std::size_t aOffset);

/// A complete message: "source:line:column: message" and the excerpt. The first line of the text
/// is line `aFirstLine` of the source.
std::string diagnostic(const std::string& aSource, std::size_t aFirstLine, std::string_view aText,
                       std::size_t aOffset, const std::string& aMessage);
/// The same for a text that is no expression, with the note that belongs to it.
std::string diagnostic(const std::string& aSource, std::size_t aFirstLine, std::string_view aText,
                       const KS::SymbolicExprParseError& aError);

/// Counts problems by kind. One fault may cause as many as there are blocks, and more than a few
/// would hide those of other kinds.
class ProblemCounts {
 public:
  /// How many problems of a kind are told.
  static constexpr std::size_t maxTold = 20;

  /// Counts a problem of a kind, which is named in the plural, as the remaining ones are told.
  /// Returns whether this one is to be told.
  bool add(std::string_view aKind);
  /// Counts what the others counted and were not to tell.
  void addUntold(const ProblemCounts& aOthers);
  /// A line for each kind of which not all problems were to be told.
  std::string remaining(const std::string& aSource) const;

 private:
  std::vector<std::pair<std::string_view, std::size_t>> counts;
};

/// The line of a note that follows a message, or nothing for no note.
std::string noteLine(const std::string& aNote);

}  // namespace ksexpr
