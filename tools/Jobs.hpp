// Work that is done side by side.
#pragma once

#include <cstddef>
#include <functional>

namespace ksexpr {

/// Calls `aWork` with every number below `aCount`, each on a thread of its own, the first one on
/// the caller's, and returns when all have ended. Where the system has no more threads, the caller
/// does the work. Throws what a call has thrown, that with the smallest number.
void sideBySide(std::size_t aCount, const std::function<void(std::size_t)>& aWork);

/// The number of threads that run at the same time on this machine, at least one.
std::size_t countCores();

}  // namespace ksexpr
