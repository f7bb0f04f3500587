#include "hub/api/body.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "hub/core/settings.h"

namespace zov::hub {
namespace {

/// The room of all bodies. Never destroyed: a writer may outlast main.
struct Room {
  Mutex mutex;
  Condition freed;
  std::size_t taken ZOV_GUARDED_BY(mutex) = 0;

  static Room& instance() {
    static Room* const room = new Room;
    return *room;
  }
  void give(std::size_t bytes) {
    const MutexLock guard(mutex);
    taken -= bytes;
    freed.notifyAll();
  }
  /// False when `ended` is set, or when the patience is over.
  bool take(std::size_t bytes, std::atomic<std::size_t>& held, const std::atomic<bool>& ended,
            Body::Patience& patience) {
    const Limits& most = limits();
    const MutexLock guard(mutex);
    const auto begin = ZOVClock::steady();
    const auto fits = [&]() ZOV_REQUIRES(mutex) {
      return held == 0 || (held + bytes <= most.bodyShareBytes &&
                           taken + bytes <= most.answerBytes - most.reservedBytes());
    };
    while (!ended && !fits() && freed.waitUntil(mutex, begin + patience)) {
    }
    patience -= std::min(patience, ZOVClock::steady() - begin);
    if (ended || !fits()) return false;
    taken += bytes;
    held += bytes;
    return true;
  }
};

}  // namespace

Body::~Body() {
  cut();
}

void Body::release(std::size_t counted) {
  _held -= counted;
  Room::instance().give(counted);
}

bool Body::write(std::string items, Patience& patience) {
  const std::size_t counted = items.size();
  if (!Room::instance().take(counted, _held, _ended, patience)) {
    cut();
    return false;
  }
  MutexLock guard(_mutex);
  if (hasEnded()) {
    guard.unlock();
    release(counted);
    return false;
  }
  items.insert(0, std::exchange(_begun, true) ? _separator : _head);
  _blocks.push_back({std::move(items), counted});
  guard.unlock();
  if (_changed) _changed();
  return true;
}

void Body::finish(const std::string& tail) {
  {
    const MutexLock guard(_mutex);
    if (hasEnded()) return;
    std::string last = std::exchange(_begun, true) ? tail : _head + tail;
    if (!last.empty()) _blocks.push_back({std::move(last), 0});
    _finished = true;
    _ended = true;
  }
  release(0);  // wakes writers
  if (_changed) _changed();
}

void Body::cut() {
  std::size_t counted = 0;
  {
    const MutexLock guard(_mutex);
    if (_cut) return;
    _cut = true;
    _ended = true;
    for (const Block& block : _blocks) counted += block.counted;
    _blocks.clear();
  }
  release(counted);
  if (_changed) _changed();
}

bool Body::isReady() const {
  const MutexLock guard(_mutex);
  return _begun || hasEnded();
}

bool Body::failedAtOnce() const {
  const MutexLock guard(_mutex);
  return _cut && !_begun;
}

Body::Reading Body::read(char* buffer, std::size_t most, std::size_t& length) {
  std::size_t counted = 0;
  {
    const MutexLock guard(_mutex);
    if (_cut) return Reading::Cut;
    if (_blocks.empty()) return _finished ? Reading::End : Reading::NoneYet;
    Block& block = _blocks.front();
    length = block.text.copy(buffer, most, _offset);
    _offset += length;
    _taken += length;
    if (_offset < block.text.size()) return Reading::Some;
    counted = block.counted;
    _blocks.pop_front();
    _offset = 0;
  }
  release(counted);
  return Reading::Some;
}

bool Body::isTakenSlowly(std::size_t leastBytes) {
  const MutexLock guard(_mutex);
  return std::exchange(_taken, 0) < leastBytes && !_blocks.empty();
}

std::size_t Body::unsentBytes() {
  Room& room = Room::instance();
  const MutexLock guard(room.mutex);
  return room.taken;
}

bool Body::roomIsFull() {
  return unsentBytes() + limits().bodyShareBytes / 4 > limits().answerBytes - limits().reservedBytes();
}

}  // namespace zov::hub
