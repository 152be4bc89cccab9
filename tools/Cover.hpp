// A small set of configurations that has every block on and off.
#pragma once

#include <iosfwd>
#include <string>

#include "tools/Decision.hpp"

namespace ksexpr {

/// Answers configurations, each with a value for every variable, under which every block that can
/// be on is on at least once and every block that can be off is off at least once, as evaluation
/// confirms; and how many there have to be at least. Returns a line that sums up. Throws
/// `WriteError`, `AnswerError`.
std::string answerCover(const Question& aQuestion, std::ostream& aOut);

}  // namespace ksexpr
