// The interpreter's lock and those of tables and models.
//
// Whoever holds the lock of a table never waits for that of the interpreter: work below it touches
// no Python object. So a thread that holds the interpreter's lock may wait for the other one.
#pragma once

#include <Python.h>

#include <mutex>

namespace ksexpr::python {

/// Leaves the interpreter to other threads while it lives.
class WithoutInterpreter {
 public:
  WithoutInterpreter() : state(PyEval_SaveThread()) {}
  WithoutInterpreter(const WithoutInterpreter&) = delete;
  WithoutInterpreter& operator=(const WithoutInterpreter&) = delete;
  /// Waits for the interpreter; for ever where it has ended, since then its thread has nothing left
  /// to return to.
  ~WithoutInterpreter();

 private:
  PyThreadState* const state;
};

/// Has calls on one table or model follow each other. A process is forked when none is held.
class Lock {
 public:
  Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock();

  /// Does what takes microseconds, and leaves the interpreter to others only where it has to wait.
  template <class Work>
  auto brief(const Work& aWork) {
    if (!mutex.try_lock()) return lengthy(aWork);
    const std::lock_guard<std::mutex> guard(mutex, std::adopt_lock);
    return aWork();
  }

  /// Does what may take long while others use the interpreter.
  template <class Work>
  auto lengthy(const Work& aWork) {
    const WithoutInterpreter leave;
    const std::lock_guard<std::mutex> guard(mutex);
    return aWork();
  }

  /// The same for work on two tables, which may be one.
  template <class Work>
  static auto lengthy(Lock& aOne, Lock& aOther, const Work& aWork) {
    if (&aOne == &aOther) return aOne.lengthy(aWork);
    const WithoutInterpreter leave;
    const std::scoped_lock guard(aOne.mutex, aOther.mutex);
    return aWork();
  }

 private:
  friend struct Forking;

  std::mutex mutex;
};

}  // namespace ksexpr::python
