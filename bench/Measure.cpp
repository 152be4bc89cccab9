#include "bench/Measure.hpp"

#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <limits>

namespace KSBench {

void keepMemory() {
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  mallopt(M_MMAP_MAX, 0);
}

double cpuTime() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

std::size_t heapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

double median(std::vector<double> aValues) {
  if (aValues.empty()) return std::numeric_limits<double>::quiet_NaN();
  std::sort(aValues.begin(), aValues.end());
  const std::size_t half = aValues.size() / 2;
  return aValues.size() % 2 == 1 ? aValues[half] : (aValues[half - 1] + aValues[half]) / 2;
}

double exponent(const std::vector<double>& aSizes, const std::vector<double>& aCosts) {
  const auto count = static_cast<double>(aSizes.size());
  double sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
  for (std::size_t i = 0; i < aSizes.size(); ++i) {
    const double x = std::log(aSizes[i]);
    const double y = std::log(aCosts[i]);
    sumX += x;
    sumY += y;
    sumXX += x * x;
    sumXY += x * y;
  }
  return (count * sumXY - sumX * sumY) / (count * sumXX - sumX * sumX);
}

}  // namespace KSBench
