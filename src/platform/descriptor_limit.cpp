#include "platform/descriptor_limit.h"

#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <climits>

static std::atomic<rlim_t> startingLimit = 0;  // 0: not raised

long raiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  startingLimit = limit.rlim_cur;
  const rlimit raised{limit.rlim_max, limit.rlim_max};
  if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  return static_cast<long>(std::min<rlim_t>(limit.rlim_cur, LONG_MAX));
}

unsigned long startingDescriptorLimit() {
  if (startingLimit != 0) return startingLimit;
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  return limit.rlim_cur;
}
