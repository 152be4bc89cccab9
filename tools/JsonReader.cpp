#include "tools/JsonReader.hpp"

#include <simdjson.h>

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tools/Jobs.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

JsonHandler::~JsonHandler() = default;

namespace {

// ---------------------------------------------------------------------------------------------
// Sound texts

namespace ondemand = simdjson::ondemand;

static_assert(jsonPadding >= simdjson::SIMDJSON_PADDING);

// The walk enters a function for each open bracket.
constexpr std::size_t maxDepth = 100;

// Walks over all tokens, since simdjson looks at no value that nobody asks for. Throws
// `simdjson_error` where the text turns out to be broken.
class SoundReader {
 public:
  SoundReader(std::string_view aText, JsonHandler& aHandler) : text(aText), handler(aHandler) {}

  bool read(ondemand::document& aDocument) {
    if (aDocument.type() != ondemand::json_type::object) return false;
    return readObject(aDocument.get_object(), text.find('{'), 1) && isAtEnd(aDocument);
  }

  // Reads a text that stops behind an element of an array in the outermost object.
  bool readBeginning(ondemand::document& aDocument) {
    if (aDocument.type() != ondemand::json_type::object) return false;
    stoppingDocument = &aDocument;
    readObject(aDocument.get_object(), text.find('{'), 1);
    return hasStopped;
  }

  // The rest of the array.
  bool readRest(ondemand::document& aDocument, std::size_t aOffset) {
    return readArray(aDocument.get_array(), aOffset, 2) && isAtEnd(aDocument);
  }

 private:
  std::size_t offsetOf(const char* aPlace) const {
    return static_cast<std::size_t>(aPlace - text.data());
  }

  bool readObject(ondemand::object aObject, std::size_t aOffset, std::size_t aDepth) {
    if (aDepth > maxDepth || !handler.startObject(aOffset)) return false;
    for (auto field : aObject) {
      const char* const name = field.key().value().raw();
      std::size_t length = 0;
      while (name[length] != '"' && name[length] != '\\') ++length;
      const bool isPlain = name[length] == '"';
      const std::string_view key =
          isPlain ? std::string_view(name, length) : field.unescaped_key().value();
      if (!handler.key(offsetOf(name) - 1, key) || !readValue(field.value(), aDepth)) return false;
    }
    return handler.endObject();
  }

  bool readArray(ondemand::array aArray, std::size_t aOffset, std::size_t aDepth) {
    if (aDepth > maxDepth || !handler.startArray(aOffset)) return false;
    for (auto element : aArray) {
      if (!readValue(element.value(), aDepth)) return false;
      hasStopped = stoppingDocument != nullptr && aDepth == 2 && isAtEnd(*stoppingDocument);
      if (hasStopped) return false;
    }
    return handler.endArray();
  }

  static bool isAtEnd(ondemand::document& aDocument) {
    return aDocument.current_location().error() == simdjson::OUT_OF_BOUNDS;
  }

  bool readValue(ondemand::value aValue, std::size_t aDepth) {
    // With the blanks behind it.
    std::string_view token = aValue.raw_json_token();
    const std::size_t offset = offsetOf(token.data());
    switch (aValue.type()) {
      case ondemand::json_type::object: return readObject(aValue.get_object(), offset, aDepth + 1);
      case ondemand::json_type::array: return readArray(aValue.get_array(), offset, aDepth + 1);
      case ondemand::json_type::number:
        return handler.number(offset, aValue.get_number().value().as_double());
      case ondemand::json_type::boolean: return handler.boolean(offset, aValue.get_bool());
      case ondemand::json_type::null: return aValue.is_null() && handler.null(offset);
      case ondemand::json_type::string: break;
    }
    token = token.substr(1, token.rfind('"') - 1);
    if (token.find('\\') != std::string_view::npos)
      token = aValue.get_string();
    else
      aValue.get_raw_json_string().value();
    return handler.string(offset, token);
  }

  const std::string_view text;
  JsonHandler& handler;
  // Set where the text stops before its array and object end; whether all of it was read.
  ondemand::document* stoppingDocument = nullptr;
  bool hasStopped = false;
};

constexpr const char* blanks = " \t\r\n";

// The comma between two objects behind the middle of a text, or what looks like one in a string; no
// place where there is none.
std::size_t middleComma(std::string_view aText) {
  std::size_t end = aText.find('}', aText.size() / 2);
  while (end != std::string_view::npos) {
    const std::size_t comma = aText.find_first_not_of(blanks, end + 1);
    if (comma == std::string_view::npos) break;
    const std::size_t next = aText.find_first_not_of(blanks, comma + 1);
    if (aText[comma] == ',' && next != std::string_view::npos && aText[next] == '{') return comma;
    end = aText.find('}', end + 1);
  }
  return std::string_view::npos;
}

// Where the array ends with which an object ends, or no place.
std::size_t lastArrayEnd(std::string_view aText) {
  const std::size_t brace = aText.find_last_not_of(blanks);
  if (brace == 0 || brace == std::string_view::npos || aText[brace] != '}') {
    return std::string_view::npos;
  }
  const std::size_t bracket = aText.find_last_not_of(blanks, brace - 1);
  const bool isEnd = bracket != std::string_view::npos && aText[bracket] == ']';
  return isEnd ? bracket + 1 : std::string_view::npos;
}

// ---------------------------------------------------------------------------------------------
// Any text

// Reads the text and lets the handler of the JSON events see how far the reading has come, which
// they do not tell.
class TrackedIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  TrackedIterator(const char* aPosition, const char** aReached)
      : position(aPosition), reached(aReached) {}
  reference operator*() const { return *position; }
  TrackedIterator& operator++() {
    *reached = ++position;
    return *this;
  }
  TrackedIterator operator++(int) {
    TrackedIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const TrackedIterator& aOther) const { return position == aOther.position; }
  bool operator!=(const TrackedIterator& aOther) const { return position != aOther.position; }

 private:
  const char* position;
  const char** reached;
};

// The parser's complaint without the place and without the token, which may be as long as the file.
std::string withoutPlaceAndToken(std::string_view aMessage) {
  // "[json.exception.parse_error.101] parse error at line 1, column 2: ...; last read: '...'".
  for (const std::string_view prefix : {"] ", "column ", ": "}) {
    const std::size_t found = aMessage.find(prefix);
    if (found != std::string_view::npos) aMessage.remove_prefix(found + prefix.size());
  }
  return shortened(aMessage.substr(0, aMessage.find("; last read: ")));
}

// Finds the places of the tokens.
class AnyReader : public nlohmann::json_sax<nlohmann::json> {
 public:
  AnyReader(std::string_view aText, JsonHandler& aHandler)
      : text(aText), handler(aHandler), reached(aText.data()) {}

  void read() {
    const char* const end = text.data() + text.size();
    if (!nlohmann::json::sax_parse(TrackedIterator(text.data(), &reached),
                                   TrackedIterator(end, &reached), this)) {
      return;
    }
    // The parser takes a NUL byte for the end of the text.
    const std::size_t nul = text.find('\0', tokenEnd);
    if (nul != std::string_view::npos) addSyntaxError(nul, "");
  }

  bool null() override { return handler.null(nextToken()); }
  bool boolean(bool aValue) override { return handler.boolean(nextToken(), aValue); }
  bool number_integer(number_integer_t aValue) override {
    return number(static_cast<double>(aValue));
  }
  bool number_unsigned(number_unsigned_t aValue) override {
    return number(static_cast<double>(aValue));
  }
  bool number_float(number_float_t aValue, const string_t&) override { return number(aValue); }
  bool binary(binary_t&) override { return false; }
  bool string(string_t& aValue) override {
    const std::size_t offset = nextToken();
    return handler.string(offset, spelled(offset, aValue));
  }
  bool key(string_t& aName) override {
    const std::size_t offset = nextToken();
    return handler.key(offset, spelled(offset, aName));
  }
  bool start_object(std::size_t) override { return handler.startObject(nextToken()); }
  bool end_object() override {
    nextToken();
    return handler.endObject();
  }
  bool start_array(std::size_t) override { return handler.startArray(nextToken()); }
  bool end_array() override {
    nextToken();
    return handler.endArray();
  }
  bool parse_error(std::size_t aRead, const std::string&,
                   const nlohmann::json::exception& aError) override {
    addSyntaxError(std::min(aRead == 0 ? 0 : aRead - 1, text.size()), aError.what());
    return false;
  }

 private:
  // Where the token begins whose end the reading has just reached.
  std::size_t nextToken() {
    const std::size_t start = std::min(text.find_first_not_of(" \t\r\n,:", tokenEnd), text.size());
    tokenEnd = static_cast<std::size_t>(reached - text.data());
    return start;
  }

  bool number(double aValue) {
    const std::size_t start = nextToken();
    // Only the byte behind a number tells that it has ended.
    tokenEnd = std::min(text.find_first_of(" \t\r\n,]}", start), text.size());
    return handler.number(start, aValue);
  }

  // The value of the string token, in the text unless escapes have made it shorter.
  std::string_view spelled(std::size_t aOffset, const std::string& aValue) const {
    const std::string_view inText = text.substr(aOffset + 1, tokenEnd - aOffset - 2);
    return inText.size() == aValue.size() ? inText : aValue;
  }

  void addSyntaxError(std::size_t aOffset, std::string_view aParserMessage) {
    const bool isNul = aOffset < text.size() && text[aOffset] == '\0';
    handler.syntaxError(aOffset,
                        isNul ? "syntax error: a NUL byte" : withoutPlaceAndToken(aParserMessage));
  }

  const std::string_view text;
  JsonHandler& handler;
  const char* reached;
  std::size_t tokenEnd = 0;
};

}  // namespace

struct SoundJsonReader::Parser : ondemand::parser {};

SoundJsonReader::SoundJsonReader() : parser(std::make_unique<Parser>()) {}
SoundJsonReader::~SoundJsonReader() = default;

bool SoundJsonReader::read(std::string& aText, JsonHandler& aHandler) {
  aText.reserve(aText.size() + jsonPadding);
  try {
    ondemand::document document =
        parser->iterate(simdjson::padded_string_view(aText.data(), aText.size(), aText.capacity()));
    return SoundReader(aText, aHandler).read(document);
  } catch (const simdjson::simdjson_error&) {
    return false;
  }
}

bool readSoundJson(std::string& aText, JsonHandler& aHandler) {
  return SoundJsonReader().read(aText, aHandler);
}

// The comma between the halves is the opening bracket of the second one for the time being. Where
// the first half is sound, it is a comma between elements of an array; where the second one is,
// too, that array ends with it, and nothing but the brace of the object stands behind.
bool readSoundHalves(std::string& aText, JsonHandler& aFirst, JsonHandler& aSecond) {
  const std::size_t comma = middleComma(aText), end = lastArrayEnd(aText);
  if (comma == std::string::npos || end == std::string::npos || end < comma) return false;
  aText.reserve(aText.size() + jsonPadding);
  const std::string_view text = aText;
  bool areSound[2] = {};
  const auto readHalf = [&](std::size_t aHalf) {
    const std::size_t from = aHalf == 0 ? 0 : comma, to = aHalf == 0 ? comma : end;
    ondemand::parser parser;
    try {
      ondemand::document document = parser.iterate(
          simdjson::padded_string_view(text.data() + from, to - from, aText.capacity() - from));
      areSound[aHalf] = aHalf == 0 ? SoundReader(text, aFirst).readBeginning(document)
                                   : SoundReader(text, aSecond).readRest(document, from);
    } catch (const simdjson::simdjson_error&) {
      // Then it is not.
    }
  };
  aText[comma] = '[';
  try {
    sideBySide(2, readHalf);
  } catch (...) {
    aText[comma] = ',';
    throw;
  }
  aText[comma] = ',';
  return areSound[0] && areSound[1];
}

void readJson(std::string_view aText, JsonHandler& aHandler) { AnyReader(aText, aHandler).read(); }

}  // namespace ksexpr
