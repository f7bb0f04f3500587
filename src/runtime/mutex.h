#pragma once
// ZOVMutex: a recursive mutex for short sections, of a count and an owner over a plain pthread mutex; and its
// guard, zov::RecursiveLock.
//
// Clang's analysis knows no recursion, and need not: it looks at one function at a time. A function that may
// be entered with the mutex held takes it again and says nothing of it; one that must be entered so says
// ZOV_REQUIRES and does not take it.

#include <pthread.h>

#include <atomic>

#include "platform/thread_annotations.h"

class ZOV_CAPABILITY("mutex") ZOVMutex {
 public:
  ZOVMutex() : _errorNumber(pthread_mutex_init(&_mutex, nullptr)), _valid(_errorNumber == 0) {}
  virtual ~ZOVMutex();
  ZOVMutex(const ZOVMutex&) = delete;
  ZOVMutex& operator=(const ZOVMutex&) = delete;

  void get() ZOV_ACQUIRE() {
    if (!_valid) return;
    if (!isOwned()) {
      pthread_mutex_lock(&_mutex);
      _owner.store(pthread_self(), std::memory_order_relaxed);
    }
    ++_count;
  }
  /// Nothing of the object is touched once it is free.
  void release() ZOV_RELEASE() {
    if (!_valid || --_count > 0) return;
    _owner.store(0, std::memory_order_relaxed);
    pthread_mutex_unlock(&_mutex);
  }
  bool isValid() const { return _valid; }
  int getErrorCode() const { return _errorNumber; }
  /// True when the calling thread owns it.
  bool isOwned() const { return _owner.load(std::memory_order_relaxed) == pthread_self(); }

  /// How many levels the calling thread holds.
  int depth() const { return isOwned() ? _count : 0; }
  /// Gives levels back until the calling thread holds `levels` at most: for a frame that a raise has reached,
  /// where the analysis, which sees no jumps, takes the mutex for given back.
  void releaseTo(int levels) ZOV_NO_THREAD_SAFETY_ANALYSIS {
    while (depth() > levels) release();
  }

 private:
  pthread_mutex_t _mutex;
  std::atomic<pthread_t> _owner{0};  // only the owner can see its own id here
  int _count = 0;                    // touched by the owner alone
  int _errorNumber;
  bool _valid;
};

namespace zov {

/// Holds a ZOVMutex for a scope that cannot raise.
class ZOV_SCOPED_CAPABILITY RecursiveLock {
 public:
  explicit RecursiveLock(ZOVMutex& mutex) ZOV_ACQUIRE(mutex) : _mutex(mutex) { _mutex.get(); }
  ~RecursiveLock() ZOV_RELEASE() { _mutex.release(); }
  RecursiveLock(const RecursiveLock&) = delete;
  RecursiveLock& operator=(const RecursiveLock&) = delete;

 private:
  ZOVMutex& _mutex;
};

}  // namespace zov
