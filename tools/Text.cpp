#include "tools/Text.hpp"

#include <uniwidth.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>

namespace ksexpr {

namespace {

constexpr std::size_t tabWidth = 8;
// The characters of a name or of another program's words that a message shows.
constexpr std::size_t maxShown = 120;

// A character of a text: its bytes and its code point. A byte that is no part of a UTF-8 character
// is one of its own.
struct Character {
  std::size_t length;
  char32_t code;
};
constexpr char32_t noCode = 0xFFFFFFFF;

Character characterAt(std::string_view aText, std::size_t aPos) {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(aText[i]); };
  const char32_t lead = byteAt(aPos);
  if (lead < 0x80) return {1, lead};
  const std::size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (length == 0 || lead > 0xF4 || aPos + length > aText.size()) return {1, noCode};
  char32_t code = lead & (0x7F >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byteAt(aPos + i) & 0xC0) != 0x80) return {1, noCode};
    code = code << 6 | (byteAt(aPos + i) & 0x3F);
  }
  // A longer form than is needed, half of a surrogate pair, or beyond the last code point.
  constexpr std::array<char32_t, 5> least{0, 0, 0x80, 0x800, 0x10000};
  if (code < least[length] || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF) {
    return {1, noCode};
  }
  return {length, code};
}

// Whether a terminal shows the character instead of obeying it.
bool isShown(char32_t aCode) {
  struct Range {
    char32_t first, last;
  };
  constexpr Range obeyed[] = {
      {0x00, 0x1F},      // control characters
      {0x7F, 0x9F},      // delete, and control characters once more
      {0x61C, 0x61C},    // Arabic letter mark
      {0x200E, 0x200F},  // left-to-right and right-to-left mark
      {0x2028, 0x202E},  // line and paragraph separator, embeddings and overrides of direction
      {0x2066, 0x2069},  // isolates of direction
      {noCode, noCode},
  };
  return std::none_of(std::begin(obeyed), std::end(obeyed), [aCode](const Range& range) {
    return range.first <= aCode && aCode <= range.last;
  });
}

// The columns that a character takes on a screen.
std::size_t columnsOf(char32_t aCode) {
  if (aCode < 0x7F) return 1;
  const int width = aCode == noCode ? 1 : uc_width(aCode, "UTF-8");
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

constexpr bool isPlain(char aByte) { return (aByte >= ' ') & (aByte <= '~'); }

// Whether all bytes of a text are such. Without a way out of the loop compilers look at many bytes
// at once.
template <class IsSuch>
bool allAre(std::string_view aText, IsSuch aIsSuch) {
  unsigned char others = 0;
  for (const char byte : aText) others = static_cast<unsigned char>(others | !aIsSuch(byte));
  return others == 0;
}

// Where the characters of ASCII that a terminal shows end, from `aPos` on and before `aLimit`.
std::size_t endOfPlain(std::string_view aText, std::size_t aPos, std::size_t aLimit) {
  while (aPos < aLimit && isPlain(aText[aPos])) ++aPos;
  return aPos;
}

// Whether JSON needs no escape for a byte, and a terminal shows it.
constexpr bool isPlainJson(char aByte) { return isPlain(aByte) & (aByte != '"') & (aByte != '\\'); }

// Where the characters end that JSON spells as they are.
std::size_t endOfPlainJson(std::string_view aText, std::size_t aPos) {
  while (aPos < aText.size() && isPlainJson(aText[aPos])) ++aPos;
  return aPos;
}

}  // namespace

std::size_t appendPrintable(std::string& aOut, std::string_view aText, std::size_t aColumn) {
  for (std::size_t pos = 0; pos < aText.size();) {
    if (const std::size_t end = endOfPlain(aText, pos, aText.size()); end > pos) {
      aOut.append(aText, pos, end - pos);
      aColumn += end - pos;
      pos = end;
      continue;
    }
    const Character character = characterAt(aText, pos);
    if (character.code == '\t') {
      const std::size_t blanks = tabWidth - aColumn % tabWidth;
      aOut.append(blanks, ' ');
      aColumn += blanks;
    } else {
      const bool shown = isShown(character.code);
      aOut.append(shown ? aText.substr(pos, character.length) : "?");
      aColumn += shown ? columnsOf(character.code) : 1;
    }
    pos += character.length;
  }
  return aColumn;
}

void dropByteOrderMark(std::string& aText) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  if (aText.compare(0, mark.size(), mark) == 0) aText.erase(0, mark.size());
}

std::string printable(std::string_view aText) {
  std::string out;
  appendPrintable(out, aText, 0);
  return out;
}

std::string shortened(std::string_view aText) {
  std::size_t end = 0;
  for (std::size_t i = 0; i < maxShown && end < aText.size(); ++i) {
    end += characterAt(aText, end).length;
  }
  return printable(aText.substr(0, end)) + (end < aText.size() ? "..." : "");
}

std::size_t countCharacters(std::string_view aText) {
  std::size_t count = 0;
  for (std::size_t pos = 0; pos < aText.size(); ++count) pos += characterAt(aText, pos).length;
  return count;
}

std::size_t displayWidth(std::string_view aText, std::size_t aLimit) {
  const std::string_view head = aText.substr(0, aLimit);
  if (allAre(head, isPlain)) return head.size();
  std::size_t pos = endOfPlain(head, 0, head.size());
  std::size_t width = pos;
  while (pos < aText.size() && width < aLimit) {
    const Character character = characterAt(aText, pos);
    width += columnsOf(character.code);
    pos += character.length;
  }
  return std::min(width, aLimit);
}

std::size_t lengthOfFirstLine(std::string_view aText, std::size_t aWidth) {
  const auto startsOperator = [aText](std::size_t pos) {
    const std::string_view op = aText.substr(pos, 3);
    return op == "&& " || op == "|| ";
  };
  std::size_t width = 0;
  std::size_t depth =
      0;  // of brackets; where more are closed than opened, it stays at the outermost
  std::size_t word = 0;
  std::size_t op = 0;
  std::size_t opDepth = 0;
  bool isOpInSecondHalf = false;
  std::size_t pos = 0;
  while (pos < aText.size()) {
    const Character character = characterAt(aText, pos);
    if (pos > 0 && aText[pos - 1] == ' ' && aText[pos] != ' ') {
      word = pos;
      const bool isInSecondHalf = width >= aWidth / 2;
      if (startsOperator(pos) && (!isOpInSecondHalf || depth <= opDepth)) {
        op = pos;
        opDepth = depth;
        isOpInSecondHalf = isInSecondHalf;
      }
    }
    width += columnsOf(character.code);
    // Blanks at the end of a line are not shown.
    if (width > aWidth && pos > 0 && character.code != ' ') break;
    if (character.code == '(' || character.code == '[') ++depth;
    if (depth > 0 && (character.code == ')' || character.code == ']')) --depth;
    pos += character.length;
  }
  if (pos == aText.size()) return pos;
  if (op > 0) return op;
  return word > 0 ? word : pos;
}

std::string cutToWidth(std::string_view aText, std::size_t aWidth) {
  if (displayWidth(aText, aWidth + 1) <= aWidth) return std::string(aText);
  std::size_t width = 1;  // that of the ellipsis
  std::size_t end = 0;
  while (end < aText.size()) {
    const Character character = characterAt(aText, end);
    width += columnsOf(character.code);
    if (width > aWidth) break;
    end += character.length;
  }
  return std::string(aText.substr(0, end)) + "\u2026";
}

std::string numberText(double aValue) {
  if (std::isnan(aValue)) return "nan";
  char buffer[32];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, aValue).ptr};
}

bool isPlainInJson(std::string_view aText) { return allAre(aText, isPlainJson); }

void appendJsonCharacters(std::string& aOut, std::string_view aText) {
  if (isPlainInJson(aText)) {
    aOut += aText;
    return;
  }
  for (std::size_t pos = 0; pos < aText.size();) {
    const std::size_t end = endOfPlainJson(aText, pos);
    aOut.append(aText, pos, end - pos);
    if (end == aText.size()) break;
    const Character character = characterAt(aText, end);
    const nlohmann::json special = aText.substr(end, character.length);
    const std::string escaped = special.dump(-1, ' ', !isShown(character.code));
    aOut.append(escaped, 1, escaped.size() - 2);  // without the quotes
    pos = end + character.length;
  }
}

void appendJson(std::string& aOut, std::string_view aText) {
  aOut += '"';
  appendJsonCharacters(aOut, aText);
  aOut += '"';
}

void appendJsonOrNull(std::string& aOut, const std::string_view* aText) {
  if (aText != nullptr) {
    appendJson(aOut, *aText);
  } else {
    aOut += "null";
  }
}

}  // namespace ksexpr
