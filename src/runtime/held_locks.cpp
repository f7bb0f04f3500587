#include "runtime/held_locks.h"

#include <algorithm>

#include "runtime/recovery.h"
#include "runtime/thread.h"

constinit thread_local ZOVHeldLocks zovOwnHeldLocks;
ZOVHeldLocks* ZOVHeldLocks::first = nullptr;

void HeldLockPlaceholderTable::addNewEntry(const ZOVLock* lock) {
  if (isFull()) return zovRaise(ZOVException(ZOV_TOO_MANY_LOCKS));
  add(lock);
}

void HeldLockPlaceholderTable::removeEntry(const ZOVLock* lock) {
  if (Pair* pair = find(lock)) remove(*pair);
}

void HeldLockPlaceholderTable::markEarly() {
  for (int i = 0; i <= getHighestIndex(); ++i) _pairs[i].early = true;
}

const ZOVLock* HeldLockPlaceholderTable::firstNotEarly() const {
  for (int i = 0; i <= getHighestIndex(); ++i) {
    const ZOVLock* lock = _pairs[i].lock.load(std::memory_order_relaxed);
    if (lock != nullptr && !_pairs[i].early) return lock;
  }
  return nullptr;
}

bool HeldLockPlaceholderTable::holdsOneOf(std::span<const ZOVLock* const> locks) const {
  const int highest = getHighestIndex();
  for (int i = 0; i <= highest; ++i) {
    const ZOVLock* lock = _pairs[i].lock.load(std::memory_order_relaxed);
    if (lock == nullptr || _pairs[i].lent.load(std::memory_order_relaxed)) continue;
    if (std::find(locks.begin(), locks.end(), lock) != locks.end()) return true;
  }
  return false;
}

void HeldLockPlaceholderTable::forget(const ZOVLock* lock) {
  for (int i = 0; i <= getHighestIndex(); ++i) {
    const ZOVLock* expected = lock;
    _pairs[i].lock.compare_exchange_strong(expected, nullptr, std::memory_order_relaxed);
  }
}

int HeldLockPlaceholderTable::entries() const {
  return static_cast<int>(std::count_if(std::begin(_pairs), std::end(_pairs), [](const Pair& pair) {
    return pair.lock.load(std::memory_order_relaxed) != nullptr;
  }));
}

const ZOVLock* HeldLockPlaceholderIterator::next() {
  while (_index <= _table.getHighestIndex()) {
    if (const ZOVLock* lock = _table._pairs[_index++].lock.load(std::memory_order_relaxed)) return lock;
  }
  return nullptr;
}

struct ZOVHeldLocks::Listing {
  ~Listing() { zovOwnHeldLocks.delist(); }
  void begin() const {}
};

void ZOVHeldLocks::enlist() {
  static thread_local const Listing listing;
  listing.begin();
  id = pthread_self();
  needsAttention = false;
  _next = first;
  if (first != nullptr) first->_previous = this;
  first = this;
}

void ZOVHeldLocks::delist() {
  const zov::RecursiveLock lock(*ZOVLock::pLockMutex);
  if (thread != nullptr) thread->detach();
  (_previous != nullptr ? _previous->_next : first) = _next;
  if (_next != nullptr) _next->_previous = _previous;
  _next = _previous = nullptr;
}

void ZOVHeldLocks::attach(ZOVThread& object) {
  const zov::RecursiveLock lock(*ZOVLock::pLockMutex);
  list();
  exclusive.markEarly();
  shared.markEarly();
  if (thread != nullptr) thread->detach();
  thread = &object;
  object._held = this;
}

void ZOVHeldLocks::releaseAll(bool early) {
  for (HeldLockPlaceholderTable* table : {&exclusive, &shared}) {
    for (;;) {
      const ZOVLock* lock = early ? HeldLockPlaceholderIterator(*table).next() : table->firstNotEarly();
      if (lock == nullptr) break;
      const_cast<ZOVLock*>(lock)->release(All);
      table->removeEntry(lock);
    }
  }
}
