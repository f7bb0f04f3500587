#include "platform/descriptor_limit.h"

#include <sys/resource.h>

#include <algorithm>
#include <climits>

long raiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  const rlimit raised{limit.rlim_max, limit.rlim_max};
  if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  return static_cast<long>(std::min<rlim_t>(limit.rlim_cur, LONG_MAX));
}
