#pragma once
// ZOVMutex: a recursive mutex for short sections, of a count and an owner over a plain pthread mutex.

#include <pthread.h>

#include <atomic>

class ZOVMutex {
 public:
  ZOVMutex() : _errorNumber(pthread_mutex_init(&_mutex, nullptr)), _valid(_errorNumber == 0) {}
  virtual ~ZOVMutex();
  ZOVMutex(const ZOVMutex&) = delete;
  ZOVMutex& operator=(const ZOVMutex&) = delete;

  void get() {
    if (!_valid) return;
    if (!isOwned()) {
      pthread_mutex_lock(&_mutex);
      _owner.store(pthread_self(), std::memory_order_relaxed);
    }
    ++_count;
  }
  /// Nothing of the object is touched once it is free.
  void release() {
    if (!_valid || --_count > 0) return;
    _owner.store(0, std::memory_order_relaxed);
    pthread_mutex_unlock(&_mutex);
  }
  int isValid() const { return _valid; }
  int getErrorCode() const { return _errorNumber; }
  /// True when the calling thread owns it.
  bool isOwned() const { return _owner.load(std::memory_order_relaxed) == pthread_self(); }

  /// How many levels the calling thread holds.
  int depth() const { return isOwned() ? _count : 0; }
  /// Gives levels back until the calling thread holds `levels` at most: for a frame that a raise has reached.
  void releaseTo(int levels) {
    while (depth() > levels) release();
  }

 private:
  pthread_mutex_t _mutex;
  std::atomic<pthread_t> _owner{0};  // only the owner can see its own id here
  int _count = 0;                    // touched by the owner alone
  int _errorNumber;
  int _valid;
};

/// Scope guard for sections that cannot raise.
class ZOVMutexScope {
 public:
  explicit ZOVMutexScope(ZOVMutex& mutex) : _mutex(mutex) { _mutex.get(); }
  ~ZOVMutexScope() { _mutex.release(); }
  ZOVMutexScope(const ZOVMutexScope&) = delete;
  ZOVMutexScope& operator=(const ZOVMutexScope&) = delete;

 private:
  ZOVMutex& _mutex;
};
