// The command line of ksexpr.
#pragma once

#include <string>
#include <vector>

#include "tools/Commands.hpp"

namespace ksexpr {

/// Runs the tool with the arguments after the program's name. Returns the exit status: 0, 1 if an
/// answer failed, 2 for a command line that makes no sense, 3 for a finding that a check is to fail
/// on. Throws nothing.
int runTool(const std::vector<std::string>& aArguments, Streams aStreams);

}  // namespace ksexpr
