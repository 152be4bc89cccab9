// Which blocks are active under given values.
#pragma once

#include <iosfwd>

#include "tools/Decision.hpp"

namespace ksexpr {

/// Answers for every block whether it is active, and under which condition where that is open.
/// `aResidual` adds the latter to tables and CSV. Returns a line that sums up. Throws `WriteError`.
std::string answerActive(const Question& aQuestion, bool aResidual, const Question::Tell& aTell,
                         std::ostream& aOut);

}  // namespace ksexpr
