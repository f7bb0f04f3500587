#pragma once
// ZOVAgent: the one object of the process. Its constructor brings up every background component in a fixed
// order and registers the agent with the framework; Process gives the thread to the framework until that is
// told to stop; the destructor takes everything down again. All code reaches it through
// ZOVAgentEnvironment::pEnvironment, or current().
//
// Threads. Construction, Process and destruction run on the main thread. From the moment that the context
// exists background threads run, so they test a component for null that comes after it. Table queries and
// commands enter on the framework's threads, several at once, after LoadAgents; none is inside any more when
// the destructor frees what they use (or it ends the process instead of freeing).
//
// Locks. The agent's own lock guards nothing of its own; it is there for those who need one for the whole
// agent. A walk over servers holds the context's lock shared; one that may wait for a server works on a copy
// of the list instead.
//
// Return codes are those of runtime/return_codes.def.

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "config/config_parms.h"
#include "config/node_names.h"
#include "context/application_context.h"
#include "runtime/environment.h"
#include "runtime/lock.h"
#include "samples/sample.h"
#include "server/resource_manager_proxy.h"
#include "tables/sorted_sample.h"

class TqboxAutomationCapsule;
namespace zov {
class AgentServerServices;
class AgentTableServices;
class TakeActionParser;
}  // namespace zov
class ZOVAgentFrameworkComponentTrace;
class ZOVAgentFrameworkComponentTraceEntry;
class ZOVApplicationServer;
class ZOVApplicationServerBase;
namespace zov {
class ContextSessionDirectory;
}
class ZOVHouseKeeper;
class ZOVLogFileCollector;
class ZOVProfilerSocketMonitor;
class ZOVQuotedStringParser;
class ZOVSystemCommandManager;
class tqbox;
struct QFL1_FILTERINFO;

class ZOVAgent : public ZOVAgentEnvironment {
 public:
  using _sampleCallbackParms = ZOVSampleCallbackParms;
  using ExtendedFilter = zov::ExtendedFilter;
  using SortedSample = zov::SortedSample;
  using _FilterTableDef = zov::FilterTableDef;
  using _KeywordTable = zov::KeywordTableEntry;
  using _GetNewSample = zov::GetNewSample;
  using TakeActionParser = zov::TakeActionParser;
  using _StringTruncationType = ZOVNodeNames::_StringTruncationType;

  static constexpr const char* CommandPrefix = "OV";  ///< the product; routes commands to the agent
  static constexpr const char* Feature = "AFF_FEAT_INTERNATIONALIZATION";
  static constexpr const char* Affinity = "0000000000000000000000000000001000000000000";
  static constexpr std::uint16_t DefaultCollectorSessionPort = 63335;
  static constexpr int ComponentTraceEntries = 50;

  /// The argument changes nothing: where the configuration file stands is told by the environment alone.
  explicit ZOVAgent(const char* configurationFile);
  ~ZOVAgent() override;

  static void* operator new(std::size_t size) { return ZOVMemoryManager::operator new(size); }
  static void operator delete(void* pointer, std::size_t size) { ZOVMemoryManager::release(pointer, size); }

  /// The agent of this process; null when there is none, and in tests that have another environment.
  static ZOVAgent* current() { return dynamic_cast<ZOVAgent*>(pEnvironment.load()); }

  bool isInitialised() const { return _initialised; }  ///< construction has worked
  bool isShuttingDown() const { return _shuttingDown; }
  /// Runs the framework until it is told to stop; answers its result, or 0 after a program exception.
  int Process(int argc, char** argv);
  /// The framework's callback: registers the tables, then lets the events go that waited for them. Answers 0.
  static int LoadAgents();

  /// Reads the configuration file again, and says by messages what has changed, and when each change counts.
  /// A file with anything wrong in it changes nothing. The main thread calls.
  void reloadConfiguration();
  /// A line about the servers, for who looks at the service.
  std::string statusLine();

  int lock(_LockRequestType type, _WaitRequestType wait) { return _agentLock.get(type, wait); }
  void release(_LockRequestType type) { _agentLock.release(type); }

  // --- Components; null while they do not exist.
  ZOVApplicationContext* applicationContext() const { return _applicationContext.get(); }
  std::shared_ptr<ZOVResourceManagerProxy> resourceManagerProxy() const { return _resourceManagerProxy; }
  std::shared_ptr<ZOVLogFileCollector> logFileCollector() const { return _logFileCollector; }
  ZOVSystemCommandManager* systemCommandManager() const { return _systemCommandManager; }
  /// The agent's parameters, or those of a server of this name and root; null without a configuration.
  ZOVAgentConfigParms* getConfigParms() const;
  ZOVAppServerConfigParms* getConfigParms(const char* name, const char* root) const;
  const RWCString& getAgentVersion() const { return _agentVersion; }

  /// Takes over the entry and answers 1; answers 0, with the entry still the caller's, when component tracing
  /// is off.
  int saveComponentTraceEntry(ZOVAgentFrameworkComponentTraceEntry* entry);

  // --- Names (names.cpp); the rules stand at ZOVNodeNames.
  /// The short host name in UTF-8. The first call is the constructor's, so that later ones only read.
  RWCString getCurrentSystemName();
  static char getSysSepChar() { return ZOVNodeNames::getSysSepChar(); }
  /// The agent's node name; the argument is not looked at.
  RWCString getHostName(const RWCString& subsystem);
  static RWCString assembleSubnodeName(RWCString serverName, RWCString hostName);
  static RWCString editSubNodeComponent(RWCString& component);
  /// The node that a request came through: of a command its origin, else the first subnode; of another
  /// request the text of its column ORIGINNODE in row `row`.
  static RWCString DetermineName(tqbox* request, int row);
  static RWCString getTruncatedString(const char* text, unsigned int maximum, _StringTruncationType type);

  // --- Take Action (take_action.cpp).
  /// The framework's callback for a command: finds its server, carries it out, replies and logs. Answers the
  /// return code, which it leaves in the capsule too.
  static long handleQTCommand(TqboxAutomationCapsule* capsule);
  /// One for each command. Excess arguments and malformed numbers give ZOV_INVALID_COMMAND, and the server is
  /// not called.
  unsigned int handleRemoveSubNodeCommand(const std::shared_ptr<ZOVApplicationServer>& server);
  unsigned int handleAppServerStartCommand(ZOVQuotedStringParser& parser, ZOVApplicationServer* server);
  unsigned int handleAppServerStopCommand(ZOVQuotedStringParser& parser, ZOVApplicationServer* server);
  unsigned int handleAppServerRecycleCommand(ZOVQuotedStringParser& parser, ZOVApplicationServer* server);
  unsigned int handleStartResourceDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                        ZOVApplicationServer* server);
  unsigned int handleStopResourceDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                       ZOVApplicationServer* server);
  unsigned int handleStartGCDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                  ZOVApplicationServer* server);
  unsigned int handleStopGCDataCollectionCommand(ZOVQuotedStringParser& parser, ZOVApplicationServer* server);
  unsigned int handleStartRequestDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                       ZOVApplicationServer* server);
  unsigned int handleStopRequestDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                      ZOVApplicationServer* server);
  unsigned int handleSetRequestDataCollectionCommand(ZOVQuotedStringParser& parser,
                                                     ZOVApplicationServer* server);

  // --- Retrieval (retrieval.cpp): from a table query to samples.
  /// Hands the samples that the wanted anchor selects to the callback: of one server, or without a subnode of
  /// all. 0 when any server had some; ZOV_NO_SUCH_SERVER when none matches; else the last server's code.
  unsigned int getSamples(ZOVSampleCallback callback, _sampleCallbackParms* parms, const char* subnode,
                          const ZOVResourceAnchor* anchor, _SaveSampleType saveType, _GetNewSample getNew);
  unsigned int getSamplesFromAppServer(ZOVApplicationServerBase* server, ZOVSampleCallback callback,
                                       _sampleCallbackParms* parms, const ZOVResourceAnchor* anchor,
                                       _SaveSampleType saveType, _GetNewSample getNew);
  unsigned int getLogFileSamples(ZOVSampleCallback callback, _sampleCallbackParms* parms,
                                 const char* subnode);
  /// Of the agent, not of a server: the subnode is not looked at.
  unsigned int getProductEventSamples(ZOVSampleCallback callback, _sampleCallbackParms* parms,
                                      const char* subnode);
  /// Reads the filters of a request into the targets of `table`. `entry`, `keywords` and `filter` may be
  /// null; without the last two PARMA is ignored.
  void extractFilterInfo(tqbox& request, const _FilterTableDef* table, int tableSize, int dump,
                         ZOVAgentFrameworkComponentTraceEntry* entry, const _KeywordTable* keywords,
                         ExtendedFilter** filter);
  /// The caller deletes the result; null when the value does not ask for one.
  ExtendedFilter* createExtendedFilterFromParmA(QFL1_FILTERINFO* info, const _KeywordTable* keywords);
  /// Traces a request that found no resource; other codes pass unnoticed.
  void errorGettingSamples(tqbox& request, const ZOVReturnCode& rc, const char* subnode,
                           ZOVSample::_SampleType type);
  void removeObsoleteResourceAnchorsByTime(ZOVSample::_DataSource source);
  /// Has fresh messages fetched from each server whose background collection does not bring them anyway. Does
  /// not wait for them: they come as events.
  void getWorkloadAnalysisMessages();

 private:
  void createComponentTrace();
  void readInternalTraceSetting();
  void buildConfigFilePrefix();
  void putInForce(std::unique_ptr<ZOVConfigParms> configuration);
  void registerWithFramework();
  void startComponents();
  std::uint16_t collectorSessionPort() const;
  void shutdownComponents();
  struct Command;
  unsigned int carryOut(const TqboxAutomationCapsule& capsule, Command& command);
  unsigned int perform(ZOVQuotedStringParser& parser, const Command& command);

  ZOVLock _agentLock{"AgentLock"};
  std::unique_ptr<zov::AgentServerServices> _serverServices;  // registered for the agent's life
  std::unique_ptr<zov::AgentTableServices> _tableServices;    // likewise
  std::shared_ptr<ZOVResourceManagerProxy> _resourceManagerProxy;
  std::shared_ptr<ZOVLogFileCollector> _logFileCollector;  // every log file holds it, too
  std::unique_ptr<ZOVApplicationContext> _applicationContext;
  std::unique_ptr<zov::ContextSessionDirectory> _sessionDirectory;
  ZOVSystemCommandManager* _systemCommandManager = nullptr;  // its thread ends with the process
  std::unique_ptr<ZOVProfilerSocketMonitor> _profilerSocketMonitor;
  std::unique_ptr<ZOVHouseKeeper> _houseKeeper;
  RWCString _systemName;        // the short host name; written once, by the constructor
  RWCString _configFilePrefix;  // directory and host part of the configuration file's path
  std::unique_ptr<ZOVAgentFrameworkComponentTrace> _componentTrace;  // null when it is off
  /// Each that was ever in force, since their parameters are in the hands of servers; the main thread's.
  std::vector<std::unique_ptr<ZOVConfigParms>> _configurations;
  std::atomic<ZOVConfigParms*> _configParms{nullptr};  // the last of them
  bool _initialised = false;
  std::atomic<bool> _shuttingDown{false};
  RWCString _agentVersion;
};
