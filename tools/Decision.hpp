// Proofs and examples for questions about a model. Built where there is the library that decides.
#pragma once

#include <optional>
#include <vector>

#include "decide/SymbolicExprDecider.hpp"
#include "tools/Question.hpp"

namespace ksexpr {

/// The decider of a question: it knows the domains, and assumes the constraints, what the command
/// line has to hold and, unless they are to be left free, the given values.
class Decision {
 public:
  enum class Values { Given, Free };

  /// Borrows the question. The domains and constraints are those of its model, or of another one in
  /// the same table.
  Decision(const Question& aQuestion, Values aValues, const TypedModel* aRules = nullptr);

  /// Whether what is assumed can hold at all; if not, every verdict would be "never".
  bool isConsistent() const;
  /// The fewest of what is assumed that exclude each other, as text; only where it cannot hold.
  std::string inconsistency() const;
  /// Throws `AnswerError` where what is assumed excludes each other, and names it.
  void requireConsistency() const;

  KS::SymbolicExprDecider& getDecider() { return decider; }

  /// Values of the variables in the conditions, and in the constraints, under which all of the
  /// first hold and none of the second: evaluation has confirmed it. Given values are not among
  /// them. Nothing where there are none or none were found.
  std::optional<Assignment> example(const std::vector<KS::SymbolicExprId>& aHolding,
                                    const std::vector<KS::SymbolicExprId>& aFailing = {});
  /// The same as an answer shows it.
  std::optional<NamedValues> witness(const std::vector<KS::SymbolicExprId>& aHolding,
                                     const std::vector<KS::SymbolicExprId>& aFailing = {});

 private:
  void setDomains(KS::SymbolicExprDecider& aDecider) const;

  const Question& question;
  const TypedModel& rules;
  std::vector<KS::SymbolicExprId> assumed;
  const Values values;
  mutable KS::SymbolicExprDecider decider;
};

/// The verdicts on the nets of all blocks, by block; `Unknown` for one that is not available.
std::vector<KS::Truth> verdictsOf(const TypedModel& aModel, Decision& aDecision);

/// A condition and the block that has it.
struct BlockCondition {
  const KSBlock* block;
  KS::SymbolicExprId condition;
};

/// The blocks along the path down to `aBlock` that have these conditions, each condition once.
std::vector<BlockCondition> blocksOf(const Question& aQuestion, const KSBlock& aBlock,
                                     const std::vector<KS::SymbolicExprId>& aConditions);
/// As JSON: `[{"block", "condition"}]`.
nlohmann::ordered_json blockConditionsJson(const Question& aQuestion,
                                           const std::vector<BlockCondition>& aConditions);
/// As a text in a table: "A > 1 (Top), A < 1 (Leaf)".
std::string blockConditionsText(const Question& aQuestion,
                                const std::vector<BlockCondition>& aConditions);

}  // namespace ksexpr
