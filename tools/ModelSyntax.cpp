#include "tools/ModelSyntax.hpp"

#include <algorithm>
#include <bitset>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>

#include "tools/JsonReader.hpp"
#include "tools/Names.hpp"
#include "tools/Nearest.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

namespace {

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

// The kind of the warnings.
constexpr const char* unreadKeys = "keys that nothing reads";

struct MemberNames {
  const std::string_view* first;
  std::size_t count;
};

// Makes blocks of what stands in the file.
class ModelReader : public JsonHandler {
 public:
  /// Reads that text, or a part of it, into the model.
  ModelReader(const std::string& aText, Model& aModel, ModelErrors& aErrors, ModelErrors& aWarnings)
      : text(aText), model(aModel), errors(aErrors), warnings(aWarnings) {
    // A reader that has met something wrong leaves the file to another one.
    model.decoded.clear();
    model.offsetsOfDecoded.clear();
    model.blocks.clear();
    model.texts.assign(1, {});
    model.variables.clear();
    model.constraints.clear();
    parents.reserve(model.blocks.capacity());
    errors = {};
    warnings = {};
  }

  /// Says that what comes is the rest of the blocks, as an array of its own.
  void expectBlocks() {
    level = Level::Model;
    member = blocksMember;
    seenOfModel.set(blocksMember);
  }
  bool isAmongBlocks() const { return level == Level::Blocks && skipped == 0; }

  /// Ends the reading: the parents of the blocks.
  std::vector<ParentName> finish() {
    if (errors.told.empty() && !seenOfModel[blocksMember]) {
      token = text.find_last_not_of(" \t\r\n");
      add("missing members", "the model has no \"blocks\"");
    }
    return std::move(parents);
  }

  bool null(std::size_t aOffset) override {
    return !startsValue(aOffset) || (level == Level::Block && member == parentMember) ||
           wrongType("null");
  }
  bool boolean(std::size_t aOffset, bool aValue) override {
    if (!startsValue(aOffset)) return true;
    if (level == Level::Variable && (member == integerMember || member == booleanMember)) {
      if (aValue) flags.set(member);
      return true;
    }
    return wrongType("a boolean");
  }
  bool number(std::size_t aOffset, double aValue) override {
    if (!startsValue(aOffset)) return true;
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

  bool string(std::size_t aOffset, std::string_view aValue) override {
    if (!startsValue(aOffset)) return true;
    switch (level) {
      case Level::Block: break;
      case Level::Values: return name(aValue);
      case Level::Constraints: model.constraints.push_back(keep(aValue)); return true;
      default: return wrongType("a string");
    }
    const std::string_view value = keep(aValue);
    if (member < familyNames.size()) {
      setText(member, value);
    } else if (member == idMember) {
      model.blocks.back().id = value;
    } else {
      parents.back() = value;
    }
    return true;
  }

  bool key(std::size_t aOffset, std::string_view aName) override {
    token = aOffset;
    if (skipped > 0) return true;
    if (level == Level::Variables) {
      if (!isVariableName(std::string(aName))) {
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
    if (seen[member])
      return add("members that are given twice", '"' + std::string(aName) + "\" is given twice");
    seen.set(member);
    return true;
  }

  bool startObject(std::size_t aOffset) override {
    if (!startsValue(aOffset)) return enterSkipped();
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

  bool endObject() override {
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

  bool startArray(std::size_t aOffset) override {
    if (!startsValue(aOffset)) return enterSkipped();
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

  bool endArray() override {
    if (!leaveSkipped()) level = level == Level::Values ? Level::Variable : Level::Model;
    return true;
  }

  void syntaxError(std::size_t aOffset, const std::string& aMessage) override {
    errors.add("syntax errors", aOffset, aMessage);
    // Where the text is no JSON, what the keys seem to be may be wrong, too.
    warnings = {};
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
    partOffset = token;
    seenOfPart.reset();
    flags.reset();
  }

  // Called for every value; false for one that belongs to a member that is not known.
  bool startsValue(std::size_t aOffset) {
    token = aOffset;
    if (skipped > 0) return false;
    const bool isMember =
        level == Level::Model || level == Level::Block || level == Level::Variable;
    return !isMember || member != unknownMember;
  }

  // A constant among the values of a variable.
  bool name(std::string_view aName) {
    if (!isConstantName(std::string(aName))) {
      add("names that are none", '"' + shortened(aName) + "\" is not the name of a constant");
    }
    model.variables.back().domain.values.emplace_back(std::string(aName));
    return true;
  }

  // Sets a text of the last block.
  void setText(std::size_t aFamily, std::string_view aText) {
    if (aText.empty()) return;
    KSBlock& block = model.blocks.back();
    if (!block.texts.hasRoom()) block.texts = BlockTexts(texts().emplace_back());
    texts().back()[aFamily] = aText;
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

  // The value of the token, in the file's text unless escapes have made it shorter.
  std::string_view keep(std::string_view aValue) {
    const std::less<const char*> isBefore;
    const char* const begin = text.data();
    if (!isBefore(aValue.data(), begin) && isBefore(aValue.data(), begin + text.size())) {
      return aValue;
    }
    const std::string& decoded = model.decoded.emplace_back(aValue);
    model.offsetsOfDecoded.emplace(decoded.data(), token);
    return decoded;
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
    errors.add(aKind, token, std::move(aMessage));
    return true;
  }

  bool warnOfKey(std::string_view aName) {
    if (!warnings.counts.add(unreadKeys)) return true;
    const auto [first, count] = memberNames();
    const std::vector<std::string_view> names(first, first + count);
    std::string meant = didYouMean(aName, names, 1);
    for (const std::string_view name : meant.empty() ? names : std::vector<std::string_view>()) {
      meant += (meant.empty() ? "; what is read here is \"" : ", \"") + std::string(name) + '"';
    }
    warnings.told.push_back(
        {unreadKeys, token, "warning: nothing reads \"" + shortened(aName) + '"' + meant});
    return true;
  }

  std::deque<BlockTexts::Room>& texts() { return model.texts.back(); }

  const std::string& text;  // moves when memory is made for the padding behind it
  Model& model;
  std::size_t token = 0;  // where the one begins that was told last
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

// Shorter texts are not worth a thread.
constexpr std::size_t lengthOfThread = std::size_t{1} << 18;

// Reads a text without errors that ends with the blocks. Returns whether it is one.
bool readHalves(Model& aModel, ModelErrors& aWarnings, std::vector<ParentName>& aParents) {
  if (aModel.text.size() < 2 * lengthOfThread) return false;
  ModelErrors errors, restErrors, restWarnings;
  Model rest;
  rest.blocks.reserve(aModel.blocks.capacity() / 2);
  ModelReader first(aModel.text, aModel, errors, aWarnings);
  ModelReader second(aModel.text, rest, restErrors, restWarnings);
  second.expectBlocks();
  if (!readSoundHalves(aModel.text, first, second) || !first.isAmongBlocks() ||
      !errors.told.empty() || !restErrors.told.empty()) {
    return false;
  }
  aModel.blocks.insert(aModel.blocks.end(), rest.blocks.begin(), rest.blocks.end());
  aModel.texts.splice(aModel.texts.end(), rest.texts);
  aModel.decoded.splice(aModel.decoded.end(), rest.decoded);
  aModel.offsetsOfDecoded.merge(rest.offsetsOfDecoded);
  aWarnings.append(restWarnings);
  aParents = first.finish();
  const std::vector<ParentName> others = second.finish();
  aParents.insert(aParents.end(), others.begin(), others.end());
  return true;
}

}  // namespace

std::vector<ParentName> parseModel(Model& aModel, ModelErrors& aErrors, ModelErrors& aWarnings,
                                   std::size_t aJobs) {
  // A vector that grows step by step would hold the blocks twice. Files go on as they begin.
  constexpr std::size_t beginningLength = std::size_t{1} << 20, shortestBlock = 24;
  const std::string_view text = aModel.text;
  const std::string_view beginning = text.substr(0, beginningLength);
  const auto inBeginning =
      static_cast<std::size_t>(std::count(beginning.begin(), beginning.end(), '{'));
  const std::size_t likely = inBeginning + text.size() / beginningLength * inBeginning * 17 / 16;
  aModel.blocks.reserve(std::min(likely, text.size() / shortestBlock + 1));
  std::vector<ParentName> parents;
  if (aJobs > 1 && readHalves(aModel, aWarnings, parents)) return parents;
  {
    ModelReader reader(aModel.text, aModel, aErrors, aWarnings);
    if (readSoundJson(aModel.text, reader)) return reader.finish();
  }
  ModelReader reader(aModel.text, aModel, aErrors, aWarnings);
  readJson(aModel.text, reader);
  return reader.finish();
}

}  // namespace ksexpr
