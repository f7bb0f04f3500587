#include "server/resource_anchor_table.h"

#include <algorithm>

namespace {
bool isInRange(int type) {
  return type >= 0 && type < ZOVResourceAnchorTable::Types;
}
}  // namespace

ZOVResourceAnchorTable::~ZOVResourceAnchorTable() {
  for (auto table = _tables.rbegin(); table != _tables.rend(); ++table) table->clearAndDestroy();
}

ZOVResourceAnchor* ZOVResourceAnchorTable::find(const ZOVResourceAnchor* anchor) const {
  const int type = anchor->getSampleType();
  if (!isInRange(type)) return nullptr;
  return static_cast<ZOVResourceAnchor*>(_tables[static_cast<std::size_t>(type)].find(anchor));
}

bool ZOVResourceAnchorTable::insert(ZOVResourceAnchor* anchor) {
  const int type = anchor->getSampleType();
  if (!isInRange(type)) return false;
  if (anchor->isOneEvent()) {
    auto& events = _events[type];
    if (events.size() >= zovBudgets().events) removeAndDestroy(events.front());
    events.push_back(anchor);
  }
  _tables[static_cast<std::size_t>(type)].insert(anchor);
  return true;
}

void ZOVResourceAnchorTable::removeAndDestroy(const ZOVResourceAnchor* anchor) {
  const int type = anchor->getSampleType();
  if (!isInRange(type)) return;
  RWCollectable* const removed = _tables[static_cast<std::size_t>(type)].remove(anchor);
  const std::unique_ptr<ZOVResourceAnchor> gone(static_cast<ZOVResourceAnchor*>(removed));
  if (!gone) return;
  if (gone->isOneEvent()) {
    auto& events = _events[type];
    events.erase(std::ranges::find(events, gone.get()));
  }
  _memory.release(gone->chargedBytes());
}

const ZOVBudget* ZOVResourceAnchorTable::makeRoom(ZOVResourceAnchor& anchor, const ZOVSample& sample) {
  const std::size_t charged = anchor.chargedBytes();
  const std::size_t needed = anchor.memoryBytesWith(sample);
  if (needed <= charged) return nullptr;
  if (const ZOVBudget* full = _memory.charge(needed - charged)) return full;
  anchor.setChargedBytes(needed);
  return nullptr;
}

void ZOVResourceAnchorTable::settle(ZOVResourceAnchor& anchor) {
  const std::size_t charged = anchor.chargedBytes();
  const std::size_t now = anchor.memoryBytes();
  if (now > charged) _memory.add(now - charged);
  if (now < charged) _memory.release(charged - now);
  anchor.setChargedBytes(now);
}

std::unique_ptr<RWHashTableIterator> ZOVResourceAnchorTable::getIteratorForSampleType(int type) const {
  if (!isInRange(type)) return nullptr;
  return std::make_unique<RWHashTableIterator>(_tables[static_cast<std::size_t>(type)]);
}

std::size_t ZOVResourceAnchorTable::entries(int type) const {
  return isInRange(type) ? _tables[static_cast<std::size_t>(type)].entries() : 0;
}

bool ZOVResourceAnchorTableIterator::advance() {
  _iterator.reset();
  while (++_typeIndex < ZOVResourceAnchorTable::Types) {
    if (_table.entries(_typeIndex) == 0) continue;
    _iterator = _table.getIteratorForSampleType(_typeIndex);
    return true;
  }
  _typeIndex = ZOVResourceAnchorTable::Types;
  return false;
}

ZOVResourceAnchor* ZOVResourceAnchorTableIterator::operator()() {
  while (_iterator || advance()) {
    _current = static_cast<ZOVResourceAnchor*>((*_iterator)());
    if (_current) return _current;
    _iterator.reset();
  }
  return _current = nullptr;
}

ZOVResourceAnchor* ZOVResourceAnchorTableIterator::findNext(const ZOVResourceAnchor* target) {
  while (_iterator || advance()) {
    _current = static_cast<ZOVResourceAnchor*>(_iterator->findNext(target));
    if (_current) return _current;
    _iterator.reset();
  }
  return _current = nullptr;
}

void ZOVResourceAnchorTableIterator::reset() {
  _iterator.reset();
  _typeIndex = -1;
  _current = nullptr;
}
