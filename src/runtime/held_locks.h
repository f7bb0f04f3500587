#pragma once
// What each thread of the process holds of ZOVLocks: a record of its own in thread-local storage, so that
// taking and giving back a lock asks nobody else. The record is of the system's thread, and not of the object
// that stands for it: a thread that the process does not know has one too, and a killed thread keeps its own
// when its object is gone or runs again.
//
// A thread changes its record without a mutex: it enters a lock when it has it, and erases it before it gives
// it back. Others look under ZOVLock::pLockMutex, which keeps the record in place; what they may believe is
// the record of a thread that waits, which came to wait under that mutex. The one thing that others change
// is that a lock which goes takes itself off.

#include <pthread.h>

#include <atomic>
#include <span>

#include "runtime/lock.h"

class ZOVThread;

/// A fixed table of 50 held locks of one mode.
class HeldLockPlaceholderTable {
 public:
  enum _Mode { ExclusiveMode = 0, SharedMode = 1 };
  static constexpr int Capacity = 50;
  struct Pair {
    std::atomic<const ZOVLock*> lock{nullptr};
    std::atomic<bool> lent{false};  ///< given up while its thread waits to convert it
    bool early = false;             ///< held since before the thread was known
    int depth = 0;                  ///< nesting of a shared hold
  };
  constexpr explicit HeldLockPlaceholderTable(_Mode mode) : _mode(mode) {}

  // For the thread alone.
  bool isFull() {
    if (_used < Capacity) return false;
    _used = entries();  // a lock that went may have made room
    return _used == Capacity;
  }
  Pair* find(const ZOVLock* lock) {
    if (_pairs[_last].lock.load(std::memory_order_relaxed) == lock) return &_pairs[_last];
    const int highest = getHighestIndex();
    for (int i = 0; i <= highest; ++i) {
      if (_pairs[i].lock.load(std::memory_order_relaxed) == lock) return &_pairs[_last = i];
    }
    return nullptr;
  }
  /// Takes the first free pair; there must be one.
  void add(const ZOVLock* lock) {
    int i = 0;
    while (_pairs[i].lock.load(std::memory_order_relaxed) != nullptr) ++i;
    _pairs[i].early = false;
    _pairs[i].depth = 1;
    _pairs[i].lock.store(lock, std::memory_order_relaxed);
    ++_used;
    _last = i;
    if (i > getHighestIndex()) _highest.store(i, std::memory_order_relaxed);
  }
  void remove(Pair& pair) {
    pair.lock.store(nullptr, std::memory_order_relaxed);
    --_used;
    const int highest = getHighestIndex();
    if (&pair == &_pairs[highest]) _highest.store(highest - 1, std::memory_order_relaxed);
  }
  void addNewEntry(const ZOVLock* lock);  ///< a full table raises code 4
  void removeEntry(const ZOVLock* lock);  ///< an absent lock is no error
  void markEarly();                       ///< what is in now was there before the thread was known
  const ZOVLock* firstNotEarly() const;

  // For all.
  bool isLockOwned(const ZOVLock* lock) const { return holdsOneOf({&lock, 1}); }
  /// Whether it has one of the locks, other than lent.
  bool holdsOneOf(std::span<const ZOVLock* const> locks) const;
  void forget(const ZOVLock* lock);  ///< of a lock that is about to go
  int entries() const;
  int getHighestIndex() const { return _highest.load(std::memory_order_relaxed); }
  _Mode getMode() const { return _mode; }

 private:
  friend class HeldLockPlaceholderIterator;
  Pair _pairs[Capacity];
  std::atomic<int> _highest{-1};
  int _used = 0;  // at least the entries
  int _last = 0;  // where the lock last taken or looked up stands
  _Mode _mode;
};

class HeldLockPlaceholderIterator {
 public:
  explicit HeldLockPlaceholderIterator(const HeldLockPlaceholderTable& table) : _table(table) {}
  const ZOVLock* next();

 private:
  const HeldLockPlaceholderTable& _table;
  int _index = 0;
};

/// One thread's record.
class ZOVHeldLocks {
 public:
  constexpr ZOVHeldLocks() = default;
  ZOVHeldLocks(const ZOVHeldLocks&) = delete;
  ZOVHeldLocks& operator=(const ZOVHeldLocks&) = delete;

  HeldLockPlaceholderTable& table(_LockRequestType type) { return type == Exclusive ? exclusive : shared; }
  HeldLockPlaceholderTable exclusive{HeldLockPlaceholderTable::ExclusiveMode};
  HeldLockPlaceholderTable shared{HeldLockPlaceholderTable::SharedMode};
  pthread_t id = NoThread;     ///< once listed
  bool needsAttention = true;  ///< is not listed, or counts as waiting: the short ways are not for it
  ZOVThread* thread ZOV_GUARDED_BY(*ZOVLock::pLockMutex) = nullptr;  ///< its object; null when unknown

  // For the thread alone.
  void list() ZOV_REQUIRES(*ZOVLock::pLockMutex) {
    if (id == NoThread) enlist();
  }
  void attach(ZOVThread& object);  ///< The thread is known from here on. Until ZOVThread::detach.
  void releaseAll(bool early);     ///< gives back every level of what it holds; with early ones or without

  /// Visits the records of all threads that have used a lock.
  template <class Visit>
  static void forEach(Visit visit) ZOV_REQUIRES(*ZOVLock::pLockMutex) {
    for (ZOVHeldLocks* record = first; record != nullptr; record = record->_next) visit(*record);
  }

 private:
  static constexpr pthread_t NoThread = ~pthread_t{0};
  struct Listing;  // ends with the thread
  void enlist() ZOV_REQUIRES(*ZOVLock::pLockMutex);
  void delist();

  static ZOVHeldLocks* first ZOV_GUARDED_BY(*ZOVLock::pLockMutex);
  ZOVHeldLocks* _next ZOV_GUARDED_BY(*ZOVLock::pLockMutex) = nullptr;
  ZOVHeldLocks* _previous ZOV_GUARDED_BY(*ZOVLock::pLockMutex) = nullptr;
};

/// The calling thread's. Constant initialisation and this model make it an address and no call.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local ZOVHeldLocks zovOwnHeldLocks;
