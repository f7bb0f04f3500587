#include "platform/message_rate.h"

#include <utility>

namespace zov {

bool MessageRate::periodIsOver() const {
  const auto now = ZOVClock::steady();
  return now < _begin || now - _begin >= _period;
}

bool MessageRate::admit() {
  const MutexLock lock(_mutex);
  if (periodIsOver()) {
    _begin = ZOVClock::steady();
    _admitted = 0;
  }
  if (_admitted == _most) return ++_leftOut, false;
  ++_admitted;
  return true;
}

unsigned MessageRate::takeLeftOut() {
  const MutexLock lock(_mutex);
  if (_leftOut == 0 || (_admitted == _most && !periodIsOver())) return 0;
  return std::exchange(_leftOut, 0);
}

}  // namespace zov
