#pragma once
// ZOVConfigParms: reads the configuration file once, and keeps the agent's own parameters, the defaults of
// all application servers, and one set for each server that has a section. A file that is read while the
// agent runs makes an object of its own, which takes the place of the former one.
//
// The file is <prefix>ov.cfg, or ZOV_CONFIG_FILE; its keys stand in config_keys.def and its form in
// docs/configuration.md. A file that is missing or cannot be parsed leaves the defaults, and a value that
// cannot be read leaves what was; both are traced with what was given and what is accepted. After
// readFromFile, or keepWhatNeedsARestart, nothing writes, so readers need no lock, and the pointers handed
// out live as long as this object.

#include <atomic>
#include <string>
#include <vector>

#include "config/agent_config_parms.h"
#include "config/config_change.h"
#include "config/server_config_parms.h"
#include "foundation/collections.h"
#include "runtime/event.h"

namespace VPD {
class AgentConfig;
class ConfigSection;
}  // namespace VPD

class ZOVConfigParms : public ZOVMemoryManager {
 public:
  ZOVConfigParms() = default;
  ~ZOVConfigParms() override { _appServerParms.clearAndDestroy(); }
  ZOVConfigParms(const ZOVConfigParms&) = delete;
  ZOVConfigParms& operator=(const ZOVConfigParms&) = delete;

  /// Reads <prefix>ov.cfg. Answers 0, whatever became of it. Sections are taken in file order, and a server's
  /// section takes the defaults as they stand when it is reached.
  int readFromFile(const char* prefix);

  /// The same, for a file that changes nothing when anything is wrong with it: answers what that is, or "".
  std::string readAgain(const char* prefix);
  /// What is not as in `former`, in the order of config_keys.def and of the file. What counts with the
  /// agent's restart only stays as it was there.
  std::vector<zov::ConfigChange> keepWhatNeedsARestart(const ZOVConfigParms& former);

  /// Both wait until the file has been read.
  ZOVAgentConfigParms* getAgentConfigParms();
  /// The parameters of the server of this name and root, or the defaults: also for a null name.
  ZOVAppServerConfigParms* getAppServerConfigParms(const char* name, const char* serverRoot);

  static int isNumeric(const char* text);  ///< 1 when all characters are digits, or there are none
  void waitUntilReady();
  void print() const;  ///< traces all parameters

 private:
  std::string read(const char* prefix);
  std::string readSections(const char* path);
  void readSection(const VPD::ConfigSection& section);
  void readKeys(const VPD::ConfigSection& section);
  void addServer(const VPD::ConfigSection& section);
  std::vector<ZOVAppServerConfigParms*> servers() const;  // in file order
  ZOVAppServerConfigParms* findSection(const RWCString& id) const;
  ZOVAppServerConfigParms* findServer(const char* name, const char* serverRoot) const;

  RWSlistCollectables _appServerParms;  // ZOVAppServerConfigParms, in file order
  ZOVAgentConfigParms _agentParms;
  ZOVAppServerConfigParms _defaultAppServerParms{nullptr};
  int _complaints = 0;
  ZOVEvent _readyEvent;
  std::atomic<bool> _ready{false};
};
