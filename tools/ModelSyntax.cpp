#include "tools/ModelSyntax.hpp"

#include <algorithm>
#include <array>
#include <bitset>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tools/Text.hpp"

namespace ksexpr {

namespace {

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

// The members of a block: the condition texts by family, then the others.
constexpr std::size_t idMember = familyNames.size();
constexpr std::size_t parentMember = idMember + 1;
constexpr std::size_t unknownMember = parentMember + 1;
constexpr std::array<std::string_view, unknownMember> memberNames{familyNames[VV], familyNames[CG],
                                                                  familyNames[S], "id", "parent"};

// The parser's complaint without the place and without the token, which may be as long as the file.
std::string withoutPlaceAndToken(std::string_view aMessage) {
  // "[json.exception.parse_error.101] parse error at line 1, column 2: ...; last read: '...'".
  for (const std::string_view prefix : {"] ", "column ", ": "}) {
    const std::size_t found = aMessage.find(prefix);
    if (found != std::string_view::npos) aMessage.remove_prefix(found + prefix.size());
  }
  return shortened(aMessage.substr(0, aMessage.find("; last read: ")));
}

// Handles the JSON events. A handler that returns false ends the reading.
class ModelReader : public nlohmann::json_sax<nlohmann::json> {
 public:
  ModelReader(Model& aModel, ModelErrors& aErrors)
      : model(aModel), text(aModel.text), reached(aModel.text.data()), errors(aErrors) {}

  std::vector<ParentName> read() {
    const char* end = text.data() + text.size();
    const bool isComplete = nlohmann::json::sax_parse(TrackedIterator(text.data(), &reached),
                                                      TrackedIterator(end, &reached), this);
    // The parser takes a NUL byte for the end of the text.
    const std::size_t nul = text.find('\0', tokenEnd);
    if (isComplete && nul != std::string_view::npos) addSyntaxError(nul, "");
    if (errors.told.empty() && !hasBlocks) add("missing members", "the model has no \"blocks\"");
    return std::move(parents);
  }

  bool null() override {
    return !startsValue() || (level == Level::Block && member == parentMember) || wrongType("null");
  }
  bool boolean(bool) override { return !startsValue() || wrongType("a boolean"); }
  bool number_integer(number_integer_t) override { return number(); }
  bool number_unsigned(number_unsigned_t) override { return number(); }
  bool number_float(number_float_t, const string_t&) override { return number(); }
  bool binary(binary_t&) override { return false; }

  bool string(string_t& aValue) override {
    if (!startsValue()) return true;
    if (level != Level::Block) return wrongType("a string");
    KSBlock& block = model.blocks.back();
    const std::string_view value = keep(aValue);
    if (member < familyNames.size()) {
      block.texts[member] = value;
    } else if (member == idMember) {
      block.id = value;
    } else {
      parents.back() = value;
    }
    return true;
  }

  bool key(string_t& aName) override {
    endToken();
    if (skipped > 0) return true;
    bool isRepeated = false;
    if (level == Level::Block) {
      member = static_cast<std::size_t>(std::find(memberNames.begin(), memberNames.end(), aName) -
                                        memberNames.begin());
      if (member == unknownMember) return true;
      isRepeated = seen[member];
      seen[member] = true;
    } else {
      isBlocks = aName == "blocks";
      isRepeated = isBlocks && hasBlocks;
      hasBlocks = hasBlocks || isBlocks;
    }
    return !isRepeated || add("members that are given twice", '"' + aName + "\" is given twice");
  }

  bool start_object(std::size_t) override {
    if (!startsValue()) return enterSkipped();
    if (level == Level::Document) {
      level = Level::Model;
    } else if (level == Level::Blocks) {
      level = Level::Block;
      blockOffset = tokenStart();
      seen.reset();
      model.blocks.emplace_back();
      parents.emplace_back();
    } else {
      return wrongType("an object") && enterSkipped();
    }
    return true;
  }

  bool end_object() override {
    endToken();
    if (leaveSkipped()) return true;
    if (level == Level::Model) {
      level = Level::Document;
      return true;
    }
    level = Level::Blocks;
    for (const std::size_t needed : {idMember, parentMember}) {
      if (seen[needed]) continue;
      errors.add("missing members", blockOffset,
                 "the block has no \"" + std::string(memberNames[needed]) + '"');
    }
    return true;
  }

  bool start_array(std::size_t) override {
    if (!startsValue()) return enterSkipped();
    if (level == Level::Model) {
      level = Level::Blocks;
      return true;
    }
    return wrongType("an array") && enterSkipped();
  }

  bool end_array() override {
    endToken();
    if (!leaveSkipped()) level = Level::Model;
    return true;
  }

  bool parse_error(std::size_t aRead, const std::string&,
                   const nlohmann::json::exception& aError) override {
    addSyntaxError(std::min(aRead == 0 ? 0 : aRead - 1, text.size()), aError.what());
    return false;
  }

 private:
  enum class Level { Document, Model, Blocks, Block };

  // Called when the reading has just reached the end of a token.
  void endToken() {
    previousEnd = tokenEnd;
    tokenEnd = static_cast<std::size_t>(reached - text.data());
  }

  // Where the token begins whose end the reading has reached.
  std::size_t tokenStart() const {
    return std::min(text.find_first_not_of(" \t\r\n,:", previousEnd), text.size());
  }

  // Called for every value; false for one that belongs to a member that is not known.
  bool startsValue() {
    endToken();
    if (skipped > 0) return false;
    if (level == Level::Model) return isBlocks;
    return level != Level::Block || member != unknownMember;
  }

  bool number() {
    const bool isWanted = startsValue();
    // Only the byte behind a number tells that it has ended.
    tokenEnd = std::min(text.find_first_of(" \t\r\n,]}", tokenStart()), text.size());
    return !isWanted || wrongType("a number");
  }
  bool enterSkipped() { return ++skipped > 0; }
  bool leaveSkipped() { return skipped > 0 && skipped-- > 0; }

  // The value of the string token, in the file's text unless escapes have made it shorter.
  std::string_view keep(const std::string& aValue) {
    const std::size_t start = tokenStart();
    const std::string_view spelled = text.substr(start + 1, tokenEnd - start - 2);
    if (spelled.size() == aValue.size()) return spelled;
    model.decoded.push_back({aValue, start});
    return model.decoded.back().value;
  }

  bool wrongType(const std::string& aFound) {
    constexpr const char* kind = "values of a wrong type";
    switch (level) {
      case Level::Document:
        add(kind, "the model must be an object with \"blocks\", not " + aFound);
        return false;
      case Level::Model: return add(kind, "\"blocks\" must be an array, not " + aFound);
      case Level::Blocks: return add(kind, "a block must be an object, not " + aFound);
      default: break;
    }
    return add(kind, '"' + std::string(memberNames[member]) + "\" must be a string" +
                         (member == parentMember ? " or null" : "") + ", not " + aFound);
  }

  bool add(std::string_view aKind, std::string aMessage) {
    errors.add(aKind, tokenStart(), std::move(aMessage));
    return true;
  }

  void addSyntaxError(std::size_t aOffset, std::string_view aParserMessage) {
    const bool isNul = aOffset < text.size() && text[aOffset] == '\0';
    errors.add("syntax errors", aOffset,
               isNul ? "syntax error: a NUL byte" : withoutPlaceAndToken(aParserMessage));
  }

  Model& model;
  const std::string_view text;
  const char* reached;
  std::size_t previousEnd = 0;  // of the token before the one that has been reached
  std::size_t tokenEnd = 0;
  Level level = Level::Document;
  bool isBlocks = false;                 // the member of the model that is being read
  std::size_t member = unknownMember;    // that of the block
  std::bitset<memberNames.size()> seen;  // members of the block so far
  std::size_t skipped = 0;               // open brackets of a value that is not looked at
  bool hasBlocks = false;
  std::size_t blockOffset = 0;
  std::vector<ParentName> parents;
  ModelErrors& errors;
};

}  // namespace

std::vector<ParentName> parseModel(Model& aModel, ModelErrors& aErrors) {
  return ModelReader(aModel, aErrors).read();
}

}  // namespace ksexpr
