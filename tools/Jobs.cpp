#include "tools/Jobs.hpp"

#include <algorithm>
#include <exception>
#include <system_error>
#include <thread>
#include <vector>

namespace ksexpr {

void sideBySide(std::size_t aCount, const std::function<void(std::size_t)>& aWork) {
  std::vector<std::exception_ptr> errors(aCount);
  const auto work = [&](std::size_t number) {
    try {
      aWork(number);
    } catch (...) {
      errors[number] = std::current_exception();
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(aCount);
  std::size_t numStarted = 1;
  try {
    for (; numStarted < aCount; ++numStarted) threads.emplace_back(work, numStarted);
  } catch (const std::system_error&) {
    // Nothing is left undone.
    for (std::size_t number = numStarted; number < aCount; ++number) work(number);
  }
  if (aCount > 0) work(0);
  for (std::thread& thread : threads) thread.join();
  for (const std::exception_ptr& error : errors) {
    if (error) std::rethrow_exception(error);
  }
}

std::size_t countCores() { return std::max(std::thread::hardware_concurrency(), 1U); }

}  // namespace ksexpr
