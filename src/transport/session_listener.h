#pragma once
// ZOVProfilerSocketMonitor: greets collectors. One task listens on the agent's port; the first message of
// each connection must be a ping. A data collector's ping is checked for its build levels and bound to the
// server that it names, known or new; from then on the connection is the server's. A remote statistics
// process's ping (type 2) goes to the resource manager.
//
// The task waits for no peer: first frames come through the reception, for all connections at once, and what
// a session needs of its collector happens on the server's own thread, which also answers the ping. shutdown
// may be called by any other thread, and shuts down every connection so that nothing blocks a stop;
// deleteSocket by any thread.

#include <atomic>
#include <memory>

#include "platform/mutex.h"
#include "platform/service_manager.h"
#include "runtime/return_code.h"
#include "runtime/task.h"
#include "transport/greeting.h"

class ZOVApplicationServer;

/// What the listener needs of the application context, the servers and the resource manager. The agent
/// implements it; all calls but shutDownServerSockets come from the listener's thread.
class ZOVSessionDirectory {
 public:
  virtual ~ZOVSessionDirectory() = default;

  /// Whether such a peer may bring any server: 0, or 174, told by a message.
  virtual ZOVReturnCode admit(const zov::Greeting& greeting) = 0;
  /// The server that the ping names. 0: `server` is the one. 174: the peer may not bring it, told by a
  /// message. 173: no server is meant by it. Waits for no peer.
  virtual ZOVReturnCode findServer(const zov::Greeting& greeting,
                                   std::shared_ptr<ZOVApplicationServer>& server) = 0;
  /// Makes the server that the ping describes and defines it in the context. Non-zero: why it cannot be.
  virtual ZOVReturnCode defineNewServer(const zov::Greeting& greeting,
                                        std::shared_ptr<ZOVApplicationServer>& server) = 0;
  /// Gives the greeting to the server, whose thread tests the session that it may have, answers, and begins
  /// the new one. Non-zero: why the server cannot take it; the answer is then still to be given. Called with
  /// no lock held, and waits for no peer.
  virtual ZOVReturnCode beginSession(ZOVApplicationServer& server,
                                     const std::shared_ptr<zov::Greeting>& greeting) = 0;
  /// Whether a remote statistics process with this ping is waited for: 1 or 0; 0 without a resource manager.
  /// 174: the peer may not bring it, told by a message.
  virtual int isThisPingExpected(const zov::Greeting& greeting) = 0;
  /// False when nobody took it after all: the connection is then the listener's to delete.
  virtual bool takeRemotePSISocket(const std::shared_ptr<ZOVSocketConnection>& connection,
                                   const ZOVPingRequest& ping) = 0;
  /// Stops the collector monitor thread of every server. With no lock held.
  virtual void stopProfilerMonitorThreads() = 0;
  /// Shuts down the socket of every server and tells its threads to stop for good, under the context's shared
  /// lock and no other: whoever is blocked on a socket holds the server's.
  virtual void shutDownServerSockets() = 0;
  /// Posts a product event (UTF-8) with the local time of now.
  virtual void writeProductEvent(const char* file, const char* function, int line, const char* text) = 0;
};

class ZOVProfilerSocketMonitor : public ZOVAsynchronousTask {
 public:
  static constexpr long long ProductBuildLevel = 6005164;
  static constexpr long long RequiredProfilerBuildLevel = 6005159;
  static constexpr long long RequiredWorkloadBuildLevel = 6005164;
  static constexpr int Backlog = 100;

  /// The one instance, or null. Set by the constructor, cleared by the destructor.
  static std::atomic<ZOVProfilerSocketMonitor*> pMonitor;

  /// The directory must outlive the monitor. Port 0 takes any free one, told by getPort once it is open.
  ZOVProfilerSocketMonitor(std::uint16_t port, ZOVSessionDirectory& directory);
  ~ZOVProfilerSocketMonitor() override;

  void backgroundProcessing() override;
  void shutdown() override;
  /// Removes an accepted connection, shuts it down and drops the reference; nothing when there is no server
  /// socket any more.
  void deleteSocket(const ZOVSocketConnection* connection);
  std::uint16_t getPort();

 private:
  struct Turn;  // what is in hand for one connection

  std::shared_ptr<ZOVServerSocket> serverSocket();
  std::shared_ptr<ZOVServerSocket> open();
  void tryToOpen(const char* address);
  bool serveNext(const std::shared_ptr<zov::Reception>& reception);  // false: it should rest
  void greet(Turn& turn);
  void greetStatisticsProcess(zov::Greeting& greeting);
  void greetCollector(Turn& turn);
  ZOVReturnCode findOrDefineServer(Turn& turn);
  ZOVReturnCode checkTexts(const ZOVPingRequest& ping);
  ZOVReturnCode checkLevels(const ZOVPingRequest& ping);

  zov::Mutex _serverSocketMutex;
  std::shared_ptr<ZOVServerSocket> _serverSocket ZOV_GUARDED_BY(_serverSocketMutex);  // null until open
  const std::uint16_t _port;
  ZOVSessionDirectory& _directory;
  zov::VitalLoop _vital{"the listener for collectors"};
};
