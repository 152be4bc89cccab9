#include "tools/Conditions.hpp"

#include <fnmatch.h>
#include <locale.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/KSSymbolicExpr.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tools/Commands.hpp"
#include "tools/Text.hpp"
#include "tools/TypedModel.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace ksexpr {

namespace {

using KS::VCService;

// The bytes of the texts that are kept, and of each of them.
constexpr std::size_t maxKeptLength = std::size_t{16} << 20;
constexpr std::size_t maxKeptTextLength = std::size_t{1} << 20;

using Getter = KS::SymbolicExprId (VCService::*)(const KSBlock*, const KS::VCCustomizer*);

// By Family: its number in the service's questions to the host, and how the service is asked.
struct Questions {
  int selector;
  Getter local;
  Getter net;
};
constexpr Questions questions[] = {
    {1, &VCService::getMExprLocalVVCEIdx, &VCService::getMExprNetVVCEIdx},
    {0, &VCService::getMExprLocalCGVCEIdx, &VCService::getMExprNetCGVCEIdx},
    {2, &VCService::getLocalSVCEIdx, &VCService::getNetSVCEIdx},
};

// A C form for conditions that the service gives in M form only.
std::string convertToC(const std::string& aMText) {
  if (aMText.empty()) return aMText;
  KS::SymbolicExprTable table;
  const KS::SymbolicExprId id = KS::SymbolicExprParser(table, false)(aMText);
  return KS::SymbolicExprPrinter(table, false, true, true)(KS::SymbolicExprM2C(table)(id));
}

// Ids and patterns of ids.
class Patterns {
 public:
  explicit Patterns(const std::vector<std::string>& aTexts)
      : locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    for (const std::string& text : aTexts) all.push_back({text, false, false});
  }
  Patterns(const Patterns&) = delete;
  Patterns& operator=(const Patterns&) = delete;
  ~Patterns() {
    if (locale != nullptr) freelocale(locale);
  }

  // Takes note of an id that there is. One that is spelled like a pattern wins over it.
  void meet(std::string_view aId) {
    for (Pattern& pattern : all) {
      if (pattern.text == aId) pattern.isId = true;
      pattern.isMet = pattern.isMet || pattern.isId || isLike(pattern, aId);
    }
  }
  // One that no id is like, or null.
  const std::string* missing() const {
    const auto found =
        std::find_if(all.begin(), all.end(), [](const Pattern& pattern) { return !pattern.isMet; });
    return found == all.end() ? nullptr : &found->text;
  }
  bool matches(std::string_view aId) const {
    return std::any_of(all.begin(), all.end(), [&](const Pattern& pattern) {
      return pattern.isId ? pattern.text == aId : isLike(pattern, aId);
    });
  }

 private:
  struct Pattern {
    std::string text;
    bool isId;
    bool isMet;
  };

  // "?" and "[...]" are about characters, not bytes.
  bool isLike(const Pattern& aPattern, std::string_view aId) const {
    if (aPattern.text.find_first_of("*?[") == std::string::npos) return false;
    const locale_t usual = locale == nullptr ? nullptr : uselocale(locale);
    const bool isMatch = fnmatch(aPattern.text.c_str(), std::string(aId).c_str(), 0) == 0;
    if (usual != nullptr) uselocale(usual);
    return isMatch;
  }

  const locale_t locale;
  std::vector<Pattern> all;
};

// The conjunction as people write it: conditions one after the other, without brackets around those
// that are conjunctions.
KS::SymbolicExprId conjunction(KS::SymbolicExprTable& aTable, KS::SymbolicExprId aLeft,
                               KS::SymbolicExprId aRight) {
  std::vector<KS::SymbolicExprId> open{aRight};
  while (!open.empty()) {
    const KS::SymbolicExprId id = open.back();
    open.pop_back();
    const KS::SymbolicExpr& node = *aTable.get(id);
    if (node.getKind() == static_cast<int>(KS::SymbolicOp::And)) {
      const KS::SymbolicExprId left = node.getInput(0);
      open.insert(open.end(), {node.getInput(1), left});
    } else {
      aLeft = KS::SymbolicAndExpr(aTable, aLeft, id).getId(aTable);
    }
  }
  return aLeft;
}

std::string currentMessage() {
  try {
    throw;
  } catch (const std::exception& error) {
    return shortened(error.what());
  } catch (...) {
    return "the host reports an error";
  }
}

}  // namespace

std::string Conditions::Customizer::getLocalCondition(const KSBlock* aBlock, int aSelector) const {
  const auto family = std::find_if(
      std::begin(questions), std::end(questions),
      [aSelector](const Questions& question) { return question.selector == aSelector; });
  return std::string(aBlock->texts.at(static_cast<std::size_t>(family - std::begin(questions))));
}

Conditions::Conditions(const Model& aModel, const ConditionsRequest& aRequest,
                       const ConditionsObserver& aObserver)
    : model(aModel),
      request(aRequest),
      observer(aObserver),
      style(request.style.value_or(Style::Canonical)),
      under(request.underId ? &findBlock(model, *request.underId) : nullptr),
      customizer(*this),
      idTRUE(static_cast<ConditionId>(service.simplify("true"))),
      idFALSE(static_cast<ConditionId>(service.simplify("false"))),
      isAnswered(model.blocks.size(), false),
      answers(model.blocks.size()),
      lines(request.withDecision || request.withCompact ? std::string_view(model.text)
                                                        : std::string_view()),
      copy(service.getTable(), readableTable),
      compact(readableTable) {
  readableTable.addBoolSymbols();
  typedTexts.emplace("", readableTable.getIdTRUE());
  select();
  if (!request.onlyDead && !request.withDecision) return;
  for (const Family family : {VV, CG, S}) {
    if (request.families[family]) verdicts[family] = familyVerdicts(model, family);
  }
}

// By block: whether it is the block that all listed ones are below, or below it.
std::vector<bool> Conditions::belowTop() const {
  std::vector<bool> isBelow(model.blocks.size(), under == nullptr);
  if (under == nullptr) return isBelow;
  isBelow[model.indexOf(*under)] = true;
  std::vector<bool> isMet = isBelow;
  std::vector<std::size_t> path;
  for (const KSBlock& start : model.blocks) {
    const KSBlock* block = &start;
    for (; block != nullptr && !isMet[model.indexOf(*block)]; block = block->parent) {
      path.push_back(model.indexOf(*block));
    }
    const bool isPathBelow = block != nullptr && isBelow[model.indexOf(*block)];
    for (const std::size_t index : path) {
      isMet[index] = true;
      isBelow[index] = isPathBelow;
    }
    path.clear();
  }
  return isBelow;
}

// Finds the blocks that are asked for and counts them with those whose conditions they continue.
void Conditions::select() {
  isSelected = belowTop();
  if (!request.blockIds.empty()) {
    Patterns wanted(request.blockIds);
    const std::vector<bool> isBelow = isSelected;
    for (const KSBlock& block : model.blocks) {
      if (isBelow[model.indexOf(block)]) wanted.meet(block.id);
    }
    if (const std::string* missing = wanted.missing()) {
      if (under == nullptr) throw AnswerError(noBlockMessage(model, *missing));
      throw AnswerError(printable(model.path) + ": no block \"" + shortened(*missing) +
                        "\" below \"" + shortened(under->id) + '"');
    }
    for (const KSBlock& block : model.blocks) {
      const std::size_t index = model.indexOf(block);
      isSelected[index] = isBelow[index] && wanted.matches(block.id);
    }
  }
  std::vector<bool> isNeeded(model.blocks.size(), false);
  for (const KSBlock& selected : model.blocks) {
    if (!isSelected[model.indexOf(selected)]) continue;
    ++numSelected;
    for (const KSBlock* block = &selected; block != nullptr && !isNeeded[model.indexOf(*block)];
         block = parentOf(*block)) {
      isNeeded[model.indexOf(*block)] = true;
      ++numNeeded;
    }
  }
}

void Conditions::forEach(const std::function<void(const KSBlock&, const BlockConditions&)>& aUse) {
  for (const KSBlock& block : model.blocks) {
    if (!isSelected[model.indexOf(block)]) continue;
    const BlockConditions& conditions = answer(block);
    if (!request.onlyDead || isDead(block)) aUse(block, conditions);
  }
}

// A block may stand before its ancestors, which are answered first.
const BlockConditions& Conditions::answer(const KSBlock& aBlock) {
  std::vector<const KSBlock*> path;
  for (const KSBlock* block = &aBlock; block != nullptr && !isAnswered[model.indexOf(*block)];
       block = parentOf(*block)) {
    path.push_back(block);
  }
  for (auto block = path.rbegin(); block != path.rend(); ++block) answerBelowParent(**block);
  return answers[model.indexOf(aBlock)];
}

// Answers a block whose parent has been answered. Where that failed, a net condition is not asked
// for: it would only fail again, all the way up.
void Conditions::answerBelowParent(const KSBlock& aBlock) {
  const std::size_t index = model.indexOf(aBlock);
  BlockConditions& found = answers[index];
  const KSBlock* const above = parentOf(aBlock);
  for (const Family family : {VV, CG, S}) {
    if (!request.families[family]) continue;
    const bool isHindered =
        above != nullptr && answers[model.indexOf(*above)].net[family] == notAvailable;
    try {
      // The net condition first: it fills the local one on the way, and a CG condition that is
      // known is worked out once more on every query.
      if (!isHindered) found.net[family] = ask(aBlock, family, true);
      found.local[family] = ask(aBlock, family, false);
      if (isOrigin(aBlock)) found.net[family] = idTRUE;
    } catch (...) {
      found.net[family] = found.local[family] = notAvailable;
      tellFailure(aBlock, family, currentMessage());
      continue;
    }
    if (isHindered) tellHindered(aBlock, family);
  }
  isAnswered[index] = true;
  if (isSelected[index] && isDead(aBlock)) ++numDead;
  observer.progress(++numAnswered, numNeeded);
}

ConditionId Conditions::ask(const KSBlock& aBlock, Family aFamily, bool aIsNet) {
  const Getter get = aIsNet ? questions[aFamily].net : questions[aFamily].local;
  const auto id = static_cast<ConditionId>((service.*get)(&aBlock, &customizer));
  if (id >= isKnown.size()) isKnown.resize(id + std::size_t{1}, false);
  if (!isKnown[id]) ++numDistinct;
  isKnown[id] = true;
  return id;
}

// A net condition that is "false" is never true; others may be, which takes a proof to tell.
bool Conditions::isDead(const KSBlock& aBlock) const {
  const std::size_t index = model.indexOf(aBlock);
  for (const Family family : {VV, CG, S}) {
    if (answers[index].net[family] == idFALSE) return true;
    if (!verdicts[family].empty() && verdicts[family][index] == Verdict::Never) return true;
  }
  return false;
}

void Conditions::tellFailure(const KSBlock& aBlock, Family aFamily, const std::string& aMessage) {
  failed = true;
  if (!problems.add("conditions that cannot be answered")) return;
  observer.problem(conditionProblem(model, aBlock, aFamily, aMessage));
}

void Conditions::tellHindered(const KSBlock& aBlock, Family aFamily) {
  if (!problems.add("net conditions that are not available")) return;
  const KSBlock* ancestor = parentOf(aBlock);
  while (answers[model.indexOf(*ancestor)].local[aFamily] != notAvailable) {
    ancestor = parentOf(*ancestor);
  }
  observer.problem(printable(model.path) + ": block \"" + shortened(aBlock.id) + "\", " +
                   familyNames[aFamily] + ": no net condition, because that of its ancestor \"" +
                   shortened(ancestor->id) + "\" is not available\n");
}

void Conditions::finish() const {
  const std::string remaining = problems.remaining(model.path);
  if (!remaining.empty()) observer.problem(remaining);
}

ConditionId Conditions::shown(const KSBlock& aBlock, Family aFamily, bool aIsNet) {
  const ConditionId id = canonical(aBlock, aFamily, aIsNet);
  if (style == Style::Canonical || id == notAvailable) return id;
  if (style == Style::Typed) {
    return static_cast<ConditionId>(aIsNet ? typedNet(aBlock, aFamily)
                                           : typedLocal(aBlock, aFamily));
  }
  return static_cast<ConditionId>(aIsNet ? compactNet(aBlock, aFamily)
                                         : compactLocal(aBlock, aFamily));
}

const std::string& Conditions::text(const KSBlock& aBlock, Family aFamily, bool aIsNet,
                                    bool aCForm) {
  const ConditionId id = shown(aBlock, aFamily, aIsNet);
  auto& texts = keptTexts[aCForm ? 1 : 0];
  const auto kept = texts.find(id);
  if (kept != texts.end()) return kept->second;
  longText = std::string();  // its memory serves the next one
  std::string text = style == Style::Canonical ? makeText(aBlock, aFamily, aIsNet, aCForm)
                                               : readableText(id, aCForm);
  if (text.size() > maxKeptTextLength) return longText = std::move(text);
  if (keptLength > maxKeptLength) {
    for (auto& all : keptTexts) all.clear();
    keptLength = 0;
  }
  keptLength += sizeof(*kept) + text.size();
  return texts.emplace(id, std::move(text)).first->second;
}

std::string Conditions::compactText(const KSBlock& aBlock, Family aFamily) {
  return readableText(compactNet(aBlock, aFamily), false);
}

KS::SymbolicExprId Conditions::typedLocal(const KSBlock& aBlock, Family aFamily) {
  const std::string_view text = aBlock.texts[aFamily];
  const auto [place, isNew] = typedTexts.emplace(text, KS::invalidSymbolicExprId);
  if (isNew) place->second = KS::SymbolicExprParser(readableTable, false)(std::string(text));
  return place->second;
}

// The conjunction of the conditions on the path. Those of the blocks above are made on the way.
KS::SymbolicExprId Conditions::typedNet(const KSBlock& aBlock, Family aFamily) {
  auto& known = typedNets[aFamily];
  const KS::SymbolicExprId idTrue = readableTable.getIdTRUE();
  std::vector<const KSBlock*> path;
  const KSBlock* block = isOrigin(aBlock) ? nullptr : &aBlock;
  for (; block != nullptr && known.count(block) == 0; block = parentOf(*block)) {
    path.push_back(block);
  }
  KS::SymbolicExprId net = block == nullptr ? idTrue : known.at(block);
  for (auto next = path.rbegin(); next != path.rend(); ++next) {
    const KS::SymbolicExprId local = typedLocal(**next, aFamily);
    if (local != idTrue) net = net == idTrue ? local : conjunction(readableTable, net, local);
    known.emplace(*next, net);
  }
  return net;
}

KS::SymbolicExprId Conditions::compactLocal(const KSBlock& aBlock, Family aFamily) {
  const auto [place, isNew] = compactLocals[aFamily].emplace(&aBlock, readableTable.getIdTRUE());
  const ConditionId local = canonical(aBlock, aFamily, false);
  if (!isNew || local == idTRUE) return place->second;
  return place->second = compact(copy(local), {typedLocal(aBlock, aFamily)});
}

KS::SymbolicExprId Conditions::compactNet(const KSBlock& aBlock, Family aFamily) {
  const auto [place, isNew] = compactNets[aFamily].emplace(&aBlock, readableTable.getIdTRUE());
  if (!isNew) return place->second;
  std::vector<KS::SymbolicExprId> path;
  const KSBlock* block = isOrigin(aBlock) ? nullptr : &aBlock;
  for (; block != nullptr; block = parentOf(*block)) {
    const KS::SymbolicExprId local = typedLocal(*block, aFamily);
    if (local != readableTable.getIdTRUE()) path.push_back(local);
  }
  std::reverse(path.begin(), path.end());
  return place->second = compact(copy(canonical(aBlock, aFamily, true)), path);
}

std::string Conditions::readableText(KS::SymbolicExprId aId, bool aCForm) {
  if (aId == readableTable.getIdTRUE()) return "";
  if (aCForm) aId = KS::SymbolicExprM2C(readableTable)(aId);
  return KS::SymbolicExprPrinter(readableTable, !aCForm, true, true)(aId);
}

std::string Conditions::makeText(const KSBlock& aBlock, Family aFamily, bool aIsNet, bool aCForm) {
  if (!aCForm || aFamily != CG || isOrigin(aBlock)) {
    std::string m = service.printMExpr(canonical(aBlock, aFamily, aIsNet));
    if (aCForm) m = convertToC(m);
    return m;
  }
  return aIsNet ? service.getCExprNetCGVCEString(&aBlock, &customizer)
                : service.getCExprLocalCGVCEString(&aBlock, &customizer);
}

}  // namespace ksexpr
