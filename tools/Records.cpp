#include "tools/Records.hpp"

#include <string_view>

#include "tools/Text.hpp"

namespace ksexpr {

namespace {

// What the members of a record say.
class Members : public JsonHandler {
 public:
  Members(const std::string& aLine, Record& aRecord) : line(aLine), record(aRecord) {
    record.id.clear();
    record.text.clear();
  }

  // What is wrong with the line, when all of it has been read.
  std::optional<RecordError> finish() {
    if (!error && !hasText) fail(0, "the record has no \"text\"");
    return error;
  }

  bool null(std::size_t aOffset) override { return value(aOffset, "null"); }
  bool boolean(std::size_t aOffset, bool aValue) override {
    return value(aOffset, aValue ? "true" : "false");
  }
  bool number(std::size_t aOffset, double) override {
    // As it is spelled: some have more digits than a number of the machine.
    const std::size_t end = line.find_first_of(" \t\r,]}", aOffset);
    return value(aOffset, std::string_view(line).substr(aOffset, end - aOffset));
  }
  bool string(std::size_t aOffset, std::string_view aValue) override {
    if (isMember("text")) {
      hasText = true;
      record.text = aValue;
      return true;
    }
    std::string quoted;
    appendJson(quoted, aValue);
    return value(aOffset, quoted);
  }
  bool key(std::size_t, std::string_view aName) override {
    if (depth == 1) member = aName;
    return true;
  }
  bool startObject(std::size_t aOffset) override { return enter(aOffset, depth == 0); }
  bool endObject() override { return leave(); }
  bool startArray(std::size_t aOffset) override { return enter(aOffset, false); }
  bool endArray() override { return leave(); }
  void syntaxError(std::size_t aOffset, const std::string& aMessage) override {
    error.reset();
    fail(aOffset, aMessage);
  }

 private:
  bool isMember(std::string_view aName) const { return depth == 1 && member == aName; }

  bool value(std::size_t aOffset, std::string_view aJson) {
    if (depth == 0) return fail(aOffset, "a record must be an object");
    if (isMember("text")) return fail(aOffset, "\"text\" must be a string");
    if (isMember("id")) record.id = aJson;
    return true;
  }
  bool enter(std::size_t aOffset, bool aIsRecord) {
    if (!aIsRecord) value(aOffset, "");
    if (isMember("id")) fail(aOffset, "\"id\" must be a number or a string");
    ++depth;
    return true;
  }
  bool leave() {
    --depth;
    return true;
  }
  // Only what is told first is told.
  bool fail(std::size_t aOffset, const std::string& aMessage) {
    if (!error) error = RecordError{aOffset, aMessage};
    return true;
  }

  const std::string& line;
  Record& record;
  std::size_t depth = 0;
  std::string member;  // of the record
  bool hasText = false;
  std::optional<RecordError> error;
};

// Begins an answer.
void appendId(std::string& aOut, const std::string& aId) {
  aOut += '{';
  if (aId.empty()) return;
  aOut += "\"id\": ";
  aOut += aId;
  aOut += ", ";
}

}  // namespace

std::optional<RecordError> RecordReader::read(std::string& aLine, Record& aRecord) {
  {
    Members members(aLine, aRecord);
    if (sound.read(aLine, members)) return members.finish();
  }
  Members members(aLine, aRecord);
  readJson(aLine, members);
  return members.finish();
}

void appendAnswer(std::string& aOut, const std::string& aId, const std::string& aText) {
  appendId(aOut, aId);
  aOut += "\"text\": ";
  appendJson(aOut, aText);
  aOut += "}\n";
}

void appendError(std::string& aOut, const std::string& aId,
                 const KS::SymbolicExprParseError& aError) {
  appendId(aOut, aId);
  aOut += "\"error\": {\"offset\": " + std::to_string(aError.offset) + ", \"expected\": ";
  appendJson(aOut, aError.expected);
  if (!aError.note.empty()) {
    aOut += ", \"note\": ";
    appendJson(aOut, aError.note);
  }
  aOut += "}}\n";
}

void appendError(std::string& aOut, const std::string& aId, const std::string& aMessage) {
  appendId(aOut, aId);
  aOut += "\"error\": {\"message\": ";
  appendJson(aOut, aMessage);
  aOut += "}}\n";
}

void appendError(std::string& aOut, const std::string& aId, const RecordError& aError) {
  appendId(aOut, aId);
  aOut += "\"error\": {\"offset\": " + std::to_string(aError.offset) + ", \"message\": ";
  appendJson(aOut, aError.message);
  aOut += "}}\n";
}

}  // namespace ksexpr
