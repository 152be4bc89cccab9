#include "tests/memory/Allocation.hpp"

#include <malloc.h>

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<std::size_t> used{0};

struct End {
  bool isSet = false;
  bool isForGood = false;
  bool wasReached = false;
  std::size_t left = 0;
};
thread_local End end;

bool isAtEnd() {
  if (!end.isSet) return false;
  if (end.left > 0) {
    --end.left;
    return false;
  }
  const bool fails = !end.wasReached || end.isForGood;
  end.wasReached = true;
  return fails;
}

void* allocate(std::size_t aSize) {
  void* const memory = isAtEnd() ? nullptr : std::malloc(aSize == 0 ? 1 : aSize);
  if (memory != nullptr) used += malloc_usable_size(memory);
  return memory;
}

void release(void* aMemory) noexcept {
  if (aMemory == nullptr) return;
  used -= malloc_usable_size(aMemory);
  std::free(aMemory);
}

}  // namespace

void* operator new(std::size_t aSize) {
  if (void* const memory = allocate(aSize)) return memory;
  throw std::bad_alloc();
}
void* operator new[](std::size_t aSize) { return operator new(aSize); }
void* operator new(std::size_t aSize, const std::nothrow_t&) noexcept { return allocate(aSize); }
void* operator new[](std::size_t aSize, const std::nothrow_t&) noexcept { return allocate(aSize); }
void operator delete(void* aMemory) noexcept { release(aMemory); }
void operator delete[](void* aMemory) noexcept { release(aMemory); }
void operator delete(void* aMemory, std::size_t) noexcept { release(aMemory); }
void operator delete[](void* aMemory, std::size_t) noexcept { release(aMemory); }
void operator delete(void* aMemory, const std::nothrow_t&) noexcept { release(aMemory); }
void operator delete[](void* aMemory, const std::nothrow_t&) noexcept { release(aMemory); }

namespace KS::test {

std::size_t usedBytes() { return used; }

MemoryEnd::MemoryEnd(std::size_t aAfter, Extent aExtent) {
  end = {true, aExtent == forGood, false, aAfter};
}
MemoryEnd::~MemoryEnd() { end.isSet = false; }
bool MemoryEnd::wasReached() const { return end.wasReached; }

}  // namespace KS::test
