// The session with a server's data collector: binding it, the exchanges on its socket, and the polls.

#include <array>
#include <map>

#include "collectors/product_event_collector.h"
#include "diag/agent_log.h"
#include "runtime/environment.h"
#include "runtime/recovery.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "samples/sample_classes.h"
#include "server/application_server.h"
#include "transport/buffer.h"
#include "transport/exchange.h"
#include "transport/ping_request.h"
#include "transport/poll_request.h"
#include "transport/response.h"
#include "transport/session_listener.h"
#include "transport/socket_connection.h"

static DGT1_Unit traceUnit("ZOVASESS");

namespace {

constexpr const char* ServerLiteral = " Server: ";
enum : int { KeyCollector = 4, KeyMessageTime = 1123 };
constexpr int TracedTypes = 2048;

/// Owns the summary anchors of one poll.
struct SummaryAnchors : RWHashTable {
  ~SummaryAnchors() override { clearAndDestroy(); }
};

int severityOf(const RWCString& letter) {
  switch (letter.isNull() ? ' ' : letter.view().front()) {
    case 'E':
      return 2;
    case 'S':
      return 3;
    case 'W':
      return 1;
    default:
      return 0;
  }
}

void traceCounts(const ZOVApplicationServer::SampleList& samples) {
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

}  // namespace

struct ZOVApplicationServer::Poll {
  SampleList samples;
  std::size_t frames = 0;
  std::size_t bytes = 0;           // of all frames
  bool complete = false;           // the end marker came
  bool propertiesArrived = false;  // Java properties
  unsigned int collectionId = 0;
};

// --- Binding.

ZOVReturnCode ZOVApplicationServer::isThisYourPing(const ZOVPingRequest& ping) {
  ZOV_TRACE(Public);
  if (ping.getAppServerName() != getName() || ping.getServerRootDirectory() != getServerRootDirectory()) {
    return ZOV_NOT_MATCHING_PING;
  }
  if (!isConnectedWithProfiler()) return 0;
  return requestTestConnectivity() == 0 ? ZOV_PING_NOT_EXPECTED : ZOV_OK;
}

bool ZOVApplicationServer::foundProfiler(const std::shared_ptr<ZOVSocketConnection>& socket,
                                         const ZOVPingRequest& ping) {
  ZOV_TRACE(Public);
  if (isExcludedFromMonitoring()) return false;
  clearEnvVariables();
  clearJVMProperties();
  // Behind a session that is just ending: its end sets the status too, under the same lock.
  holding(_socketLock, Exclusive, [&] { setStatus(ServerConnected); });
  setDCProbeManagerProcessId(static_cast<unsigned int>(ping.getProcessId()));
  if (setLocaleName(ping.getLocaleName().view())) ZOVServerServices::current().rewriteContextInfo();
  holding(_socketLock, Exclusive, [&] {
    bindSocket(socket);
    startDefaultCollections();
  });
  if (CollectingRequestData()) {
    const ZOVResourceAnchor everything(EverythingSampleType);
    getOnDemandProfilerSamples(everything);
  }
  _statistics.sessionBegan();
  return true;
}

void ZOVApplicationServer::bindSocket(const std::shared_ptr<ZOVSocketConnection>& socket) {
  ZOV_FUNCTION;
  shutdownSocket();
  {
    const std::scoped_lock lock(_socketMutex);
    _socket = socket;
  }
  ZOV_LOG_MESSAGE(ZOVA0012I, getName());
  socket->setConnectionName(getName().data());
  _abbreviationTable.clearAndDestroy();
}

void ZOVApplicationServer::startDefaultCollections() {
  ZOV_FUNCTION;
  if (const ZOVReturnCode rc = startDefaultRequestCollection()) {
    ZOV_LOG_ERROR(ZOVA0064E, getName(), rc.getDescription());
  }
  if (const ZOVReturnCode rc = startDefaultGCCollection(); rc != 0 && rc != ZOV_NO_GC_FILE) {
    ZOV_LOG_ERROR(ZOVA0121E, getName(), rc.getDescription());
  }
}

void ZOVApplicationServer::setDCProbeManagerProcessId(unsigned int id) {
  ZOV_TRACE(Restricted);
  ZOVApplicationServerBase::setDCProbeManagerProcessId(id);
  setPendingDCInstanceId(id);
  if (isDCInstancePending()) bindPendingDCInstance();
}

void ZOVApplicationServer::bindPendingDCInstance() {
  if (getCurrentDCInstanceId() != 0) {
    terminateCurrentDCInstance();
  } else {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Binding initial DC session. Pending DC InstanceID: %d",
                getPendingDCInstanceId());
  }
  setCurrentDCInstanceId();
}

void ZOVApplicationServer::terminateCurrentDCInstance() {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Terminating current DC session. DC InstanceID: %d",
              getCurrentDCInstanceId());
  startedCollectingRequestData(0);
  startedCollectingGCData(0);
  shutdownSocket();
  _anchors.markLogicallyDeleted();
}

// --- The socket.

void ZOVApplicationServer::shutdownSocket() {
  ZOV_TRACE(Public);
  holding(_socketLock, Exclusive, [&] {
    // Under _socketLock nobody else changes _socket.
    if (!_socket) return;
    if (ZOVProfilerSocketMonitor* const monitor = ZOVProfilerSocketMonitor::pMonitor) {
      monitor->deleteSocket(_socket.get());
    }
    _socket->shutdownSocket();
    {
      const std::scoped_lock lock(_socketMutex);
      _socket.reset();
    }
    startedCollectingRequestData(0);
    startedCollectingGCData(0);
    ZOV_LOG_ERROR(ZOVA0016E, getName());
  });
}

void ZOVApplicationServer::interruptSocket() {
  const std::scoped_lock lock(_socketMutex);
  if (_socket) _socket->shutdownSocket();
}

int ZOVApplicationServer::isConnectedWithProfiler() const {
  const std::scoped_lock lock(_socketMutex);
  return _socket != nullptr;
}

void ZOVApplicationServer::socketError(const ZOVReturnCode& code) {
  ZOV_TRACE(Public);
  ZOV_LOG_ERROR(ZOVA0015E, code.getDescription(), getName());
  shutdownSocket();
  setStatus(ServerDisconnected);
}

/// Runs an exchange, body(socket), under the socket lock. A failure other than a refusal ends the session,
/// and so does a raise: the stream then stands in the middle of a frame.
template <class Body>
ZOVReturnCode ZOVApplicationServer::exchange(const char* function, const ZOVReturnCode& withoutSocket,
                                             Body&& body) {
  return holding(_socketLock, Exclusive, [&] {
    if (!_socket) return withoutSocket;
    ZOVReturnCode rc = 0;
    if (const auto failure = guarded(traceUnit.tag(), function, [&] { rc = body(*_socket); })) {
      rc = failure->getReturnCode() ? failure->getReturnCode() : ZOVReturnCode(ZOV_EXCEPTION_CAUGHT);
    }
    if (rc != 0 && rc != ZOV_INVALID_RESPONSE) socketError(rc);
    return rc;
  });
}

ZOVReturnCode ZOVApplicationServer::testConnectivity() {
  ZOV_TRACE(Public);
  const ZOVPingRequest ping;
  return exchange(zovFunction.text, ZOV_SOCKET_NOT_CONNECTED, [&](ZOVSocketConnection& socket) {
    const ZOVReturnCode rc = zovExchange(&socket, ping, static_cast<int>(zovWaits().testConnectivitySeconds),
                                         ResponseExpected, nullptr, nullptr);
    if (rc == ZOV_INVALID_RESPONSE) socketError(rc);
    return rc;
  });
}

ZOVReturnCode ZOVApplicationServer::sendProfilerCollectionRequest(const ZOVRequest& request, long long* value,
                                                                  RWCString* text) {
  ZOV_TRACE(Public);
  if (value) *value = 0;
  if (text) text->clear();
  return exchange(zovFunction.text, ZOV_SOCKET_CLOSED, [&](ZOVSocketConnection& socket) {
    return zovExchange(&socket, request, static_cast<int>(getSocketReceiveTimeout()), ResponseExpected, value,
                       text);
  });
}

// --- One poll.

ZOVReturnCode ZOVApplicationServer::obtainSamplesFromProfiler(ZOVPollRequest& request,
                                                              const ZOVResourceAnchor& anchor) {
  ZOV_TRACE(Public);
  Poll poll;
  const ZOVReturnCode rc =
      exchange(zovFunction.text, ZOV_PROFILING_NOT_ACTIVE, [&](ZOVSocketConnection& socket) {
        poll.collectionId = nextCollectionId();
        return collectDataFromProfilerSocket(socket, request, poll);
      });
  if (rc != 0) return rc;
  if (poll.propertiesArrived) processJVMPropertiesFromSample();
  saveSamplesOfPoll(poll);
  removeObsoleteAfter(anchor, poll.collectionId);
  return 0;
}

ZOVReturnCode ZOVApplicationServer::collectDataFromProfilerSocket(ZOVSocketConnection& socket,
                                                                  const ZOVPollRequest& request, Poll& poll) {
  ZOVReturnCode rc = request.send(socket);
  while (rc == 0 && !poll.complete) {
    const std::unique_ptr<ZOVBuffer> frame = socket.receive(rc, getSocketReceiveTimeout(), LogEveryFailure);
    if (rc == 0 && frame) rc = takeFrame(socket, *frame, poll);
  }
  return rc;
}

ZOVReturnCode ZOVApplicationServer::takeFrame(ZOVSocketConnection& socket, ZOVBuffer& frame, Poll& poll) {
  poll.bytes += frame.length();
  if (++poll.frames > MaximumFramesPerPoll || poll.bytes > MaximumBytesPerPoll) return ZOV_INVALID_DATA;
  // These two have no class, so they go before they would count as damage.
  if (frame.peekDataType() == ZOVTransportableData::SampleDataType) {
    const int type = frame.peekSubtype();
    if (type == ZOVSample::SampleTypeProfilerSystem || type == ZOVSample::SampleTypeProfilerResource)
      return 0;
  }
  std::unique_ptr<ZOVTransportableData> object = ZOVTransportableData::buildFromBuffer(frame);
  if (!object) return ZOV_INVALID_DATA;
  if (object->getDataType() == ZOVTransportableData::SampleDataType) {
    return takeSampleFrame(std::unique_ptr<ZOVSample>(static_cast<ZOVSample*>(object.release())), poll);
  }
  const auto& request = static_cast<const ZOVRequest&>(*object);
  if (request.getRequestType() != ZOVRequest::PingRequestType) return ZOV_INVALID_DATA;
  ZOVResponse response(1, 0, nullptr);
  response.setCorrelatorId(request.getCorrelatorId());
  return response.send(socket);
}

ZOVReturnCode ZOVApplicationServer::takeSampleFrame(std::unique_ptr<ZOVSample> sample, Poll& poll) {
  switch (sample->getSampleType()) {
    case ZOVSample::SampleTypeEnd:
      poll.complete = true;
      return 0;
    case ZOVSample::SampleTypeStringAbbreviation:
      if (_abbreviationTable.entries() >= MaximumAbbreviations) return ZOV_INVALID_DATA;
      _abbreviationTable.createAbbreviation(static_cast<const ZOVStringAbbreviationSample&>(*sample));
      return 0;
    case ZOVSample::SampleTypeMessage:
      processMessageSample(static_cast<const ZOVMessageSample&>(*sample));
      return 0;
    case ZOVSample::SampleTypeEnvironmentVariable:
      addEnvVariableFromSample(*sample);
      break;
    case ZOVSample::SampleTypeJavaProperty:
      addJVMPropertyFromSample(*sample);
      poll.propertiesArrived = true;
      break;
    default:
      break;
  }
  poll.samples.push_back(std::move(sample));
  return 0;
}

/// With no lock held but the server's own, for each sample.
void ZOVApplicationServer::saveSamplesOfPoll(Poll& poll) {
  ZOV_TRACE(Private);
  traceCounts(poll.samples);
  SummaryAnchors summaries;
  for (std::unique_ptr<ZOVSample>& sample : poll.samples) {
    if (isMonitorStopping()) return;
    convertAbbreviatedStringsInSample(*sample);
    if (sample->shouldCreateSummarySamples()) sample->createSummarizedSamples(summaries);
    _anchors.saveSample(sample.release(), SaveSampleInterval, poll.collectionId);
  }
  if (summaries.isEmpty()) return;
  const std::unique_ptr<RWIterator> anchors = summaries.newIterator();
  saveSummarizedSamples(_anchors, *anchors, poll.collectionId);
}

/// What the poll covered and did not bring has left the server.
void ZOVApplicationServer::removeObsoleteAfter(const ZOVResourceAnchor& anchor, unsigned int collectionId) {
  const ZOVSample::_DataSource source = anchor.getDataSource();
  if (anchor.getSampleType() == EverythingSampleType) {
    for (const auto covered :
         {ZOVSample::DataSourceProfiler, ZOVSample::DataSourceWorkload, ZOVSample::DataSourceVerboseGC}) {
      removeObsoleteResourceAnchors(covered, collectionId);
    }
  } else if (source == ZOVSample::DataSourceWorkload || source == ZOVSample::DataSourceVerboseGC) {
    removeObsoleteResourceAnchors(source, collectionId);
  } else {
    removeObsoleteResourceAnchors(&anchor, collectionId);
  }
}

void ZOVApplicationServer::convertAbbreviatedStringsInSample(ZOVSample& sample) const {
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
      const RWCString full = lookupAbbreviatedString(text, sample.getNumericData(KeyCollector));
      sample.saveStringData(key, full.view());
    } else {
      RWCString plain = text;
      ZOVStringAbbreviationTable::convertNonAbbreviatedString(plain);
      sample.saveStringData(key, plain.view());
    }
  }
}

RWCString ZOVApplicationServer::lookupAbbreviatedString(const RWCString& text, long long profilerId) const {
  if (const auto full = _abbreviationTable.getFullStringForAbbreviation(text.view())) return *full;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Abbreviation %s of collector %i is unknown for application server %s",
              text.data(), profilerId, getName().data());
  return text;
}

void ZOVApplicationServer::processMessageSample(const ZOVMessageSample& sample) {
  ZOV_TRACE(Restricted);
  ZOVAgentEnvironment* const environment = ZOVAgentEnvironment::pEnvironment;
  if (!environment) return;
  ZOVTime time;
  time.convertFromJavaTime(sample.getNumericData(KeyMessageTime));
  struct tm when {};
  time.extract(&when);
  const RWCString text = sample.messageText + ServerLiteral + getName();
  environment->productEventCollector().postProductEvent(ZOV_PLACE, __LINE__, &when,
                                                        severityOf(sample.messageSeverity), text.data());
}
