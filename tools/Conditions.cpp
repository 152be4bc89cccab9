#include "tools/Conditions.hpp"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <unordered_set>

#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tools/Commands.hpp"
#include "tools/Text.hpp"
#include "tools/TypedModel.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace ksexpr {

namespace {

using KS::VCService;

// The bytes of the texts that are kept.
constexpr std::size_t maxKeptLength = std::size_t{16} << 20;

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
      idTRUE(static_cast<ConditionId>(service.simplify("true"))),
      idFALSE(static_cast<ConditionId>(service.simplify("false"))),
      isAnswered(model.blocks.size(), false),
      answers(model.blocks.size()),
      lines(request.withDecision || request.withCompact ? std::string_view(model.text)
                                                        : std::string_view()),
      compactCopy(service.getTable(), compactTable),
      compact(compactTable) {
  select();
  if (!request.onlyDead && !request.withDecision) return;
  for (const Family family : {VV, CG, S}) {
    if (request.families[family]) verdicts[family] = familyVerdicts(model, family);
  }
}

// Finds the blocks that are asked for and counts them with their ancestors.
void Conditions::select() {
  std::unordered_set<std::string_view> wanted(request.blockIds.begin(), request.blockIds.end());
  isSelected.assign(model.blocks.size(), wanted.empty());
  numSelected = numNeeded = wanted.empty() ? model.blocks.size() : wanted.size();
  if (wanted.empty()) return;
  std::vector<bool> isNeeded(model.blocks.size(), false);
  numNeeded = 0;
  for (const KSBlock& selected : model.blocks) {
    if (wanted.erase(selected.id) == 0) continue;
    isSelected[model.indexOf(selected)] = true;
    for (const KSBlock* block = &selected; block != nullptr && !isNeeded[model.indexOf(*block)];
         block = block->parent) {
      isNeeded[model.indexOf(*block)] = true;
      ++numNeeded;
    }
  }
  for (const std::string& id : request.blockIds) {
    if (wanted.count(id) != 0) {
      throw AnswerError(noBlockMessage(model, id));
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
       block = block->parent) {
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
  for (const Family family : {VV, CG, S}) {
    if (!request.families[family]) continue;
    const bool isHindered = aBlock.parent != nullptr &&
                            answers[model.indexOf(*aBlock.parent)].net[family] == notAvailable;
    try {
      // The net condition first: it fills the local one on the way, and a CG condition that is
      // known is worked out once more on every query.
      if (!isHindered) found.net[family] = ask(aBlock, family, true);
      found.local[family] = ask(aBlock, family, false);
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
  const KSBlock* ancestor = aBlock.parent;
  while (answers[model.indexOf(*ancestor)].local[aFamily] != notAvailable) {
    ancestor = ancestor->parent;
  }
  observer.problem(printable(model.path) + ": block \"" + shortened(aBlock.id) + "\", " +
                   familyNames[aFamily] + ": no net condition, because that of its ancestor \"" +
                   shortened(ancestor->id) + "\" is not available\n");
}

void Conditions::finish() const {
  const std::string remaining = problems.remaining(model.path);
  if (!remaining.empty()) observer.problem(remaining);
}

const std::string& Conditions::text(const KSBlock& aBlock, Family aFamily, bool aIsNet,
                                    bool aCForm) {
  const BlockConditions& conditions = answers[model.indexOf(aBlock)];
  const ConditionId id = aIsNet ? conditions.net[aFamily] : conditions.local[aFamily];
  if (keptLength > maxKeptLength) {
    for (auto& texts : keptTexts) texts.clear();
    keptLength = 0;
  }
  const auto [kept, isNew] = keptTexts[aCForm ? 1 : 0].try_emplace(id);
  if (isNew) {
    kept->second = makeText(aBlock, aFamily, aIsNet, aCForm);
    keptLength += sizeof(*kept) + kept->second.size();
  }
  return kept->second;
}

std::string Conditions::compactText(const KSBlock& aBlock, Family aFamily) {
  const KS::SymbolicExprId net = compactCopy(answers[model.indexOf(aBlock)].net[aFamily]);
  std::vector<KS::SymbolicExprId> path;
  for (const KSBlock* block = &aBlock; block != nullptr; block = block->parent) {
    const ConditionId local = answers[model.indexOf(*block)].local[aFamily];
    if (local != idTRUE) path.push_back(compactCopy(local));
  }
  std::reverse(path.begin(), path.end());
  const KS::SymbolicExprId id = compact(net, path);
  if (id == compactTable.getIdTRUE()) return "";
  return KS::SymbolicExprPrinter(compactTable, true, true, true)(id);
}

std::string Conditions::makeText(const KSBlock& aBlock, Family aFamily, bool aIsNet, bool aCForm) {
  if (!aCForm || aFamily != CG) {
    const BlockConditions& conditions = answers[model.indexOf(aBlock)];
    const std::string m =
        service.printMExpr(aIsNet ? conditions.net[aFamily] : conditions.local[aFamily]);
    return aCForm ? convertToC(m) : m;
  }
  return aIsNet ? service.getCExprNetCGVCEString(&aBlock, &customizer)
                : service.getCExprLocalCGVCEString(&aBlock, &customizer);
}

}  // namespace ksexpr
