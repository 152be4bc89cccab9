#include "tools/Answerer.hpp"

#include <algorithm>
#include <exception>
#include <functional>
#include <iterator>

#include "base/KSSymbolicExpr.hpp"
#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Text.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace ksexpr {

namespace {

using KS::VCService;

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

// Stands for the net condition above a block that continues none.
constexpr ConditionId noneAbove = notAsked;

// A C form for conditions that the service gives in M form only.
std::string convertToC(const std::string& aMText) {
  if (aMText.empty()) return aMText;
  KS::SymbolicExprTable table;
  const KS::SymbolicExprId id = KS::SymbolicExprParser(table, false)(aMText);
  return KS::SymbolicExprPrinter(table, false, true, true)(KS::SymbolicExprM2C(table)(id));
}

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

std::string Answerer::Customizer::getLocalCondition(const KSBlock* aBlock, int aSelector) const {
  const auto family = std::find_if(
      std::begin(questions), std::end(questions),
      [aSelector](const Questions& question) { return question.selector == aSelector; });
  return std::string(aBlock->texts[static_cast<std::size_t>(family - std::begin(questions))]);
}

Answerer::Answerer(const Model& aModel, const AnswererRequest& aRequest, Share aShare,
                   std::vector<BlockConditions>& aAnswers)
    : model(aModel),
      request(aRequest),
      share(aShare),
      answers(aAnswers),
      customizer(request.origin),
      idTRUE(static_cast<ConditionId>(service.getTable().getIdTRUE())),
      copy(service.getTable(), readableTable),
      compact(readableTable),
      forms(service.getTable()),
      readableForms(readableTable) {
  readableTable.addBoolSymbols();
  typedTexts.emplace("", readableTable.getIdTRUE());
}

// ---------------------------------------------------------------------------------------------
// Canonical conditions

bool Answerer::isMine(const KSBlock& aBlock) const {
  return share.owners.empty() || share.owners[model.indexOf(aBlock)] == share.number;
}

// The conditions of a block so far.
BlockConditions Answerer::known(const KSBlock& aBlock) const {
  if (isMine(aBlock)) return answers[model.indexOf(aBlock)];
  const auto found = others.find(&aBlock);
  return found == others.end() ? BlockConditions() : found->second;
}

// A block may stand before its ancestors, which are answered first.
void Answerer::answer(const KSBlock& aBlock) {
  std::vector<const KSBlock*> path{&aBlock};
  for (const KSBlock* block = above(aBlock); block != nullptr; block = above(*block)) {
    if (known(*block).local != BlockConditions().local) break;
    path.push_back(block);
  }
  for (auto block = path.rbegin(); block != path.rend(); ++block) answerBelowParent(**block);
}

// Answers a block whose parent, if there is one, has been answered. Where that failed, a net
// condition is not asked for: it would only fail again, all the way up.
void Answerer::answerBelowParent(const KSBlock& aBlock) {
  BlockConditions found;
  const KSBlock* const parent = above(aBlock);
  const BlockConditions ofParent = parent == nullptr ? BlockConditions() : known(*parent);
  for (const Family family : {VV, CG, S}) {
    if (!request.families[family]) continue;
    try {
      const Pair answer = pair(aBlock, family, ofParent.net[family]);
      found.local[family] = answer.local;
      found.net[family] = &aBlock == request.origin ? idTRUE : answer.net;
    } catch (...) {
      found.net[family] = found.local[family] = notAvailable;
      if (failures.size() < ProblemCounts::maxTold && isMine(aBlock)) {
        failures.push_back({&aBlock, family, currentMessage()});
      }
    }
  }
  (isMine(aBlock) ? answers[model.indexOf(aBlock)] : others[&aBlock]) = found;
}

// The local and the net condition of a block below that net condition, which may be not available.
Answerer::Pair Answerer::pair(const KSBlock& aBlock, Family aFamily, ConditionId aAbove) {
  // Most blocks have no condition of their own, which leaves that of their parent as it is.
  const std::string_view text = aBlock.texts[aFamily];
  if (text.empty()) return {noted(idTRUE), aAbove == noneAbove ? idTRUE : aAbove};
  // The two depend on the text and the condition above alone, in every family. Siblings, and the
  // families of a block, often have these in common.
  const std::size_t hash = std::hash<std::string_view>()(text) + aAbove;
  Asked& place = lastAsked[hash * 0x9E3779B97F4A7C15 >> (64 - lastAskedBits)];
  if (place.above == aAbove && place.text == text) {
    if (aFamily == CG) requirePrintable(place.answer.local);
    return place.answer;
  }
  // The net condition first: it fills the local one on the way, and a CG condition that is known is
  // worked out once more on every query.
  const ConditionId net = aAbove == notAvailable ? notAvailable : ask(aBlock, aFamily, true);
  const Pair answer{ask(aBlock, aFamily, false), net};
  place = {text, aAbove, answer};
  return answer;
}

ConditionId Answerer::ask(const KSBlock& aBlock, Family aFamily, bool aIsNet) {
  const Getter get = aIsNet ? questions[aFamily].net : questions[aFamily].local;
  return noted(static_cast<ConditionId>((service.*get)(&aBlock, &customizer)));
}

// The service gives no local CG condition that is too long to be written. Those of other families
// may be.
void Answerer::requirePrintable(ConditionId aLocal) {
  if (aLocal >= isPrintable.size()) isPrintable.resize(aLocal + std::size_t{1}, false);
  if (isPrintable[aLocal]) return;
  service.printMExpr(aLocal);
  isPrintable[aLocal] = true;
}

// The condition, which is now among the answers.
ConditionId Answerer::noted(ConditionId aId) {
  if (aId >= isAnswered.size()) isAnswered.resize(aId + std::size_t{1}, false);
  isAnswered[aId] = true;
  return aId;
}

void Answerer::forgetQuestions() { others = {}; }

const std::string& Answerer::failure(const KSBlock& aBlock, Family aFamily) const {
  static const std::string none;
  for (const Failure& failed : failures) {
    if (failed.block == &aBlock && failed.family == aFamily) return failed.message;
  }
  return none;
}

// ---------------------------------------------------------------------------------------------
// Readable conditions

ReadableConditions Answerer::makeReadable(const KSBlock& aBlock) {
  ReadableConditions made;
  const BlockConditions canonical = known(aBlock);
  const auto keep = [](ConditionId& to, KS::SymbolicExprId id) {
    to = static_cast<ConditionId>(id);
  };
  for (const Family family : {VV, CG}) {
    if (!request.families[family]) continue;
    const ConditionId local = canonical.local[family];
    const ConditionId net = canonical.net[family];
    if (request.style == Style::Typed) {
      if (local != notAvailable) keep(made.local[family], typedLocal(aBlock, family));
      if (net != notAvailable) keep(made.net[family], typedNet(aBlock, family));
    } else if (request.style == Style::Compact) {
      if (local != notAvailable) keep(made.local[family], compactLocal(aBlock, family, local));
      made.net[family] = compactNet(aBlock, family);
    }
    if (request.withCompact) {
      made.compactNet[family] =
          request.style == Style::Compact ? made.net[family] : compactNet(aBlock, family);
    }
    if (!request.withC && !(request.withCOfCG && family == CG)) continue;
    for (const ConditionId id : {made.local[family], made.net[family]}) {
      if (id == notAvailable || !readableForms.hasCall(id)) continue;
      const auto [place, isNew] = readableCForms.try_emplace(id, id);
      if (isNew) place->second = KS::SymbolicExprM2C(readableTable)(id);
    }
  }
  return made;
}

KS::SymbolicExprId Answerer::typedLocal(const KSBlock& aBlock, Family aFamily) {
  const std::string_view text = aBlock.texts[aFamily];
  const auto [place, isNew] = typedTexts.emplace(text, KS::invalidSymbolicExprId);
  if (isNew) place->second = KS::SymbolicExprParser(readableTable, false)(std::string(text));
  return place->second;
}

// The conjunction of the conditions on the path. Those of the blocks above are made on the way.
KS::SymbolicExprId Answerer::typedNet(const KSBlock& aBlock, Family aFamily) {
  auto& nets = typedNets[aFamily];
  const KS::SymbolicExprId idTrue = readableTable.getIdTRUE();
  std::vector<const KSBlock*> path;
  const KSBlock* block = &aBlock == request.origin ? nullptr : &aBlock;
  for (; block != nullptr && nets.count(block) == 0; block = above(*block)) path.push_back(block);
  KS::SymbolicExprId net = block == nullptr ? idTrue : nets.at(block);
  for (auto next = path.rbegin(); next != path.rend(); ++next) {
    const KS::SymbolicExprId local = typedLocal(**next, aFamily);
    if (local != idTrue) net = net == idTrue ? local : conjunction(readableTable, net, local);
    nets.emplace(*next, net);
  }
  return net;
}

KS::SymbolicExprId Answerer::compactLocal(const KSBlock& aBlock, Family aFamily,
                                          ConditionId aLocal) {
  if (aLocal == idTRUE) return readableTable.getIdTRUE();
  return compact(copy(aLocal), {typedLocal(aBlock, aFamily)});
}

ConditionId Answerer::compactNet(const KSBlock& aBlock, Family aFamily) {
  const ConditionId net = known(aBlock).net[aFamily];
  if (net == notAvailable) return notAvailable;
  std::vector<KS::SymbolicExprId> path;
  const KSBlock* block = &aBlock == request.origin ? nullptr : &aBlock;
  for (; block != nullptr; block = above(*block)) {
    const KS::SymbolicExprId local = typedLocal(*block, aFamily);
    if (local != readableTable.getIdTRUE()) path.push_back(local);
  }
  std::reverse(path.begin(), path.end());
  return static_cast<ConditionId>(compact(copy(net), path));
}

// ---------------------------------------------------------------------------------------------
// Texts

void Answerer::prepareC(const KSBlock& aBlock) {
  if (&aBlock == request.origin || !request.families[CG]) return;
  const BlockConditions canonical = known(aBlock);
  for (const bool isNet : {false, true}) {
    const ConditionId id = isNet ? canonical.net[CG] : canonical.local[CG];
    if (id == notAvailable || !forms.hasCall(id)) continue;
    const auto [place, isNew] = cForms.try_emplace(id, id);
    if (!isNew) continue;
    place->second = isNet ? service.getCExprNetCGVCEIdx(&aBlock, &customizer)
                          : service.getCExprLocalCGVCEIdx(&aBlock, &customizer);
  }
}

std::string Answerer::text(ConditionId aId, bool aIsOfCG, bool aCForm) const {
  if (!aCForm) return service.printMExpr(aId);
  if (!aIsOfCG) return convertToC(service.printMExpr(aId));
  const auto form = cForms.find(aId);
  return service.printCExpr(form == cForms.end() ? aId : form->second);
}

std::string Answerer::readableText(ConditionId aId, bool aCForm) const {
  if (aId == readableTable.getIdTRUE()) return "";
  const auto form = aCForm ? readableCForms.find(aId) : readableCForms.end();
  return KS::SymbolicExprPrinter(readableTable, !aCForm, true,
                                 true)(form == readableCForms.end() ? aId : form->second);
}

}  // namespace ksexpr
