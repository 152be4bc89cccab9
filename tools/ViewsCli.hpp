// The command lines of what shows a model as a whole: the tree, its drawing, and the page.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/Commands.hpp"
#include "tools/QuestionsCli.hpp"

namespace ksexpr {

/// Defines "tree" and "report"; each one sets `aRun`, which outlives the parsing.
void defineViews(CLI::App& aApp, Run& aRun, bool& aQuiet);

/// Has "dot" draw the tree of a model, too, and tell of an expression that is the name of a file.
/// The request, which outlives the parsing, has the expressions, and `aDrawExpressions` draws them.
void defineDotOfModel(CLI::App& aDot, const Request& aRequest, Run& aRun,
                      const Run& aDrawExpressions);

}  // namespace ksexpr
