// The command line of the questions about a model.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "tools/Commands.hpp"

namespace ksexpr {

/// Does what a command line says; notes in its second argument whether an answer has failed, and
/// returns the exit status of one that has not.
using Run = std::function<int(Streams&, bool&)>;

/// Defines the commands; each one sets `aRun`, and `aQuiet` where it is to leave out what is no
/// answer. Both outlive the parsing.
void defineQuestions(CLI::App& aApp, Run& aRun, bool& aQuiet);

/// Throws `UsageError` where this program was built without the library that decides; `aWhat` needs
/// it.
void requireDecisions(const std::string& aWhat);

}  // namespace ksexpr
