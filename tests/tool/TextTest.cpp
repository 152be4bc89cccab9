// What is shown of texts from outside.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tools/Diagnostic.hpp"
#include "tools/Text.hpp"

namespace {

std::string utf8(char32_t aCode) {
  const auto byte = [](char32_t value) { return static_cast<char>(value); };
  if (aCode < 0x80) return {byte(aCode)};
  if (aCode < 0x800) return {byte(0xC0 | aCode >> 6), byte(0x80 | (aCode & 0x3F))};
  const char last[] = {byte(0x80 | (aCode >> 6 & 0x3F)), byte(0x80 | (aCode & 0x3F))};
  if (aCode < 0x10000) return {byte(0xE0 | aCode >> 12), last[0], last[1]};
  return {byte(0xF0 | aCode >> 18), byte(0x80 | (aCode >> 12 & 0x3F)), last[0], last[1]};
}

TEST(KsExprText, ShowsNoCharacterThatATerminalObeys) {
  const auto isObeyed = [](char32_t code) {
    return code < 0x20 || (code >= 0x7F && code <= 0x9F) || code == 0x61C || code == 0x200E ||
           code == 0x200F || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
  };
  for (char32_t code = 0; code < 0x110000; code += code < 0x3000 ? 1 : 0xFF) {
    if (code >= 0xD800 && code < 0xE000) continue;
    const std::string text = utf8(code);
    const std::string shown = code == '\t' ? "        " : isObeyed(code) ? "?" : text;
    ASSERT_EQ(ksexpr::printable(text), shown) << static_cast<unsigned>(code);
    ASSERT_EQ(ksexpr::countCharacters(text + text), 2U) << static_cast<unsigned>(code);
    std::string json;
    ksexpr::appendJson(json, "a" + text + "b");
    ASSERT_EQ(nlohmann::json::parse(json), "a" + text + "b") << static_cast<unsigned>(code);
    ASSERT_EQ(ksexpr::printable(json), json) << static_cast<unsigned>(code);
  }
}

TEST(KsExprText, ShowsWhatIsNoUtf8ByteByByte) {
  const std::pair<const char*, const char*> rows[] = {
      {"a\x80z", "a?z"},
      {"\xC0\xAF\xC1\xBF", "????"},  // forms that are too long
      {"\xE0\x9F\xBF|\xF0\x8F\xBF\xBF", "???|????"},
      {"\xE0\xA0\x80|\xF0\x90\x80\x80", "\xE0\xA0\x80|\xF0\x90\x80\x80"},
      {"\xED\x9F\xBF|\xED\xA0\x80|\xED\xBF\xBF|\xEE\x80\x80",
       "\xED\x9F\xBF|???|???|\xEE\x80\x80"},  // around halves of surrogate pairs
      {"\xF4\x8F\xBF\xBF|\xF4\x90\x80\x80|\xF5\x80\x80\x80|\xFF", "\xF4\x8F\xBF\xBF|????|????|?"},
      {"\xC3|\xE2\x80|\xF0\x9F\x98|\xC3", "?|??|???|?"},  // cut off
      {"\xE2\xC3\xA4", "?\xC3\xA4"},
  };
  for (const auto& [text, shown] : rows) {
    EXPECT_EQ(ksexpr::printable(text), shown);
    EXPECT_EQ(ksexpr::countCharacters(text), ksexpr::countCharacters(shown));
  }
}

TEST(KsExprText, ShortensAfterWholeCharacters) {
  std::string text;
  for (int i = 0; i < 120; ++i) text += "\xC3\xA4";
  EXPECT_EQ(ksexpr::shortened(text), text);
  EXPECT_EQ(ksexpr::shortened(text + "\xC3\xA4"), text + "...");
  EXPECT_EQ(ksexpr::shortened("a\x1B" + text), "a?" + text.substr(4) + "...");
}

// Of a long line, at most 200 characters around the place are shown.
TEST(KsExprText, ExcerptsAreShort) {
  const std::string wide = "\xE2\x82\xAC";
  for (const std::string& character :
       {std::string("x"), wide, std::string("\t"), std::string("\x80")}) {
    std::string text;
    for (int i = 0; i < 1000; ++i) text += character;
    for (std::size_t offset = 0; offset <= text.size(); offset += character.size() * 50) {
      const std::string shown = ksexpr::excerpt(text, offset);
      const std::size_t newline = shown.find('\n');
      EXPECT_LE(newline, 200U);
      EXPECT_EQ(ksexpr::printable(shown.substr(0, newline)), shown.substr(0, newline));
      const std::string caret = shown.substr(newline + 1);
      EXPECT_EQ(caret, std::string(caret.size() - 2, ' ') + "^\n");
      EXPECT_EQ(character == wide && shown.find('?') != std::string::npos, false) << shown;
    }
  }
}

}  // namespace
