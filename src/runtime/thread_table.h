#pragma once
// ZOVThreadTable: the threads that the process knows, at most 512. Changes are made under its mutex; look-ups
// take no lock. Slots are never freed while a thread may read them.

#include <atomic>

#include "runtime/foundation/collections.h"
#include "runtime/mutex.h"

class ZOVRecoverableThread;

class ZOVThreadTable {
 public:
  static constexpr int Capacity = 512;

  ZOVThreadTable();
  /// Waits 3 seconds when threads other than the caller's still run, and leaves the slots allocated if they
  /// stay.
  virtual ~ZOVThreadTable();
  ZOVThreadTable(const ZOVThreadTable&) = delete;
  ZOVThreadTable& operator=(const ZOVThreadTable&) = delete;

  void insert(ZOVRecoverableThread* thread);  ///< blocks while the table is full
  void remove(ZOVRecoverableThread* thread);
  int find(const unsigned long* id) const;  ///< index, or -1
  ZOVRecoverableThread* findThread(const unsigned long* id) const;
  ZOVRecoverableThread* findCurrentThread() const;
  int entries() const { return _numThreads.load(); }
  void lock() { _mutex.get(); }
  void release() { _mutex.release(); }
  void diagDump() const;

 private:
  struct Slot {
    std::atomic<unsigned long> id{0};  // 0: free
    std::atomic<ZOVRecoverableThread*> thread{nullptr};
  };

  Slot* _slots;
  mutable ZOVMutex _mutex;
  mutable std::atomic<int> _lastIndex{-1};  // a hint
  std::atomic<int> _highMark{0};
  std::atomic<int> _numThreads{0};
  RWOrdered _waiters;  // ZOVEvent*, guarded by _mutex
};
