// What a program of tests does to memory: has an allocation fail, and counts what is in use.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <new>

namespace KS::test {

/// Bytes that `new` has given out and not got back.
std::size_t usedBytes();

/// As long as it lives, memory ends after so many more allocations by `new` on this thread.
class MemoryEnd {
 public:
  /// Whether one allocation fails, or that one and all after it.
  enum Extent { once, forGood };
  MemoryEnd(std::size_t aAfter, Extent aExtent);
  ~MemoryEnd();
  MemoryEnd(const MemoryEnd&) = delete;
  MemoryEnd& operator=(const MemoryEnd&) = delete;
  /// Whether an allocation failed.
  bool wasReached() const;
};

/// Runs `aWork()` with memory ending after every number of allocations, until it needs no more than
/// there are, and `aCheck()` after each run, with memory. What `aWork` throws must be
/// `std::bad_alloc`.
template <class Work, class Check>
void endMemoryEverywhere(Work aWork, Check aCheck) {
  for (const MemoryEnd::Extent extent : {MemoryEnd::once, MemoryEnd::forGood}) {
    for (std::size_t after = 0, reached = 1; reached != 0; ++after) {
      {
        const MemoryEnd end(after, extent);
        try {
          aWork();
        } catch (const std::bad_alloc&) {
        }
        reached = end.wasReached();
      }
      aCheck();
    }
  }
}

}  // namespace KS::test
