#include "tools/ModelSyntax.hpp"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>

#include "tools/Names.hpp"
#include "tools/Nearest.hpp"
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

// The members that are read: of the model; of a block, where the condition texts by family come
// first; of a variable.
enum ModelMember : std::size_t { blocksMember, variablesMember, constraintsMember };
constexpr std::string_view modelMembers[] = {"blocks", "variables", "constraints"};
constexpr std::size_t idMember = familyNames.size();
constexpr std::size_t parentMember = idMember + 1;
constexpr std::string_view blockMembers[] = {familyNames[VV], familyNames[CG], familyNames[S], "id",
                                             "parent"};
enum VariableMember : std::size_t {
  valuesMember,
  integerMember,
  minMember,
  maxMember,
  booleanMember
};
constexpr std::string_view variableMembers[] = {"values", "integer", "min", "max", "boolean"};
constexpr std::size_t unknownMember = 5;

struct MemberNames {
  const std::string_view* first;
  std::size_t count;
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

// Handles the JSON events. A handler that returns false ends the reading.
class ModelReader : public nlohmann::json_sax<nlohmann::json> {
 public:
  ModelReader(Model& aModel, ModelErrors& aErrors, ModelErrors& aWarnings)
      : model(aModel),
        text(aModel.text),
        reached(aModel.text.data()),
        errors(aErrors),
        warnings(aWarnings) {}

  std::vector<ParentName> read() {
    const char* end = text.data() + text.size();
    const bool isComplete = nlohmann::json::sax_parse(TrackedIterator(text.data(), &reached),
                                                      TrackedIterator(end, &reached), this);
    // The parser takes a NUL byte for the end of the text.
    const std::size_t nul = text.find('\0', tokenEnd);
    if (isComplete && nul != std::string_view::npos) addSyntaxError(nul, "");
    // Where the text is no JSON, what the keys seem to be may be wrong, too.
    if (!isComplete || nul != std::string_view::npos) warnings = {};
    if (errors.told.empty() && !seenOfModel[blocksMember])
      add("missing members", "the model has no \"blocks\"");
    return std::move(parents);
  }

  bool null() override {
    return !startsValue() || (level == Level::Block && member == parentMember) || wrongType("null");
  }
  bool boolean(bool aValue) override {
    if (!startsValue()) return true;
    if (level == Level::Variable && (member == integerMember || member == booleanMember)) {
      if (aValue) flags.set(member);
      return true;
    }
    return wrongType("a boolean");
  }
  bool number_integer(number_integer_t aValue) override {
    return number(static_cast<double>(aValue));
  }
  bool number_unsigned(number_unsigned_t aValue) override {
    return number(static_cast<double>(aValue));
  }
  bool number_float(number_float_t aValue, const string_t&) override { return number(aValue); }
  bool binary(binary_t&) override { return false; }

  bool string(string_t& aValue) override {
    if (!startsValue()) return true;
    switch (level) {
      case Level::Block: break;
      case Level::Values: return name(aValue);
      case Level::Constraints: model.constraints.push_back(keep(aValue)); return true;
      default: return wrongType("a string");
    }
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
    if (level == Level::Variables) {
      if (!isVariableName(aName)) {
        add("names that are none", '"' + shortened(aName) + "\" is not the name of a variable");
      }
      model.variables.push_back({keep(aName), {}});
      return true;
    }
    const auto [names, count] = memberNames();
    member = static_cast<std::size_t>(std::find(names, names + count, aName) - names);
    if (member == count) {
      member = unknownMember;
      return warnOfKey(aName);
    }
    auto& seen = level == Level::Model ? seenOfModel : seenOfPart;
    if (seen[member]) return add("members that are given twice", '"' + aName + "\" is given twice");
    seen.set(member);
    return true;
  }

  bool start_object(std::size_t) override {
    if (!startsValue()) return enterSkipped();
    switch (level) {
      case Level::Document: level = Level::Model; return true;
      case Level::Blocks:
        enterPart(Level::Block);
        model.blocks.emplace_back();
        parents.emplace_back();
        return true;
      case Level::Variables: enterPart(Level::Variable); return true;
      case Level::Model:
        if (member == variablesMember) {
          level = Level::Variables;
          return true;
        }
        break;
      default: break;
    }
    return wrongType("an object") && enterSkipped();
  }

  bool end_object() override {
    endToken();
    if (leaveSkipped()) return true;
    switch (level) {
      case Level::Model: level = Level::Document; return true;
      case Level::Variables: level = Level::Model; return true;
      case Level::Variable:
        level = Level::Variables;
        finishVariable();
        return true;
      default: break;
    }
    level = Level::Blocks;
    for (const std::size_t needed : {idMember, parentMember}) {
      if (seenOfPart[needed]) continue;
      errors.add("missing members", partOffset,
                 "the block has no \"" + std::string(blockMembers[needed]) + '"');
    }
    return true;
  }

  bool start_array(std::size_t) override {
    if (!startsValue()) return enterSkipped();
    if (level == Level::Model && member != variablesMember) {
      level = member == blocksMember ? Level::Blocks : Level::Constraints;
      return true;
    }
    if (level == Level::Variable && member == valuesMember) {
      level = Level::Values;
      return true;
    }
    return wrongType("an array") && enterSkipped();
  }

  bool end_array() override {
    endToken();
    if (!leaveSkipped()) level = level == Level::Values ? Level::Variable : Level::Model;
    return true;
  }

  bool parse_error(std::size_t aRead, const std::string&,
                   const nlohmann::json::exception& aError) override {
    addSyntaxError(std::min(aRead == 0 ? 0 : aRead - 1, text.size()), aError.what());
    return false;
  }

 private:
  enum class Level { Document, Model, Blocks, Block, Variables, Variable, Values, Constraints };

  MemberNames memberNames() const {
    if (level == Level::Model) return {modelMembers, std::size(modelMembers)};
    if (level == Level::Block) return {blockMembers, std::size(blockMembers)};
    return {variableMembers, std::size(variableMembers)};
  }

  // Enters a block or a variable.
  void enterPart(Level aLevel) {
    level = aLevel;
    partOffset = tokenStart();
    seenOfPart.reset();
    flags.reset();
  }

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
    const bool isMember =
        level == Level::Model || level == Level::Block || level == Level::Variable;
    return !isMember || member != unknownMember;
  }

  bool number(double aValue) {
    const bool isWanted = startsValue();
    // Only the byte behind a number tells that it has ended.
    tokenEnd = std::min(text.find_first_of(" \t\r\n,]}", tokenStart()), text.size());
    if (!isWanted) return true;
    if (level == Level::Values) {
      model.variables.back().domain.values.emplace_back(aValue);
    } else if (level == Level::Variable && (member == minMember || member == maxMember)) {
      Domain& domain = model.variables.back().domain;
      (member == minMember ? domain.min : domain.max) = aValue;
    } else {
      return wrongType("a number");
    }
    return true;
  }

  // A constant among the values of a variable.
  bool name(const std::string& aName) {
    if (!isConstantName(aName)) {
      add("names that are none", '"' + shortened(aName) + "\" is not the name of a constant");
    }
    model.variables.back().domain.values.emplace_back(aName);
    return true;
  }

  void finishVariable() {
    Domain& domain = model.variables.back().domain;
    const bool hasValues = seenOfPart[valuesMember];
    const bool hasRange = flags[integerMember] || seenOfPart[minMember] || seenOfPart[maxMember];
    const auto complain = [this](const std::string& message) {
      errors.add("domains that make no sense", partOffset, "the variable " + message);
    };
    if (hasValues + hasRange + flags[booleanMember] > 1) {
      complain("has more than one of \"values\", \"boolean\", and a range");
    } else if (hasValues) {
      domain.kind = Domain::Kind::Values;
      // A value of a wrong type is none either, but has been told.
      if (domain.values.empty() && errors.told.empty()) complain("has no values");
    } else if (flags[booleanMember]) {
      domain.kind = Domain::Kind::Boolean;
      domain.min = 0;
      domain.max = 1;
    } else if (flags[integerMember]) {
      domain.kind = Domain::Kind::Integer;
      if (!seenOfPart[minMember]) domain.min = std::numeric_limits<int>::min();
      if (!seenOfPart[maxMember]) domain.max = std::numeric_limits<int>::max();
      for (const double end : {domain.min, domain.max}) {
        if (std::floor(end) != end || std::abs(end) > 0x1p31 || end == 0x1p31) {
          complain("has an end that is no whole number of 32 bits");
        }
      }
    }
    if (domain.min > domain.max) complain("has a \"min\" above its \"max\"");
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
      case Level::Model:
        return add(kind, '"' + std::string(modelMembers[member]) + "\" must be an " +
                             (member == variablesMember ? "object" : "array") + ", not " + aFound);
      case Level::Blocks: return add(kind, "a block must be an object, not " + aFound);
      case Level::Variables: return add(kind, "a variable must be an object, not " + aFound);
      case Level::Constraints: return add(kind, "a constraint must be a string, not " + aFound);
      case Level::Values:
        return add(kind, "a value must be a number or the name of a constant, not " + aFound);
      case Level::Variable:
        return add(kind, '"' + std::string(variableMembers[member]) + "\" must be " +
                             (member == valuesMember                       ? "an array"
                              : member == minMember || member == maxMember ? "a number"
                                                                           : "true or false") +
                             ", not " + aFound);
      case Level::Block: break;
    }
    return add(kind, '"' + std::string(blockMembers[member]) + "\" must be a string" +
                         (member == parentMember ? " or null" : "") + ", not " + aFound);
  }

  bool add(std::string_view aKind, std::string aMessage) {
    errors.add(aKind, tokenStart(), std::move(aMessage));
    return true;
  }

  bool warnOfKey(const std::string& aName) {
    if (!warnings.counts.add("keys that nothing reads")) return true;
    const auto [first, count] = memberNames();
    const std::vector<std::string_view> names(first, first + count);
    std::string meant = didYouMean(aName, names, 1);
    for (const std::string_view name : meant.empty() ? names : std::vector<std::string_view>()) {
      meant += (meant.empty() ? "; what is read here is \"" : ", \"") + std::string(name) + '"';
    }
    warnings.told.push_back(
        {tokenStart(), "warning: nothing reads \"" + shortened(aName) + '"' + meant});
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
  std::size_t member = unknownMember;      // of the model, block or variable that is being read
  std::bitset<unknownMember> seenOfModel;  // members so far
  std::bitset<unknownMember> seenOfPart;   // those of the block or variable
  std::bitset<unknownMember> flags;        // members of the variable that are true
  std::size_t skipped = 0;                 // open brackets of a value that is not looked at
  std::size_t partOffset = 0;
  std::vector<ParentName> parents;
  ModelErrors& errors;
  ModelErrors& warnings;
};

}  // namespace

std::vector<ParentName> parseModel(Model& aModel, ModelErrors& aErrors, ModelErrors& aWarnings) {
  return ModelReader(aModel, aErrors, aWarnings).read();
}

}  // namespace ksexpr
