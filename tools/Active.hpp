// Which blocks are active under given values.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "tools/Decision.hpp"

namespace ksexpr {

/// What is known of a block.
enum class State { Inactive, Active, Open, Unknown };
inline constexpr const char* stateNames[] = {"inactive", "active", "open", "?"};

struct ActiveAnswer {
  std::vector<State> states;  ///< by block
  /// If they are asked for, by block: the condition under which it is active, empty for "true";
  /// nothing where that is not known or too large.
  std::optional<std::vector<std::optional<std::string>>> residuals;
};

/// Answers for every block whether it is active and, where that is asked for, under which condition
/// it is. Throws `AnswerError` for what can't hold.
ActiveAnswer answerActive(const Question& aQuestion, bool aWithResiduals,
                          const Question::Tell& aTell);

/// Writes the answer, and the residuals that it has. Returns a line that sums up. Throws
/// `WriteError`.
std::string writeActive(const Question& aQuestion, const ActiveAnswer& aAnswer, std::ostream& aOut);

}  // namespace ksexpr
