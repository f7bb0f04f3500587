#pragma once
// ZOVResourceManagerProxy: the task that gets the servers' own statistics, as servers, listener and agent see
// it: a queue of requests, and a thread that carries them out and looks after its servers on three timers.
// What a request and a timer do is the concrete manager's. Owned by the agent and shared with those who are
// in a call.
//
// Threads. Any thread may call what is public but the timers' operations and process, which are the task's
// own thread's. process passes a request on rather than wait for it, so that the queue goes on.
//
// Requests. Each that startProcessing takes is finished exactly once, whatever becomes of the thread: by
// process, by whom process gave it to, or with code 34 when the queue ends. A raise in process finishes it
// with the exception's code: process raises only while the request is still its own.
//
// Locks: the task's lock guards the queue, and is held for no call of the concrete manager. Timers run on
// steady time.

#include <atomic>
#include <deque>
#include <memory>

#include "foundation/string.h"
#include "platform/clock.h"
#include "runtime/return_code.h"
#include "runtime/task.h"
#include "server/rpx_collection_request.h"

class ZOVApplicationServerBase;
class ZOVPingRequest;
class ZOVSocketConnection;

namespace zov {
struct Peer;
}

class ZOVResourceManagerProxy : public ZOVAsynchronousTask {
 public:
  static constexpr int DataCollectionMethods = 22;
  enum _ShouldMarkRequestComplete { DoNotMarkComplete = 0, MarkComplete = 1 };

  /// What a JVM tells of a server, one keyword=value a line.
  struct AppServerDescription {
    RWCString serverName, nodeName, cellName, logFile, errorLogFile, verboseGCLogFile, cluster;
    RWCString shortCellName, genericShortName, specificShortName;
    unsigned int processId = 0;
    long long startTime = 0;  ///< Java milliseconds
    int type = 1;             ///< _AppServerType
  };

  ZOVResourceManagerProxy() : ZOVAsynchronousTask("ResourceManagerTask") {}

  /// The one manager of the process while somebody holds it, else a new one. Defined with the concrete
  /// manager, in the room above.
  static std::shared_ptr<ZOVResourceManagerProxy> getProxy();

  void backgroundProcessing() override;
  void shutdown() override;
  void wake() { _shutdownEvent.post(); }  ///< has the thread look at its timers

  // --- The timers': what the statistics know of servers is asked for anew. With a server, for that one: 7
  // when it is not known, 178 when it is suspended. Other codes than 0 are displayed and end the turn.
  virtual ZOVReturnCode enumerateApplicationServers() = 0;
  virtual ZOVReturnCode pingApplicationServers(ZOVApplicationServerBase* server) = 0;
  virtual ZOVReturnCode refreshNameCache(ZOVApplicationServerBase* server) = 0;
  /// Carries the request out or passes it on. With marking, a code other than 0 has finished it; without, it
  /// is the caller's then.
  virtual ZOVReturnCode process(RPXCollectionRequest* request, _ShouldMarkRequestComplete mark) = 0;

  /// Hands a request to the task's thread: 0, or 34 (given to the request too) while the manager is not
  /// ready.
  virtual ZOVReturnCode startProcessing(RPXCollectionRequest& request);
  virtual ZOVReturnCode createPSIClient(ZOVApplicationServerBase* /*server*/) { return 0; }
  /// The server's threads are ending for good: what they may be waiting for is ended. Waits for nothing.
  virtual void serverIsEnding(ZOVApplicationServerBase* /*server*/) {}
  /// Whether a statistics JVM with this ping is waited for: 1 or 0; 174 when its server belongs to another
  /// user than the peer, which a message tells.
  virtual int isThisPingExpected(const ZOVPingRequest& /*ping*/, const zov::Peer& /*peer*/) { return 0; }
  virtual int takeRemotePSISocket(const std::shared_ptr<ZOVSocketConnection>& /*socket*/,
                                  const ZOVPingRequest& /*ping*/) {
    return 0;
  }
  virtual ZOVReturnCode suspendCollectingResourceData(ZOVApplicationServerBase* /*server*/) { return 0; }
  virtual ZOVReturnCode resumeCollectingResourceData(ZOVApplicationServerBase* /*server*/) { return 0; }

  /// Name, number of parameters and JNI-style descriptor of a data collection method, by kind 0 to 21; null
  /// or 0 outside. Kinds 18 to 21 count one parameter beside a descriptor of two.
  static const char* getDataCollectionMethodName(int kind);
  static int getDataCollectionMethodNumParms(int kind);
  static const char* getDataCollectionMethodSignature(int kind);
  static const char* getExceptionClassName();
  static RWCString createLogFileName();
  /// Unknown keywords are traced and skipped; an empty line ends the text.
  static AppServerDescription parseAppServerSample(const char* text);

 protected:
  void threadEnded() override;

 private:
  void turn();
  void runTimers();
  long secondsToNextTimer() const;
  bool hasRequests();
  RPXCollectionRequest* takeFirst();

  std::atomic<bool> _ready{false};  // from the loop's start to its end
  std::deque<RPXCollectionRequest*> _pendingRequests ZOV_GUARDED_BY(_taskLock);

  // The thread's alone.
  RPXCollectionRequest* _requestInHand = nullptr;
  ZOVClock::Steady _lastEnumeration{}, _lastPing{}, _lastRefresh{};
};
