// The variables of a model and the blocks that depend on them.
#pragma once

#include <iosfwd>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "tools/Question.hpp"

namespace ksexpr {

/// The variables as JSON, see `answerVars`.
nlohmann::ordered_json variablesJson(const Question& aQuestion);

/// Lists the variables: their kind and domain, what they are compared with, and the number of
/// blocks that depend on each by their own condition and in all. Returns a line that sums up.
/// Throws `WriteError`.
std::string answerVars(const Question& aQuestion, std::ostream& aOut);

/// Lists the blocks whose net condition has the variable, by their own condition or that of an
/// ancestor. Returns a line that sums up. Throws `WriteError`, and `AnswerError` for a name that is
/// no variable.
std::string answerUses(const Question& aQuestion, const std::string& aName, std::ostream& aOut);

}  // namespace ksexpr
