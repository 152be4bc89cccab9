// Runs the tool inside the test.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "tools/Cli.hpp"

/// What one run of the tool leaves behind.
struct Outcome {
  int status;
  std::string out;
  std::string err;
};

inline Outcome run(const std::vector<std::string>& aArguments, const std::string& aInput = "",
                   bool aOutIsTerminal = false) {
  std::istringstream in(aInput);
  std::ostringstream out;
  std::ostringstream err;
  const int status = ksexpr::runTool(aArguments, {in, out, err, aOutIsTerminal});
  return {status, out.str(), err.str()};
}
