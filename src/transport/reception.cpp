#include "transport/reception.h"

#include <algorithm>
#include <utility>

#include "diag/agent_log.h"
#include "diag/utf8_handler.h"
#include "platform/message_rate.h"
#include "platform/trace.h"
#include "runtime/budgets.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "transport/tcp_stream.h"

static DGT1_Unit traceUnit("ZOVCRECP");

namespace zov {

namespace {

constexpr std::size_t ListeningPlace = 0;
constexpr std::size_t WakePlace = 1;
constexpr std::size_t FirstWaitingPlace = 2;
constexpr long NoWait = -1;

}  // namespace

ZOVReturnCode Reception::next(Guest& guest, long timeout) {
  ZOV_TRACE(Private);
  const ZOVClock::Steady end = ZOVClock::steady() + std::chrono::seconds(timeout);
  for (;;) {
    takeLeft();
    dropLate();
    watch();
    const ZOVReturnCode rc = pollUntil(_watched, nextMoment(end));
    if (rc == ZOV_SOCKET_TIMED_OUT) {
      if (ZOVClock::steady() >= end) return rc;
      continue;
    }
    if (rc != ZOV_OK) return rc;
    if (_watched[WakePlace].revents != 0 && !_socket->takeWake()) return ZOV_SOCKET_CLOSED;
    if (attend(guest)) return ZOV_OK;
    if (_watched[ListeningPlace].revents != 0) accept();
  }
}

void Reception::leave(const std::shared_ptr<ZOVSocketConnection>& connection) {
  ZOV_TRACE(Public);
  {
    const MutexLock lock(_mutex);
    _left.push_back(connection);
  }
  _socket->wake();
}

void Reception::takeLeft() {
  for (;;) {
    std::shared_ptr<ZOVSocketConnection> connection;
    {
      const MutexLock lock(_mutex);
      if (_left.empty()) return;
      connection = std::move(_left.front());
      _left.erase(_left.begin());
    }
    add(connection, {});
  }
}

void Reception::add(const std::shared_ptr<ZOVSocketConnection>& connection, Stream::Deadline firstFrameBy) {
  if (_waiting.size() >= Capacity) {
    DGT1_Printf(traceUnit, DGT1_DETAIL,
                "More than %i connections without an owner; the oldest, socket %X, goes", Capacity,
                _waiting.front().connection->getSocket());
    remove(0);
  }
  _waiting.push_back({connection, firstFrameBy});
}

void Reception::remove(std::size_t index) {
  _socket->deleteSocket(_waiting[index].connection.get());
  _waiting.erase(_waiting.begin() + static_cast<std::ptrdiff_t>(index));
}

void Reception::dropLate() {
  const ZOVClock::Steady now = ZOVClock::steady();
  for (std::size_t i = _waiting.size(); i-- > 0;) {
    if (!_waiting[i].firstFrameBy || *_waiting[i].firstFrameBy > now) continue;
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR,
                       "Socket %X has sent no whole frame within %i seconds, and is closed",
                       _waiting[i].connection->getSocket(), zovWaits().firstFrameSeconds);
    remove(i);
  }
}

void Reception::watch() {
  if (_pausedUntil && *_pausedUntil <= ZOVClock::steady()) _pausedUntil.reset();
  const int listening = _pausedUntil ? -1 : _socket->getSocket();
  _watched.assign({{listening, POLLIN, 0}, {_socket->wakeDescriptor(), POLLIN, 0}});
  for (const Waiting& waiting : _waiting) {
    const short events = waiting.firstFrameBy ? POLLIN : POLLRDHUP;
    _watched.push_back({waiting.connection->getSocket(), events, 0});
  }
}

ZOVClock::Steady Reception::nextMoment(ZOVClock::Steady end) const {
  ZOVClock::Steady moment = std::min(end, _pausedUntil.value_or(end));
  for (const Waiting& waiting : _waiting) moment = std::min(moment, waiting.firstFrameBy.value_or(end));
  return moment;
}

/// Takes what has come, from the oldest on, until one has gone from the reception: true when it is the guest.
bool Reception::attend(Guest& guest) {
  ZOV_FUNCTION;
  for (std::size_t i = 0; i < _waiting.size(); ++i) {
    if (_watched[i + FirstWaitingPlace].revents == 0) continue;
    const Waiting& waiting = _waiting[i];
    ZOVReturnCode rc = ZOV_SOCKET_TERMINATED;  // what is left for its peer is only watched for its end
    if (waiting.firstFrameBy) {
      const auto failure = guarded(
          ZOV_PLACE, [&] { guest.frame = waiting.connection->receiveArrived(rc, zovBudgets().firstFrame); });
      if (failure) rc = ZOV_EXCEPTION_CAUGHT;
    }
    if (rc == ZOV_OK && !guest.frame) continue;
    if (!guest.frame) return remove(i), false;
    guest.connection = waiting.connection;
    _waiting.erase(_waiting.begin() + static_cast<std::ptrdiff_t>(i));
    return true;
  }
  return false;
}

void Reception::accept() {
  ZOVReturnCode rc;
  const std::shared_ptr<ZOVSocketConnection> connection = _socket->clientAccept(rc, NoWait);
  if (connection) {
    _toldOfPause = false;
    add(connection, ZOVClock::steady() + std::chrono::seconds(zovWaits().firstFrameSeconds));
  } else if (rc != ZOV_SOCKET_TIMED_OUT && rc != ZOV_SOCKET_CLOSED) {
    pause();
  }
}

void Reception::pause() {
  ZOV_FUNCTION;
  _pausedUntil = ZOVClock::steady() + std::chrono::seconds(zovWaits().acceptPauseSeconds);
  if (std::exchange(_toldOfPause, true)) return;
  RWCString details;
  ::ZOVGetLastError(&details, ZOVSocketConnection::getLastError());
  ZOV_LOG_MESSAGE(ZOVA0172W, zovWaits().acceptPauseSeconds, details);
}

}  // namespace zov
