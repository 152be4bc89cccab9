#include "tools/Diagnostic.hpp"

#include <algorithm>

namespace ksexpr {

namespace {

constexpr std::size_t tabWidth = 8;
// How much of a line is shown before and after the caret, in bytes.
constexpr std::size_t shownBefore = 70;
constexpr std::size_t shownAfter = 30;

bool isContinuation(char aByte) { return (static_cast<unsigned char>(aByte) & 0xC0) == 0x80; }

// The bytes of the UTF-8 character at `aPos`; 0 for a byte that starts none.
std::size_t characterLength(std::string_view aText, std::size_t aPos) {
  const auto lead = static_cast<unsigned char>(aText[aPos]);
  const std::size_t length = lead < 0x80                    ? 1
                             : lead >= 0xC2 && lead <= 0xDF ? 2
                             : lead >= 0xE0 && lead <= 0xEF ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
  if (aPos + length > aText.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(aText[aPos + i])) return 0;
  }
  return length;
}

bool isControl(std::string_view aCharacter) {
  const auto lead = static_cast<unsigned char>(aCharacter[0]);
  return lead < 0x20 || lead == 0x7F ||
         (lead == 0xC2 && static_cast<unsigned char>(aCharacter[1]) < 0xA0);
}

std::size_t lineStart(std::string_view aText, std::size_t aOffset) {
  const std::size_t newline =
      aOffset == 0 ? std::string_view::npos : aText.rfind('\n', aOffset - 1);
  return newline == std::string_view::npos ? 0 : newline + 1;
}

// Appends the characters of `aText`, which begins in a screen column, and returns where it ends.
std::size_t appendVisible(std::string& aOut, std::string_view aText, std::size_t aColumn) {
  for (std::size_t pos = 0; pos < aText.size();) {
    const std::size_t length = characterLength(aText, pos);
    const std::string_view character = aText.substr(pos, std::max<std::size_t>(length, 1));
    if (character == "\t") {
      const std::size_t blanks = tabWidth - aColumn % tabWidth;
      aOut.append(blanks, ' ');
      aColumn += blanks;
    } else {
      aOut.append(length == 0 || isControl(character) ? "?" : character);
      ++aColumn;
    }
    pos += character.size();
  }
  return aColumn;
}

}  // namespace

std::size_t countCharacters(std::string_view aText) {
  std::size_t count = 0;
  for (std::size_t pos = 0; pos < aText.size(); ++count) {
    pos += std::max<std::size_t>(characterLength(aText, pos), 1);
  }
  return count;
}

std::string printable(std::string_view aText) {
  std::string out;
  appendVisible(out, aText, 0);
  return out;
}

Place placeOf(std::string_view aText, std::size_t aOffset) {
  aOffset = std::min(aOffset, aText.size());
  const std::string_view before = aText.substr(0, aOffset);
  const auto newlines = std::count(before.begin(), before.end(), '\n');
  return {static_cast<std::size_t>(newlines) + 1,
          countCharacters(before.substr(lineStart(aText, aOffset))) + 1};
}

std::string excerpt(std::string_view aText, std::size_t aOffset) {
  aOffset = std::min(aOffset, aText.size());
  const std::size_t start = lineStart(aText, aOffset);
  const std::size_t end = std::min(aText.find('\n', aOffset), aText.size());
  std::size_t from = aOffset - std::min(aOffset - start, shownBefore);
  std::size_t to = aOffset + std::min(end - aOffset, shownAfter);
  // Cut between characters, so that a cut leaves no broken one behind.
  while (from > start && from < aOffset && isContinuation(aText[from])) ++from;
  while (to < end && to > aOffset && isContinuation(aText[to])) --to;

  std::string out = from > start ? "..." : "";
  const std::size_t column = appendVisible(out, aText.substr(from, aOffset - from), out.size());
  appendVisible(out, aText.substr(aOffset, to - aOffset), column);
  if (to < end) out += "...";
  return out + '\n' + std::string(column, ' ') + "^\n";
}

std::string diagnostic(const std::string& aSource, std::size_t aFirstLine, std::string_view aText,
                       std::size_t aOffset, const std::string& aMessage) {
  const Place place = placeOf(aText, aOffset);
  return aSource + ':' + std::to_string(aFirstLine + place.line - 1) + ':' +
         std::to_string(place.column) + ": " + aMessage + '\n' + excerpt(aText, aOffset);
}

std::string noteLine(const std::string& aNote) {
  return aNote.empty() ? std::string() : "note: " + aNote + '\n';
}

}  // namespace ksexpr
