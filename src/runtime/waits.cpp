#include "runtime/waits.h"

ZOVWaits& zovWaits() {
  static constinit ZOVWaits waits;
  return waits;
}
