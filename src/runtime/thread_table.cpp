#include "runtime/thread_table.h"

#include "platform/services.h"
#include "runtime/lock.h"
#include "runtime/recoverable_thread.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"

static DGT1_Unit traceUnit("ZOVCTHTB");

std::atomic<std::uint64_t> ZOVThreadTable::changes{1};

// What the thread last found for itself, good while table and changes are the same.
struct ZOVThreadTable::Cache {
  const ZOVThreadTable* table;
  std::uint64_t changes;
  ZOVRecoverableThread* thread;
};
constinit thread_local ZOVThreadTable::Cache ZOVThreadTable::ownEntry{nullptr, 0, nullptr};

ZOVThreadTable::ZOVThreadTable() {
  struct Slots {
    Slot slots[Capacity];
    Slots* next = nullptr;
  };
  static std::atomic<Slots*> all{nullptr};
  auto* made = new Slots;
  made->next = all.exchange(made);
  _slots = made->slots;
  changes.fetch_add(1);
}

ZOVThreadTable::~ZOVThreadTable() {
  ZOV_TRACE(Public);
  changes.fetch_add(1);
  if (entries() <= 1) return;
  const long seconds = zovWaits().threadTableSeconds;
  diagDump();
  DGT1_Printf(traceUnit, DGT1_ERROR, "numThreads=%i,  waiting for %i seconds.", entries(), seconds);
  OSL1_Sleep(static_cast<unsigned int>(seconds));
  if (entries() <= 1) return;
  diagDump();
  DGT1_Printf(traceUnit, DGT1_ERROR, "numThreads=%i,  cannot delete pTable.", entries());
}

int ZOVThreadTable::find(const unsigned long* id) const {
  const int last = _lastIndex.load(std::memory_order_relaxed);
  if (last >= 0 && _slots[last].id.load(std::memory_order_acquire) == *id) return last;
  const int used = _highMark.load(std::memory_order_acquire);
  for (int i = 0; i < used; ++i) {
    if (_slots[i].id.load(std::memory_order_acquire) != *id) continue;
    _lastIndex.store(i, std::memory_order_relaxed);
    return i;
  }
  return -1;
}

ZOVRecoverableThread* ZOVThreadTable::findThread(const unsigned long* id) const {
  if (*id == 0) return nullptr;
  const int index = find(id);
  return index < 0 ? nullptr : _slots[index].thread.load(std::memory_order_acquire);
}

ZOVRecoverableThread* ZOVThreadTable::findCurrentThread() const {
  const std::uint64_t now = changes.load(std::memory_order_acquire);
  if (ownEntry.table == this && ownEntry.changes == now) return ownEntry.thread;
  const unsigned long self = pthread_self();
  ownEntry = {this, now, findThread(&self)};
  return ownEntry.thread;
}

void ZOVThreadTable::entryChanged(unsigned long id) {
  if (id == pthread_self()) {
    ownEntry = {nullptr, 0, nullptr};
  } else {
    changes.fetch_add(1);
  }
}

ZOVThreadTable::Slot* ZOVThreadTable::freeSlot() {
  const int used = _highMark;
  for (int i = 0; i < used; ++i) {
    if (_slots[i].id == 0) return &_slots[i];
  }
  if (used == Capacity) return nullptr;
  _highMark = used + 1;
  return &_slots[used];
}

bool ZOVThreadTable::place(ZOVRecoverableThread* thread) {
  Slot* const slot = freeSlot();
  if (slot == nullptr) return false;
  slot->thread.store(thread, std::memory_order_release);
  slot->id.store(thread->getThreadId(), std::memory_order_release);
  ++_numThreads;
  _lastIndex = static_cast<int>(slot - _slots);
  entryChanged(thread->getThreadId());
  return true;
}

bool ZOVThreadTable::insert(ZOVRecoverableThread* thread) {
  const zov::RecursiveLock lock(_mutex);
  return entries() + _reserved < Capacity && place(thread);
}

bool ZOVThreadTable::reserve() {
  const zov::RecursiveLock lock(_mutex);
  if (!hasRoom()) return false;
  ++_reserved;
  return true;
}

void ZOVThreadTable::giveUpReservation() {
  const zov::RecursiveLock lock(_mutex);
  --_reserved;
}

void ZOVThreadTable::insertReserved(ZOVRecoverableThread* thread) {
  const zov::RecursiveLock lock(_mutex);
  if (_reserved > 0) --_reserved;
  place(thread);
}

void ZOVThreadTable::remove(ZOVRecoverableThread* thread) {
  const zov::RecursiveLock lock(_mutex);
  const int used = _highMark;
  for (int i = 0; i < used; ++i) {
    if (_slots[i].thread != thread) continue;
    _slots[i].id = 0;
    _slots[i].thread = nullptr;
    --_numThreads;
    entryChanged(thread->getThreadId());
    return;
  }
}

void ZOVThreadTable::diagDump() const {
  // In this order, so that no thread goes, and no lock changes, while it is shown.
  dumpUnder(*ZOVLock::pLockMutex, [this] {
    dumpUnder(_mutex, [this] {
      const int used = _highMark;
      for (int i = 0; i < used; ++i) {
        if (const ZOVRecoverableThread* thread = _slots[i].thread) thread->diagDump();
      }
    });
  });
}
