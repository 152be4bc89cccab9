// Why a block is on or off, and what would turn it on.
#pragma once

#include <iosfwd>

#include "tools/Decision.hpp"

namespace ksexpr {

/// Answers for one block: the conditions along its path with their values, the fewest given values
/// to change that would turn it on, or the smallest set of conditions that exclude each other.
/// Throws `WriteError`, and `AnswerError` for a block that has no answer.
void answerWhy(const Question& aQuestion, const KSBlock& aBlock, std::ostream& aOut);

}  // namespace ksexpr
