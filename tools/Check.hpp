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

/// What a check has come to.
struct CheckResult {
  std::string summary;
  /// Whether there is a finding that it is to fail on.
  bool isFailed = false;
};

/// Finds blocks that can never be on, that always are although they have a condition, conditions
/// that the path implies already, and what could not be decided; of variants those that can be on
/// together, and values under which none is although the block is. Throws `WriteError`, and
/// `AnswerError` for a block that does not exist.
CheckResult answerCheck(const Question& aQuestion, const CheckRequest& aRequest,
                        std::ostream& aOut);

}  // namespace ksexpr
