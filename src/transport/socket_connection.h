#pragma once
// ZOVSocketConnection: frames on a stream (stream.h): a 4-byte big-endian length and that many bytes. It
// knows nothing of what the frames hold, and of the stream only that it carries bytes.
//
// Blocking, within limits: a send, and a frame from its first byte on, fails when no byte moves for as long
// as the progress limit, which is zovWaits().transferProgressSeconds until the owner sets his own. One thread
// at a time may send or receive (the owner's lock sees to it); shutdownSocket may be called from any thread
// at any time, and wakes a blocked one. Ownership is shared: whoever gives a connection up shuts it down and
// drops its reference, and the last user closes the stream. Across code that may raise, hand the shared_ptr
// on by reference and keep its owner outside of the frame, so that no reference is lost in a raise.
//
// Failures are return codes; ZOVA0079E is logged for a failed send or receive.

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "runtime/collectable.h"
#include "runtime/memory_account.h"
#include "transport/stream.h"

class ZOVBuffer;

enum _TimeoutMessageRequired { LogEveryFailure = 0, DoNotLogTimeout = 1 };

class ZOVSocketConnection : public ZOVCollectable {
 public:
  /// An unconnected socket; isValid and getLastRC tell how it went. A null name reads "**unknown**".
  ZOVSocketConnection(std::uint16_t port, const char* name);
  /// Takes over a connected socket.
  ZOVSocketConnection(int socket, std::uint16_t port, const char* name);
  /// Takes over a stream. Should the construction be cut by a raise, the stream is still the caller's.
  ZOVSocketConnection(std::unique_ptr<zov::Stream>&& stream, std::uint16_t port, const char* name);
  ~ZOVSocketConnection() override;  ///< closes the stream
  ZOVSocketConnection(const ZOVSocketConnection&) = delete;
  ZOVSocketConnection& operator=(const ZOVSocketConnection&) = delete;
  RWClassID isA() const override { return 32756; }
  bool isEqual(const RWCollectable* other) const override { return this == other; }

  /// Sends one frame.
  virtual ZOVReturnCode Send(const ZOVBuffer& buffer);
  /// The next frame's body, or null with the reason in `rc`. `timeout` in seconds (0: for ever) is for the
  /// first bytes alone; nothing is logged for one that passes. The rest is under the progress limit. Memory
  /// is taken as the body arrives, whatever length was announced. A body that is announced beyond its budget
  /// is not read: 28. One for which there is no memory is read no further: 3. The connection is of no use
  /// behind either.
  virtual std::unique_ptr<ZOVBuffer> receive(ZOVReturnCode& rc, long timeout,
                                             _TimeoutMessageRequired required);

  /// The next frame's body as far as it has come, without a wait: null with 0 in `rc` while it is not whole,
  /// and what has come is kept. Null with 28 when more is announced than the budget.
  std::unique_ptr<ZOVBuffer> receiveArrived(ZOVReturnCode& rc, const ZOVBudget& most);

  ZOVReturnCode sendFrom(const char* bytes, std::size_t count);
  ZOVReturnCode receiveInto(char* bytes, std::size_t count);
  /// 0 when there is something to receive (or the peer has closed), 30 when the seconds have passed.
  ZOVReturnCode waitForSocketOrTimeout(long seconds);
  /// 0 when nothing is known to be wrong. A peer that closed is found by the next receive only.
  ZOVReturnCode testConnection();
  void shutdownSocket();
  /// In seconds; 0 is none. Called by the owner under the lock that serialises sending and receiving.
  void setProgressLimit(long seconds);
  /// As Stream::setHurry. Called by the owner under the lock that serialises sending and receiving.
  void setHurry(const std::atomic<unsigned>* waiting) { _stream->setHurry(waiting); }
  /// Called by the owner under the lock that serialises sending and receiving.
  void setConnectionName(const char* utf8Text);

  bool isValid() const { return _valid; }
  ZOVReturnCode getLastRC() const { return _lastRC; }
  int getSocket() const { return _stream->descriptor(); }  ///< -1 when there is none
  std::uint16_t getPort() const { return _port; }
  const RWCString& getConnectionName() const { return _connectionName; }

  /// The return code for errno, which is kept as the last error.
  static ZOVReturnCode determineError() { return zov::Stream::determineError(); }
  static int getLastError() { return zov::Stream::lastError(); }

 protected:
  /// So many seconds from now, a negative number being none; cut to what can be reckoned with.
  static zov::Stream::Deadline deadlineIn(long seconds);
  void fail(ZOVReturnCode code) { _valid = false, _lastRC = code; }
  void logFailure(const char* function, int line, const ZOVReturnCode& code) const;
  void logFailure(const char* function, int line, const ZOVReturnCode& code, const RWCString& details) const;

  std::uint16_t _port;
  sockaddr_in _address{};                // IPv4
  std::unique_ptr<zov::Stream> _stream;  // never null once constructed
  bool _valid;
  ZOVReturnCode _lastRC;

 private:
  ZOVReturnCode receiveBody(std::string& body, std::uint32_t length);
  ZOVReturnCode completeArrived(std::size_t size, bool& complete);
  std::unique_ptr<ZOVBuffer> bufferOf(std::string body);
  ZOVReturnCode refuseBody(ZOVReturnCode code, std::size_t length, const ZOVBudget& budget) const;

  // What the last frame takes, until the next one is received; small ones are not charged.
  zov::MemoryAccount _frameMemory{zovBudgets().frame, &zov::MemoryAccount::allPolls()};
  std::string _arrived;            // receiveArrived's: a length and a body that are not whole yet
  RWCString _connectionName;       // UTF-8, for messages
  RWCString _connectionNameLocal;  // local code page, for trace
};
