#pragma once
// zov::CollectionSwitches: what a server's collector was told to collect, and the telling: request data with
// its level and percentage, garbage collection data with its interval.
//
// A member of the session, which carries its requests and tells it when it ends. Any thread may call; all
// state is atomic, and an exchange runs under the session's lock. A switch wakes the collector monitor.

#include <atomic>

#include "runtime/return_code.h"

class ZOVApplicationServerBase;

namespace zov {

class CollectorSession;

class CollectionSwitches {
 public:
  CollectionSwitches(ZOVApplicationServerBase& server, CollectorSession& session)
      : _server(server), _session(session) {}

  /// Takes level, percentage, action and interval from the server's settings, before the server is shared.
  void configure();
  /// The same when the next session begins.
  void reconfigure() { _reconfigured = true; }

  bool collectsRequests() const { return _collectsRequests; }
  bool collectsGC() const { return _collectsGC; }
  int requestLevel() const { return _collectsRequests ? _requestLevel.load() : 0; }
  /// As the collector says; until one has said so, as it is asked for.
  int requestPercent() const { return _percentInForce; }

  void startedCollectingRequestData(bool collects);
  void startedCollectingGCData(bool collects);

  /// Tells the collector; a negative level or percentage stands for the last one, and where that level was 0,
  /// for the configured one, or else 1. 0; 35; 21 without a collector; 52 for a level that there is not; the
  /// reason of a refusal.
  ZOVReturnCode processCollectRequest(int level, int percent);
  /// The same for garbage collection data; 116 when no file of it is known, which is told once. A stop that
  /// fails leaves the collection as it is, with what it has brought.
  ZOVReturnCode processGCCollectData(int action, int interval);
  ZOVReturnCode startDefaultRequestCollection();
  ZOVReturnCode startDefaultGCCollection();
  /// Another file is in force: collection that runs moves to it, and one that waited for a file starts.
  ZOVReturnCode gcLogFileChanged();
  ZOVReturnCode suspendGC();
  ZOVReturnCode resumeGC();

 private:
  int levelToGoOnWith() const;

  ZOVApplicationServerBase& _server;
  CollectorSession& _session;
  std::atomic<bool> _collectsRequests{false};
  std::atomic<bool> _collectsGC{false};
  std::atomic<bool> _reconfigured{false};
  // What is wanted, also without a collector.
  std::atomic<int> _requestLevel{0};
  std::atomic<int> _requestPercent{0};
  std::atomic<int> _percentInForce{0};
  std::atomic<int> _gcAction{0};              // 0 off, 1 on
  std::atomic<int> _gcInterval{60};           // seconds
  std::atomic<bool> _missingFileTold{false};  // until a file is known
};

}  // namespace zov
