// The conditions of a model's blocks, as condition services answer them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/Answerer.hpp"
#include "tools/Diagnostic.hpp"
#include "tools/Model.hpp"
#include "tools/Selection.hpp"
#include "tools/Verdicts.hpp"

namespace ksexpr {

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
  /// Whether conditions of the CG family, or all, are written in C syntax.
  bool withCOfCG = false;
  bool withC = false;
  /// The most services that answer side by side, 0 for as many as there are cores. The answers do
  /// not depend on it.
  std::size_t jobs = 0;
};

/// How answering is watched. Both may write and throw.
struct ConditionsObserver {
  /// Called with the number of blocks that are done and the number that are to be done.
  std::function<void(std::size_t, std::size_t)> progress;
  /// Called with a message about what can't be answered, a newline at its end.
  std::function<void(const std::string&)> problem;
};

/// Answers the blocks of a model and keeps a few numbers per block. Texts are made when they are
/// asked for, since those of all blocks take many times the memory of the tables that they are made
/// from.
class Conditions {
 public:
  /// Borrows all that it is given. Decides all blocks where that is asked for. Throws for a block
  /// or pattern that is asked for and not in the model, and as `familyVerdicts` does.
  Conditions(const Model& aModel, const ConditionsRequest& aRequest,
             const ConditionsObserver& aObserver);
  ~Conditions();
  Conditions(const Conditions&) = delete;
  Conditions& operator=(const Conditions&) = delete;

  /// The numbers of the first block of some that stand one behind the other, and of the one behind
  /// them.
  struct Stretch {
    std::size_t from;
    std::size_t to;
  };
  /// Answers all blocks that are asked for. Calls `aUse` with one stretch of the file after the
  /// other, as soon as the blocks in it have been answered, and tells a problem before the stretch
  /// that it stands in. Before that calls `aPrepare`, if given, once for each of those who answer,
  /// with their number and a stretch of which they have answered all that is theirs, side by side
  /// with the others' answering.
  void answer(const std::function<void(Stretch)>& aUse,
              const std::function<void(std::size_t, Stretch)>& aPrepare = nullptr);

  /// Whether an answered block is to be listed.
  bool isListed(const KSBlock& aBlock) const {
    return selection.isSelected[model.indexOf(aBlock)] && (!request.onlyDead || isDead(aBlock));
  }
  const BlockConditions& answerOf(const KSBlock& aBlock) const {
    return answers[model.indexOf(aBlock)];
  }
  /// Whether a condition is always true.
  bool isTrue(ConditionId aId) const { return aId == idTRUE; }
  /// The number of a block's local or net condition in the style that is asked for: of one block,
  /// equal numbers have equal texts.
  ConditionId shown(const KSBlock& aBlock, Family aFamily, bool aIsNet) const;
  /// The number of the compact form of a net condition.
  ConditionId compactNet(const KSBlock& aBlock, Family aFamily) const {
    return readable[model.indexOf(aBlock)].compactNet[aFamily];
  }
  /// The one of several who has answered a block, and has its texts.
  std::size_t answererNumber(const KSBlock& aBlock) const {
    return owners.empty() ? 0 : owners[model.indexOf(aBlock)];
  }
  const Answerer& answerer(std::size_t aNumber) const { return *answerers[aNumber]; }
  /// How many answer, and may be read, side by side.
  std::size_t countJobs() const { return answerers.size(); }
  /// Whether texts are canonical; else readable.
  bool isCanonical() const { return style == Style::Canonical; }
  /// Whether net conditions are those below this block; its own is "true".
  bool isOrigin(const KSBlock& aBlock) const { return &aBlock == origin; }

  /// The verdict on a block's net condition, where the request asks for verdicts.
  Verdict verdict(const KSBlock& aBlock, Family aFamily) const {
    return verdicts[aFamily][model.indexOf(aBlock)];
  }
  const Model& getModel() const { return model; }
  /// The block that all listed ones are below; null for the whole model.
  const KSBlock* top() const { return selection.under; }
  /// Whether a net condition of an answered block is proven never to hold, as far as that is known.
  bool isDead(const KSBlock& aBlock) const;
  /// The line of the file that a block stands in.
  std::size_t lineOf(const KSBlock& aBlock) const {
    return lines.lineOf(model.offsetOf(aBlock.id));
  }

  /// The number of blocks that are asked for.
  std::size_t countSelected() const { return selection.count; }
  /// The number of conditions that differ. Takes time in the nodes of the tables.
  std::size_t countDistinct() const;
  /// The number of answered blocks with a net condition that is false.
  std::size_t countDead() const { return numDead; }

  /// Tells how many problems were not told.
  void finish() const;

 private:
  // A block that is to be answered because a block that is asked for has this number or continues
  // it.
  struct Step {
    const KSBlock* block;
    std::size_t cause;
  };

  const KSBlock* above(const KSBlock& aBlock) const { return Answerer::continued(aBlock, origin); }
  void share();
  std::vector<Step> stepsTo(std::size_t aFrom, std::size_t aTo);
  void answerShare(std::size_t aNumber, const std::vector<Step>& aSteps);
  std::string problemOf(const KSBlock& aBlock, Family aFamily);
  std::string failureMessage(const KSBlock& aBlock, Family aFamily) const;
  std::string hindranceMessage(const KSBlock& aBlock, Family aFamily) const;

  const Model& model;
  const ConditionsRequest& request;
  const ConditionsObserver& observer;
  const Style style;
  const Selection selection;
  const KSBlock* const origin;  // of net conditions
  const bool hasReadable;
  ConditionId idTRUE = notAvailable;
  ConditionId idFALSE = notAvailable;

  // By block.
  std::vector<std::uint16_t> owners;  // who answers it; empty where one answers all
  std::vector<BlockConditions> answers;
  std::vector<ReadableConditions> readable;  // where texts are readable or asked for
  std::vector<bool> isPlanned;
  std::vector<std::unique_ptr<Answerer>> answerers;
  std::size_t numNeeded = 0;  // the selected blocks and their ancestors
  std::size_t numAnswered = 0;
  std::size_t numDead = 0;

  std::array<std::vector<Verdict>, 3> verdicts;  // by family and block, if asked for
  const Lines lines;
  ProblemCounts problems;
};

}  // namespace ksexpr
