#include "tools/Page.hpp"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>
#include <unordered_map>

#include "base/KSSymbolicExpr.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "simplify/SymbolicExprSimplify.hpp"
#include "tools/Commands.hpp"
#include "tools/Decision.hpp"
#include "tools/PageParts.hpp"
#include "tools/PostfixPrograms.hpp"
#include "tools/Text.hpp"
#include "tools/Vars.hpp"

namespace ksexpr {

using KS::SymbolicExprId;
using nlohmann::ordered_json;

namespace {

// A net condition is shown as its path has it, which the page puts together by itself, where its
// compact form is longer than this, or its path so much longer that nobody would read either.
constexpr std::size_t maxNetLength = 2000;
constexpr std::size_t maxPathLength = 20000;

// The canonical form of a short condition may be shorter than what can be factored out of it; that
// of a longer one may be very long.
constexpr std::size_t maxSimplifiedLiterals = 12;
constexpr std::size_t maxPasses = 10;

// What stands for the number of a condition.
constexpr int noCondition = -1;
constexpr int badCondition = -2;
// What stands for the number of a net condition that is shown as its path has it.
constexpr int asTyped = -1;

// Texts that many blocks share, numbered as they come.
class SharedTexts {
 public:
  int numberOf(const std::string& aText) {
    const auto [place, isNew] = numbers.try_emplace(aText, static_cast<int>(numbers.size()));
    if (isNew) json.push_back(aText);
    return place->second;
  }
  const ordered_json& all() const { return json; }

 private:
  std::unordered_map<std::string, int> numbers;
  ordered_json json = ordered_json::array();
};

// The data of a page.
class PageData {
 public:
  explicit PageData(const Question& aQuestion)
      : question(aQuestion),
        typed(aQuestion.getTyped()),
        model(aQuestion.getModel()),
        compact(aQuestion.getTable()),
        simplify(aQuestion.getTable(), maxPasses) {}

  ordered_json make() {
    addConditions();
    addBlocks();
    addVerdicts();
    data["model"] = std::filesystem::path(model.path).filename().string();
    data["family"] = familyNames[typed.getFamily()];
    data["variables"] = variablesJson(question);
    data["constants"] = typed.getConstants();
    return std::move(data);
  }

 private:
  int numberOf(SymbolicExprId aCondition) {
    const auto [place, isNew] = numbers.try_emplace(aCondition, static_cast<int>(numbers.size()));
    if (isNew) conditions.push_back(aCondition);
    return place->second;
  }

  int numberOf(const KSBlock& aBlock) {
    if (typed.local(aBlock) == KS::invalidSymbolicExprId) return badCondition;
    return typed.hasCondition(aBlock) ? numberOf(typed.local(aBlock)) : noCondition;
  }

  void addConditions() {
    std::vector<int> ofBlocks;
    for (const KSBlock& block : model.blocks) ofBlocks.push_back(numberOf(block));
    data["blocks"]["condition"] = ofBlocks;
    std::vector<int> constraints;
    for (const SymbolicExprId id : typed.getConstraints()) constraints.push_back(numberOf(id));
    data["constraints"] = constraints;
    const PostfixPrograms programs(typed, conditions);
    data["conditions"] = ordered_json::array();
    for (std::size_t i = 0; i < conditions.size(); ++i) {
      const std::string text = question.text(conditions[i]);
      data["conditions"].push_back({text.empty() ? "true" : text, programs.ofRoot(i)});
    }
    data["operands"] = programs.operandTexts();
  }

  void addBlocks() {
    ordered_json ids = ordered_json::array();
    std::vector<int> parents;
    std::vector<int> netNumbers;
    ordered_json unparsed = ordered_json::object();
    const std::vector<std::size_t> lengths = pathLengths();
    SharedTexts netTexts;
    for (const KSBlock& block : model.blocks) {
      const std::size_t index = model.indexOf(block);
      ids.push_back(block.id);
      parents.push_back(block.parent == nullptr ? -1
                                                : static_cast<int>(model.indexOf(*block.parent)));
      int net = asTyped;
      if (typed.isAvailable(block) && lengths[index] <= maxPathLength) {
        const std::string text = question.text(shortNet(block));
        if (text.size() <= maxNetLength) net = netTexts.numberOf(text.empty() ? "true" : text);
      }
      netNumbers.push_back(net);
      if (typed.local(block) == KS::invalidSymbolicExprId) {
        unparsed[std::to_string(index)] = block.texts[typed.getFamily()];
      }
    }
    data["nets"] = netTexts.all();
    data["unparsed"] = unparsed;
    data["blocks"]["id"] = ids;
    data["blocks"]["parent"] = parents;
    data["blocks"]["net"] = netNumbers;
  }

  // An equivalent of the net condition that is short to read.
  SymbolicExprId shortNet(const KSBlock& aBlock) {
    SymbolicExprId net = typed.net(aBlock);
    if (compact.countLiterals(net) <= maxSimplifiedLiterals) {
      std::size_t passes = 0;
      net = simplify.simplify(net, passes);
    }
    return compact(net, typed.path(aBlock));
  }

  // The lengths of the texts along the paths, by block.
  std::vector<std::size_t> pathLengths() const {
    std::vector<std::size_t> lengths(model.blocks.size());
    for (const KSBlock* block : typed.topDown()) {
      const std::size_t above =
          block->parent == nullptr ? 0 : lengths[model.indexOf(*block->parent)];
      lengths[model.indexOf(*block)] = above + block->texts[typed.getFamily()].size();
    }
    return lengths;
  }

  void addVerdicts() {
    Decision decision(question, Decision::Values::Free);
    decision.requireConsistency();
    const std::vector<KS::Truth> verdicts = verdictsOf(typed, decision);
    std::string letters;
    for (const KS::Truth verdict : verdicts) {
      letters += verdict == KS::Truth::Never       ? 'n'
                 : verdict == KS::Truth::Always    ? 'a'
                 : verdict == KS::Truth::Sometimes ? 'v'
                                                   : 'u';
    }
    data["blocks"]["verdict"] = letters;
    data["because"] = ordered_json::object();
    for (const KSBlock& block : model.blocks) {
      const std::size_t index = model.indexOf(block);
      if (verdicts[index] != KS::Truth::Never) continue;
      // The blocks inside have the reason of the outermost one that can never be on.
      if (block.parent != nullptr && verdicts[model.indexOf(*block.parent)] == KS::Truth::Never) {
        continue;
      }
      const auto conflict = decision.getDecider().smallestContradiction(typed.path(block));
      std::vector<std::size_t> because;
      for (const BlockCondition& found : blocksOf(question, block, conflict.ids)) {
        because.push_back(model.indexOf(*found.block));
      }
      data["because"][std::to_string(index)] = because;
    }
  }

  const Question& question;
  const TypedModel& typed;
  const Model& model;
  const KS::SymbolicExprCompact compact;
  const KS::SymbolicExprSimplify simplify;
  std::vector<SymbolicExprId> conditions;  // the distinct ones, by number
  std::unordered_map<SymbolicExprId, int> numbers;
  ordered_json data;
};

// JSON that nothing in it ends a script element, or is a line's end to a reader of JavaScript.
std::string forScript(const ordered_json& aData) {
  std::string text;
  for (const char c : aData.dump(-1, ' ', true, ordered_json::error_handler_t::replace)) {
    if (c == '<') {
      text += "\\u003c";
    } else {
      text += c;
    }
  }
  return text;
}

// Replaces the one place that a mark has in the text.
void fill(std::string& aText, const std::string& aMark, const std::string& aContent) {
  const std::size_t place = aText.find(aMark);
  if (place == std::string::npos) throw std::logic_error("the page has no place for " + aMark);
  aText.replace(place, aMark.size(), aContent);
}

// Returns why the content could not be written, or nothing.
std::error_code writeContent(const std::filesystem::path& aPath, const std::string& aContent) {
  errno = 0;
  std::ofstream file(aPath, std::ios::binary);
  file << aContent;
  file.close();
  if (!file.fail()) return {};
  return {errno != 0 ? errno : EIO, std::generic_category()};
}

}  // namespace

std::string pageOf(const Question& aQuestion) {
  std::string page = pageParts::html;
  // What may hold anything is put in last.
  fill(page, "/* style */", pageParts::css);
  fill(page, "/* script */", pageParts::js);
  fill(page, "\"DATA\"", forScript(PageData(aQuestion).make()));
  return page;
}

// A whole file or none: it gets its name when it is complete. A device or a pipe keeps its own, and
// so does a link.
void writePage(const std::string& aPath, const std::string& aPage) {
  namespace fs = std::filesystem;
  std::error_code error;
  fs::path target = aPath;
  if (fs::is_symlink(target, error)) target = fs::weakly_canonical(target, error);
  if (fs::exists(target, error) && !fs::is_regular_file(target, error)) {
    error = writeContent(target, aPage);
  } else {
    fs::path unfinished = target;
    unfinished += ".part";
    error = writeContent(unfinished, aPage);
    if (!error) fs::rename(unfinished, target, error);
    std::error_code isGone;
    if (error) fs::remove(unfinished, isGone);
  }
  if (error) throw AnswerError("cannot write " + printable(aPath) + ": " + error.message());
}

}  // namespace ksexpr
