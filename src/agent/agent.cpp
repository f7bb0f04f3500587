#include "agent/agent.h"

#include <unistd.h>

#include <cstring>

#include "agent/action_record.h"
#include "agent/agent_server_services.h"
#include "agent/agent_table_services.h"
#include "agent/house_keeper.h"
#include "collectors/diagnostics.h"
#include "context/session_directory.h"
#include "diag/agent_log.h"
#include "diag/component_trace.h"
#include "diag/utf8_handler.h"
#include "framework/process.h"
#include "logs/log_file.h"
#include "logs/log_file_collector.h"
#include "platform/descriptor_limit.h"
#include "platform/services.h"
#include "platform/version.h"
#include "remote/local_scripts.h"
#include "remote/script_helper.h"
#include "remote/system_command_manager.h"
#include "runtime/recovery.h"
#include "runtime/shutdown_probe.h"
#include "runtime/trace_scope.h"
#include "tables/metrics.h"
#include "tables/table_inits.h"
#include "tables/zovloganal.h"
#include "tables/zovprev.h"
#include "transport/session_listener.h"

static DGT1_Unit traceUnit("ZOVCAGNT");

namespace {
/// How long the agent's end waits for the framework's threads to leave the agent.
constexpr int RequestEndMilliseconds = 1000;
constexpr const char* ConfigurationDirectory = "ZOV_CONFIG_DIR";
constexpr int VersionBytes = 9;
/// How current the framework is told that data are, while the agent comes up and after.
constexpr int CurrencyKind = 2;
constexpr int CurrencyAtStart = 100;
constexpr int CurrencyInService = 10;

/// Words of ZOV_INTERNAL_TRACE.
constexpr struct {
  const char* word;
  std::uint32_t mask;
} InternalTraceWords[] = {
    {"YES", 0x1E00}, {"MINOR", 0x1E00}, {"PRIVATE", 0xE00}, {"RESTRICTED", 0x600}, {"PUBLIC", 0x200}};

/// An agent that may not change users has a helper run the scripts of servers.
std::unique_ptr<zov::ScriptRunner> makeScriptRunner() {
  const std::string helper = OSL1_GetEnv("ZOV_SCRIPT_HELPER", "");
  if (helper.empty()) return std::make_unique<zov::LocalScripts>();
  return std::make_unique<zov::HelperScripts>(helper);
}
}  // namespace

ZOVAgent::ZOVAgent(const char* /*configurationFile*/)
    : ZOVAgentEnvironment(std::make_unique<ZOVDiagnostics>()) {
  ZOV_TRACE(Public);
  initShutdownRequested();
  createComponentTrace();
  readInternalTraceSetting();
  buildConfigFilePrefix();
  auto configuration = std::make_unique<ZOVConfigParms>();
  if (configuration->readFromFile(_configFilePrefix.data()) == 0) {
    putInForce(std::move(configuration));
    ZOV_LOG_MESSAGE(ZOVA0173I, raiseDescriptorLimit());
    registerWithFramework();
    startComponents();
    ARQ_RegisterActionCallback(zov::logAction);
    ARQ_RegisterCommandCallback(CommandPrefix, handleQTCommand);
    ARQ_SetCurrency(CurrencyKind, CurrencyInService);
    _initialised = true;
  }
}

void ZOVAgent::createComponentTrace() {
  if (std::strcmp(OSL1_GetEnv("ZOV_AGENT_COMPONENT_TRACE", "YES"), "NO") == 0) return;
  _componentTrace = std::make_unique<ZOVAgentFrameworkComponentTrace>(ComponentTraceEntries);
}

void ZOVAgent::readInternalTraceSetting() {
  const RWCString setting = OSL1_GetEnv("ZOV_INTERNAL_TRACE", "NO");
  for (const auto& entry : InternalTraceWords) {
    if (setting.equals(entry.word, RWCString::ignoreCase)) return setInternalTrace(entry.mask);
  }
}

void ZOVAgent::buildConfigFilePrefix() {
  _configFilePrefix = OSL1_GetEnv(ConfigurationDirectory, "");
  if (!_configFilePrefix.isNull()) {
    const char last = _configFilePrefix[_configFilePrefix.length() - 1];
    if (last != '/' && last != '\\') _configFilePrefix.append('/');
  }
  _configFilePrefix += getCurrentSystemName() + "_";
}

void ZOVAgent::registerWithFramework() {
  ZOV_TRACE(Private);
  ARQ_SetAffinity(Affinity);
  ARQ_SetAffinity(Feature);
  const RWCString substitute = ZOVUTF8Handler::defaultMBSubstituteString;
  ARQ_SetSubsystemId(
      ZOVUTF8Handler(getConfigParms()->getAgentId()).convertToSBLocalString(substitute.data()).data());
  ARQ_RegisterAgentLoader(LoadAgents);
  zov::registerReload([] {
    if (ZOVAgent* const agent = current()) guarded(ZOV_PLACE, [&] { agent->reloadConfiguration(); });
  });
  zov::registerStatus([] {
    ZOVAgent* const agent = current();
    return agent != nullptr ? agent->statusLine() : std::string();
  });
  ARQ_SetCurrency(CurrencyKind, CurrencyAtStart);
  zov::introduceAgent({.version = zov::ProductVersion,
                       .node = getHostName("").str(),
                       .directory = OSL1_GetEnv(ConfigurationDirectory, ""),
                       .mostNodeBytes = ZOVNodeNames::MaximumLength});
  char version[VersionBytes] = {};
  ARQ_SetVersionUsingProduct(CommandPrefix, version, VersionBytes);
  _agentVersion = version;
}

/// The context before the listener: what a collector's ping finds must exist.
void ZOVAgent::startComponents() {
  ZOV_TRACE(Private);
  _serverServices = std::make_unique<zov::AgentServerServices>(*this);
  _tableServices = std::make_unique<zov::AgentTableServices>(*this);
  _logFileCollector =
      std::make_shared<ZOVLogFileCollector>(getConfigParms(nullptr, nullptr)->getLogScanInterval());
  _logFileCollector->startBackgroundThread();
  _applicationContext = std::make_unique<ZOVApplicationContext>(_configFilePrefix.data());
  _applicationContext->startBackgroundThread();
  _systemCommandManager = new ZOVSystemCommandManager(makeScriptRunner());
  _systemCommandManager->startBackgroundThread();

  _resourceManagerProxy = ZOVResourceManagerProxy::getProxy();
  _resourceManagerProxy->startBackgroundThread();
  _sessionDirectory = std::make_unique<zov::ContextSessionDirectory>(*_applicationContext);
  _profilerSocketMonitor =
      std::make_unique<ZOVProfilerSocketMonitor>(collectorSessionPort(), *_sessionDirectory);
  _profilerSocketMonitor->startBackgroundThread();
  _houseKeeper = std::make_unique<ZOVHouseKeeper>(*this);
  _houseKeeper->startBackgroundThread();
}

std::uint16_t ZOVAgent::collectorSessionPort() const {
  const int port = getConfigParms()->getCollectorSessionPort();
  if (port > 0 && port <= UINT16_MAX) return static_cast<std::uint16_t>(port);
  if (port != 0) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "The port for collectors is %d; accepted are 0 to %d; %d is used",
                port, UINT16_MAX, DefaultCollectorSessionPort);
  }
  return DefaultCollectorSessionPort;
}

int ZOVAgent::Process(int argc, char** argv) {
  ZOV_TRACE(Public);
  ZOV_LOG_MESSAGE(ZOVA0001I);
  _applicationContext->start();
  int result = 0;
  const auto failure = guarded(ZOV_PLACE, [&] { result = arkmain(argc, argv); });
  return failure ? 0 : result;
}

int ZOVAgent::LoadAgents() {
  ZOV_TRACE(Public);
#define ZOV_TABLE(sort, stem, ...) zov_##stem##_init();
#include "tables/tables.def"
  zov::introduceMetrics(&zov::TableMetrics::instance());
  ZOVProductEventCollector::setEmitter(zov_zovprev_agent::emitEvent);
  ZOVLogFile::setEmitter(zov_zovloganal_agent::emitEvent);
  if (ZOVAgentEnvironment* environment = pEnvironment) {
    environment->productEventCollector().releasePendingSamples();
  }
  return 0;
}

ZOVAgent::~ZOVAgent() {
  ZOV_TRACE(Public);
  _shuttingDown = true;
  if (_applicationContext) _applicationContext->interrupt();  // others may wait for it in its start delay
  _houseKeeper.reset();
  shutdownComponents();
  execShutdownRequested();
  if (const int remaining = ARQ_AwaitRequests(RequestEndMilliseconds); remaining != 0) {
    // They hold servers and locks, so nothing may be freed under them; all that must be kept is on disk.
    DGT1_Printf(traceUnit, DGT1_ERROR, "%d requests did not end; the process ends without them", remaining);
    ::_exit(0);
  }
  if (_systemCommandManager) _systemCommandManager->partFromAgent();
  _profilerSocketMonitor.reset();
  _sessionDirectory.reset();
  _resourceManagerProxy.reset();
  _logFileCollector.reset();
  _configParms = nullptr;
  _configurations.clear();
  _applicationContext.reset();  // last, since every server lives in it
  _tableServices.reset();
  _serverServices.reset();
}

void ZOVAgent::shutdownComponents() {
  ZOV_TRACE(Private);
  if (_profilerSocketMonitor) _profilerSocketMonitor->shutdown();
  if (_resourceManagerProxy) _resourceManagerProxy->shutdown();
  if (_applicationContext) _applicationContext->shutdown();
  if (_logFileCollector) _logFileCollector->shutdown();
}

ZOVAgentConfigParms* ZOVAgent::getConfigParms() const {
  ZOVConfigParms* const inForce = _configParms;
  return inForce ? inForce->getAgentConfigParms() : nullptr;
}

ZOVAppServerConfigParms* ZOVAgent::getConfigParms(const char* name, const char* root) const {
  ZOVConfigParms* const inForce = _configParms;
  return inForce ? inForce->getAppServerConfigParms(name, root) : nullptr;
}

int ZOVAgent::saveComponentTraceEntry(ZOVAgentFrameworkComponentTraceEntry* entry) {
  if (!_componentTrace) return 0;
  _componentTrace->insert(entry);
  return 1;
}
