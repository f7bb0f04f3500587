#pragma once
// zov::ContextSessionDirectory: what the session listener needs of the application context, the servers and
// the resource manager. All calls but shutDownServerSockets come from the listener's thread.

#include "config/collector_users.h"
#include "context/application_context.h"
#include "platform/message_rate.h"
#include "transport/session_listener.h"

namespace zov {

class ContextSessionDirectory final : public ZOVSessionDirectory {
 public:
  static constexpr std::size_t MaximumServers = 2000;  ///< beyond them, pings of new servers are refused

  /// The context must outlive this.
  explicit ContextSessionDirectory(ZOVApplicationContext& context) : _context(context) {}

  ZOVReturnCode admit(const Greeting& greeting) override;
  ZOVReturnCode findServer(const Greeting& greeting, std::shared_ptr<ZOVApplicationServer>& server) override;
  ZOVReturnCode defineNewServer(const Greeting& greeting,
                                std::shared_ptr<ZOVApplicationServer>& server) override;
  ZOVReturnCode beginSession(ZOVApplicationServer& server,
                             const std::shared_ptr<Greeting>& greeting) override;
  int isThisPingExpected(const Greeting& greeting) override;
  bool takeRemotePSISocket(const std::shared_ptr<ZOVSocketConnection>& connection,
                           const ZOVPingRequest& ping) override;
  void stopProfilerMonitorThreads() override;
  void shutDownServerSockets() override;
  void writeProductEvent(const char* file, const char* function, int line, const char* text) override;

 private:
  ZOVApplicationContext& _context;
  const CollectorUsers _users;
  MessageRate _eventRate;
  MessageRate _noThreadRate{1, std::chrono::minutes(1)};
};

}  // namespace zov
