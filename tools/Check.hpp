// What is wrong with the conditions of a model.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <set>
#include <string>
#include <vector>

#include "tools/Decision.hpp"

namespace ksexpr {

/// What can be said of a block.
enum class Finding { Never, Always, Implied, Overlap, Gap, Unknown };
inline constexpr const char* findingNames[] = {"never",   "always", "implied",
                                               "overlap", "gap",    "unknown"};

struct CheckRequest {
  /// The blocks whose children are variants; "all" stands for all blocks.
  std::vector<std::string> variants;
  /// The findings for which the check fails.
  std::set<Finding> failOn;
};

/// A finding about a block, or about the variants below it.
struct CheckEntry {
  const KSBlock* block;
  Finding finding;
  std::vector<BlockCondition> because{};    ///< what proves it
  bool isInherited = false;                 ///< whether a block above has it, too
  std::vector<KS::SymbolicExprId> terms{};  ///< what stands in the way of an answer
  std::vector<const KSBlock*> children{};   ///< the variants that it is about
  NamedValues witness{};                    ///< values that show it of variants
};

/// What a check has come to.
struct CheckResult {
  std::string summary;
  /// Whether there is a finding that it is to fail on.
  bool isFailed = false;
};

/// Finds blocks that can never be on, that always are although they have a condition, conditions
/// that the path implies already, and what could not be decided; of variants those that can be on
/// together, and values under which none is although the block is. The findings come by block, in
/// file order. Throws `AnswerError` for a block that does not exist.
std::vector<CheckEntry> answerCheck(const Question& aQuestion, const CheckRequest& aRequest);

/// Writes the findings. Throws `WriteError`.
CheckResult writeCheck(const Question& aQuestion, const CheckRequest& aRequest,
                       const std::vector<CheckEntry>& aEntries, std::ostream& aOut);

}  // namespace ksexpr
