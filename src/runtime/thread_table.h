#pragma once
// ZOVThreadTable: the threads that the process knows, at most 512. Changes are made under its mutex; look-ups
// take no lock. The slots are never freed, since a thread that still runs may read them. A thread finds
// itself through a cache of its own, which is kept right by whoever changes its entry.
//
// Nobody waits for a slot: whoever finds none is told so. Threads that the agent starts reserve theirs before
// their start, and leave KeptBack of them to those that are adopted: the main thread and the framework's,
// which must be able to ask and to stop the agent whatever else runs. The threads of servers' statistics are
// started only while the last KeptForSessions of the others are free, so that a session never lacks its
// thread for them.

#include <atomic>
#include <cstdint>

#include "foundation/collections.h"
#include "runtime/lock.h"

class ZOVRecoverableThread;

class ZOVThreadTable {
 public:
  static constexpr int Capacity = 512;
  static constexpr int KeptBack = 128;
  static constexpr int KeptForSessions = 32;

  ZOVThreadTable();
  /// Waits once (zovWaits().threadTableSeconds) when threads other than the caller's still run.
  virtual ~ZOVThreadTable();
  ZOVThreadTable(const ZOVThreadTable&) = delete;
  ZOVThreadTable& operator=(const ZOVThreadTable&) = delete;

  /// Takes a free slot; false when there is none.
  bool insert(ZOVRecoverableThread* thread);
  // --- For threads that are about to be started.
  /// How many more.
  int room() const { return Capacity - KeptBack - entries() - _reserved.load(); }
  bool hasRoom() const { return room() > 0; }
  bool reserve();                                     ///< false when no more may be started
  void giveUpReservation();                           ///< the start has failed
  void insertReserved(ZOVRecoverableThread* thread);  ///< takes the slot that was reserved for it
  void remove(ZOVRecoverableThread* thread);
  int find(const unsigned long* id) const;  ///< index, or -1
  ZOVRecoverableThread* findThread(const unsigned long* id) const;
  ZOVRecoverableThread* findCurrentThread() const;
  int entries() const { return _numThreads.load(); }
  void lock() ZOV_ACQUIRE(_mutex) { _mutex.get(); }
  void release() ZOV_RELEASE(_mutex) { _mutex.release(); }
  void diagDump() const;

 private:
  struct Slot {
    std::atomic<unsigned long> id{0};  // 0: free
    std::atomic<ZOVRecoverableThread*> thread{nullptr};
  };
  struct Cache;
  static thread_local Cache ownEntry;
  static std::atomic<std::uint64_t> changes;  // made to entries other than the changer's own; never reset

  bool place(ZOVRecoverableThread* thread) ZOV_REQUIRES(_mutex);
  Slot* freeSlot() ZOV_REQUIRES(_mutex);  // null when the table is full
  void entryChanged(unsigned long id);

  Slot* _slots;
  mutable ZOVMutex _mutex;
  mutable std::atomic<int> _lastIndex{-1};  // a hint
  std::atomic<int> _highMark{0};
  std::atomic<int> _numThreads{0};
  std::atomic<int> _reserved{0};  // written under _mutex
};
