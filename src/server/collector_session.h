#pragma once
// zov::CollectorSession: the session with a server's data collector: the socket, the exchanges on it, and the
// polls. A frame becomes a sample here; its abbreviated texts are expanded at once, by what the collector has
// told up to then; and at the end of the poll it goes to the anchors.
//
// A session begins on the monitor's thread, with a collector's ping. A socket error, a test ping that
// fails, or a new collector instance ends it. What the collector has told stays, marked as deleted.
//
// Ownership: a member of its server. Saves into the server's anchors; uses the collector monitor to know of
// its stop; needs of the server its name, settings and status, which it changes with the session.
//
// Locks: "SocketLock" serialises all exchanges; it comes before the anchors' lock. The socket pointer changes
// only under it, and a leaf mutex lets another thread shut the socket down meanwhile, so that no peer can
// hold a thread up for ever. Samples are saved with neither held.
//
// Threads: the collector monitor begins sessions and polls; commands send requests; any thread may
// interrupt. What waits for a collector waits for the server's socketReceiveTimeout at most, and only for as
// long as bytes come while another collector waits for the session (Haste).

#include <array>
#include <atomic>
#include <deque>
#include <memory>
#include <string_view>

#include "platform/message_rate.h"
#include "platform/mutex.h"
#include "runtime/lock.h"
#include "runtime/return_code.h"
#include "samples/sample.h"
#include "samples/string_abbreviation_table.h"
#include "server/collection_switches.h"
#include "server/collector_variables.h"

class ZOVApplicationServerBase;
class ZOVBuffer;
class ZOVMessageSample;
class ZOVPollRequest;
class ZOVRequest;
class ZOVSocketConnection;

namespace zov {

class CollectorMonitor;
class Greeting;
class ServerAnchors;

class CollectorSession {
 public:
  /// Samples of one poll, in the order of their arrival.
  using SampleList = std::deque<std::unique_ptr<ZOVSample>>;
  /// A collector that waits for the session: while it lives an exchange that waits for the present one fails
  /// when that says nothing for zovWaits().hurriedProgressSeconds. Tests of the session have their own time.
  class Haste {
   public:
    explicit Haste(CollectorSession& session) : _waiting(session._waiting) { ++_waiting; }
    ~Haste() { --_waiting; }
    Haste(const Haste&) = delete;
    Haste& operator=(const Haste&) = delete;

   private:
    std::atomic<unsigned>& _waiting;
  };
  static constexpr std::size_t AbbreviationBuckets = 4751;

  CollectorSession(ZOVApplicationServerBase& server, ServerAnchors& anchors, const CollectorMonitor& monitor)
      : _server(server), _anchors(anchors), _monitor(monitor) {}
  ~CollectorSession();  ///< gives up a connection that it still has

  /// Begins a session with a collector whose ping has been answered: its server is connected, the connection
  /// handed over, and the collector told what to collect. With no lock held.
  void begin(Greeting& greeting);
  /// Ends the session, when there is one.
  void end();
  /// Ends the session behind a failure, and with it the server's connection.
  void socketError(const ZOVReturnCode& code);
  /// Wakes whoever waits on the socket; takes no ZOVLock.
  void interrupt();
  bool isConnected() const;

  /// 0 when the collector answers a ping; 11 without one.
  ZOVReturnCode testConnectivity();
  /// Sends a request and waits for its answer. `value` and `text`, when not null, get a refusal's
  /// reason; `value` also what comes with an acceptance.
  ZOVReturnCode send(const ZOVRequest& request, long long* value, RWCString* text);

  /// One poll for a wanted anchor, of what is collected: saves what comes, and marks what the poll covered
  /// and did not bring. 21 when nothing that is wanted is collected, or without a collector. 3 when the poll
  /// brought more than its budget of memory: its samples are dropped, and nothing is marked.
  ZOVReturnCode takeSamples(const ZOVResourceAnchor& wanted);
  ZOVReturnCode obtainSamples(const ZOVPollRequest& request, const ZOVResourceAnchor& wanted);
  void convertAbbreviatedStringsInSample(ZOVSample& sample) const;
  /// The full text, or the text itself when it is no abbreviation that is known.
  RWCString lookupAbbreviatedString(const RWCString& text, long long profilerId) const;

  CollectionSwitches& switches() { return _switches; }
  const CollectionSwitches& switches() const { return _switches; }
  const CollectorVariables& variables() const { return _variables; }

 private:
  struct Poll;  // what is in hand during one poll

  template <class Body>
  ZOVReturnCode exchange(const char* function, const ZOVReturnCode& withoutSocket, Body&& body);
  void bind(Greeting& greeting);
  void setSocket(std::shared_ptr<ZOVSocketConnection> socket);
  void startDefaultCollections();
  ZOVReturnCode collectFromSocket(ZOVSocketConnection& socket, const ZOVPollRequest& request, Poll& poll);
  ZOVReturnCode takeFrame(ZOVSocketConnection& socket, ZOVBuffer& frame, Poll& poll);
  ZOVReturnCode takeSample(std::unique_ptr<ZOVSample> sample, Poll& poll);
  void keepUntilEnd(std::unique_ptr<ZOVSample> sample, Poll& poll);
  void tellOnce(Poll& poll, const char* dropped, const ZOVBudget* budget);
  void savePoll(Poll& poll, const ZOVResourceAnchor& wanted);
  void saveSamples(Poll& poll);
  void markObsoleteAfter(const ZOVResourceAnchor& wanted, unsigned int collectionId);
  void postMessage(const ZOVMessageSample& sample);
  void takeEncoding();

  ZOVApplicationServerBase& _server;
  ServerAnchors& _anchors;
  const CollectorMonitor& _monitor;
  CollectionSwitches _switches{_server, *this};
  CollectorVariables _variables;
  std::array<MessageRate, 64> _messageRates;  // of the collector's messages, by their first word
  ZOVStringAbbreviationTable _abbreviations{AbbreviationBuckets};  // has a lock of its own

  std::atomic<unsigned> _waiting{0};  // collectors for which there is haste

  ZOVLock _socketLock{"SocketLock"};
  unsigned int _collectionId ZOV_GUARDED_BY(_socketLock) = 0;  // of the last poll, never 0 then
  mutable Mutex _socketMutex;
  // Null when there is no session. Changed under both locks, so either suffices for reading.
  std::shared_ptr<ZOVSocketConnection> _socket;
};

}  // namespace zov
