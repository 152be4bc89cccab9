// What is measured: CPU time of the process, and bytes on the heap.
#pragma once

#include <cstddef>
#include <vector>

namespace KSBench {

/// Has the process keep the memory that it frees, as one does that has run for a while: what is
/// measured then is the work, not how the system hands out memory for the first time.
void keepMemory();

/// CPU time that the process has used, in nanoseconds.
double cpuTime();

/// CPU time that `aWork()` takes, in nanoseconds.
template <class Work>
double timed(Work&& aWork) {
  const double start = cpuTime();
  aWork();
  return cpuTime() - start;
}

/// Bytes that the process has allocated and not freed, the allocator's own overhead included.
std::size_t heapBytes();

/// The middle value, the mean of the two middle ones for an even count; NaN for none.
double median(std::vector<double> aValues);

/// The slope of the least-squares line through the logarithms: cost grows like n to this power.
double exponent(const std::vector<double>& aSizes, const std::vector<double>& aCosts);

}  // namespace KSBench
