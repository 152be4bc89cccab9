// The conditions of a model's blocks, as the condition service answers them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprId.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Model.hpp"
#include "tools/Verdicts.hpp"
#include "variants/VCService.hpp"

namespace ksexpr {

/// How conditions are written: in the canonical form of the service, in a form that is short to
/// read, or as the model says, a net condition as the conjunction of the conditions on its path.
enum class Style { Canonical, Compact, Typed };

/// What is asked about a model.
struct ConditionsRequest {
  std::string path;
  /// By `Family`: whether it is answered.
  std::array<bool, 3> families{true, true, true};
  /// The blocks to answer, or patterns of their ids; all if empty.
  std::vector<std::string> blockIds;
  /// The block that is answered with those below it; nothing for all.
  std::optional<std::string> underId;
  /// Whether net conditions are those below that block.
  bool isRelative = false;
  /// Canonical if not given.
  std::optional<Style> style;
  bool onlyDead = false;
  /// What JSON has in addition.
  bool withDecision = false;
  bool withCompact = false;
};

/// How answering is watched. Both may write and throw.
struct ConditionsObserver {
  /// Called with the number of blocks that are done and the number that are to be done.
  std::function<void(std::size_t, std::size_t)> progress;
  /// Called with a message about what can't be answered, a newline at its end.
  std::function<void(const std::string&)> problem;
};

/// A condition by its number in the service's table. Tables number less than 32 bits hold.
using ConditionId = std::uint32_t;
/// Stands for a condition whose text, or that of an ancestor, does not parse.
inline constexpr ConditionId notAvailable = 0xFFFFFFFF;

/// The conditions of one block, by family.
struct BlockConditions {
  std::array<ConditionId, 3> local{notAvailable, notAvailable, notAvailable};
  std::array<ConditionId, 3> net{notAvailable, notAvailable, notAvailable};
};

/// Answers the blocks of a model one after the other and keeps a few numbers per block. Texts are
/// made when they are asked for, since those of all blocks take many times the memory of the table
/// that they are made from.
class Conditions {
 public:
  /// Borrows all that it is given. Decides all blocks where that is asked for. Throws for a block
  /// or pattern that is asked for and not in the model, and as `familyVerdicts` does.
  Conditions(const Model& aModel, const ConditionsRequest& aRequest,
             const ConditionsObserver& aObserver);

  /// Calls `aUse` for every block to be listed, in file order. Blocks are answered on the way, so a
  /// second call only repeats what is known.
  void forEach(const std::function<void(const KSBlock&, const BlockConditions&)>& aUse);

  /// The canonical conditions of a block, answered with those of the blocks above it.
  const BlockConditions& answer(const KSBlock& aBlock);
  /// The table of the canonical conditions.
  const KS::SymbolicExprTable& canonicalTable() const { return service.getTable(); }
  /// The compact form of an answered block's net condition, which is available.
  KS::SymbolicExprId compactNet(const KSBlock& aBlock, Family aFamily);
  /// The table of the compact forms.
  const KS::SymbolicExprTable& compactTable() const { return readableTable; }

  /// Whether a condition is always true.
  bool isTrue(ConditionId aId) const { return aId == idTRUE; }
  /// The number of a block's local or net condition in the style that is asked for: equal numbers
  /// have equal texts.
  ConditionId shown(const KSBlock& aBlock, Family aFamily, bool aIsNet);
  /// The text of a block's local or net condition in that style, empty for "true". The reference
  /// lasts until the next call.
  const std::string& text(const KSBlock& aBlock, Family aFamily, bool aIsNet, bool aCForm);

  /// The verdict on a block's net condition, where the request asks for verdicts.
  Verdict verdict(const KSBlock& aBlock, Family aFamily) const {
    return verdicts[aFamily][model.indexOf(aBlock)];
  }
  /// The compact text of a block's net condition, empty for "true".
  std::string compactText(const KSBlock& aBlock, Family aFamily);
  /// The block that all listed ones are below; null for the whole model.
  const KSBlock* top() const { return under; }
  /// Whether a net condition of an answered block is proven never to hold, as far as that is known.
  bool isDead(const KSBlock& aBlock) const;
  /// The line of the file that a block stands in.
  std::size_t lineOf(const KSBlock& aBlock) const {
    return lines.lineOf(model.offsetOf(aBlock.id));
  }

  // What has been answered so far: blocks to be answered, conditions that differ, blocks with a net
  // condition that is false, and whether a condition is not available.
  std::size_t countSelected() const { return numSelected; }
  std::size_t countDistinct() const { return numDistinct; }
  std::size_t countDead() const { return numDead; }
  bool hasFailed() const { return failed; }

  /// Tells how many problems were not told.
  void finish() const;

 private:
  // The model as the service sees it.
  class Customizer : public KS::VCCustomizer {
   public:
    explicit Customizer(const Conditions& aConditions) : conditions(aConditions) {}
    std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override;
    const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
      return conditions.parentOf(*aBlock);
    }

   private:
    const Conditions& conditions;
  };

  // The block whose condition a net condition continues; null where it begins.
  const KSBlock* parentOf(const KSBlock& aBlock) const {
    return isOrigin(aBlock) || (aBlock.parent != nullptr && isOrigin(*aBlock.parent))
               ? nullptr
               : aBlock.parent;
  }
  // Whether net conditions are those below this block; its own is "true".
  bool isOrigin(const KSBlock& aBlock) const { return request.isRelative && &aBlock == under; }

  void select();
  std::vector<bool> belowTop() const;
  void answerBelowParent(const KSBlock& aBlock);
  ConditionId ask(const KSBlock& aBlock, Family aFamily, bool aIsNet);
  void tellFailure(const KSBlock& aBlock, Family aFamily, const std::string& aMessage);
  void tellHindered(const KSBlock& aBlock, Family aFamily);
  std::string makeText(const KSBlock& aBlock, Family aFamily, bool aIsNet, bool aCForm);
  ConditionId canonical(const KSBlock& aBlock, Family aFamily, bool aIsNet) const {
    const BlockConditions& conditions = answers[model.indexOf(aBlock)];
    return aIsNet ? conditions.net[aFamily] : conditions.local[aFamily];
  }
  // The readable forms of available conditions.
  KS::SymbolicExprId typedLocal(const KSBlock& aBlock, Family aFamily);
  KS::SymbolicExprId typedNet(const KSBlock& aBlock, Family aFamily);
  KS::SymbolicExprId compactLocal(const KSBlock& aBlock, Family aFamily);
  std::string readableText(KS::SymbolicExprId aId, bool aCForm);

  const Model& model;
  const ConditionsRequest& request;
  const ConditionsObserver& observer;
  const Style style;
  const KSBlock* const under;
  KS::VCService service;
  Customizer customizer;
  ConditionId idTRUE;
  ConditionId idFALSE;

  // By block.
  std::vector<bool> isSelected;
  std::vector<bool> isAnswered;
  std::vector<BlockConditions> answers;
  std::size_t numSelected = 0;
  std::size_t numNeeded = 0;  // the selected blocks and their ancestors
  std::size_t numAnswered = 0;
  std::size_t numDead = 0;

  std::array<std::vector<Verdict>, 3> verdicts;  // by family and block, if asked for
  const Lines lines;
  // Compact forms and conditions as typed are made in a table of their own, so that the service's
  // answers do not depend on them.
  KS::SymbolicExprTable readableTable;
  KS::SymbolicExprCopy copy;
  KS::SymbolicExprCompact compact;
  std::unordered_map<std::string_view, KS::SymbolicExprId> typedTexts;
  // By family and block, once they are known.
  using Known = std::array<std::unordered_map<const KSBlock*, KS::SymbolicExprId>, 3>;
  Known typedNets;
  Known compactLocals;
  Known compactNets;

  std::vector<bool> isKnown;  // by condition
  std::size_t numDistinct = 0;
  ProblemCounts problems;
  bool failed = false;

  // Texts in M and in C form by `shown`. Many blocks share a condition, but the texts of all of
  // them together have no bound; long ones are made anew.
  std::array<std::unordered_map<ConditionId, std::string>, 2> keptTexts;
  std::size_t keptLength = 0;
  std::string longText;
};

}  // namespace ksexpr
