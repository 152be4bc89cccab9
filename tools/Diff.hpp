// What changed between two versions of a model.
#pragma once

#include <iosfwd>
#include <string>

#include "tools/Decision.hpp"

namespace ksexpr {

/// Answers which blocks were added, removed or moved, and which conditions mean something else
/// under the domains and constraints of the new model, which `aNew` asks about; it knows the
/// variables of the old one. Returns a line that sums up. Throws `WriteError`, `AnswerError`.
std::string answerDiff(const TypedModel& aOld, const Question& aNew, std::ostream& aOut);

}  // namespace ksexpr
