// The command line tool over the library.
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string_view>

#include "host/KSPlatform.hpp"
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
KS_BEFORE_GLOBAL_OBJECTS void handleOutOfMemory() { std::set_new_handler(endOutOfMemory); }

constexpr std::size_t stackSize = std::size_t{512} << 10;

// A function of its own, since the stack grows as soon as one with such a variable calls another.
KS_NEVER_INLINE void growStack() {
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

// The columns of the terminal that standard output is.
std::size_t terminalWidth() {
  winsize size{};
  // Serial lines and terminals inside other programs may not know their size.
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

bool isColourWanted() {
  const char* const noColour = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  return (noColour == nullptr || *noColour == '\0') && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

}  // namespace

int main(int argc, char** argv) {
  reserveStack();
  // A closed pipe is a failed write, and so is a file that may grow no further.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::ios::sync_with_stdio(false);
  std::cin.tie(nullptr);
  ksexpr::Streams streams{std::cin, std::cout, std::cerr, isatty(STDOUT_FILENO) == 1,
                          isatty(STDERR_FILENO) == 1};
  if (streams.outIsTerminal) {
    streams.outWidth = terminalWidth();
    streams.outHasColour = isColourWanted();
  }
  return ksexpr::runTool({argv + (argc > 0 ? 1 : 0), argv + argc}, streams);
}
