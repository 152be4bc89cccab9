#include "python/Lock.hpp"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <set>
#include <vector>

namespace ksexpr::python {

WithoutInterpreter::~WithoutInterpreter() {
  try {
    PyEval_RestoreThread(state);
  } catch (...) {
    // The interpreter ends threads that come back to it after its end by unwinding them, which
    // destructors and handlers of exceptions on the way do not survive.
    for (;;) pause();
  }
}

/// All locks of the process. Never destroyed, since threads may outlive static objects.
struct Forking {
  std::mutex mutex;
  std::set<Lock*> locks;
  std::vector<Lock*> held;

  static Forking& instance() {
    static auto* const all = new Forking();
    return *all;
  }

  Forking() {
    pthread_atfork([] { instance().holdAll(); }, [] { instance().release(); },
                   [] { instance().release(); });
  }

  // A child has no other threads, so what they held would stay held. Whoever waits for a second
  // lock holds a first one; so this one waits for none.
  void holdAll() {
    mutex.lock();
    for (;;) {
      for (Lock* lock : locks) {
        if (!lock->mutex.try_lock()) break;
        held.push_back(lock);
      }
      if (held.size() == locks.size()) return;
      releaseHeld();
      sched_yield();
    }
  }

  void release() {
    releaseHeld();
    mutex.unlock();
  }

  void releaseHeld() {
    for (Lock* lock : held) lock->mutex.unlock();
    held.clear();
  }
};

Lock::Lock() {
  Forking& all = Forking::instance();
  const std::lock_guard<std::mutex> guard(all.mutex);
  all.locks.insert(this);
}

Lock::~Lock() {
  Forking& all = Forking::instance();
  const std::lock_guard<std::mutex> guard(all.mutex);
  all.locks.erase(this);
}

}  // namespace ksexpr::python
