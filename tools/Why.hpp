// Why a block is on or off, and what would turn it on.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "tools/Change.hpp"

namespace ksexpr {

/// A block on the path and what becomes of its condition.
struct WhyStep {
  const KSBlock* block;
  Holds holds;
  /// What of a conjunction does not hold, or of a disjunction; else the condition itself.
  std::vector<KS::SymbolicExprId> fails;
};

struct WhyAnswer {
  const KSBlock* block;
  const char* state;             ///< "active", "inactive", "open", "never" or "unknown"
  std::vector<WhyStep> path;     ///< the outermost block first
  std::optional<Change> change;  ///< what would turn it on
  std::vector<BlockCondition> contradiction;  ///< why it can never be on
  bool isContradictionProven = false;         ///< whether no fewer conditions exclude each other
  std::string brokenRules;  ///< what the values and what always holds have against each other
};

/// Answers for one block: the conditions along its path with their values, the fewest given values
/// to change that would turn it on, or the smallest set of conditions that exclude each other.
/// Throws `AnswerError` for a block that has no answer.
WhyAnswer answerWhy(const Question& aQuestion, const KSBlock& aBlock);

/// Writes the answer. Throws `WriteError`.
void writeWhy(const Question& aQuestion, const WhyAnswer& aAnswer, std::ostream& aOut);

}  // namespace ksexpr
