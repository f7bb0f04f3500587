#pragma once
// ZOVSocketConnection: a connected TCP stream (IPv4) with sending and receiving of frames: a 4-byte
// big-endian length and that many bytes. It knows nothing of what the frames hold.
//
// Blocking. One thread at a time may send or receive (the owner's lock sees to it); shutdownSocket may be
// called from any thread at any time, and wakes a blocked one. Ownership is shared: whoever gives a
// connection up shuts it down and drops its reference, and the last user closes the descriptor. Across code
// that may raise, hand the shared_ptr on by reference and keep its owner outside of the frame, so that no
// reference is lost in a raise.
//
// Failures are return codes; ZOVA0079E is logged for a failed send or receive.

#include <netinet/in.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "runtime/collectable.h"
#include "runtime/return_code.h"

class ZOVBuffer;

enum _TimeoutMessageRequired { LogEveryFailure = 0, DoNotLogTimeout = 1 };

class ZOVSocketConnection : public ZOVCollectable {
 public:
  /// An unconnected socket; isValid and getLastRC tell how it went. A null name reads "**unknown**".
  ZOVSocketConnection(std::uint16_t port, const char* name);
  /// Takes over a descriptor from accept.
  ZOVSocketConnection(int socket, std::uint16_t port, const char* name);
  ~ZOVSocketConnection() override;  ///< shuts down and closes
  ZOVSocketConnection(const ZOVSocketConnection&) = delete;
  ZOVSocketConnection& operator=(const ZOVSocketConnection&) = delete;
  RWClassID isA() const override { return 32756; }
  bool isEqual(const RWCollectable* other) const override { return this == other; }

  /// Sends one frame.
  virtual ZOVReturnCode Send(const ZOVBuffer& buffer);
  /// The next frame's body, or null with the reason in `rc`. `timeout` in seconds (0: for ever) is for the
  /// first bytes alone; nothing is logged for one that passes. Memory is taken as the body arrives, whatever
  /// length was announced.
  virtual std::unique_ptr<ZOVBuffer> receive(ZOVReturnCode& rc, long timeout,
                                             _TimeoutMessageRequired required);

  ZOVReturnCode sendFrom(const char* bytes, std::size_t count);
  ZOVReturnCode receiveInto(char* bytes, std::size_t count);
  /// 0 when `socket` can be read (or its peer has closed), 30 when the seconds have passed.
  ZOVReturnCode waitForSocketOrTimeout(long seconds, int socket);
  /// 0 when nothing is known to be wrong. A peer that closed is found by the next receive only.
  ZOVReturnCode testConnection();
  void shutdownSocket();
  /// Called by the owner under the lock that serialises sending and receiving.
  void setConnectionName(const char* utf8Text);

  bool isValid() const { return _valid; }
  ZOVReturnCode getLastRC() const { return _lastRC; }
  int getSocket() const { return _socket; }
  std::uint16_t getPort() const { return _port; }
  const RWCString& getConnectionName() const { return _connectionName; }

  /// The return code for errno, which is kept in LastError.
  static ZOVReturnCode determineError();
  static int getLastError() { return LastError; }

 protected:
  static constexpr unsigned int Interrupted = 27;
  /// A wait in seconds, cut to what a deadline can be reckoned with.
  static std::chrono::seconds limitedSeconds(long seconds) {
    return std::chrono::seconds(std::clamp(seconds, 0L, 1000000000L));
  }
  void fail(ZOVReturnCode code) { _valid = false, _lastRC = code; }
  void logFailure(const char* function, int line, const ZOVReturnCode& code) const;

  std::uint16_t _port;
  sockaddr_in _address{};
  int _socket;  // -1 when there is none
  bool _valid;
  ZOVReturnCode _lastRC;

 private:
  ZOVReturnCode sendFrom(const char* bytes, std::size_t count, int flags);
  static ZOVReturnCode peerClosed();
  ZOVReturnCode receiveBody(std::string& body, std::uint32_t length);

  static thread_local int LastError;

  RWCString _connectionName;              // UTF-8, for messages
  RWCString _connectionNameLocal;         // local code page, for trace
  std::vector<unsigned long> _selectSet;  // sized to the descriptor on demand; the receiving thread's
};
