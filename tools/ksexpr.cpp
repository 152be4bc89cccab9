// The command line tool over the library.
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <new>
#include <string_view>

#include "tools/Cli.hpp"

namespace {

// Ends the program where memory has run out: what has been answered goes out first. Throwing would
// need memory, and streams would take the exception for a failed write.
[[noreturn]] void endOutOfMemory() {
  std::set_new_handler(nullptr);
  std::cout.flush();
  // On a terminal, the line may hold a progress bar.
  const std::string_view message =
      isatty(STDERR_FILENO) == 1 ? "\r\033[Kksexpr: out of memory\n" : "ksexpr: out of memory\n";
  [[maybe_unused]] const ssize_t written =
      write(STDERR_FILENO, message.data(), message.size());  // else the status tells
  _exit(1);
}

// Runs before the constructors of global objects, which take memory, too.
[[gnu::constructor(101)]] void handleOutOfMemory() { std::set_new_handler(endOutOfMemory); }

constexpr std::size_t stackSize = std::size_t{512} << 10;

// A function of its own, since the stack grows as soon as one with such a variable calls another.
[[gnu::noinline]] void growStack() {
  [[maybe_unused]] volatile char lowest[stackSize];
  lowest[0] = 0;
}

// Lets the stack grow as far as the deepest expression needs while there is memory: where it cannot
// grow later on, the system ends the program without a word.
void reserveStack() {
  rlimit limit{};
  if (getrlimit(RLIMIT_STACK, &limit) != 0 || limit.rlim_cur < 2 * stackSize) return;
  void* const attempt =
      mmap(nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (attempt == MAP_FAILED) endOutOfMemory();
  munmap(attempt, stackSize);
  growStack();
}

}  // namespace

int main(int argc, char** argv) {
  reserveStack();
  // A closed pipe is a failed write.
  std::signal(SIGPIPE, SIG_IGN);
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  return ksexpr::runTool(
      {argv + (argc > 0 ? 1 : 0), argv + argc},
      {std::cin, std::cout, std::cerr, isatty(STDOUT_FILENO) == 1, isatty(STDERR_FILENO) == 1});
}
