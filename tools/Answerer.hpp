// A condition service that answers some of a model's blocks, and the forms of what it answers.
#pragma once

#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/SymbolicExprCopy.hpp"
#include "base/SymbolicExprId.hpp"
#include "compact/SymbolicExprCompact.hpp"
#include "tools/FormFinder.hpp"
#include "tools/Model.hpp"
#include "variants/VCService.hpp"

namespace ksexpr {

/// A condition by its number in the table of the one who answered it. Tables number less than 32
/// bits hold; "true" and "false" have the same numbers in all of them.
using ConditionId = std::uint32_t;
/// Stands for a condition whose text, or that of an ancestor, does not parse.
inline constexpr ConditionId notAvailable = 0xFFFFFFFF;
/// Stands for a condition that nobody has asked for yet.
inline constexpr ConditionId notAsked = 0xFFFFFFFE;

/// The conditions of one block, by family.
struct BlockConditions {
  std::array<ConditionId, 3> local{notAsked, notAsked, notAsked};
  std::array<ConditionId, 3> net{notAsked, notAsked, notAsked};
};

/// The readable forms of the same, by number in the table of readable conditions.
struct ReadableConditions {
  std::array<ConditionId, 3> local{notAvailable, notAvailable, notAvailable};
  std::array<ConditionId, 3> net{notAvailable, notAvailable, notAvailable};
  std::array<ConditionId, 3> compactNet{notAvailable, notAvailable, notAvailable};
};

/// How conditions are written: in the canonical form of the service, in a form that is short to
/// read, or as the model says, a net condition as the conjunction of the conditions on its path.
enum class Style { Canonical, Compact, Typed };

/// What one who answers has to know of the question.
struct AnswererRequest {
  /// By `Family`: whether it is answered.
  std::array<bool, 3> families{true, true, true};
  /// The block above which nobody looks; null for none. Its own net conditions are "true".
  const KSBlock* origin = nullptr;
  Style style = Style::Canonical;
  /// Whether conditions of the CG family, or all, are written in C syntax.
  bool withCOfCG = false;
  bool withC = false;
  bool withCompact = false;
};

/// The blocks that one of several answers: those with its number among the owners by block. All
/// where there are no owners.
struct Share {
  const std::vector<std::uint16_t>& owners;
  std::uint16_t number;
};

/// Answers blocks by a service of its own. What it answers depends on the blocks alone. Used by one
/// thread at a time; texts of what has been answered may be read by several as long as nothing is
/// answered.
class Answerer {
 public:
  /// Writes the conditions of the blocks of its share into `aAnswers`, which is by block.
  Answerer(const Model& aModel, const AnswererRequest& aRequest, Share aShare,
           std::vector<BlockConditions>& aAnswers);

  /// Answers a block of its share. Those that it continues and that are in nobody's or another
  /// share are answered on the way, for this purpose only.
  void answer(const KSBlock& aBlock);
  /// Why a condition of an answered block has failed, for the first few that have.
  const std::string& failure(const KSBlock& aBlock, Family aFamily) const;
  /// The readable forms of an answered block.
  ReadableConditions makeReadable(const KSBlock& aBlock);
  /// The number of the compact form of an answered block's net condition in the table of readable
  /// conditions. Where the net condition is not available, neither is this.
  ConditionId compactNet(const KSBlock& aBlock, Family aFamily);
  /// Prepares the texts of an answered block in C syntax.
  void prepareC(const KSBlock& aBlock);

  /// Gives back the memory of what only answering asks for. What is answered afterwards is answered
  /// as if it were the first.
  void forgetQuestions();

  /// Whether the C text of a condition of the CG family, prepared by `prepareC`, is its M text with
  /// "!" for each "~".
  bool isSpelledAlike(ConditionId aId) const { return forms.isSpelledAlike(aId); }
  /// The text of a condition of some block's family, empty for "true".
  std::string text(ConditionId aId, bool aIsOfCG, bool aCForm) const;
  /// The text of a readable condition, empty for "true".
  std::string readableText(ConditionId aId, bool aCForm) const;

  const KS::SymbolicExprTable& getTable() const { return service.getTable(); }
  const KS::SymbolicExprTable& getReadableTable() const { return readableTable; }
  /// By number: whether a condition was among the answers.
  const std::vector<bool>& getAnswered() const { return isAnswered; }

  /// The block whose condition a net condition continues; null where it begins.
  static const KSBlock* continued(const KSBlock& aBlock, const KSBlock* aOrigin) {
    const bool isBelowOrigin = aBlock.parent != nullptr && aBlock.parent == aOrigin;
    return &aBlock == aOrigin || isBelowOrigin ? nullptr : aBlock.parent;
  }

 private:
  // The model as the service sees it.
  class Customizer : public KS::VCCustomizer {
   public:
    explicit Customizer(const KSBlock* aOrigin) : origin(aOrigin) {}
    std::string getLocalCondition(const KSBlock* aBlock, int aSelector) const override;
    const KSBlock* getParentBlock(const KSBlock* aBlock) const override {
      return continued(*aBlock, origin);
    }

   private:
    const KSBlock* const origin;
  };

  struct Pair {
    ConditionId local;
    ConditionId net;
  };

  const KSBlock* above(const KSBlock& aBlock) const { return continued(aBlock, request.origin); }
  bool isMine(const KSBlock& aBlock) const;
  BlockConditions known(const KSBlock& aBlock) const;
  void answerBelowParent(const KSBlock& aBlock);
  Pair pair(const KSBlock& aBlock, Family aFamily, ConditionId aAbove);
  ConditionId ask(const KSBlock& aBlock, Family aFamily, bool aIsNet);
  ConditionId noted(ConditionId aId);
  void requirePrintable(ConditionId aLocal);
  KS::SymbolicExprId typedLocal(const KSBlock& aBlock, Family aFamily);
  KS::SymbolicExprId typedNet(const KSBlock& aBlock, Family aFamily);
  KS::SymbolicExprId compactLocal(const KSBlock& aBlock, Family aFamily, ConditionId aLocal);

  const Model& model;
  const AnswererRequest request;
  const Share share;
  std::vector<BlockConditions>& answers;
  KS::VCService service;
  const Customizer customizer;
  const ConditionId idTRUE;

  // Blocks that are not of the share.
  boost::unordered_flat_map<const KSBlock*, BlockConditions> others;
  // What was asked last, each in a place that the text and the net condition above choose.
  struct Asked {
    std::string_view text;  // empty for a place that is free
    ConditionId above = notAsked;
    Pair answer{notAsked, notAsked};
  };
  static constexpr unsigned lastAskedBits = 12;
  std::vector<Asked> lastAsked = std::vector<Asked>(std::size_t{1} << lastAskedBits);
  std::vector<bool> isAnswered;   // by condition
  std::vector<bool> isPrintable;  // by local condition: whether it is known to be no too long text

  struct Failure {
    const KSBlock* block;
    Family family;
    std::string message;
  };
  std::vector<Failure> failures;

  // Compact forms and conditions as typed are made in a table of their own, so that the service's
  // answers do not depend on them.
  KS::SymbolicExprTable readableTable;
  const KS::SymbolicExprCopy copy;
  const KS::SymbolicExprCompact compact;
  std::unordered_map<std::string_view, KS::SymbolicExprId> typedTexts;
  std::array<std::unordered_map<const KSBlock*, KS::SymbolicExprId>, 3> typedNets;

  // The C forms of conditions that have another one than in M syntax.
  using CForms = boost::unordered_flat_map<ConditionId, KS::SymbolicExprId>;
  FormFinder forms;
  CForms cForms;
  FormFinder readableForms;
  CForms readableCForms;
};

}  // namespace ksexpr
