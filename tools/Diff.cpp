#include "tools/Diff.hpp"

#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>
#include <unordered_map>

#include "base/KSSymbolicExpr.hpp"
#include "tools/Residual.hpp"
#include "tools/Text.hpp"

namespace ksexpr {

using KS::SymbolicExprId;
using KS::Truth;

namespace {

// Whether two conditions hold under the same values.
enum class Meaning { Same, Other, Unknown };

class Diff {
 public:
  Diff(const TypedModel& aOld, const Question& aNew)
      : older(aOld),
        question(aNew),
        newer(aNew.getTyped()),
        decision(aNew, Decision::Values::Given),
        oldDecision(aNew, Decision::Values::Given, &aOld) {
    decision.requireConsistency();
    match();
    compareNets();
    compareLocals();
    findNewlyNever();
    for (const KSBlock* block : newer.topDown()) findCause(*block);
    for (const KSBlock& block : newer.getModel().blocks) describe(block);
    for (const KSBlock& block : older.getModel().blocks) {
      if (isRemoved[older.getModel().indexOf(block)]) {
        entries.push_back({Difference::Removed, &block, &block});
      }
    }
  }

  const std::vector<DiffEntry>& all() const { return entries; }
  Truth verdict(const KSBlock& aBlock) const { return verdicts[newer.getModel().indexOf(aBlock)]; }

 private:
  // What is known of a block of the new model.
  struct State {
    const KSBlock* before = nullptr;  // the block of that id in the old model
    bool isMoved = false;
    Meaning net = Meaning::Same;
    Meaning local = Meaning::Same;  // below the conditions of the new model
    bool isNewlyNever = false;
    const KSBlock* cause = nullptr;
  };

  State& state(const KSBlock& aBlock) { return states[newer.getModel().indexOf(aBlock)]; }

  bool isComparable(const KSBlock& aBlock) {
    const KSBlock* before = state(aBlock).before;
    return before != nullptr && newer.isAvailable(aBlock) && older.isAvailable(*before);
  }

  SymbolicExprId negated(SymbolicExprId aId) const {
    return KS::SymbolicNotExpr(question.getTable(), aId).getId(question.getTable());
  }

  void match() {
    std::unordered_map<std::string_view, const KSBlock*> byId;
    for (const KSBlock& block : older.getModel().blocks) byId.emplace(block.id, &block);
    isRemoved.assign(older.getModel().blocks.size(), true);
    states.resize(newer.getModel().blocks.size());
    const auto parentId = [](const KSBlock& block) {
      return block.parent == nullptr ? std::optional<std::string_view>() : block.parent->id;
    };
    for (const KSBlock& block : newer.getModel().blocks) {
      const auto found = byId.find(block.id);
      if (found == byId.end()) continue;
      state(block).before = found->second;
      state(block).isMoved = parentId(block) != parentId(*found->second);
      isRemoved[older.getModel().indexOf(*found->second)] = false;
    }
  }

  // Asks for values under which all conditions before hold and not one behind, and the other way.
  class Comparison {
   public:
    explicit Comparison(Diff& aDiff) : diff(aDiff) {}

    void add(const KSBlock& aBlock, std::vector<SymbolicExprId> aContext, SymbolicExprId aOne,
             SymbolicExprId aOther) {
      blocks.push_back(&aBlock);
      asked.push_back(aContext);
      asked.back().insert(asked.back().end(), {aOne, diff.negated(aOther)});
      asked.push_back(std::move(aContext));
      asked.back().insert(asked.back().end(), {aOther, diff.negated(aOne)});
    }

    template <class Store>
    void answer(const Store& aStore) {
      const std::vector<Truth> found = diff.decision.getDecider().decideAll(asked);
      for (std::size_t i = 0; i < blocks.size(); ++i) {
        const Truth there = found[2 * i];
        const Truth back = found[2 * i + 1];
        const auto isPossible = [](Truth truth) {
          return truth == Truth::Sometimes || truth == Truth::Always;
        };
        aStore(*blocks[i], isPossible(there) || isPossible(back)           ? Meaning::Other
                           : there == Truth::Never && back == Truth::Never ? Meaning::Same
                                                                           : Meaning::Unknown);
      }
    }

   private:
    Diff& diff;
    std::vector<const KSBlock*> blocks;
    std::vector<std::vector<SymbolicExprId>> asked;
  };

  void compareNets() {
    // Blocks without a condition of their own change with the block above.
    std::map<std::pair<SymbolicExprId, SymbolicExprId>, Meaning> known;
    Comparison comparison(*this);
    for (const KSBlock& block : newer.getModel().blocks) {
      if (!isComparable(block)) continue;
      const SymbolicExprId before = older.net(*state(block).before);
      const SymbolicExprId after = newer.net(block);
      if (before == after || !known.emplace(std::pair(before, after), Meaning::Same).second) {
        continue;
      }
      comparison.add(block, {}, before, after);
    }
    comparison.answer([&](const KSBlock& block, Meaning meaning) {
      known[{older.net(*state(block).before), newer.net(block)}] = meaning;
    });
    for (const KSBlock& block : newer.getModel().blocks) {
      if (!isComparable(block)) continue;
      const auto found = known.find({older.net(*state(block).before), newer.net(block)});
      if (found != known.end()) state(block).net = found->second;
    }
  }

  void compareLocals() {
    Comparison comparison(*this);
    for (const KSBlock& block : newer.getModel().blocks) {
      if (!isComparable(block) || state(block).net == Meaning::Same) continue;
      const SymbolicExprId before = older.local(*state(block).before);
      const SymbolicExprId after = newer.local(block);
      if (before == after) continue;
      comparison.add(
          block,
          block.parent == nullptr ? std::vector<SymbolicExprId>() : newer.path(*block.parent),
          before, after);
    }
    comparison.answer(
        [this](const KSBlock& block, Meaning meaning) { state(block).local = meaning; });
  }

  void findNewlyNever() {
    verdicts = verdictsOf(newer, decision);
    std::vector<const KSBlock*> blocks;
    std::vector<std::vector<SymbolicExprId>> paths;
    for (const KSBlock& block : newer.getModel().blocks) {
      if (!newer.isAvailable(block) || verdict(block) != Truth::Never) continue;
      const KSBlock* before = state(block).before;
      if (before == nullptr) {
        state(block).isNewlyNever = true;
      } else if (older.isAvailable(*before)) {
        blocks.push_back(&block);
        paths.push_back(older.path(*before));
      }
    }
    const std::vector<Truth> before = oldDecision.getDecider().decideAll(paths);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      state(*blocks[i]).isNewlyNever = before[i] == Truth::Sometimes || before[i] == Truth::Always;
    }
  }

  // The parents come first.
  void findCause(const KSBlock& aBlock) {
    State& found = state(aBlock);
    if (found.net == Meaning::Same || aBlock.parent == nullptr || found.isMoved) return;
    const State& above = state(*aBlock.parent);
    if (above.before == nullptr || above.net == Meaning::Same) return;
    if (found.local != Meaning::Same) return;
    found.cause = above.cause != nullptr ? above.cause : aBlock.parent;
  }

  void describe(const KSBlock& aBlock) {
    const State& found = state(aBlock);
    if (found.before == nullptr) {
      entries.push_back({Difference::Added, &aBlock, nullptr});
      entries.back().isNewlyNever = found.isNewlyNever;
      return;
    }
    if (found.isMoved) entries.push_back({Difference::Moved, &aBlock, found.before});
    if (!isComparable(aBlock)) {
      entries.push_back({Difference::Unknown, &aBlock, found.before});
    } else if (found.net != Meaning::Same) {
      DiffEntry entry{found.net == Meaning::Other ? Difference::Condition : Difference::Unknown,
                      &aBlock, found.before};
      entry.cause = found.cause;
      entry.isOwn = found.cause == nullptr;
      entry.isNewlyNever = found.isNewlyNever;
      if (found.net == Meaning::Other) entry.witness = witness(aBlock);
      entries.push_back(std::move(entry));
    } else if (found.isNewlyNever) {
      // The texts mean the same, but domains or constraints have changed.
      DiffEntry entry{Difference::Condition, &aBlock, found.before};
      entry.isOwn = false;
      entry.isNewlyNever = true;
      entry.witness = oldDecision.witness(older.path(*found.before));
      entries.push_back(std::move(entry));
    } else if (textOf(older, *found.before) != textOf(newer, aBlock)) {
      entries.push_back({Difference::Spelling, &aBlock, found.before});
    }
  }

  static std::string_view textOf(const TypedModel& aModel, const KSBlock& aBlock) {
    return aBlock.texts[aModel.getFamily()];
  }

  // What changed with a block above is told apart once for all.
  const std::optional<NamedValues>& witness(const KSBlock& aBlock) {
    const SymbolicExprId before = older.net(*state(aBlock).before);
    const SymbolicExprId after = newer.net(aBlock);
    const auto [place, isNew] = witnesses.try_emplace({before, after});
    if (isNew) {
      place->second = decision.witness({before}, {after});
      if (!place->second) place->second = decision.witness({after}, {before});
    }
    return place->second;
  }

  const TypedModel& older;
  const Question& question;
  const TypedModel& newer;
  Decision decision;
  Decision oldDecision;
  std::vector<State> states;    // by block of the new model
  std::vector<bool> isRemoved;  // by block of the old one
  std::vector<Truth> verdicts;  // by block of the new one
  std::map<std::pair<SymbolicExprId, SymbolicExprId>, std::optional<NamedValues>> witnesses;
  std::vector<DiffEntry> entries;
};

// The texts of conditions before and after.
class Texts {
 public:
  Texts(const TypedModel& aOld, const Question& aNew)
      : older(aOld),
        newer(aNew.getTyped()),
        cForm(aNew.getLayout().cForm),
        noValues(aNew.getTable()),
        oldNets(aOld, noValues, cForm),
        newNets(newer, noValues, cForm) {}

  // Nothing where the block is not there or has no answer.
  std::optional<std::string> before(const DiffEntry& aEntry) {
    if (aEntry.before == nullptr || !older.isAvailable(*aEntry.before)) return std::nullopt;
    return aEntry.kind == Difference::Spelling ? typed(older, *aEntry.before)
                                               : net(older, oldNets, *aEntry.before);
  }
  std::optional<std::string> after(const DiffEntry& aEntry, Truth aVerdict) {
    if (aEntry.kind == Difference::Removed || !newer.isAvailable(*aEntry.block))
      return std::nullopt;
    if (aEntry.kind == Difference::Spelling) return typed(newer, *aEntry.block);
    if (aVerdict == Truth::Never) return "false";
    return net(newer, newNets, *aEntry.block);
  }

 private:
  std::string typed(const TypedModel& aModel, const KSBlock& aBlock) const {
    return cForm ? aModel.text(aModel.local(aBlock), cForm)
                 : std::string(aBlock.texts[aModel.getFamily()]);
  }

  // A net that is too large to be simplified is shown as it was typed.
  std::string net(const TypedModel& aModel, Residuals& aNets, const KSBlock& aBlock) const {
    try {
      return aNets.text(aBlock);
    } catch (const std::length_error&) {
      return aModel.text(aModel.net(aBlock), cForm);
    }
  }

  const TypedModel& older;
  const TypedModel& newer;
  const bool cForm;
  const KS::SymbolicExprBindings noValues;
  Residuals oldNets;
  Residuals newNets;
};

nlohmann::ordered_json jsonOf(const std::optional<std::string>& aText) {
  return aText ? nlohmann::ordered_json(*aText) : nullptr;
}

std::string shown(const std::optional<std::string>& aText) {
  return !aText ? "" : aText->empty() ? "true" : printable(*aText);
}

std::string parentOf(const KSBlock& aBlock) {
  return aBlock.parent == nullptr ? "" : std::string(aBlock.parent->id);
}

nlohmann::ordered_json parentJson(const KSBlock& aBlock) {
  return aBlock.parent == nullptr ? nullptr : nlohmann::ordered_json(aBlock.parent->id);
}

}  // namespace

std::vector<DiffEntry> answerDiff(const TypedModel& aOld, const Question& aNew) {
  const Diff diff(aOld, aNew);
  Texts texts(aOld, aNew);
  std::vector<DiffEntry> entries = diff.all();
  for (DiffEntry& entry : entries) {
    const bool isRemoved = entry.kind == Difference::Removed;
    entry.oldText = texts.before(entry);
    entry.newText = texts.after(entry, isRemoved ? Truth::Unknown : diff.verdict(*entry.block));
  }
  return entries;
}

std::string writeDiff(const Question& aNew, const std::vector<DiffEntry>& aEntries,
                      std::ostream& aOut) {
  const Layout& layout = aNew.getLayout();
  std::vector<Row> rows;
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  std::size_t counts[std::size(differenceNames)] = {};
  std::size_t numInherited = 0;
  std::size_t numNewlyNever = 0;
  for (const DiffEntry& entry : aEntries) {
    ++counts[static_cast<std::size_t>(entry.kind)];
    if (entry.cause != nullptr) ++numInherited;
    if (entry.isNewlyNever) ++numNewlyNever;
    const std::string kind = differenceNames[static_cast<std::size_t>(entry.kind)];
    if (layout.format == Format::Json) {
      nlohmann::ordered_json found{{"block", entry.block->id},
                                   {"change", kind},
                                   {"own", entry.isOwn},
                                   {"from", nullptr},
                                   {"old", jsonOf(entry.oldText)},
                                   {"new", jsonOf(entry.newText)},
                                   {"newlyNever", entry.isNewlyNever}};
      if (entry.cause != nullptr) found["from"] = entry.cause->id;
      found["witness"] = entry.witness ? valuesJson(*entry.witness) : nullptr;
      if (entry.kind == Difference::Moved) {
        found["oldParent"] = parentJson(*entry.before);
        found["newParent"] = parentJson(*entry.block);
      }
      json.push_back(std::move(found));
      continue;
    }
    const std::string witness = entry.witness ? valuesText(*entry.witness) : "";
    if (layout.format == Format::Csv) {
      rows.push_back({std::string(entry.block->id), kind, entry.isOwn ? "true" : "false",
                      entry.cause == nullptr ? "" : std::string(entry.cause->id),
                      entry.oldText.value_or("?"), entry.newText.value_or("?"),
                      entry.isNewlyNever ? "true" : "false", witness});
    } else {
      std::string what = kind;
      if (entry.isNewlyNever) what += ", newly never";
      if (entry.cause != nullptr) what += " (from " + printable(entry.cause->id) + ')';
      const bool isMoved = entry.kind == Difference::Moved;
      rows.push_back({printable(entry.block->id), what,
                      isMoved ? printable(parentOf(*entry.before)) : shown(entry.oldText),
                      isMoved ? printable(parentOf(*entry.block)) : shown(entry.newText), witness});
    }
  }
  if (layout.format == Format::Json) {
    writeJson(json, aOut);
  } else {
    writeRows({"BLOCK", "CHANGE", "OLD", "NEW", "TOLD APART BY"},
              {"block", "change", "own", "from", "old", "new", "newly_never", "witness"}, rows,
              layout, aOut);
  }
  std::string summary;
  for (std::size_t i = 0; i < std::size(differenceNames); ++i) {
    summary += (i > 0 ? ", " : "") + std::to_string(counts[i]) + ' ' + differenceNames[i];
    if (i == static_cast<std::size_t>(Difference::Condition)) {
      summary += " (" + std::to_string(numInherited) + " inherited)";
    }
  }
  return summary + "; " + std::to_string(numNewlyNever) + " newly never\n";
}

}  // namespace ksexpr
