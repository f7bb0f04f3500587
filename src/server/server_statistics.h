#pragma once
// zov::ServerStatistics: a server's own counters, from the resource manager: on an interval by a thread of
// their own, and on demand. The switch that suspends them is here too.
//
// Ownership: a member of its server. Saves into the server's anchors; needs of the server its name, status
// and process id, and hands it to the resource manager.
//
// Lock: "RPXLock" is held through one collection, while the manager's thread works on it; so the anchors of
// the statistics are filled by one thread at a time. It comes before the anchors' lock.
//
// Threads: the thread of its own, queries (take), and commands (suspend, resume). Schedules run on steady
// time.

#include <atomic>
#include <memory>

#include "platform/clock.h"
#include "runtime/lock.h"
#include "samples/resource_anchor.h"
#include "server/server_settings.h"
#include "server/server_thread.h"

class RPXCollectionRequest;
class ZOVAppServerSample;
class ZOVApplicationServerBase;

namespace zov {

class ServerAnchors;

class ServerStatistics final : private ServerThreadWork {
 public:
  /// The settings are read when they are needed.
  ServerStatistics(ZOVApplicationServerBase& server, ServerAnchors& anchors, const ServerSettings& settings)
      : _server(server), _anchors(anchors), _settings(settings) {}

  /// Whether one more server may have the threads of its statistics: those of a JVM, its client, and this
  /// class.
  static bool mayStartThreads();
  /// Starts the thread, when the settings ask for collection by interval and there is room for it. It ends
  /// when the server has been disconnected for zovWaits().disconnectedSeconds.
  void start();
  void requestStop() { _thread.requestStop(); }  ///< waits for nothing; it may be started again
  /// Stops the thread and waits for its end.
  void stop();
  /// The server is ending: ends what its threads and queries may be waiting for.
  void interrupt();
  bool isRunning() const { return _thread.isRunning(); }
  ServerThread& thread() { return _thread; }
  const ServerThread& thread() const { return _thread; }

  /// Takes what the wanted anchor selects: 0, also for a type that no statistics deliver, and when they did
  /// not come in zovWaits().statisticsQuerySeconds, so that what is kept serves; 61 when only some of it
  /// came; else why nothing did, but 0 for the server's own sample: the last live one stays, and where there
  /// is none one is made up.
  ZOVReturnCode take(const ZOVResourceAnchor& wanted);
  /// The same, unless a recent request has brought what is wanted; notes this one when it succeeds.
  ZOVReturnCode takeUnlessRecent(const ZOVResourceAnchor& wanted);

  /// A collector session has begun: asks the manager for a client, when statistics are collected at all.
  void sessionBegan();
  ZOVReturnCode suspend();
  ZOVReturnCode resume();
  void setSuspended(bool suspended) { _suspended = suspended; }  ///< before the server is shared
  void connected();                                              ///< the manager has a client for this server
  void disconnected();                                           ///< and has none any more
  bool isCollected() const { return _connected && !_suspended; }
  bool isSuspended() const { return _suspended; }

 private:
  void threadBegins() override;
  long secondsToNextTurn() override;
  void turn() override;
  bool turnFailed(const ZOVReturnCode&) override { return false; }
  void threadEnds() override;
  void startFailed() override;

  void collectAll();
  ZOVReturnCode query(const ZOVResourceAnchor& wanted);
  ZOVReturnCode collect(RPXCollectionRequest& request, const ZOVResourceAnchor* wanted);
  ZOVReturnCode takeRollUpSamples();
  std::unique_ptr<RPXCollectionRequest> makeRequest(const ZOVResourceAnchor& wanted);
  void complete(ZOVAppServerSample& serverSample);

  ZOVApplicationServerBase& _server;
  ServerAnchors& _anchors;
  const ServerSettings& _settings;
  ZOVLock _rpxLock{"RPXLock"};
  unsigned int _collectionId ZOV_GUARDED_BY(_rpxLock) = 0;
  std::atomic<bool> _suspended{false};
  std::atomic<bool> _connected{false};
  // The thread's alone.
  ZOVClock::Steady _nextCollection;
  ZOVClock::Steady _lastConnected;  // or the thread's start

  ServerThread _thread{*this};  // last, so that it goes first
};

}  // namespace zov
