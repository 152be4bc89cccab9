#include "tests/support/HeapPeak.hpp"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocated{0};
std::atomic<std::size_t> most{0};

}  // namespace

#ifndef __SANITIZE_ADDRESS__

void* operator new(std::size_t aSize) {
  void* const memory = std::malloc(aSize == 0 ? 1 : aSize);
  if (memory == nullptr) throw std::bad_alloc();
  const std::size_t now = allocated += malloc_usable_size(memory);
  std::size_t known = most;
  while (known < now && !most.compare_exchange_weak(known, now)) {
  }
  return memory;
}
void* operator new[](std::size_t aSize) { return operator new(aSize); }
void operator delete(void* aMemory) noexcept {
  allocated -= malloc_usable_size(aMemory);
  std::free(aMemory);
}
void operator delete[](void* aMemory) noexcept { operator delete(aMemory); }
void operator delete(void* aMemory, std::size_t) noexcept { operator delete(aMemory); }
void operator delete[](void* aMemory, std::size_t) noexcept { operator delete(aMemory); }

#endif

namespace KS::test {

HeapPeak::HeapPeak() : before(allocated) { most = before; }
std::size_t HeapPeak::bytes() const { return most - before; }

}  // namespace KS::test
