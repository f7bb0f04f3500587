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
#include <cstdint>
#include <functional>
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
struct ConfigEntry;
}  // namespace VPD

class ZOVConfigParms : public ZOVMemoryManager {
 public:
  /// Takes what is to be said of a line: what is not used, or hardly as it is meant. Line 0 is the file.
  using Report = std::function<void(unsigned int line, const std::string& text)>;

  ZOVConfigParms() = default;
  explicit ZOVConfigParms(Report report) : _report(std::move(report)) {}
  ~ZOVConfigParms() override { _appServerParms.clearAndDestroy(); }
  ZOVConfigParms(const ZOVConfigParms&) = delete;
  ZOVConfigParms& operator=(const ZOVConfigParms&) = delete;

  /// Reads ZOV_CONFIG_FILE, or <prefix>ov.cfg. Answers 0, whatever became of it. Sections are taken in file
  /// order, and a server's section takes the defaults as they stand when it is reached.
  int readFromFile(const char* prefix);
  void readFile(const char* path);
  static constexpr const char* FileSuffix = "ov.cfg";
  /// Behind the reading: "", or how much is wrong with the file, and what comes first. A file that is read
  /// while the agent runs changes nothing then.
  std::string faults() const;
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
  void readSections(const char* path);
  void readSection(const VPD::ConfigSection& section);
  void readEntry(const VPD::ConfigSection& section, const VPD::ConfigEntry& entry);
  /// Traces the text when `flag` is on, and passes it to who asked for reports.
  void report(std::uint32_t flag, unsigned int line, const std::string& text);
  void tell(unsigned int line, const std::string& text, bool isFault);
  void addServer(const VPD::ConfigSection& section);
  std::vector<ZOVAppServerConfigParms*> servers() const;  // in file order
  ZOVAppServerConfigParms* findSection(const RWCString& id) const;
  ZOVAppServerConfigParms* findServer(const char* name, const char* serverRoot) const;

  const Report _report;                 // none in the agent
  RWSlistCollectables _appServerParms;  // ZOVAppServerConfigParms, in file order
  ZOVAgentConfigParms _agentParms;
  ZOVAppServerConfigParms _defaultAppServerParms{nullptr};
  int _faults = 0;
  std::string _firstFault;
  ZOVEvent _readyEvent;
  std::atomic<bool> _ready{false};
};
