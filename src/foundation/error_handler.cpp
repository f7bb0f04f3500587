#include "foundation/error_handler.h"

#include <atomic>

namespace {
constinit std::atomic<RWErrorHandler> installed{nullptr};
}  // namespace

RWErrorHandler rwSetErrHandler(RWErrorHandler handler) {
  return installed.exchange(handler);
}

void rwReportError(const char* text) {
  if (const RWErrorHandler handler = installed.load()) handler(RWxmsg{text});
}
