// Expressions under one configuration after another.
#pragma once

#include "tools/Commands.hpp"

namespace ksexpr {

/// Reads the request's table of values, which is CSV with a header of names and a row per
/// configuration, and answers the expressions as CSV: a header, then a row per configuration and in
/// it the value of each expression. An empty cell gives no value. Sets `aHasFailed` where an
/// expression does not parse or has no value, which leaves its field empty. Throws `AnswerError`
/// for a table that can't be read, before anything is answered, `UsageError` and `WriteError`.
void answerTable(const Request& aRequest, Streams& aStreams, bool& aHasFailed);

}  // namespace ksexpr
