#include "remote/pipe.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "diag/agent_log.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCPIPE");

namespace {

/// A descriptor from ZOVPipe::LowestDescriptor on in place of the given one; 0 when there is none.
int raised(int descriptor) {
  const int high = ::fcntl(descriptor, F_DUPFD_CLOEXEC, ZOVPipe::LowestDescriptor);
  ::close(descriptor);
  return std::max(high, 0);
}

ZOVReturnCode failed(const char* function) {
  ZOV_FUNCTION;
  ZOV_LOG_MESSAGE(ZOVA0030E, function, std::strerror(errno));
  return ZOV_BROKEN_PIPE;
}

bool isReady(int descriptor) {
  pollfd one{descriptor, POLLIN, 0};
  return ::poll(&one, 1, 0) == 1;
}

}  // namespace

ZOVPipe::ZOVPipe() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) {
    failed("pipe");
    return;
  }
  _readEnd = raised(ends[0]);
  _writeEnd = raised(ends[1]);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Pipe: Write end <%i> Read end <%i>", _writeEnd, _readEnd);
}

ZOVPipe::~ZOVPipe() {
  closeReadEnd();
  closeWriteEnd();
}

ZOVReturnCode ZOVPipe::Read(RWCString* text) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Reading from pipe <%i>", _readEnd);
  char bytes[4096];
  for (std::size_t taken = 0; taken < ReadBytes && _readEnd != 0 && isReady(_readEnd);) {
    const ssize_t count = ::read(_readEnd, bytes, sizeof bytes);
    if (count < 0) return failed("read");
    if (count == 0) return closeReadEnd();
    text->append({bytes, static_cast<std::size_t>(count)});
    taken += static_cast<std::size_t>(count);
  }
  return ZOV_OK;
}

ZOVReturnCode ZOVPipe::Write(const RWCString* text) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Writing to pipe <%i>", _writeEnd);
  const int end = _writeEnd == 0 ? -1 : _writeEnd;
  return ::write(end, text->data(), text->length()) < 0 ? failed("write") : ZOVReturnCode(ZOV_OK);
}

ZOVReturnCode ZOVPipe::destroy(int* descriptor) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Destroy pipe %i at address %x", *descriptor, descriptor);
  if (*descriptor == 0) return ZOV_OK;
  const int closed = ::close(*descriptor);
  *descriptor = 0;
  return closed == 0 ? ZOVReturnCode(ZOV_OK) : failed("close");
}
