#pragma once
// zov::CollectorMonitor: the one thread of a server that in the ordinary course talks to its data collector.
// It begins the sessions; on an interval it polls for all that is collected; between polls it serves the
// requests of other threads; and it sees to it that a collector which has been quiet for long still lives.
// When the server has been disconnected for zovWaits().disconnectedSeconds, it ends; a collector starts it
// again.
//
// Ownership: a member of its server. Uses the server's session for every exchange, and the server itself for
// its name and as what requests are processed on. Requests are shared with those who wait for them.
//
// Threads: submit, start, stop and wake from any; submit and stop wait, so with no lock held that a poll
// could want. Schedules run on steady time.
//
// Lock: a leaf mutex guards the queue of requests; it is taken inside that of the thread.

#include <deque>
#include <memory>

#include "platform/clock.h"
#include "platform/mutex.h"
#include "server/collect_sample_request.h"
#include "server/server_settings.h"
#include "server/server_thread.h"

namespace zov {

class CollectorSession;

class CollectorMonitor final : private ServerThreadWork {
 public:
  using Request = std::shared_ptr<CollectProfilerSampleRequest>;

  /// The settings are read when the thread starts.
  CollectorMonitor(ZOVApplicationServerBase& server, CollectorSession& session,
                   const ServerSettings& settings)
      : _server(server), _session(session), _settings(settings) {}

  /// False when there will be no further turn; a failure to start is told by message ZOVA0174E.
  bool start() { return _thread.start(); }
  void wake() { _thread.wake(); }
  /// Stops the thread and waits for its end; it may be started again. Without force, nothing while data is
  /// collected. With it, the collector's socket is shut down too, so that no peer holds the thread up.
  void stop(bool force);
  bool isRunning() const { return _thread.isRunning(); }
  bool isStopping() const { return _thread.isStopping(); }
  ServerThread& thread() { return _thread; }
  const ServerThread& thread() const { return _thread; }

  /// Has the thread process the request and waits for the result; 21 when the thread does not run, stops
  /// before it came to it, or finds no collector; ZOV_SOCKET_TIMED_OUT when the wait is given up.
  ZOVReturnCode submit(const Request& request, const ZOVGivenUp& givenUp = {});
  /// The same without a wait; false when the thread does not run.
  bool offer(const Request& request);
  /// Has the thread begin a session, and waits for nothing. 0 when the thread will come to it; 156 when it
  /// cannot, and 174 while another session waits to begin.
  ZOVReturnCode submitSession(const Request& request);

 private:
  void threadBegins() override;
  long secondsToNextTurn() override;
  void turn() override;
  bool turnFailed(const ZOVReturnCode& rc) override;
  void threadEnds() override;
  void startFailed() override;

  bool isCollecting() const;
  bool pollsOnInterval() const { return _settings.pollInterval != 0; }
  long secondsToNextSample() const;
  long secondsToNextTest() const;
  void sampleOnInterval();
  void testWhenQuiet();
  bool isUnused() const;
  void serveRequests();
  void answerWaiting();
  Request nextRequest();

  ZOVApplicationServerBase& _server;
  CollectorSession& _session;
  const ServerSettings& _settings;
  Mutex _mutex;
  std::deque<Request> _requests ZOV_GUARDED_BY(_mutex);
  bool _sessionWaits ZOV_GUARDED_BY(_mutex) = false;  // one of them begins a session

  // The thread's alone.
  Request _requestInHand;
  ZOVClock::Steady _lastActivity;
  ZOVClock::Steady _nextSample;     // with an interval
  ZOVClock::Steady _lastConnected;  // or the thread's start
  ZOVReturnCode _lastResult;

  ServerThread _thread{*this};  // last, so that it goes first
};

}  // namespace zov
