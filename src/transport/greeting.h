#pragma once
// zov::Greeting: a ping on the way to its answer, with the connection that it came on. The listener makes it,
// and may hand it to the thread of a server, which answers when it knows what. One thread has it at a time.
//
// It owns the connection until that is handed over or left to the peer: one that goes before, also without an
// answer, deletes the connection. Share it as it is across code that may raise.

#include <memory>

#include "transport/peer.h"
#include "transport/ping_request.h"
#include "transport/reception.h"

namespace zov {

class Greeting {
 public:
  /// `ping` is a ping. The connection is one of the reception's server socket.
  Greeting(std::shared_ptr<Reception> reception, std::shared_ptr<ZOVSocketConnection> connection,
           std::unique_ptr<ZOVTransportableData> ping);
  ~Greeting();
  Greeting(const Greeting&) = delete;
  Greeting& operator=(const Greeting&) = delete;

  const ZOVPingRequest& ping() const { return static_cast<const ZOVPingRequest&>(*_ping); }
  const Peer& peer() const { return _peer; }
  const std::shared_ptr<ZOVSocketConnection>& connection() const { return _connection; }

  /// Sends the answer: 0, or what the socket reports. The value is what the request defines; of a refusal it
  /// is the reason's return code.
  ZOVReturnCode accept(long long value) { return answer(true, value); }
  void refuse(long long reason) { answer(false, reason); }
  void leaveToPeer();  ///< the connection stays, unread, until its peer closes it
  void handOver();     ///< the connection is somebody else's from now on

 private:
  ZOVReturnCode answer(bool status, long long value);

  const std::shared_ptr<Reception> _reception;
  const std::shared_ptr<ZOVSocketConnection> _connection;
  const std::unique_ptr<ZOVTransportableData> _ping;
  const Peer _peer;
  bool _isOwner = true;
};

}  // namespace zov
