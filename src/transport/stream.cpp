#include "transport/stream.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVCSTRM");

namespace zov {

thread_local int Stream::LastError = 0;

ZOVReturnCode Stream::determineError() {
  static constexpr struct {
    int error;
    ZOVCode code;
  } codes[] = {
      {EINTR, ZOV_SOCKET_INTERRUPTED},    {EIO, ZOV_SOCKET_IO_ERROR},
      {ENOMEM, ZOV_SOCKET_NO_MEMORY},     {EACCES, ZOV_SOCKET_DENIED},
      {EMFILE, ZOV_SOCKET_NO_DESCRIPTOR}, {ENOSR, ZOV_SOCKET_NO_STREAMS},
      {EMSGSIZE, ZOV_SOCKET_TOO_LONG},    {EPROTONOSUPPORT, ZOV_SOCKET_NO_PROTOCOL},
  };
  LastError = errno;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "LastError is %i \n", LastError);
  for (const auto& row : codes) {
    if (row.error == LastError) return row.code;
  }
  return ZOV_SOCKET_ERROR;
}

Stream::Deadline Stream::endOfRest(Deadline deadline) const {
  if (!_progressLimit) return deadline;
  const ZOVClock::Steady limit = ZOVClock::steady() + *_progressLimit;
  return deadline ? std::min(*deadline, limit) : limit;
}

}  // namespace zov
