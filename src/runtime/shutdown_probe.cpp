#include "runtime/shutdown_probe.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>

static std::atomic<int> useShutdownRequested{0};        // 1 when there is no pipe
static constexpr int useVolatileShutdownRequested = 1;  // the pipe is in reserve
static std::atomic<int> pipefd[2] = {{-1}, {-1}};

void initShutdownRequested() {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) == -1) {
    useShutdownRequested = 1;
    return;
  }
  pipefd[0] = ends[0];
  pipefd[1] = ends[1];
}

int execShutdownRequested() {
  const int readEnd = pipefd[0].exchange(-1);
  if (readEnd != -1) ::close(readEnd);
  return 0;
}

int isShutdownRequested() {
  if (useVolatileShutdownRequested != 0) return 0;
  if (useShutdownRequested != 0) return 1;
  return isready(pipefd[0]) == -1;
}

int isready(int fd) {
  pollfd one{fd, POLLIN, 0};
  if (fd < 0 || ::poll(&one, 1, 0) < 0 || (one.revents & POLLNVAL) != 0) return -1;
  return one.revents != 0;
}
