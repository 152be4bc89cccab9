#include "tools/Check.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "base/KSSymbolicExpr.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

using KS::SymbolicExprId;
using KS::Truth;

namespace {

class Check {
 public:
  Check(const Question& aQuestion, const CheckRequest& aRequest)
      : question(aQuestion),
        typed(aQuestion.getTyped()),
        model(aQuestion.getModel()),
        decision(aQuestion, Decision::Values::Given),
        entries(model.blocks.size()) {
    decision.requireConsistency();
    checkBlocks();
    checkVariants(aRequest.variants);
  }

  // In the order of blocks.
  std::vector<CheckEntry> all() const {
    std::vector<CheckEntry> found;
    for (const auto& ofBlock : entries) found.insert(found.end(), ofBlock.begin(), ofBlock.end());
    return found;
  }

 private:
  SymbolicExprId negated(SymbolicExprId aId) const {
    return KS::SymbolicNotExpr(question.getTable(), aId).getId(question.getTable());
  }

  std::vector<SymbolicExprId> pathAbove(const KSBlock& aBlock) const {
    return aBlock.parent == nullptr ? std::vector<SymbolicExprId>() : typed.path(*aBlock.parent);
  }

  CheckEntry& add(const KSBlock& aBlock, Finding aFinding) {
    auto& found = entries[model.indexOf(aBlock)];
    found.push_back({&aBlock, aFinding});
    return found.back();
  }

  const CheckEntry* find(const KSBlock* aBlock, Finding aFinding) const {
    if (aBlock == nullptr) return nullptr;
    for (const CheckEntry& entry : entries[model.indexOf(*aBlock)]) {
      if (entry.finding == aFinding) return &entry;
    }
    return nullptr;
  }

  // Whether each condition holds wherever those above it do.
  std::vector<Truth> redundancies(const std::vector<const KSBlock*>& aBlocks) {
    std::vector<std::vector<SymbolicExprId>> failing;
    for (const KSBlock* block : aBlocks) {
      failing.push_back(pathAbove(*block));
      failing.back().push_back(negated(typed.local(*block)));
    }
    return decision.getDecider().decideAll(failing);
  }

  void checkBlocks() {
    verdicts = verdictsOf(typed, decision);
    std::vector<const KSBlock*> conditional;
    for (const KSBlock* block : typed.topDown()) {
      if (!typed.isAvailable(*block) || !typed.hasCondition(*block)) continue;
      const bool isDead = block->parent != nullptr && verdict(*block->parent) == Truth::Never;
      if (!isDead) conditional.push_back(block);
    }
    const std::vector<Truth> failing = redundancies(conditional);
    std::size_t next = 0;
    for (const KSBlock* block : typed.topDown()) {
      const bool isAsked = next < conditional.size() && conditional[next] == block;
      const Truth canFail = isAsked ? failing[next++] : Truth::Always;
      if (typed.isAvailable(*block)) checkBlock(*block, canFail);
    }
  }

  Truth verdict(const KSBlock& aBlock) const { return verdicts[model.indexOf(aBlock)]; }

  // `aCanFail` is the verdict on the condition's failing below those above it.
  void checkBlock(const KSBlock& aBlock, Truth aCanFail) {
    const Truth found = verdict(aBlock);
    if (found == Truth::Never) {
      const CheckEntry* above = find(aBlock.parent, Finding::Never);
      CheckEntry& entry = add(aBlock, Finding::Never);
      entry.isInherited = above != nullptr;
      if (above != nullptr) {
        entry.because = above->because;
      } else {
        const auto contradiction = decision.getDecider().smallestContradiction(typed.path(aBlock));
        entry.because = blocksOf(question, aBlock, contradiction.ids);
      }
    }
    if (found == Truth::Always && typed.hasCondition(aBlock)) {
      const bool isInherited = find(aBlock.parent, Finding::Always) != nullptr;
      add(aBlock, Finding::Always).isInherited = isInherited;
    }
    if (aCanFail == Truth::Never && found != Truth::Never) {
      std::vector<SymbolicExprId> ids = pathAbove(aBlock);
      ids.push_back(negated(typed.local(aBlock)));
      const auto contradiction = decision.getDecider().smallestContradiction(ids);
      CheckEntry& entry = add(aBlock, Finding::Implied);
      if (aBlock.parent != nullptr) {
        entry.because = blocksOf(question, *aBlock.parent, contradiction.ids);
      }
    }
    if (found == Truth::Unknown || aCanFail == Truth::Unknown) {
      const CheckEntry* above = find(aBlock.parent, Finding::Unknown);
      CheckEntry& entry = add(aBlock, Finding::Unknown);
      entry.isInherited = above != nullptr;
      entry.terms = decision.getDecider().unknownTerms(typed.path(aBlock));
    }
  }

  void checkVariants(const std::vector<std::string>& aIds) {
    std::vector<std::vector<const KSBlock*>> children(model.blocks.size());
    for (const KSBlock& block : model.blocks) {
      if (block.parent != nullptr) children[model.indexOf(*block.parent)].push_back(&block);
    }
    std::vector<bool> isAsked(model.blocks.size(), false);
    for (const std::string& id : aIds) {
      if (id == "all") {
        isAsked.assign(model.blocks.size(), true);
      } else {
        isAsked[model.indexOf(findBlock(model, id))] = true;
      }
    }
    for (const KSBlock& block : model.blocks) {
      const auto& variants = children[model.indexOf(block)];
      if (!isAsked[model.indexOf(block)] || variants.empty()) continue;
      const bool areAvailable =
          std::all_of(variants.begin(), variants.end(),
                      [this](const KSBlock* variant) { return typed.isAvailable(*variant); });
      if (areAvailable) checkVariantsOf(block, variants);
    }
  }

  void checkVariantsOf(const KSBlock& aBlock, const std::vector<const KSBlock*>& aVariants) {
    const std::vector<SymbolicExprId> path = typed.path(aBlock);
    std::vector<std::pair<const KSBlock*, const KSBlock*>> pairs;
    std::vector<std::vector<SymbolicExprId>> conditions;
    for (std::size_t i = 0; i < aVariants.size(); ++i) {
      for (std::size_t j = i + 1; j < aVariants.size(); ++j) {
        pairs.emplace_back(aVariants[i], aVariants[j]);
        conditions.push_back(path);
        conditions.back().push_back(typed.local(*aVariants[i]));
        conditions.back().push_back(typed.local(*aVariants[j]));
      }
    }
    const std::vector<Truth> together = decision.getDecider().decideAll(conditions);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      if (together[i] == Truth::Never) continue;
      const auto witness = decision.witness(conditions[i]);
      addVariants(aBlock, Finding::Overlap, {pairs[i].first, pairs[i].second}, witness,
                  conditions[i]);
    }
    std::vector<SymbolicExprId> none = path;
    for (const KSBlock* variant : aVariants) none.push_back(negated(typed.local(*variant)));
    if (decision.getDecider().decide(none) == Truth::Never) return;
    addVariants(aBlock, Finding::Gap, aVariants, decision.witness(none), none);
  }

  // Without a witness it is not known whether there is what is looked for.
  void addVariants(const KSBlock& aBlock, Finding aFinding,
                   const std::vector<const KSBlock*>& aChildren,
                   const std::optional<NamedValues>& aWitness,
                   const std::vector<SymbolicExprId>& aConditions) {
    CheckEntry& entry = add(aBlock, aWitness ? aFinding : Finding::Unknown);
    entry.children = aChildren;
    if (aWitness) {
      entry.witness = *aWitness;
    } else {
      entry.terms = decision.getDecider().unknownTerms(aConditions);
    }
  }

  const Question& question;
  const TypedModel& typed;
  const Model& model;
  Decision decision;
  std::vector<Truth> verdicts;
  std::vector<std::vector<CheckEntry>> entries;
};

std::string childrenText(const CheckEntry& aEntry) {
  std::string text;
  for (const KSBlock* child : aEntry.children) {
    text += (text.empty() ? "" : ", ") + printable(child->id);
  }
  return text;
}

// What speaks for the finding, as one text.
std::string reason(const Question& aQuestion, const CheckEntry& aEntry) {
  std::string text = childrenText(aEntry);
  if (!text.empty()) {
    text = (aEntry.finding == Finding::Gap ? "none of " : "") + text;
    if (aEntry.finding != Finding::Unknown) text += ": " + valuesText(aEntry.witness);
  }
  const std::string because = blockConditionsText(aQuestion, aEntry.because);
  if (!because.empty()) text += because;
  std::string terms;
  for (const SymbolicExprId term : aEntry.terms) {
    terms += (terms.empty() ? "" : ", ") + aQuestion.text(term);
  }
  if (!terms.empty()) text += (text.empty() ? "" : "; ") + terms;
  return text;
}

nlohmann::ordered_json entryJson(const Question& aQuestion, const CheckEntry& aEntry,
                                 std::size_t aLine) {
  nlohmann::ordered_json json{{"block", aEntry.block->id},
                              {"verdict", findingNames[static_cast<std::size_t>(aEntry.finding)]}};
  if (!aEntry.children.empty()) {
    json["children"] = nlohmann::ordered_json::array();
    for (const KSBlock* child : aEntry.children) json["children"].push_back(child->id);
    if (aEntry.finding != Finding::Unknown) {
      json["witness"] = valuesJson(aEntry.witness);
      return json;
    }
  }
  json["line"] = aLine;
  json["because"] = blockConditionsJson(aQuestion, aEntry.because);
  json["inherited"] = aEntry.isInherited;
  json["terms"] = nlohmann::ordered_json::array();
  for (const SymbolicExprId term : aEntry.terms) json["terms"].push_back(aQuestion.text(term));
  return json;
}

}  // namespace

std::vector<CheckEntry> answerCheck(const Question& aQuestion, const CheckRequest& aRequest) {
  return Check(aQuestion, aRequest).all();
}

CheckResult writeCheck(const Question& aQuestion, const CheckRequest& aRequest,
                       const std::vector<CheckEntry>& aEntries, std::ostream& aOut) {
  const Layout& layout = aQuestion.getLayout();
  const Lines lines(aQuestion.getModel().text);
  const auto lineOf = [&](const KSBlock& block) {
    return lines.lineOf(aQuestion.getModel().offsetOf(block.id));
  };
  CheckResult result;
  std::vector<Row> rows;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  std::size_t counts[std::size(findingNames)] = {};
  for (const CheckEntry& entry : aEntries) {
    ++counts[static_cast<std::size_t>(entry.finding)];
    result.isFailed = result.isFailed || aRequest.failOn.count(entry.finding) != 0;
    const std::string name = findingNames[static_cast<std::size_t>(entry.finding)];
    if (layout.format == Format::Json) {
      json.push_back(entryJson(aQuestion, entry, lineOf(*entry.block)));
      continue;
    }
    const std::string line = std::to_string(lineOf(*entry.block));
    const std::string text = reason(aQuestion, entry);
    if (layout.format == Format::Csv) {
      rows.push_back(
          {std::string(entry.block->id), name, line, entry.isInherited ? "true" : "false", text});
    } else {
      rows.push_back({printable(entry.block->id), line,
                      name + (entry.isInherited ? " (inherited)" : ""), text});
    }
  }
  if (layout.format == Format::Json) {
    writeJson(json, aOut);
  } else {
    writeRows({"BLOCK", "LINE", "VERDICT", "BECAUSE"},
              {"block", "verdict", "line", "inherited", "because"}, rows, layout, aOut);
  }
  result.summary = counted(aQuestion.getModel().blocks.size(), "block") + ": ";
  for (const Finding finding : {Finding::Never, Finding::Always, Finding::Implied, Finding::Unknown,
                                Finding::Overlap, Finding::Gap}) {
    const bool isOfVariants = finding == Finding::Overlap || finding == Finding::Gap;
    if (isOfVariants && aRequest.variants.empty()) continue;
    result.summary += (finding == Finding::Never ? "" : ", ") +
                      std::to_string(counts[static_cast<std::size_t>(finding)]) + ' ' +
                      findingNames[static_cast<std::size_t>(finding)];
  }
  result.summary += '\n';
  return result;
}

}  // namespace ksexpr
