// The command line tool over the library.
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "tools/Cli.hpp"

int main(int argc, char** argv) {
  // A closed pipe is a failed write, which is reported like any other.
  std::signal(SIGPIPE, SIG_IGN);
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  return ksexpr::runTool(
      {argv + (argc > 0 ? 1 : 0), argv + argc},
      {std::cin, std::cout, std::cerr, isatty(STDOUT_FILENO) == 1, isatty(STDERR_FILENO) == 1});
}
