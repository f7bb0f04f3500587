#include "config/config_parms.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>

#include "diag/utf8_handler.h"
#include "platform/services.h"
#include "platform/trace.h"
#include "platform/vpd.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCCFGP");

namespace {

constexpr const char* ProductCode = "ov";
constexpr const char* Instance = "";
constexpr const char* FileSuffix = "ov.cfg";
constexpr const char* BasicSection = "Basic_Config";

/// One entry of the file.
struct Entry {
  const char* section;
  const char* key;
  const char* value;
  int& complaints;  ///< about the file
};

struct Word {
  std::string_view kind;
  std::string_view word;  // "*": any other
  int value;
};
constexpr Word Words[] = {
#define ZOV_CONFIG_WORD(kind, word, value) {#kind, word, value},
#include "config/config_keys.def"
};

void reportBadValue(const Entry& entry, const std::string& accepted, int present) {
  ++entry.complaints;
  DGT1_Printf(traceUnit, DGT1_MESSAGE,
              "Configuration value %s = %s of section %s is not used; accepted is %s. The value stays %d.",
              entry.key, entry.value, entry.section, accepted.c_str(), present);
}

/// The number that the value begins with; what follows it does not count.
int readNumber(const Entry& entry, int present) {
  std::string_view text = entry.value;
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  int value = present;
  if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc()) return value;
  reportBadValue(entry, "a whole number of 32 bits", present);
  return present;
}

int readWord(std::string_view kind, const Entry& entry, int present) {
  std::string accepted;
  for (const Word& word : Words) {
    if (word.kind != kind) continue;
    if (word.word == "*" || word.word == entry.value) return word.value;
    accepted.append(accepted.empty() ? "" : ", ").append(word.word);
  }
  reportBadValue(entry, "one of " + accepted, present);
  return present;
}

int readSampleMethod(const Entry& entry, int present) {
  return readWord("SampleMethod", entry, present);
}
int readSwitch(const Entry& entry, int present) {
  return readWord("Switch", entry, present);
}
int readMonitoring(const Entry& entry, int present) {
  return readWord("Monitoring", entry, present);
}
int readLevel(const Entry& entry, int present) {
  return readWord("Level", entry, present);
}
const char* readText(const Entry& entry, const RWCString& /*present*/) {
  return entry.value;
}

struct Key {
  std::string_view section;
  std::string_view key;
  void (*apply)(const Entry& entry, ZOVAgentConfigParms& agent, ZOVAppServerConfigParms& server);
};

#define APPLY_Agent(kind, Name) agent.set##Name(read##kind(entry, agent.get##Name()))
#define APPLY_Server(kind, Name) server.set##Name(read##kind(entry, server.get##Name()))
#define APPLY_Both(kind, Name) (APPLY_Agent(kind, Name), server.set##Name(agent.get##Name()))
constexpr Key Keys[] = {
#define ZOV_CONFIG_KEY(section, key, kind, target, Name, counts)                        \
  {#section, #key,                                                                      \
   []([[maybe_unused]] const Entry& entry, [[maybe_unused]] ZOVAgentConfigParms& agent, \
      [[maybe_unused]] ZOVAppServerConfigParms& server) { APPLY_##target(kind, Name); }},
#include "config/config_keys.def"
};
#undef APPLY_Agent
#undef APPLY_Server
#undef APPLY_Both

bool isStandardSection(std::string_view name) {
  return std::ranges::find(Keys, name, &Key::section) != std::end(Keys);
}

/// The value of an entry in UTF-8; empty when there is none.
RWCString textOf(const VPD::ConfigSection& section, const char* key) {
  VPD::String value;
  return ZOVUTF8Handler::createFromLocalString(section.getEntryValue(key, value) ? value.c_str() : nullptr);
}

const char* wordFor(int value, std::initializer_list<const char*> words) {
  return value >= 0 && static_cast<std::size_t>(value) < words.size() ? words.begin()[value] : "*invalid*";
}

void printServer(const ZOVAppServerConfigParms& parms) {
  const auto line = [](const char* format, const auto& value) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, format, value);
  };
  const auto method = [](int action) { return action == 1 ? "ONDEMAND" : "FIXEDINTERVAL"; };
  line("Application Server <%s> configuration parameters:\n", parms.getName().data());
  line("Subnode Alias Name ................... %s\n", parms.getSubnodeAliasName().data());
  line("Server Root .......................... %s\n", parms.getServerRoot().data());
  line("Collector Session Sample Interval .... %d\n", parms.getCollectorSessionSampleInterval());
  line("Log Scan Interval .................... %d\n", parms.getLogScanInterval());
  line("Log Format ........................... %s\n", parms.getLogFormat().data());
  line("Collecting Request Data .............. %s\n", method(parms.getRequestCollectAction()));
  line("Collecting Request Fixed Interval .... %d\n", parms.getRequestCollectPollFrequency());
  line("Collecting Request Maximum Age ....... %d\n", parms.getRequestCollectAgeMax());
  line("Collecting Resource Data ............. %s\n", method(parms.getResourceCollectAction()));
  line("Collecting Resource Fixed Interval ... %d\n", parms.getResourceCollectPollFrequency());
  line("Collecting Resource Maximum Age ...... %d\n", parms.getResourceCollectAgeMax());
  line("Collecting Verbose GC Data ........... %s\n", parms.getGCCollectAction() ? "ENABLE" : "DISABLE");
  line("Verbose GC Poll Frequency ............ %d\n", parms.getGCCollectPollFrequency());
  line("Resource Monitoring .................. %s\n",
       wordFor(parms.getResourceCollectEnabled(), {"DISABLED", "ENABLED"}));
  line("Workload Capture ..................... %d%%\n", parms.getWorkloadCapturePercent());
  line("Workload Monitoring Level ............ %s\n",
       wordFor(parms.getWorkloadCollectLevel(), {"DISABLED", "LEVEL1", "LEVEL2"}));
}

}  // namespace

int ZOVConfigParms::readFromFile(const char* prefix) {
  ZOV_TRACE(Public);
  read(prefix);
  return 0;
}

std::string ZOVConfigParms::readAgain(const char* prefix) {
  ZOV_TRACE(Public);
  if (std::string wrong = read(prefix); !wrong.empty()) return wrong;
  if (_complaints == 0) return "";
  return DGT1_FormatText("The file has %d faults, which the trace names.  All values stay as they were.",
                         _complaints);
}

std::string ZOVConfigParms::read(const char* prefix) {
  const RWCString path = OSL1_GetEnv("ZOV_CONFIG_FILE", (RWCString(prefix) + FileSuffix).data());
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Read configuration file=%s", path.data());
  std::string wrong = readSections(path.data());
  _ready = true;
  _readyEvent.post();
  print();
  return wrong;
}

/// "", or why there is no file that could be read.
std::string ZOVConfigParms::readSections(const char* path) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Read PC=%s instance=%s configuration file", ProductCode, Instance);
  VPD::ConfigParser parser;
  VPD::AgentConfig config;
  if (!parser.parseConfigFromFile(path, &config)) {
    const std::string wrong = parser.getError();
    if (!parser.parseConfig(ProductCode, Instance, &config)) return wrong;
  }
  const auto* instance = config.getInstance(Instance);
  if (!instance) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Instance %s not found", Instance);
    return "";
  }
  for (unsigned int i = 0; i < instance->getNumSections(); ++i) {
    if (const auto* section = instance->getSection(i)) readSection(*section);
  }
  return "";
}

void ZOVConfigParms::readSection(const VPD::ConfigSection& section) {
  const bool standard = isStandardSection(section.getName().c_str());
  const bool server = section.getID().c_str() && !(section.getName() == BasicSection);
  if (standard) readKeys(section);
  if (server) addServer(section);
  if (!standard && !server) {
    ++_complaints;
    DGT1_Printf(traceUnit, DGT1_MESSAGE,
                "Configuration section %s is not known and not used; a server's section has an id: [%s:id].",
                section.getName().c_str(), section.getName().c_str());
  }
}

void ZOVConfigParms::readKeys(const VPD::ConfigSection& section) {
  const std::string_view sectionName = section.getName().c_str();
  const auto names = section.getEntryNames();
  for (unsigned int i = 0; i < names.getSize(); ++i) {
    VPD::String value;
    const auto key = std::ranges::find_if(Keys, [&](const Key& known) {
      return known.section == sectionName && known.key == names[i].c_str();
    });
    if (key == std::end(Keys)) {
      ++_complaints;
      DGT1_Printf(traceUnit, DGT1_MESSAGE, "Configuration key %s is not known in section %s and not used.",
                  names[i].c_str(), section.getName().c_str());
    } else if (section.getEntryValue(names[i], value)) {
      key->apply({section.getName().c_str(), names[i].c_str(), value.c_str(), _complaints}, _agentParms,
                 _defaultAppServerParms);
    }
  }
}

void ZOVConfigParms::addServer(const VPD::ConfigSection& section) {
  const RWCString alias = ZOVUTF8Handler::createFromLocalString(section.getID().c_str());
  const RWCString name = textOf(section, "ZOV_APPSRVR_NAME");
  const RWCString root = textOf(section, "ZOV_APPSRVR_ROOT");
  if (name.isNull() || root.isNull()) {
    ++_complaints;
    DGT1_Printf(traceUnit, DGT1_MESSAGE,
                "Missing fields for section %s, AppServer name %s, AppServer root %s", alias.data(),
                name.data(), root.data());
    return;
  }
  RWSlistCollectablesIterator next(_appServerParms);
  while (RWCollectable* member = next()) {
    const auto* known = static_cast<const ZOVAppServerConfigParms*>(member);
    if (known->getSubnodeAliasName() == alias) {
      ++_complaints;
      DGT1_Printf(traceUnit, DGT1_MESSAGE, "Duplicate section %s Subnode alias already exists", alias.data());
      return;
    }
    if (known->getName() == name && known->getServerRoot() == root) {
      ++_complaints;
      DGT1_Printf(traceUnit, DGT1_MESSAGE,
                  "Duplicate section %s AppServer name %s, AppServer root %s already exists", alias.data(),
                  name.data(), root.data());
      return;
    }
  }
  auto* parms = new ZOVAppServerConfigParms(_defaultAppServerParms);
  parms->setSubnodeAliasName(alias.data());
  parms->setName(name.data());
  parms->setServerRoot(root.data());
  if (const RWCString format = textOf(section, "ZOV_LOG_FORMAT"); !format.isNull()) {
    parms->setLogFormat(format.data());
  }
  _appServerParms.append(parms);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Added Section %s AppServer name %s, AppServer root %s", alias.data(),
              name.data(), root.data());
}

ZOVAgentConfigParms* ZOVConfigParms::getAgentConfigParms() {
  waitUntilReady();
  return &_agentParms;
}

ZOVAppServerConfigParms* ZOVConfigParms::getAppServerConfigParms(const char* name, const char* serverRoot) {
  ZOV_TRACE(Public);
  waitUntilReady();
  if (!name) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Application Server name is NULL; using default parameters");
    return &_defaultAppServerParms;
  }
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Find Server %s and Server Root %s", name,
              !serverRoot   ? "(null)"
              : *serverRoot ? serverRoot
                            : "(none)");
  ZOVAppServerConfigParms* parms = findServer(name, serverRoot);
  if (!parms) parms = findServer(name, "");
  if (parms) return parms;
  DGT1_Printf(traceUnit, DGT1_DETAIL,
              "Configuration parameters not found for application server <%s>; using default parameters",
              name);
  return &_defaultAppServerParms;
}

ZOVAppServerConfigParms* ZOVConfigParms::findServer(const char* name, const char* serverRoot) const {
  const ZOVAppServerConfigParms wanted(name, serverRoot);
  return static_cast<ZOVAppServerConfigParms*>(_appServerParms.find(&wanted));
}

int ZOVConfigParms::isNumeric(const char* text) {
  return std::string_view(text).find_first_not_of("0123456789") == std::string_view::npos;
}

void ZOVConfigParms::waitUntilReady() {
  while (!_ready) _readyEvent.waitWithTimeout(1);
}

void ZOVConfigParms::print() const {
  ZOV_TRACE(Public);
  if (!traceUnit.on(DGT1_DETAIL)) return;
  DGT1_Printf(traceUnit, DGT1_DETAIL, "ZOVAgent configuration parameters:\n");
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Global parameters:\n");
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Agent Id ............................. %s\n",
              _agentParms.getAgentId().data());
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Collector Session Port ............... %d\n",
              _agentParms.getCollectorSessionPort());
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Log File Maximum Messages ............ %d\n",
              _agentParms.getLogFileMessagesMax());
  printServer(_defaultAppServerParms);
  RWSlistCollectablesIterator next(_appServerParms);
  while (RWCollectable* parms = next()) printServer(*static_cast<const ZOVAppServerConfigParms*>(parms));
}
