#pragma once
// zov::Stream: a connection that carries bytes in both directions, whatever its kind. Framing, and all that
// stands above it, knows a stream by this interface alone.
//
// One thread at a time may receive and one may send; shutDown may be called by any thread at any time, and
// ends what is blocked. Every operation takes a deadline in steady time, and a transfer fails too when no
// byte moves for as long as the progress limit. Signals are absorbed: an operation goes on, with the time
// that is left.
//
// Failures are return codes: 16 the peer has closed, 30 the deadline or the progress limit has passed, 33
// there is no connection, or what determineError makes of errno. Behind a failure of a transfer it is not
// known how many of the bytes went.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

#include "platform/clock.h"
#include "runtime/return_code.h"

namespace zov {

class Stream {
 public:
  /// The moment by which an operation must be done; none: it takes as long as it takes.
  using Deadline = std::optional<ZOVClock::Steady>;

  Stream() = default;
  virtual ~Stream() = default;  ///< closes
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  /// 0 when bytes can be received, some of them at least without a further wait, or when the next transfer
  /// will tell that the stream has ended.
  virtual ZOVReturnCode waitReadable(Deadline deadline) = 0;
  /// Exactly `count` bytes.
  virtual ZOVReturnCode receive(char* bytes, std::size_t count, Deadline deadline = {}) = 0;
  /// All of the first part and then of the second, in one step where the system takes them.
  virtual ZOVReturnCode send(std::string_view first, std::string_view second = {},
                             Deadline deadline = {}) = 0;
  /// What has come already, up to `room` bytes, without a wait: 0 with `received` 0 when that is nothing.
  virtual ZOVReturnCode receiveArrived(char* bytes, std::size_t room, std::size_t& received) = 0;
  virtual void shutDown() = 0;
  /// What can be polled for the peer's end; -1 when there is nothing. Bytes that were read ahead do not show
  /// in it.
  virtual int descriptor() const = 0;

  /// None: a transfer may rest for as long as it takes. Called by whoever transfers.
  void setProgressLimit(std::optional<std::chrono::seconds> limit) { _progressLimit = limit; }

  /// While the number is not 0 somebody waits for this stream to be free: a transfer, or a wait for it, then
  /// fails when no byte moves for zovWaits().hurriedProgressSeconds. None, without: nobody will ever wait.
  /// Called by whoever transfers.
  void setHurry(const std::atomic<unsigned>* waiting) { _waiting = waiting; }

  /// The return code for errno, which is kept as the calling thread's last error.
  static ZOVReturnCode determineError();
  static int lastError() { return LastError; }
  static void clearLastError() { LastError = 0; }

 protected:
  /// The moment until which a transfer may rest now.
  Deadline endOfRest(Deadline deadline) const;
  bool mayBeHurried() const { return _waiting != nullptr; }
  bool isHurried() const { return _waiting && *_waiting != 0; }

 private:
  static thread_local int LastError;
  std::optional<std::chrono::seconds> _progressLimit;
  const std::atomic<unsigned>* _waiting = nullptr;
};

}  // namespace zov
