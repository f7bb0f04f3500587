#pragma once
// zov::Mutex, MutexLock and Condition: the standard library's, with the attributes by which clang checks who
// holds what. For leaves: a mutex that is held for a few instructions, while nothing of the agent is called
// and nothing can raise. What is held across such a call is a ZOVLock or a ZOVMutex (runtime/).

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "platform/thread_annotations.h"

namespace zov {

class ZOV_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;
  void lock() ZOV_ACQUIRE() { _mutex.lock(); }
  void unlock() ZOV_RELEASE() { _mutex.unlock(); }
  bool try_lock() ZOV_TRY_ACQUIRE(true) { return _mutex.try_lock(); }

 private:
  friend class Condition;
  std::mutex _mutex;
};

/// Holds a mutex for a scope; may give it back and take it again meanwhile.
class ZOV_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZOV_ACQUIRE(mutex) : _mutex(mutex) { _mutex.lock(); }
  ~MutexLock() ZOV_RELEASE() {
    if (_held) _mutex.unlock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;
  void unlock() ZOV_RELEASE() {
    _held = false;
    _mutex.unlock();
  }
  void lock() ZOV_ACQUIRE() {
    _mutex.lock();
    _held = true;
  }

 private:
  Mutex& _mutex;
  bool _held = true;
};

/// A condition variable over a Mutex. Waits may end early, so they stand in a loop over what is waited for.
class Condition {
 public:
  void wait(Mutex& mutex) ZOV_REQUIRES(mutex) {
    Borrowed borrowed(mutex);
    _condition.wait(borrowed.lock);
  }
  /// False when the time has passed; by steady time.
  bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) ZOV_REQUIRES(mutex) {
    Borrowed borrowed(mutex);
    return _condition.wait_until(borrowed.lock, deadline) == std::cv_status::no_timeout;
  }
  void notifyOne() { _condition.notify_one(); }
  void notifyAll() { _condition.notify_all(); }

 private:
  /// The caller's hold as a std::unique_lock that leaves it with the caller, also when the wait is cancelled.
  struct Borrowed {
    explicit Borrowed(Mutex& mutex) : lock(mutex._mutex, std::adopt_lock) {}
    ~Borrowed() { lock.release(); }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;
    std::unique_lock<std::mutex> lock;
  };
  std::condition_variable _condition;
};

}  // namespace zov
