#include "config/config_parms.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <vector>

#include "config/nearest_word.h"
#include "diag/utf8_handler.h"
#include "platform/services.h"
#include "platform/trace.h"
#include "platform/vpd.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCCFGP");

namespace {

constexpr const char* ProductCode = "ov";
constexpr const char* Instance = "";
constexpr const char* BasicSection = "Basic_Config";
constexpr std::string_view ServerKeys[] = {"ZOV_APPSRVR_NAME", "ZOV_APPSRVR_ROOT", "ZOV_LOG_FORMAT"};

/// One entry of the file, and who is told of what is wrong with it.
struct Entry {
  std::string section;
  const char* key;
  const char* value;
  std::string_view parameter;
  std::function<void(std::uint32_t flag, const std::string& text)> report;

  std::string shown() const { return std::string(key) + " = " + DGT1_Cut(value, 100); }
};

struct Range {
  std::string_view parameter;
  int minimum, maximum, fallback;
};
constexpr Range Ranges[] = {
#define ZOV_AGENT_RANGE(Name, minimum, maximum, fallback) {#Name, minimum, maximum, fallback},
#define ZOV_SERVER_RANGE(Name, minimum, maximum, fallback, message) {#Name, minimum, maximum, fallback},
#include "config/ranges.def"
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
  entry.report(
      DGT1_MESSAGE,
      DGT1_FormatText("Configuration value %s of section %s is not used; accepted is %s. The value stays %d.",
                      entry.shown().c_str(), entry.section.c_str(), accepted.c_str(), present));
}

/// Servers and the agent look at ranges when they are set up, and say so then.
void hintAtRange(const Entry& entry, int value) {
  const auto* const range = std::ranges::find(Ranges, entry.parameter, &Range::parameter);
  if (range == std::end(Ranges) || (value >= range->minimum && value <= range->maximum)) return;
  entry.report(DGT1_DETAIL,
               DGT1_FormatText("%s is outside %d to %d; %d is used instead.", entry.shown().c_str(),
                               range->minimum, range->maximum, range->fallback));
}

/// The number that the value begins with; what follows it does not count.
int readNumber(const Entry& entry, int present) {
  std::string_view text = entry.value;
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  int value = present;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) {
    reportBadValue(entry, "a whole number of 32 bits", present);
    return present;
  }
  if (end != text.data() + text.size()) {
    entry.report(DGT1_DETAIL, DGT1_FormatText("%s counts as %d; what follows the number does not count.",
                                              entry.shown().c_str(), value));
  }
  hintAtRange(entry, value);
  return value;
}

int readWord(std::string_view kind, const Entry& entry, int present) {
  std::string accepted;
  std::vector<std::string_view> known;
  for (const Word& word : Words) {
    if (word.kind != kind) continue;
    if (word.word == entry.value) return word.value;
    if (word.word == "*") {
      if (const std::string_view nearest = zov::nearestWord(entry.value, known); !nearest.empty()) {
        entry.report(DGT1_DETAIL,
                     entry.shown() + " counts as any other text. Did you mean " + std::string(nearest) + "?");
      }
      return word.value;
    }
    known.push_back(word.word);
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
  std::string_view parameter;
  void (*apply)(const Entry& entry, ZOVAgentConfigParms& agent, ZOVAppServerConfigParms& server);
};

#define APPLY_Agent(kind, Name) agent.set##Name(read##kind(entry, agent.get##Name()))
#define APPLY_Server(kind, Name) server.set##Name(read##kind(entry, server.get##Name()))
#define APPLY_Both(kind, Name) (APPLY_Agent(kind, Name), server.set##Name(agent.get##Name()))
constexpr Key Keys[] = {
#define ZOV_CONFIG_KEY(section, key, kind, target, Name, counts)                        \
  {#section, #key, #Name,                                                               \
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

bool isServer(const VPD::ConfigSection& section) {
  return section.getID().c_str() && !(section.getName() == BasicSection);
}

/// What may have been meant by a key: with the section that it belongs to.
std::string hintAtKey(const std::string& section, std::string_view key, bool server) {
  std::vector<std::string_view> ofSection, all;
  if (server) ofSection.assign(std::begin(ServerKeys), std::end(ServerKeys));
  for (const Key& known : Keys) {
    if (known.section == section) ofSection.push_back(known.key);
    all.push_back(known.key);
  }
  const std::string_view nearest = zov::nearestWord(key, all);
  if (nearest.empty() || !zov::nearestWord(key, ofSection).empty()) return zov::nearestHint(key, ofSection);
  const auto* const place = std::ranges::find(Keys, nearest, &Key::key);
  return " " + std::string(nearest) + " stands in section " + std::string(place->section) + ".";
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
  const RWCString path = RWCString(prefix) + FileSuffix;
  readFile(OSL1_GetEnv("ZOV_CONFIG_FILE", path.data()));
  return 0;
}

void ZOVConfigParms::readFile(const char* path) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Read configuration file=%s", path);
  readSections(path);
  _ready = true;
  _readyEvent.post();
  print();
}

void ZOVConfigParms::report(std::uint32_t flag, unsigned int line, const std::string& text) {
  DGT1_Printf(traceUnit, flag, "%s", text.c_str());
  tell(line, text, flag == DGT1_MESSAGE);
}

void ZOVConfigParms::tell(unsigned int line, const std::string& text, bool isFault) {
  if (isFault && _faults++ == 0) {
    _firstFault = line == 0 ? text : "line " + std::to_string(line) + ": " + text;
  }
  if (_report) _report(line, text);
}

std::string ZOVConfigParms::faults() const {
  if (_faults == 0) return "";
  return DGT1_FormatText("Faults of the file: %d. The first: %s", _faults, _firstFault.c_str());
}

void ZOVConfigParms::readSections(const char* path) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Read PC=%s instance=%s configuration file", ProductCode, Instance);
  VPD::ConfigParser parser;
  VPD::AgentConfig config;
  if (!parser.parseConfigFromFile(path, &config) && !parser.parseConfig(ProductCode, Instance, &config)) {
    for (const auto& [line, text] : parser.getErrors()) tell(line, text, true);
    return;
  }
  const auto* instance = config.getInstance(Instance);
  if (!instance) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Instance %s not found", Instance);
    return;
  }
  for (unsigned int i = 0; i < instance->getNumSections(); ++i) {
    if (const auto* section = instance->getSection(i)) readSection(*section);
  }
}

void ZOVConfigParms::readSection(const VPD::ConfigSection& section) {
  const bool standard = isStandardSection(section.getName().c_str());
  const bool server = isServer(section);
  if (standard || server) {
    for (const VPD::ConfigEntry& entry : section.getEntries()) readEntry(section, entry);
  }
  if (server) addServer(section);
  if (!standard && !server) {
    std::vector<std::string_view> known;
    for (const Key& key : Keys) {
      if (known.empty() || known.back() != key.section) known.push_back(key.section);
    }
    const std::string name = DGT1_Cut(section.getName().c_str(), 100);
    report(DGT1_MESSAGE, section.getLine(),
           "Configuration section " + name + " is not known and not used; a server's section has an id: [" +
               name + ":id]." + zov::nearestHint(name, known));
  }
}

void ZOVConfigParms::readEntry(const VPD::ConfigSection& section, const VPD::ConfigEntry& entry) {
  const std::string sectionName = section.getName().c_str();
  const auto& entries = section.getEntries();
  const auto last = std::find_if(entries.rbegin(), entries.rend(),
                                 [&](const VPD::ConfigEntry& other) { return other.name == entry.name; });
  if (last->line != entry.line) {
    report(DGT1_DETAIL, entry.line,
           DGT1_FormatText("%s does not count: it stands again in line %d.", entry.name.c_str(), last->line));
    return;
  }
  const auto* const key = std::ranges::find_if(Keys, [&](const Key& known) {
    return known.section == sectionName && known.key == entry.name.c_str();
  });
  if (key != std::end(Keys)) {
    key->apply({sectionName, entry.name.c_str(), entry.value.c_str(), key->parameter,
                [&](std::uint32_t flag, const std::string& text) { report(flag, entry.line, text); }},
               _agentParms, _defaultAppServerParms);
    return;
  }
  const bool server = isServer(section);
  if (server && std::ranges::find(ServerKeys, entry.name.c_str()) != std::end(ServerKeys)) return;
  const std::string name = DGT1_Cut(entry.name.c_str(), 100);
  report(DGT1_MESSAGE, entry.line,
         "Configuration key " + name + " is not known in section " + DGT1_Cut(sectionName, 100) +
             " and not used." + hintAtKey(sectionName, name, server));
}

void ZOVConfigParms::addServer(const VPD::ConfigSection& section) {
  const RWCString alias = ZOVUTF8Handler::createFromLocalString(section.getID().c_str());
  const RWCString name = textOf(section, "ZOV_APPSRVR_NAME");
  const RWCString root = textOf(section, "ZOV_APPSRVR_ROOT");
  if (name.isNull() || root.isNull()) {
    report(DGT1_MESSAGE, section.getLine(),
           DGT1_FormatText("Missing fields for section %s, AppServer name %s, AppServer root %s",
                           alias.data(), name.data(), root.data()));
    return;
  }
  RWSlistCollectablesIterator next(_appServerParms);
  while (RWCollectable* member = next()) {
    const auto* known = static_cast<const ZOVAppServerConfigParms*>(member);
    if (known->getSubnodeAliasName() == alias) {
      report(DGT1_MESSAGE, section.getLine(),
             DGT1_FormatText("Duplicate section %s Subnode alias already exists", alias.data()));
      return;
    }
    if (known->getName() == name && known->getServerRoot() == root) {
      report(DGT1_MESSAGE, section.getLine(),
             DGT1_FormatText("Duplicate section %s AppServer name %s, AppServer root %s already exists",
                             alias.data(), name.data(), root.data()));
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
