#pragma once
// ZOVMutex: a recursive mutex for short sections, of a count and an owner over a plain pthread mutex.

#include <pthread.h>

#include <atomic>

class ZOVMutex {
 public:
  ZOVMutex();
  virtual ~ZOVMutex();
  ZOVMutex(const ZOVMutex&) = delete;
  ZOVMutex& operator=(const ZOVMutex&) = delete;

  void get();
  void release();
  int isValid() const { return _valid; }
  int getErrorCode() const { return _errorNumber; }
  /// True when the calling thread owns it.
  bool isOwned() const { return _owner.load(std::memory_order_relaxed) == pthread_self(); }

 private:
  pthread_mutex_t _mutex;
  std::atomic<pthread_t> _owner{0};  // only the owner can see its own id here
  int _count = 0;                    // touched by the owner alone
  int _valid;
  int _errorNumber;
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
