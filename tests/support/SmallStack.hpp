// Runs code on a stack of a given size: what recurses over the depth of an expression crashes
// there.
#pragma once

#include <pthread.h>

#include <cstddef>
#include <functional>
#include <stdexcept>

#include "tests/support/Instrumented.hpp"

namespace KS::test {

/// The stack that has room for all open brackets and customizers at once. On s390x every function
/// that calls another takes 160 bytes more, as its caller keeps room for its registers.
#if defined(__s390x__)
inline constexpr std::size_t stackOfAThread = 768 << 10;
#else
inline constexpr std::size_t stackOfAThread = 512 << 10;
#endif

/// Runs `aBody` in a thread whose stack has `aBytes` bytes and waits for it. `aBody` must not
/// throw.
inline void runOnStack(std::size_t aBytes, const std::function<void()>& aBody) {
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0 || pthread_attr_setstacksize(&attributes, aBytes) != 0) {
    throw std::runtime_error("no thread with such a stack");
  }
  const auto run = [](void* body) -> void* {
    (*static_cast<const std::function<void()>*>(body))();
    return nullptr;
  };
  void* const body = const_cast<std::function<void()>*>(&aBody);
  if (pthread_create(&thread, &attributes, run, body) != 0) {
    throw std::runtime_error("no thread was started");
  }
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

}  // namespace KS::test
