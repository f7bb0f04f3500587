#include "remote/remote_psi_client.h"

#include <algorithm>
#include <climits>
#include <utility>

#include "diag/agent_log.h"
#include "platform/message_rate.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "server/application_server_base.h"
#include "transport/statistics_requests.h"

static DGT1_Unit traceUnit("ZOVRPSIC");

namespace {

constexpr unsigned long long AllStatisticsMask = 0x7ffffffffULL;

/// What a request of a mask asks the JVM for: the group of the statistics, the type of the samples that come,
/// and which names of the resource it tells.
enum Names { NoName, ResourceName, BothNames };
struct SpecificRequest {
  unsigned long long mask;
  int group;
  int sampleType;
  Names names;
};
constexpr unsigned long long high(unsigned long long word) {
  return word << 32;
}
constexpr SpecificRequest SpecificRequests[] = {
    {0x1, 0, ZOVSample::SampleTypeApplicationServer, NoName},
    {0x2, 1, ZOVSample::SampleTypeContainer, NoName},
    {0x4, 2, ZOVSample::SampleTypeTransaction, NoName},
    {0x8, 3, ZOVSample::SampleTypeObjectPool, NoName},
    {0x10, 4, ZOVSample::SampleTypeEJB, BothNames},
    {0x40, 6, ZOVSample::SampleTypeDBConnection, NoName},
    {0x80, 7, ZOVSample::SampleTypeWebApplication, BothNames},
    {0x100, 8, ZOVSample::SampleTypeServlet, BothNames},
    {0x4000000, 9, ZOVSample::SampleTypeCache, NoName},
    {0x8000000, 10, ZOVSample::SampleTypeCacheTemplate, ResourceName},
    {0x10000000, 11, ZOVSample::SampleTypeJ2CPool, ResourceName},
    {0x20000000, 12, 70, NoName},
    {0x40000000, 13, 71, ResourceName},
    {0x80000000, 14, ZOVSample::SampleTypeServletSessions, ResourceName},
    {high(0x1), 15, 73, ResourceName},
    {high(0x2), 16, 75, NoName},
    {high(0x4), 17, 74, NoName},
    {high(0x400), 18, 77, NoName},
    {high(0x800), 19, 78, NoName},
    {high(0x1000), 20, 79, NoName},
    {high(0x2000), 21, 80, NoName},
};

SpecificRequest specificRequest(unsigned long long mask) {
  const auto* const row = std::ranges::find(SpecificRequests, mask, &SpecificRequest::mask);
  return row == std::end(SpecificRequests) ? SpecificRequest{mask, 0, ZOVSample::SampleTypeNone, NoName}
                                           : *row;
}

RWCString namesOf(const RPXCollectionRequest& request, Names names) {
  if (names == NoName) return {};
  if (names == ResourceName) return request.getParm1();
  RWCString joined = request.getParm1();
  joined.append(ZOVRemoteResourceManager::RemotePSIClient::Delimiter);
  return joined + request.getParm2();
}

}  // namespace

ZOVRemoteResourceManager::RemotePSIClient::~RemotePSIClient() {
  RemotePSIClient::shutdown();
}

RWCString ZOVRemoteResourceManager::RemotePSIClient::getName() const {
  return _jvm.getName() + DGT1_FormatText(":%i", _clientId.load()).c_str();
}

void ZOVRemoteResourceManager::RemotePSIClient::ask(unsigned long long mask,
                                                    ZOVApplicationServerBase* server) {
  ZOV_TRACE(Restricted);
  auto request = std::make_unique<RPXCollectionRequest>(mask, server, nullptr);
  request->setDeleteWhenDone();
  offer(request.release());
}

void ZOVRemoteResourceManager::RemotePSIClient::disconnected() {
  ZOV_TRACE(Public);
  _initialised = false;
  _connection = 0;
  _clientId = -1;
  _manager.removeAppServersRelatedToClient(*this);
}

// --- The thread.

void ZOVRemoteResourceManager::RemotePSIClient::backgroundProcessing() {
  ZOV_TRACE(Public);
  startupCompleted(1);
  guarded(ZOV_PLACE, [this] {
    if (createRemotePSIClient() == ZOV_OK) testIfFullyInitialized();
  });
  while (!isShutdownRequested()) {
    const auto failure = guarded(ZOV_PLACE, [this] { turn(); });
    _serverInHand.reset();
    _samplesInHand.clear();
    if (failure && _requestInHand) std::exchange(_requestInHand, nullptr)->finish(ZOV_CLIENT_EXCEPTION);
  }
}

void ZOVRemoteResourceManager::RemotePSIClient::turn() {
  ZOV_TRACE(Private);
  _requestInHand = static_cast<RPXCollectionRequest*>(waitForNextRequest());
  if (!_requestInHand) return;
  _serverInHand = _requestInHand->getServer();
  const ZOVReturnCode code = _requestInHand->hasServer() && !_serverInHand ? ZOVReturnCode(ZOV_NO_SUCH_SERVER)
                                                                           : dispatch(*_requestInHand);
  std::exchange(_requestInHand, nullptr)->finish(code);
}

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::dispatch(RPXCollectionRequest& request) {
  ZOV_TRACE(Private);
  if (const ZOVReturnCode rc = isReady()) return rc;
  switch (request.getMask()) {
    case PingServersMask:
      DGT1_Printf(traceUnit, DGT1_DETAIL, "Calling to ping application server");
      return pingAppServers();
    case EnumerateServersMask:
      DGT1_Printf(traceUnit, DGT1_DETAIL, "Calling to enumerate application servers");
      return processEnumerateAppServersRequest();
    case RefreshNamesMask:
      DGT1_Printf(traceUnit, DGT1_DETAIL, "Calling to Refresh Name Cache");
      return processRefreshNameCacheRequest();
    case AllStatisticsMask:
      DGT1_Printf(traceUnit, DGT1_DETAIL, "Calling to collect all data");
      return collectAllPSIData(request);
    default:
      return processSpecificPSIRequest(request);
  }
}

// --- The JVM's side of this client.

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::isReady() {
  ZOV_TRACE(Private);
  if (!isConnected()) return ZOV_CLIENT_NOT_CONNECTED;
  return testIfFullyInitialized();
}

bool ZOVRemoteResourceManager::RemotePSIClient::isConnected() {
  if (hasClientId()) return true;
  if (_retryCount >= MaximumRetries) {
    DGT1_Printf(traceUnit, DGT1_ERROR,
                "Unable to reconnect to PSI client for TSLHome %s - maximum retry limit reached",
                _jvm.getName().data());
    return false;
  }
  ++_retryCount;
  return createRemotePSIClient() == ZOV_OK;
}

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::createRemotePSIClient() {
  ZOV_TRACE(Private);
  if (isShutdownRequested()) return ZOV_TASK_SHUTTING_DOWN;
  _initialised = false;
  _serverInHand = _jvm.getServer();
  if (!_serverInHand) return ZOV_CLIENT_NOT_CONNECTED;
  const ZOVCreatePSIClientRequest wire(_serverInHand->getServerRootDirectory(), _serverInHand->getName(),
                                       _serverInHand->getProcessId(), _serverInHand->getWorkingDirectory(),
                                       fixupClassName(getExceptionClassName()));
  // On the heap: a raise leaves it to the JVM's thread, which may still be at it.
  const auto request = std::make_unique<RemoteJVMSocketRequest>(wire, RemoteJVMSocketRequest::ResponseOnly,
                                                                _manager.socketReceiveTimeout());
  if (const ZOVReturnCode rc = waitFor(*request)) return rc;
  if (request->value() <= 0 || request->value() > INT_MAX) return ZOV_CLIENT_NOT_CONNECTED;
  _clientId = static_cast<int>(request->value());
  _connection = request->connection();
  return ZOV_OK;
}

/// 0 when the JVM's side has passed its test on this connection, or does now; else 151.
ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::testIfFullyInitialized() {
  ZOV_TRACE(Private);
  if (_initialised && !_needsTest) return ZOV_OK;
  if (sendAndGetResponse(ZOVTestPSIClientStatusRequest(_clientId)) != ZOV_OK)
    return ZOV_CLIENT_NOT_INITIALIZED;
  ZOV_LOG_MESSAGE(ZOVA0128I, getName(), _jvm.getToken());
  const bool wasInitialised = _initialised.exchange(true);
  _needsTest = false;
  if (wasInitialised) return ZOV_OK;
  setDelimiter();
  resetRetryCount();
  _jvm.resetRetryCount();
  _manager.notifyAppServersAreConnected(*this);
  ask(EnumerateServersMask, nullptr);
  return ZOV_OK;
}

void ZOVRemoteResourceManager::RemotePSIClient::setDelimiter() {
  sendAndGetResponse(ZOVSetPSIDelimeter(_clientId, RWCString(std::string_view(&Delimiter, 1))));
}

// --- What is asked for.

/// A client that does not answer well is tested before its next request.
ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::pingAppServers() {
  const ZOVReturnCode rc = sendAndGetResponse(ZOVPingTSLInstancesRequest(_clientId));
  if (rc != ZOV_OK) _needsTest = true;
  return rc;
}

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::processEnumerateAppServersRequest() {
  const ZOVReturnCode rc =
      sendRequestAndGetSamples(ZOVGetTSLInstances(_clientId), _manager.socketReceiveTimeout());
  return rc == ZOV_OK ? _manager.handleAppServerSamples(_samplesInHand, shared_from_this()) : rc;
}

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::processRefreshNameCacheRequest() {
  return sendAndGetResponse(ZOVGetPSINameSpacesRequest(_clientId, serverName()));
}

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::collectAllPSIData(RPXCollectionRequest& request) {
  return collect(ZOVGetAllPSIDataRequest(_clientId, serverName()), ZOVSample::SampleTypeNone, request);
}

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::processSpecificPSIRequest(
    RPXCollectionRequest& request) {
  const SpecificRequest row = specificRequest(request.getMask());
  return collect(ZOVGetPSISamples(_clientId, serverName(), row.group, namesOf(request, row.names)),
                 row.sampleType, request);
}

/// Empty without a server: all that the client knows are meant.
RWCString ZOVRemoteResourceManager::RemotePSIClient::serverName() const {
  return _serverInHand ? _serverInHand->getName() : RWCString();
}

/// What came before a failure does not count, but for one that the JVM could recover from.
ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::collect(const ZOVRequest& wire, int sampleType,
                                                                 RPXCollectionRequest& request) {
  ZOV_TRACE(Private);
  const int timeout = request.getTimeout() > 0 ? request.getTimeout() : _manager.socketReceiveTimeout();
  const ZOVReturnCode rc = sendRequestAndGetSamples(wire, timeout);
  if (rc != ZOV_OK && rc != ZOV_RECOVERABLE_JAVA_EXCEPTION) return rc;
  for (const auto& sample : _samplesInHand) {
    if (std::unique_ptr<ZOVSample> built = processPSISample(*sample, sampleType)) {
      request.insert(built.release());
    }
  }
  return rc;
}

/// Null for what is no resource's sample: the rest of the set is kept.
std::unique_ptr<ZOVSample> ZOVRemoteResourceManager::RemotePSIClient::processPSISample(
    const ZOVSample& sample, int sampleType) {
  if (sample.getSampleType() == ZOVSample::SampleTypePSI) {
    const long long told = sample.getNumericData(zov::key::statistics_figure);
    if (told > 0 && told <= INT_MAX) sampleType = static_cast<int>(told);
    const char* const text = sample.getStringData(zov::key::statistics_text).data();
    DGT1_Printf(traceUnit, DGT1_DETAIL, "pSampleText=%s.", text);
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Processing sample with SampType=%i.", sampleType);
    const auto type = static_cast<ZOVSample::_SampleType>(sampleType);
    if (ZOVSample::getDataSource(type) == ZOVSample::DataSourceResource) {
      if (auto* const built = ZOVSample::buildFromSampleString(type, text)) {
        return std::unique_ptr<ZOVSample>(built);
      }
    }
  }
  DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "A sample of type %i, for statistics of type %i, is skipped",
                     sample.getSampleType(), sampleType);
  return nullptr;
}

// --- Exchanges.

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::sendAndGetResponse(const ZOVRequest& wire) {
  const auto request = std::make_unique<RemoteJVMSocketRequest>(wire, RemoteJVMSocketRequest::ResponseOnly,
                                                                _manager.socketReceiveTimeout());
  return waitFor(*request);
}

/// The samples are then in hand.
ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::sendRequestAndGetSamples(const ZOVRequest& wire,
                                                                                  int timeout) {
  const auto request =
      std::make_unique<RemoteJVMSocketRequest>(wire, RemoteJVMSocketRequest::SamplesAndResponse, timeout);
  return waitFor(*request);
}

ZOVReturnCode ZOVRemoteResourceManager::RemotePSIClient::waitFor(RemoteJVMSocketRequest& request) {
  _samplesInHand.clear();
  _jvm.processRequest(&request, ReturnAtOnce);
  while (auto* const sample = static_cast<ZOVSample*>(request.get())) _samplesInHand.emplace_back(sample);
  return request.getResult();
}
