#include "tools/ModelSyntax.hpp"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tools/Diagnostic.hpp"

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

// Handles the JSON events. A handler that returns false ends the reading.
class ModelReader : public nlohmann::json_sax<nlohmann::json> {
 public:
  ModelReader(const std::string& aText, std::vector<KSBlock>& aBlocks)
      : text(aText), reached(aText.data()), blocks(aBlocks) {}

  std::vector<ModelError> read() {
    const char* end = text.data() + text.size();
    nlohmann::json::sax_parse(TrackedIterator(text.data(), &reached),
                              TrackedIterator(end, &reached), this);
    if (errors.empty() && !hasBlocks) fail("the model has no \"blocks\"");
    return std::move(errors);
  }

  bool null() override {
    if (!startsValue()) return true;
    if (level == Level::Block && member == "parent") return true;
    return wrongType("null");
  }
  bool boolean(bool) override { return !startsValue() || wrongType("a boolean"); }
  bool number_integer(number_integer_t) override { return number(); }
  bool number_unsigned(number_unsigned_t) override { return number(); }
  bool number_float(number_float_t, const string_t&) override { return number(); }
  bool binary(binary_t&) override { return false; }

  bool string(string_t& aValue) override {
    if (!startsValue()) return true;
    if (level != Level::Block) return wrongType("a string");
    KSBlock& block = blocks.back();
    const auto family = std::find(familyNames.begin(), familyNames.end(), member);
    if (family != familyNames.end()) {
      const auto index = static_cast<std::size_t>(family - familyNames.begin());
      block.texts[index] = std::move(aValue);
      block.textOffsets[index] = tokenStart;
    } else if (member == "id") {
      block.id = std::move(aValue);
      block.idOffset = tokenStart;
    } else if (member == "parent") {
      block.parentId = std::move(aValue);
      block.parentOffset = tokenStart;
    }
    return true;
  }

  bool key(string_t& aName) override {
    beginToken();
    if (skipped > 0) return true;
    member = std::move(aName);
    const bool isRepeated = level == Level::Block
                                ? std::find(seen.begin(), seen.end(), member) != seen.end()
                                : member == "blocks" && hasBlocks;
    if (isRepeated) return fail('"' + printable(member) + "\" is given twice");
    if (level == Level::Block) seen.push_back(member);
    return true;
  }

  bool start_object(std::size_t) override {
    if (!startsValue()) return enterSkipped();
    if (level == Level::Document) {
      level = Level::Model;
    } else if (level == Level::Blocks) {
      level = Level::Block;
      blockOffset = tokenStart;
      seen.clear();
      blocks.emplace_back();
    } else {
      return wrongType("an object") && enterSkipped();
    }
    return true;
  }

  bool end_object() override {
    beginToken();
    if (leaveSkipped()) return true;
    if (level == Level::Model) {
      level = Level::Document;
      return true;
    }
    level = Level::Blocks;
    for (const char* needed : {"id", "parent"}) {
      if (std::find(seen.begin(), seen.end(), needed) == seen.end()) {
        errors.push_back({blockOffset, std::string("the block has no \"") + needed + '"'});
      }
    }
    return true;
  }

  bool start_array(std::size_t) override {
    if (!startsValue()) return enterSkipped();
    if (level == Level::Model && member == "blocks") {
      level = Level::Blocks;
      hasBlocks = true;
      return true;
    }
    return wrongType("an array") && enterSkipped();
  }

  bool end_array() override {
    beginToken();
    if (!leaveSkipped()) level = Level::Model;
    return true;
  }

  bool parse_error(std::size_t aRead, const std::string&,
                   const nlohmann::json::exception& aError) override {
    // The text begins with the error's number and, for most, the place once more.
    std::string message = aError.what();
    for (const char* prefix : {"] ", "column "}) {
      const std::size_t found = message.find(prefix);
      if (found != std::string::npos) message.erase(0, found + std::strlen(prefix));
    }
    const std::size_t colon = message.find_first_not_of("0123456789");
    if (message.compare(colon, 2, ": ") == 0) message.erase(0, colon + 2);
    errors.push_back({std::min(aRead == 0 ? 0 : aRead - 1, text.size()), printable(message)});
    return false;
  }

 private:
  enum class Level { Document, Model, Blocks, Block };

  // Finds where the token begins whose end the reading has just reached.
  void beginToken() {
    tokenStart = std::min(text.find_first_not_of(" \t\r\n,:", tokenEnd), text.size());
    tokenEnd = static_cast<std::size_t>(reached - text.data());
  }

  // Called for every value; false for one that belongs to a member that is not known.
  bool startsValue() {
    beginToken();
    if (skipped > 0) return false;
    if (level == Level::Model) return member == "blocks";
    if (level != Level::Block) return true;
    return member == "id" || member == "parent" ||
           std::find(familyNames.begin(), familyNames.end(), member) != familyNames.end();
  }

  bool number() { return !startsValue() || wrongType("a number"); }
  bool enterSkipped() { return ++skipped > 0; }
  bool leaveSkipped() { return skipped > 0 && skipped-- > 0; }

  bool wrongType(const char* aFound) {
    const std::string found = std::string(", not ") + aFound;
    switch (level) {
      case Level::Document:
        fail("the model must be an object with \"blocks\"" + found);
        return false;
      case Level::Model: hasBlocks = true; return fail("\"blocks\" must be an array" + found);
      case Level::Blocks: return fail("a block must be an object" + found);
      default: break;
    }
    return fail('"' + member + "\" must be a string" + (member == "parent" ? " or null" : "") +
                found);
  }

  bool fail(const std::string& aMessage) {
    errors.push_back({tokenStart, aMessage});
    return true;
  }

  const std::string& text;
  const char* reached;
  std::size_t tokenStart = 0;
  std::size_t tokenEnd = 0;
  Level level = Level::Document;
  std::string member;
  std::vector<std::string> seen;  // members of the block that is being read
  std::size_t skipped = 0;        // open brackets of a value that is not looked at
  bool hasBlocks = false;
  std::size_t blockOffset = 0;
  std::vector<KSBlock>& blocks;
  std::vector<ModelError> errors;
};

}  // namespace

std::vector<ModelError> parseModel(const std::string& aText, std::vector<KSBlock>& aBlocks) {
  return ModelReader(aText, aBlocks).read();
}

}  // namespace ksexpr
