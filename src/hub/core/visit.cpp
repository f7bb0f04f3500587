#include "hub/core/visit.h"

#include "platform/mutex.h"

namespace zov::hub {
namespace {

struct Visits {
  Mutex mutex;
  Condition left;
  int inside ZOV_GUARDED_BY(mutex) = 0;
};

/// Never destroyed: a visit may outlast main.
Visits& visits() {
  static Visits* const all = new Visits;
  return *all;
}

}  // namespace

Visit::Visit() {
  Visits& all = visits();
  const MutexLock guard(all.mutex);
  ++all.inside;
}

Visit::~Visit() {
  Visits& all = visits();
  const MutexLock guard(all.mutex);
  if (--all.inside == 0) all.left.notifyAll();
}

int Visit::await(ZOVClock::Steady deadline) {
  Visits& all = visits();
  const MutexLock guard(all.mutex);
  while (all.inside != 0 && all.left.waitUntil(all.mutex, deadline)) {
  }
  return all.inside;
}

}  // namespace zov::hub
