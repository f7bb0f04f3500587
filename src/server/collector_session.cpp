#include "server/collector_session.h"

#include <algorithm>
#include <map>
#include <set>

#include "collectors/product_event_collector.h"
#include "diag/agent_log.h"
#include "runtime/environment.h"
#include "runtime/memory_account.h"
#include "runtime/recovery.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "samples/sample_classes.h"
#include "server/application_server_base.h"
#include "server/collector_monitor.h"
#include "server/over_budget.h"
#include "server/server_anchors.h"
#include "server/server_services.h"
#include "transport/buffer.h"
#include "transport/exchange.h"
#include "transport/greeting.h"
#include "transport/key_value_set.h"
#include "transport/poll_request.h"
#include "transport/response.h"
#include "transport/session_listener.h"
#include "transport/socket_connection.h"

static DGT1_Unit traceUnit("ZOVASESS");

namespace zov {

namespace {

OwnTimes polls("zov_agent_poll_seconds", "Polls of collectors, and their time.");
OwnCounter pollFailures("zov_agent_poll_failures", "Polls of collectors that brought nothing.");
OwnCounter framesTaken("zov_agent_frames", "Frames of collectors' polls.");
OwnCounter droppedUnused(DroppedFrames, DroppedFramesHelp, "reason=\"unused_type\"");
OwnCounter droppedInvalid(DroppedFrames, DroppedFramesHelp, "reason=\"not_valid\"");

constexpr std::string_view FileEncodingProperty = "file.encoding";
constexpr const char* ServerLiteral = " Server: ";
constexpr std::size_t MostMessage = MaximumEventText;
constexpr std::size_t MostWord = 15;
constexpr int TracedTypes = 2048;
constexpr ZOVPollRequest::_PollMask MessageData = 0x2000000;
constexpr ZOVPollRequest::_PollMask EveryData = 0x7ffffffff;

/// Owns the summary anchors of one poll.
struct SummaryAnchors : RWHashTable {
  ~SummaryAnchors() override { clearAndDestroy(); }
};

ZOVMessageSeverity severityOf(const RWCString& letter) {
  switch (letter.isNull() ? ' ' : letter.view().front()) {
    case 'E':
      return ZOVMessageSeverity::E;
    case 'S':
      return ZOVMessageSeverity::S;
    case 'W':
      return ZOVMessageSeverity::W;
    default:
      return ZOVMessageSeverity::I;
  }
}

/// What the trace and messages call the connection: another host is marked.
RWCString nameOfConnection(const RWCString& server, const Peer& peer) {
  return peer.onThisHost ? server : server + " on " + peer.text().c_str();
}

void traceCounts(const CollectorSession::SampleList& samples) {
  if (!traceUnit.on(DGT1_FLOW)) return;
  std::map<int, int> counts;
  for (const auto& sample : samples) ++counts[sample->getSampleType()];
  DGT1_Printf(traceUnit, DGT1_FLOW, "Collection Sample Summary");
  for (const auto& [type, count] : counts) {
    if (type >= TracedTypes) break;
    DGT1_Printf(traceUnit, DGT1_FLOW, "Collection Sample Type %s with %i samples",
                ZOVSample::getSampleTypeInEnglish(static_cast<ZOVSample::_SampleType>(type)), count);
  }
}

/// What a poll for an anchor of these types asks for. Not the bits of ZOVPollRequest::getPollType, which say
/// what brings a type: these are what the agent's own anchors want. The profiling types are not here, since
/// no collector is told to collect them.
constexpr struct {
  ZOVSample::_SampleType first, last;
  ZOVPollRequest::_PollMask bits;
} WantedBits[] = {
    {SampleTypeGarbageCollection, SampleTypeGarbageCollection, ZOVPollRequest::GCData},
    {SampleTypeWorkloadSummary, SampleTypeWorkloadException, ZOVPollRequest::RequestData},
    {SampleTypeWorkload, SampleTypeHTTPSessionManager, ZOVPollRequest::RequestData},
    {SampleTypeAllocationFailure, SampleTypeGCCycle, ZOVPollRequest::GCData},
    {SampleTypeEnvironmentVariable, SampleTypeEnvironmentVariable, ZOVPollRequest::RequestData},
    {SampleTypeMessage, SampleTypeMessage, MessageData},
    {SampleTypeQTXSummary, SampleTypeQTXSummary, ZOVPollRequest::RequestData},
    {SampleTypeServerRequestSummary, SampleTypeServerRequestSummary, ZOVPollRequest::RequestData},
    {ZOVApplicationServerBase::EverythingSampleType, ZOVApplicationServerBase::EverythingSampleType,
     ZOVPollRequest::Everything},
    {ZOVApplicationServerBase::EverySampleType, ZOVApplicationServerBase::EverySampleType, EveryData},
};

ZOVPollRequest::_PollMask bitsWantedFor(ZOVSample::_SampleType type) {
  for (const auto& row : WantedBits) {
    if (type >= row.first && type <= row.last) return row.bits;
  }
  return 0;
}

}  // namespace

struct CollectorSession::Poll {
  SampleList samples;
  MemoryAccount memory{zovBudgets().poll, &MemoryAccount::allPolls()};  // of the samples
  std::set<const ZOVBudget*> told;                                      // that were exceeded
  std::size_t frames = 0;
  std::size_t wireBytes = 0;       // of all frames
  bool complete = false;           // the end marker came
  bool dropped = false;            // the samples took too much memory
  bool propertiesArrived = false;  // Java properties
  unsigned int collectionId = 0;

  void dropSamples() {
    samples.clear();
    memory.clear();
  }
};

// --- Binding.

void CollectorSession::begin(Greeting& greeting) {
  ZOV_TRACE(Public);
  const ZOVPingRequest& ping = greeting.ping();
  _variables.clear();
  // Behind a session that is just ending: its end sets the status too, under the same lock.
  holding(_socketLock, Exclusive, [&] { _server.setStatus(ServerConnected); });
  _server.setDCProbeManagerProcessId(static_cast<unsigned int>(ping.getProcessId()));
  if (_server.setLocaleName(ping.getLocaleName().view())) ZOVServerServices::current().rewriteContextInfo();
  holding(_socketLock, Exclusive, [&] {
    bind(greeting);
    startDefaultCollections();
  });
}

void CollectorSession::bind(Greeting& greeting) {
  ZOV_FUNCTION;
  end();
  ZOVSocketConnection& socket = *greeting.connection();
  if (!greeting.peer().onThisHost) {
    DGT1_Printf(
        traceUnit, DGT1_MESSAGE,
        "The collector of application server %s comes from another host, %s; no script is run for the "
        "server unless the configuration names it",
        _server.getName().data(), greeting.peer().address.c_str());
  }
  socket.setConnectionName(nameOfConnection(_server.getName(), greeting.peer()).data());
  socket.setProgressLimit(_server.getSocketReceiveTimeout());
  socket.setHurry(&_waiting);
  setSocket(greeting.connection());
  greeting.handOver();
  if (_monitor.isStopping()) interrupt();  // who told it to stop has interrupted the former socket
  ZOV_LOG_MESSAGE(ZOVA0012I, _server.getName());
  _abbreviations.clearAndDestroy();
}

void CollectorSession::setSocket(std::shared_ptr<ZOVSocketConnection> socket) {
  const MutexLock lock(_socketMutex);
  _socket.swap(socket);  // the former one goes behind the lock
}

void CollectorSession::startDefaultCollections() {
  ZOV_FUNCTION;
  if (const ZOVReturnCode rc = _switches.startDefaultRequestCollection()) {
    ZOV_LOG_ERROR(ZOVA0064E, _server.getName(), rc.getDescription());
  }
  if (const ZOVReturnCode rc = _switches.startDefaultGCCollection(); rc != ZOV_OK && rc != ZOV_NO_GC_FILE) {
    ZOV_LOG_ERROR(ZOVA0121E, _server.getName(), rc.getDescription());
  }
}

// --- The socket.

CollectorSession::~CollectorSession() {
  if (ZOVProfilerSocketMonitor* const monitor = ZOVProfilerSocketMonitor::pMonitor; monitor && _socket) {
    monitor->deleteSocket(_socket.get());
  }
}

void CollectorSession::end() {
  ZOV_TRACE(Public);
  holding(_socketLock, Exclusive, [&] {
    if (!_socket) return;
    if (ZOVProfilerSocketMonitor* const monitor = ZOVProfilerSocketMonitor::pMonitor) {
      monitor->deleteSocket(_socket.get());
    }
    _socket->shutdownSocket();
    setSocket(nullptr);
    _switches.startedCollectingRequestData(false);
    _switches.startedCollectingGCData(false);
    ZOV_LOG_ERROR(ZOVA0016E, _server.getName());
  });
}

void CollectorSession::interrupt() {
  const MutexLock lock(_socketMutex);
  if (_socket) _socket->shutdownSocket();
}

bool CollectorSession::isConnected() const {
  const MutexLock lock(_socketMutex);
  return _socket != nullptr;
}

void CollectorSession::socketError(const ZOVReturnCode& code) {
  ZOV_TRACE(Public);
  ZOV_LOG_ERROR(ZOVA0015E, code.getDescription(), _server.getName());
  end();
  _server.setStatus(ServerDisconnected);
}

/// Runs an exchange, body(socket), under the socket lock. A failure other than a refusal ends the session,
/// and so does a raise: the stream then stands in the middle of a frame.
template <class Body>
ZOVReturnCode CollectorSession::exchange(const char* function, const ZOVReturnCode& withoutSocket,
                                         Body&& body) {
  return holding(_socketLock, Exclusive, [&]() ZOV_REQUIRES(_socketLock) {
    if (!_socket) return withoutSocket;
    ZOVReturnCode rc = 0;
    if (const auto failure =
            guarded(traceUnit.tag(), function, [&]() ZOV_REQUIRES(_socketLock) { rc = body(*_socket); })) {
      rc = failure->getReturnCode() ? failure->getReturnCode() : ZOVReturnCode(ZOV_EXCEPTION_CAUGHT);
    }
    if (rc != 0 && rc != ZOV_INVALID_RESPONSE) socketError(rc);
    return rc;
  });
}

ZOVReturnCode CollectorSession::testConnectivity() {
  ZOV_TRACE(Public);
  const ZOVPingRequest ping;
  return exchange(zovFunction.text, ZOV_SOCKET_NOT_CONNECTED, [&](ZOVSocketConnection& socket) {
    socket.setHurry(nullptr);
    const ZOVReturnCode rc = zovExchange(&socket, ping, static_cast<int>(zovWaits().testConnectivitySeconds),
                                         ResponseExpected, nullptr, nullptr);
    socket.setHurry(&_waiting);
    if (rc == ZOV_INVALID_RESPONSE) socketError(rc);
    return rc;
  });
}

ZOVReturnCode CollectorSession::send(const ZOVRequest& request, long long* value, RWCString* text) {
  ZOV_TRACE(Public);
  if (value) *value = 0;
  if (text) text->clear();
  return exchange(zovFunction.text, ZOV_SOCKET_CLOSED, [&](ZOVSocketConnection& socket) {
    return zovExchange(&socket, request, static_cast<int>(_server.getSocketReceiveTimeout()),
                       ResponseExpected, value, text);
  });
}

// --- One poll.

ZOVReturnCode CollectorSession::takeSamples(const ZOVResourceAnchor& wanted) {
  ZOV_TRACE(Restricted);
  ZOVPollRequest::_PollMask collected = 0;
  if (_switches.collectsRequests()) collected |= ZOVPollRequest::RequestData;
  if (_switches.collectsGC()) collected |= ZOVPollRequest::GCData;
  const ZOVPollRequest::_PollMask bits = bitsWantedFor(wanted.getSampleType()) & collected;
  if (bits == 0) return ZOV_PROFILING_NOT_ACTIVE;
  ZOVPollRequest poll(static_cast<long long>(bits | ZOVPollRequest::AlwaysPolled), "", "", "", "", "", "", 0);
  if (const ZOVKeyValueSet* const more = wanted.getAdditionalPollParameters()) poll.save(*more);
  return obtainSamples(poll, wanted);
}

ZOVReturnCode CollectorSession::obtainSamples(const ZOVPollRequest& request,
                                              const ZOVResourceAnchor& wanted) {
  ZOV_TRACE(Public);
  Poll poll;
  ZOVReturnCode rc;
  const auto begin = ZOVClock::steady();
  withCleanup(
      [&] {
        rc = exchange(zovFunction.text, ZOV_PROFILING_NOT_ACTIVE,
                      [&](ZOVSocketConnection& socket) ZOV_REQUIRES(_socketLock) {
                        if (++_collectionId == 0) _collectionId = 1;
                        poll.collectionId = _collectionId;
                        return collectFromSocket(socket, request, poll);
                      });
        if (rc == ZOV_OK) savePoll(poll, wanted);
      },
      [&] { poll.dropSamples(); });
  polls.add(begin);
  if (rc != ZOV_OK) pollFailures.add();
  if (poll.dropped) droppedOverBudget.add(static_cast<std::int64_t>(poll.frames));
  return rc == ZOV_OK && poll.dropped ? ZOVReturnCode(ZOV_OUT_OF_STORAGE) : rc;
}

void CollectorSession::savePoll(Poll& poll, const ZOVResourceAnchor& wanted) {
  if (poll.propertiesArrived) takeEncoding();
  if (poll.dropped) return;
  saveSamples(poll);
  markObsoleteAfter(wanted, poll.collectionId);
}

ZOVReturnCode CollectorSession::collectFromSocket(ZOVSocketConnection& socket, const ZOVPollRequest& request,
                                                  Poll& poll) {
  ZOVReturnCode rc = request.send(socket);
  while (rc == 0 && !poll.complete) {
    const std::unique_ptr<ZOVBuffer> frame =
        socket.receive(rc, _server.getSocketReceiveTimeout(), LogEveryFailure);
    if (rc == 0 && frame) rc = takeFrame(socket, *frame, poll);
  }
  return rc;
}

ZOVReturnCode CollectorSession::takeFrame(ZOVSocketConnection& socket, ZOVBuffer& frame, Poll& poll) {
  framesTaken.add();
  poll.wireBytes += frame.length();
  if (++poll.frames > zovBudgets().pollFrames || poll.wireBytes > zovBudgets().pollWireBytes) {
    return ZOV_INVALID_DATA;
  }
  // These two have no class, so they go before they would count as damage.
  if (frame.peekDataType() == ZOVTransportableData::SampleDataType) {
    const int type = frame.peekSubtype();
    if (type == ZOVSample::SampleTypeProfilerSystem || type == ZOVSample::SampleTypeProfilerResource) {
      droppedUnused.add();
      return 0;
    }
  }
  std::unique_ptr<ZOVTransportableData> object = ZOVTransportableData::buildFromBuffer(frame);
  if (!object) {
    droppedInvalid.add();
    return ZOV_INVALID_DATA;
  }
  if (object->getDataType() == ZOVTransportableData::SampleDataType) {
    return takeSample(std::unique_ptr<ZOVSample>(static_cast<ZOVSample*>(object.release())), poll);
  }
  const auto& request = static_cast<const ZOVRequest&>(*object);
  if (request.getRequestType() != ZOVRequest::PingRequestType) return ZOV_INVALID_DATA;
  ZOVResponse response(1, 0, nullptr);
  response.setCorrelatorId(request.getCorrelatorId());
  return response.send(socket);
}

ZOVReturnCode CollectorSession::takeSample(std::unique_ptr<ZOVSample> sample, Poll& poll) {
  if (sample->getSampleType() == ZOVSample::SampleTypeStringAbbreviation) {
    tellOnce(poll, "an abbreviation",
             _abbreviations.createAbbreviation(static_cast<const ZOVStringAbbreviationSample&>(*sample)));
    return 0;
  }
  convertAbbreviatedStringsInSample(*sample);
  switch (sample->getSampleType()) {
    case ZOVSample::SampleTypeEnd:
      poll.complete = true;
      return 0;
    case ZOVSample::SampleTypeMessage:
      postMessage(static_cast<const ZOVMessageSample&>(*sample));
      return 0;
    case ZOVSample::SampleTypeEnvironmentVariable:
      tellOnce(poll, "an environment variable",
               _variables.addEnvVariable(static_cast<const ZOVTSLKeyValueSample&>(*sample)));
      break;
    case ZOVSample::SampleTypeJavaProperty:
      tellOnce(poll, "a Java property",
               _variables.addJavaProperty(static_cast<const ZOVTSLKeyValueSample&>(*sample)));
      poll.propertiesArrived = true;
      break;
    default:
      break;
  }
  if (!poll.dropped) keepUntilEnd(std::move(sample), poll);
  return 0;
}

/// Behind a poll that is dropped the rest is read on to its end, for the sake of what else it tells.
void CollectorSession::keepUntilEnd(std::unique_ptr<ZOVSample> sample, Poll& poll) {
  const ZOVBudget* const full = poll.memory.charge(sample->memoryBytes());
  if (!full) {
    poll.samples.push_back(std::move(sample));
    return;
  }
  poll.dropped = true;
  poll.dropSamples();
  tellOnce(poll, "the samples of a poll", full);
}

/// Null is nothing; of each budget once a poll.
void CollectorSession::tellOnce(Poll& poll, const char* dropped, const ZOVBudget* budget) {
  ZOV_FUNCTION;
  if (budget && poll.told.insert(budget).second) {
    tellOverBudget(ZOV_PLACE, __LINE__, _server.getName(), dropped, *budget);
  }
}

/// With no lock held but the server's own, for each sample.
void CollectorSession::saveSamples(Poll& poll) {
  ZOV_TRACE(Private);
  traceCounts(poll.samples);
  SummaryAnchors summaries;
  for (std::unique_ptr<ZOVSample>& sample : poll.samples) {
    if (_monitor.isStopping()) return;
    if (sample->shouldCreateSummarySamples()) sample->createSummarizedSamples(summaries);
    _anchors.saveSample(sample.release(), SaveSampleInterval, poll.collectionId);
  }
  if (summaries.isEmpty()) return;
  const std::unique_ptr<RWIterator> anchors = summaries.newIterator();
  saveSummarizedSamples(_anchors, *anchors, poll.collectionId);
}

/// What the poll covered and did not bring has left the server.
void CollectorSession::markObsoleteAfter(const ZOVResourceAnchor& wanted, unsigned int collectionId) {
  const ZOVSample::_DataSource source = wanted.getDataSource();
  if (wanted.getSampleType() == ZOVApplicationServerBase::EverythingSampleType) {
    for (const auto covered :
         {ZOVSample::DataSourceProfiler, ZOVSample::DataSourceWorkload, ZOVSample::DataSourceVerboseGC}) {
      _anchors.markObsolete(covered, collectionId);
    }
  } else if (source == ZOVSample::DataSourceWorkload || source == ZOVSample::DataSourceVerboseGC) {
    _anchors.markObsolete(source, collectionId);
  } else {
    _anchors.markObsolete(wanted, collectionId);
  }
}

void CollectorSession::convertAbbreviatedStringsInSample(ZOVSample& sample) const {
  constexpr std::size_t MaximumKeys = 32;
  std::array<int, MaximumKeys> keys;
  const int count = sample.getNumStringKeys();
  if (count <= 0 || static_cast<std::size_t>(count) > keys.size()) return;
  sample.stringKeys(keys.data());
  for (int i = 0; i < count; ++i) {
    const int key = keys[static_cast<std::size_t>(i)];
    const RWCString& text = sample.getStringData(key);
    if (text.isNull() || text.view().front() != '#') continue;
    if (ZOVStringAbbreviationTable::isAbbreviatedString(text.view())) {
      const RWCString full = lookupAbbreviatedString(text, sample.getNumericData(key::process_id));
      sample.saveStringData(key, full.view());
    } else {
      RWCString plain = text;
      ZOVStringAbbreviationTable::convertNonAbbreviatedString(plain);
      sample.saveStringData(key, plain.view());
    }
  }
}

RWCString CollectorSession::lookupAbbreviatedString(const RWCString& text, long long profilerId) const {
  if (const auto full = _abbreviations.getFullStringForAbbreviation(text.view())) return *full;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Abbreviation %s of collector %i is unknown for application server %s",
              text.data(), profilerId, _server.getName().data());
  return text;
}

void CollectorSession::postMessage(const ZOVMessageSample& sample) {
  ZOV_TRACE(Restricted);
  ZOVAgentEnvironment* const environment = ZOVAgentEnvironment::pEnvironment;
  if (!environment) return;
  const std::string_view word = sample.messageText.view().substr(0, sample.messageText.first(' '));
  MessageRate& rate = _messageRates[RWCString(word).hash() % _messageRates.size()];
  if (!rate.admit()) return;
  ZOVTime time;
  time.convertFromJavaTime(sample.getNumericData(key::message_time));
  struct tm when {};
  time.extract(&when);
  const auto post = [&](std::string_view message) {
    RWCString text(ServerLiteral);
    text += _server.getName();
    // The server's name is to be seen behind a long message too.
    text.prepend(DGT1_Cut(message, MostMessage - std::min(text.length(), MostMessage / 2)));
    environment->productEventCollector().postProductEvent(
        ZOV_PLACE, __LINE__, &when, static_cast<int>(severityOf(sample.messageSeverity)), text.data());
  };
  if (const unsigned leftOut = rate.takeLeftOut()) {
    post(DGT1_FormatText("%s %u further messages were left out: %u a second are taken.",
                         DGT1_Cut(word, MostWord).c_str(), leftOut, MessageRate::PerSecond));
  }
  post(sample.messageText.view());
}

/// Texts of a server are in its JVM's encoding.
void CollectorSession::takeEncoding() {
  ZOV_TRACE(Private);
  RWCString encoding;
  if (!_variables.findJavaProperty(FileEncodingProperty, encoding)) return;
  if (_server.setEncoding(encoding.view())) ZOVServerServices::current().rewriteContextInfo();
}

}  // namespace zov
