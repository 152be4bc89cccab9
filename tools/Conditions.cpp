#include "tools/Conditions.hpp"

#include <algorithm>
#include <exception>
#include <ostream>
#include <stdexcept>
#include <unordered_set>

#include "parser/SymbolicExprParser.hpp"
#include "print/SymbolicExprPrinter.hpp"
#include "tools/Diagnostic.hpp"
#include "variants/VCService.hpp"
#include "xform/SymbolicExprM2C.hpp"

namespace ksexpr {

namespace {

using KS::VCService;

template <class Result>
using Getter = Result (VCService::*)(const KSBlock*, const KS::VCCustomizer*);

// How the service is asked for one condition.
struct Query {
  Getter<KS::SymbolicExprId> getId;
  Getter<std::string> getM;
  Getter<std::string> getC;
};

struct FamilyQueries {
  int selector;
  Query local;
  Query net;
};

// By Family. S conditions are asked for as booleans only, VV conditions have no C form of their
// own.
constexpr FamilyQueries familyQueries[] = {
    {1,
     {&VCService::getMExprLocalVVCEIdx, &VCService::getMExprLocalVVCEString, nullptr},
     {&VCService::getMExprNetVVCEIdx, &VCService::getMExprNetVVCEString, nullptr}},
    {0,
     {&VCService::getMExprLocalCGVCEIdx, &VCService::getMExprLocalCGVCEString,
      &VCService::getCExprLocalCGVCEString},
     {&VCService::getMExprNetCGVCEIdx, &VCService::getMExprNetCGVCEString,
      &VCService::getCExprNetCGVCEString}},
    {2,
     {&VCService::getLocalSVCEIdx, nullptr, nullptr},
     {&VCService::getNetSVCEIdx, nullptr, nullptr}},
};

// The model as the service sees it.
class ModelCustomizer : public KS::VCCustomizer {
 public:
  std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override {
    const auto family = std::find_if(
        std::begin(familyQueries), std::end(familyQueries),
        [aSelector](const FamilyQueries& queries) { return queries.selector == aSelector; });
    return aBlock->texts.at(static_cast<std::size_t>(family - std::begin(familyQueries)));
  }
  const KSBlock* getParentBlock(const KSBlock* aBlock) const override { return aBlock->parent; }
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
    return error.what();
  } catch (...) {
    return "the host reports an error";
  }
}

// Asks the service for one block after the other, parents first: a block whose ancestor has failed
// is not asked for its net condition, which would only fail again all the way up.
class Asking {
 public:
  Asking(const Model& aModel, const ConditionsRequest& aRequest, ConditionsResult& aResult,
         std::ostream& aErrors)
      : model(aModel), request(aRequest), result(aResult), errors(aErrors) {
    idFALSE = service.simplify("false");
  }

  BlockAnswer ask(const KSBlock& aBlock) {
    BlockAnswer answer{&aBlock, {}, {}};
    std::array<const KSBlock*, 3> hindering{};
    for (const Family family : {VV, CG, S}) {
      if (!request.families[family]) continue;
      const KSBlock* culprit = failedAncestor(aBlock, family);
      try {
        // The net condition first: it fills the local one on the way, and a CG condition that is
        // known is worked out once more on every query.
        if (culprit == nullptr) answer.net[family] = condition(aBlock, family, false);
        answer.local[family] = condition(aBlock, family, true);
        hindering[family] = culprit;
      } catch (...) {
        reportFailure(aBlock, family, currentMessage());
        answer.net[family] = answer.local[family] = nullptr;
        if (culprit == nullptr) culprit = &aBlock;
      }
      if (culprit != nullptr) culprits[family].emplace(&aBlock, culprit);
    }
    reportHindered(aBlock, hindering);
    return answer;
  }

 private:
  const KSBlock* failedAncestor(const KSBlock& aBlock, Family aFamily) const {
    const auto found = culprits[aFamily].find(aBlock.parent);
    return found == culprits[aFamily].end() ? nullptr : found->second;
  }

  const Condition* condition(const KSBlock& aBlock, Family aFamily, bool aLocal) {
    const Query& query = aLocal ? familyQueries[aFamily].local : familyQueries[aFamily].net;
    const KS::SymbolicExprId id = (service.*query.getId)(&aBlock, &customizer);
    Condition& known = result.conditions[id];
    known.isTrue = service.getBoolean(id);
    known.isFalse = id == idFALSE;
    if (known.isTrue) return &known;
    if (query.getM != nullptr && known.m.empty())
      known.m = (service.*query.getM)(&aBlock, &customizer);
    if (known.c.empty()) {
      if (request.needsC && query.getC != nullptr) {
        known.c = (service.*query.getC)(&aBlock, &customizer);
      } else if (request.needsCOfVV && aFamily == VV) {
        known.c = convertToC(known.m);
      }
    }
    return &known;
  }

  std::string about(const KSBlock& aBlock, Family aFamily) const {
    return "block \"" + printable(aBlock.id) + "\", " + familyNames[aFamily];
  }

  void reportFailure(const KSBlock& aBlock, Family aFamily, const std::string& aMessage) {
    result.hasFailed = true;
    const std::string& text = aBlock.texts[aFamily];
    errors << model.path << ':' << model.lineOf(aBlock.textOffsets[aFamily]) << ": "
           << about(aBlock, aFamily);
    KS::SymbolicExprTable table;
    const auto error = KS::SymbolicExprParser(table, false).diagnose(text);
    if (error && !text.empty()) {
      errors << ", column " << placeOf(text, error->offset).column << ": expected "
             << error->expected << '\n'
             << excerpt(text, error->offset) << noteLine(error->note);
    } else {
      errors << ": " << aMessage << '\n';
    }
  }

  void reportHindered(const KSBlock& aBlock, const std::array<const KSBlock*, 3>& aHindering) {
    for (const Family family : {VV, CG, S}) {
      const KSBlock* culprit = aHindering[family];
      if (culprit == nullptr) continue;
      errors << model.path << ": " << about(aBlock, family)
             << ": no net condition, because that of its ancestor \"" << printable(culprit->id)
             << "\" is not available\n";
    }
  }

  const Model& model;
  const ConditionsRequest& request;
  ConditionsResult& result;
  std::ostream& errors;
  VCService service;
  ModelCustomizer customizer;
  KS::SymbolicExprId idFALSE;
  // By family and block: the nearest block on the way up, itself included, whose own text fails.
  std::array<std::unordered_map<const KSBlock*, const KSBlock*>, 3> culprits;
};

using BlockSet = std::unordered_set<const KSBlock*>;

// The blocks that are asked for; throws for an id that the model does not have.
BlockSet selectBlocks(const Model& aModel, const std::vector<std::string>& aIds) {
  std::unordered_set<std::string> missing(aIds.begin(), aIds.end());
  BlockSet selected;
  for (const KSBlock& block : aModel.blocks) {
    if (!aIds.empty() && std::find(aIds.begin(), aIds.end(), block.id) == aIds.end()) continue;
    selected.insert(&block);
    missing.erase(block.id);
  }
  for (const std::string& id : aIds) {
    if (missing.count(id) != 0) {
      throw std::runtime_error(aModel.path + ": no block \"" + printable(id) + '"');
    }
  }
  return selected;
}

// The blocks with all their ancestors.
BlockSet withAncestors(const BlockSet& aBlocks) {
  BlockSet all;
  for (const KSBlock* block : aBlocks) {
    while (block != nullptr && all.insert(block).second) block = block->parent;
  }
  return all;
}

}  // namespace

bool BlockAnswer::isDead() const {
  return std::any_of(net.begin(), net.end(), [](const Condition* condition) {
    return condition != nullptr && condition->isFalse;
  });
}

ConditionsResult answerConditions(const Model& aModel, const ConditionsRequest& aRequest,
                                  std::ostream& aErrors, const ProgressCallback& aProgress) {
  const BlockSet selected = selectBlocks(aModel, aRequest.blockIds);
  const BlockSet needed = withAncestors(selected);
  ConditionsResult result;
  result.answers.reserve(selected.size());
  Asking asking(aModel, aRequest, result, aErrors);
  std::size_t done = 0;
  for (const KSBlock* block : aModel.parentsFirst) {
    if (needed.count(block) == 0) continue;
    BlockAnswer answer = asking.ask(*block);
    if (selected.count(block) != 0) result.answers.push_back(answer);
    aProgress(++done, needed.size());
  }
  // Blocks stand in the model one after the other, so their addresses are in file order.
  std::sort(result.answers.begin(), result.answers.end(),
            [](const BlockAnswer& a, const BlockAnswer& b) { return a.block < b.block; });
  return result;
}

}  // namespace ksexpr
