// Any bytes as a model file, through the commands of the tool that read one, in process. Answers
// are whole or errors, JSON is JSON, and nothing reaches a terminal that could work on it.
#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/Fuzz.hpp"
#include "host/KSHost.hpp"
#include "tests/support/RandomText.hpp"
#include "tests/tool/JsonListener.hpp"
#include "tools/Active.hpp"
#include "tools/Check.hpp"
#include "tools/Commands.hpp"
#include "tools/Conditions.hpp"
#include "tools/Cover.hpp"
#include "tools/Model.hpp"
#include "tools/Page.hpp"
#include "tools/Report.hpp"
#include "tools/Tree.hpp"
#include "tools/Vars.hpp"
#include "tools/Why.hpp"
#include "variants/VCService.hpp"

namespace KS::fuzz {
namespace {

using ksexpr::ConditionsRequest;
using ksexpr::Family;
using ksexpr::Format;
using nlohmann::json;

struct Outcome {
  int status;
  std::string out, err;
};

// What is asked about a model. Through the command line, most of the time would go into its
// definition.
struct Ask {
  std::string name;
  Format format = Format::Table;
  bool cForm = false;
  Family family = ksexpr::VV;
  std::vector<std::string> definitions, assumptions;
  ConditionsRequest conditions;
  std::string block;

  std::string text() const {
    std::string result = name + (format == Format::Json ? " as JSON" : "") + (cForm ? " in C" : "");
    for (const std::string& definition : definitions) result += ' ' + definition;
    return result + (block.empty() ? "" : " of " + block);
  }
};

void answer(const Ask& aAsk, ksexpr::Streams& aStreams, bool& aHasFailed) {
  const auto model = ksexpr::readModel("-", aStreams);
  if (!model) {
    aHasFailed = true;
    return;
  }
  const auto tell = [&](const std::string& message) {
    if (message.compare(0, 9, "warning: ") != 0) aHasFailed = true;
    aStreams.err << message;
  };
  std::ostream& out = aStreams.out;
  ksexpr::Layout layout;
  layout.format = aAsk.format;
  layout.cForm = aAsk.cForm;
  layout = layout.on(aStreams);
  if (aAsk.name == "conditions") {
    const ksexpr::ConditionsObserver observer{[](std::size_t, std::size_t) {}, tell};
    ConditionsRequest request = aAsk.conditions;
    request.withC = aAsk.cForm;
    request.withCOfCG = true;  // in JSON
    ksexpr::Conditions conditions(*model, request, observer);
    ksexpr::writeReport(conditions, request, layout, out);
    conditions.finish();
    aStreams.err << ksexpr::summary(conditions, 0);
    return;
  }
  SymbolicExprTable table;
  if (aAsk.name == "tree" || aAsk.name == "dot") {
    const ksexpr::TypedModel typed(*model, aAsk.family, table, tell);
    ksexpr::TreeRequest request;
    request.cForm = aAsk.cForm;
    request.width = layout.room();
    if (aAsk.name == "dot") return ksexpr::drawTree(typed, request, out);
    aStreams.err << ksexpr::writeTree(typed, request, out);
    return;
  }
  ksexpr::QuestionRequest request;
  request.family = aAsk.family;
  request.layout = layout;
  request.values.definitions = aAsk.definitions;
  request.assumptions = aAsk.assumptions;
  const ksexpr::Question question(*model, request, table, tell);
  if (aAsk.name == "active") {
    aStreams.err << ksexpr::writeActive(question, ksexpr::answerActive(question, true, tell), out);
  } else if (aAsk.name == "why") {
    const KSBlock& block = ksexpr::findBlock(*model, aAsk.block);
    ksexpr::writeWhy(question, ksexpr::answerWhy(question, block), out);
  } else if (aAsk.name == "check") {
    const ksexpr::CheckRequest variants{{"all"}, {}};
    const auto entries = ksexpr::answerCheck(question, variants);
    aStreams.err << ksexpr::writeCheck(question, variants, entries, out).summary;
  } else if (aAsk.name == "vars") {
    aStreams.err << ksexpr::answerVars(question, out);
  } else if (aAsk.name == "uses") {
    aStreams.err << ksexpr::answerUses(question, "A", out);
  } else if (aAsk.name == "cover") {
    aStreams.err << ksexpr::writeCover(question, ksexpr::answerCover(question), out);
  } else {
    ksexpr::send(out, ksexpr::pageOf(question));
  }
}

// Asks with the model as standard input; errors are told as the tool tells them.
Outcome run(const Ask& aAsk, const std::string& aModel, bool aIsTerminal) {
  std::istringstream in(aModel);
  std::ostringstream out, err;
  ksexpr::Streams streams{in, out, err, aIsTerminal, aIsTerminal};
  if (aIsTerminal) streams.outWidth = 60;
  bool hasFailed = false;
  try {
    answer(aAsk, streams, hasFailed);
  } catch (const ksexpr::UsageError& error) {
    err << error.what() << '\n';
    hasFailed = true;
  } catch (const ksexpr::AnswerError& error) {
    err << "ksexpr: " << error.what() << '\n';
    hasFailed = true;
  }
  return {hasFailed ? 1 : 0, out.str(), err.str()};
}

// A control character that is neither the end of a line nor what the progress bar uses.
bool hasControlCharacter(const std::string& aText, bool aIsError) {
  for (std::size_t i = 0; i < aText.size(); ++i) {
    const auto c = static_cast<unsigned char>(aText[i]);
    if (aIsError && (c == '\r' || aText.compare(i, 3, "\033[K") == 0)) continue;
    if ((c < 32 && c != '\n') || c == 127) return true;
    if (c == 0xC2 && i + 1 < aText.size() && (aText[i + 1] & 0xE0) == 0x80) return true;
  }
  return false;
}

// What holds of every command.
Outcome check(const Ask& aAsk, const std::string& aModel) {
  const Outcome plain = run(aAsk, aModel, false);
  const auto tell = [&](const char* aWhat) {
    return [&, aWhat] {
      return std::string(aWhat) + ": " + aAsk.text() + "\n" + plain.out + plain.err;
    };
  };
  require(plain.status == 0 || !plain.err.empty(), tell("failed without a word"));
  for (const char* const word : {"nlohmann", "[json.", "KS::"}) {
    // Messages show parts of the model.
    require(plain.err.find(word) == std::string::npos || aModel.find(word) != std::string::npos,
            tell("an error in nobody's words"));
  }
  const bool isJson = aAsk.format == Format::Json;
  if (isJson) {
    require(plain.out.empty() ? plain.status != 0 : json::accept(plain.out), tell("no JSON"));
  }
  const Outcome terminal = run(aAsk, aModel, true);
  require(terminal.status == plain.status, tell("another status on a terminal"));
  require(!hasControlCharacter(terminal.err, true), tell("a control character in an error"));
  if (!isJson && aAsk.name != "report") {
    require(!hasControlCharacter(terminal.out, false), tell("a control character in an answer"));
  }
  return plain;
}

// The blocks of a model as a host has them.
class Host final : public VCCustomizer {
 public:
  explicit Host(const json& aBlocks) : blocks(aBlocks) {
    for (std::size_t i = 0; i < blocks.size(); ++i) places[blocks[i].at("id")] = i;
  }
  std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override {
    static const char* const families[] = {"CG", "VV", "S"};
    return at(aBlock).value(families[aSelector], "");
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
    const auto parent = at(aBlock).find("parent");
    if (parent == at(aBlock).end() || parent->is_null()) return nullptr;
    return block(places.at(*parent));
  }
  const KSBlock* block(std::size_t aPlace) const {
    return reinterpret_cast<const KSBlock*>(&blocks[aPlace]);
  }

 private:
  static const json& at(const KSBlock* aBlock) { return *reinterpret_cast<const json*>(aBlock); }
  const json& blocks;
  std::map<std::string, std::size_t> places;
};

// The answers are those of a service, for every block in the order of the file.
void compareWithService(const json& aModel, const std::string& aAnswers) {
  const json& blocks = aModel.at("blocks");
  const json answers = json::parse(aAnswers);
  require(answers.size() == blocks.size(), [] { return "another number of blocks"; });
  const Host host(blocks);
  VCService service;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const json& answer = answers[i];
    require(answer.at("block") == blocks[i].at("id"), [] { return "another block"; });
    const KSBlock* const block = host.block(i);
    const std::string expected[] = {service.getMExprNetVVCEString(block, &host),
                                    service.getMExprNetCGVCEString(block, &host),
                                    service.getCExprNetCGVCEString(block, &host)};
    const json found[] = {answer.at("vv").at("net"), answer.at("cg").at("net"),
                          answer.at("cg").at("netC")};
    for (std::size_t k = 0; k < 3; ++k) {
      require(found[k] == expected[k], [&] {
        return "a net condition is " + found[k].dump() + " instead of " + expected[k];
      });
    }
    require(answer.at("s").at("net") == service.getNetSVCE(block, &host),
            [] { return "another net S condition"; });
  }
}

std::string withoutMark(const std::string& aText) {
  return aText.compare(0, 3, "\xEF\xBB\xBF") == 0 ? aText.substr(3) : aText;
}

// What two threads read is what one does.
void compareHalves(std::string aText) {
  const auto told = toldByHalves(aText);
  if (!told) return;
  JsonListener whole;
  require(ksexpr::readSoundJson(aText, whole), [] { return "only the halves are sound"; });
  require(whole.told == *told, [] { return "the halves tell something else"; });
}

}  // namespace
}  // namespace KS::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* aData, std::size_t aSize) {
  using namespace KS::fuzz;
  const std::string text(reinterpret_cast<const char*>(aData), aSize);
  const json model = json::parse(withoutMark(text), nullptr, false);
  compareHalves(text);
  Ask all;
  all.name = "conditions";
  all.format = Format::Json;
  const Outcome conditions = run(all, text, false);
  if (model.is_discarded()) {
    require(conditions.status == 1 && conditions.out.empty(),
            [] { return "what is no JSON is answered"; });
  }
  if (conditions.status == 0) compareWithService(model, conditions.out);

  std::string block = "Pump";
  if (model.is_object() && model.contains("blocks") && model["blocks"].is_array()) {
    for (const json& one : model["blocks"]) {
      if (one.is_object() && one.contains("id") && one["id"].is_string()) block = one["id"];
    }
  }
  // One question of all that there are.
  const std::uint64_t digest = digestOf(aData, aSize);
  Choices choices(reinterpret_cast<const std::uint8_t*>(&digest), sizeof digest);
  static constexpr const char* const names[] = {"conditions", "conditions", "tree",  "dot",
                                                "active",     "why",        "check", "vars",
                                                "uses",       "cover",      "report"};
  Ask ask;
  ask.name = choices.oneOf(names);
  ask.format = static_cast<Format>(choices.pick(3));
  ask.cForm = choices.pick(2) == 0;
  ask.family = static_cast<Family>(choices.pick(3));
  if (choices.pick(2) == 0) ask.definitions.emplace_back("A=1");
  if (choices.pick(4) == 0) ask.assumptions.emplace_back("A || x > 1");
  ask.conditions.style = static_cast<ksexpr::Style>(choices.pick(3));
  ask.conditions.onlyDead = choices.pick(4) == 0;
  ask.conditions.withDecision = ask.conditions.withCompact = choices.pick(2) == 0;
  if (ask.name == "why") ask.block = block;
  // These have no such form.
  if (ask.name == "tree" || ask.name == "dot" || ask.name == "report") ask.format = Format::Table;
  if (ask.name == "why" && ask.format == Format::Csv) ask.format = Format::Table;
  const Outcome outcome = check(ask, text);
  if (model.is_discarded()) {
    require(outcome.status == 1 && outcome.out.empty(),
            [] { return "what is no JSON is answered"; });
  }
  return 0;
}

// ---------------------------------------------------------------------------------------------
// Mutations of models that stay models.

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* aData, std::size_t aSize,
                                        std::size_t aMaxSize);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* aData, std::size_t aSize,
                                               std::size_t aMaxSize, unsigned int aSeed) {
  using nlohmann::json;
  KS::test::RandomText random(aSeed);
  json model =
      json::parse(std::string(reinterpret_cast<const char*>(aData), aSize), nullptr, false);
  const bool isModel = model.is_object() && model.contains("blocks") && model["blocks"].is_array();
  if (!isModel || random.pick(3) == 0) return LLVMFuzzerMutate(aData, aSize, aMaxSize);
  json& blocks = model["blocks"];
  const std::string name = "B" + std::to_string(random.pick(20));
  const auto anyText = [&] {
    return random.pick(4) == 0 ? random.dense(1 + random.pick(3))
                               : random.condition(1 + random.pick(4));
  };
  const auto change = [&](json& aBlock) {
    static constexpr const char* const keys[] = {"VV", "CG", "S", "VV"};
    if (aBlock.is_object()) aBlock[random.oneOf(keys)] = anyText();
  };
  switch (random.pick(8)) {
    case 0:
    case 1: {
      json block{{"id", name}, {"parent", nullptr}};
      if (!blocks.empty() && blocks.back().is_object()) block["parent"] = blocks.back()["id"];
      change(block);
      blocks.insert(blocks.begin() + static_cast<long>(random.pick(blocks.size() + 1)), block);
      break;
    }
    case 2:
      if (!blocks.empty()) blocks.erase(random.pick(blocks.size()));
      break;
    case 3:
      model["variables"][random.pick(2) == 0 ? "A" : "x"] =
          random.pick(2) == 0 ? json{{"values", {1, 2.5, "on"}}}
                              : json{{"integer", true}, {"min", 0}, {"max", 3}};
      break;
    case 4: model["constraints"].push_back(anyText()); break;
    default:
      if (!blocks.empty()) change(blocks[random.pick(blocks.size())]);
      break;
  }
  const std::string text =
      model.dump(random.pick(2) == 0 ? -1 : 1, ' ', false, json::error_handler_t::replace);
  const std::size_t size = std::min(text.size(), aMaxSize);
  std::copy_n(text.begin(), size, aData);
  return size;
}
