#include "config/config_change.h"

#include <algorithm>

#include "config/config_parms.h"

namespace {

using zov::ConfigChange;
using zov::ConfigCounts;

struct Values {
  const ZOVAgentConfigParms& agent;
  const ZOVAppServerConfigParms& server;
};
struct Target {
  ZOVAgentConfigParms& agent;
  ZOVAppServerConfigParms& server;
};

/// A key, and how to get at its value.
struct Key {
  const char* section;
  const char* key;
  ConfigCounts counts;
  bool isServers;
  std::string (*text)(const Values& values);
  void (*copy)(const Target& to, const Values& from);
};

std::string textOf(int value) {
  return std::to_string(value);
}
std::string textOf(const RWCString& value) {
  return "\"" + std::string(value.view()) + "\"";
}
int settable(int value) {
  return value;
}
const char* settable(const RWCString& value) {
  return value.data();
}

#define HOLDER_Agent agent
#define HOLDER_Server server
#define HOLDER_Both server
#define COPY_Agent(Name) to.agent.set##Name(settable(from.agent.get##Name()))
#define COPY_Server(Name) to.server.set##Name(settable(from.server.get##Name()))
#define COPY_Both(Name) (COPY_Agent(Name), COPY_Server(Name))
#define SERVERS_Agent false
#define SERVERS_Server true
#define SERVERS_Both true
constexpr Key Keys[] = {
#define ZOV_CONFIG_KEY(section, key, kind, target, Name, counts)                    \
  {"[" #section "]",                                                                \
   #key,                                                                            \
   ConfigCounts::counts,                                                            \
   SERVERS_##target,                                                                \
   [](const Values& values) { return textOf(values.HOLDER_##target.get##Name()); }, \
   [](const Target& to, const Values& from) { COPY_##target(Name); }},
#include "config/config_keys.def"
};

bool isAmong(const std::vector<ConfigChange>& changes, const ConfigChange& change) {
  return std::ranges::any_of(changes, [&](const ConfigChange& known) {
    return known.key == change.key && known.before == change.before && known.after == change.after;
  });
}

void compareDefaults(const Values& former, const Values& fresh, std::vector<ConfigChange>& changes) {
  for (const Key& key : Keys) {
    const ConfigChange change{key.key, key.section, key.text(former), key.text(fresh), key.counts};
    // Two sections may set the same value.
    if (change.before != change.after && !isAmong(changes, change)) changes.push_back(change);
  }
}

/// What has changed so for all servers is not told again.
void compareServers(const std::string& place, const Values& former, const Values& fresh,
                    std::vector<ConfigChange>& changes) {
  const std::vector<ConfigChange> known = changes;
  const auto compare = [&](const char* key, ConfigCounts counts, const std::string& before,
                           const std::string& after) {
    const ConfigChange change{key, place, before, after, counts};
    if (before != after && !isAmong(known, change)) changes.push_back(change);
  };
  compare("ZOV_APPSRVR_NAME", ConfigCounts::Now, textOf(former.server.getName()),
          textOf(fresh.server.getName()));
  compare("ZOV_APPSRVR_ROOT", ConfigCounts::Now, textOf(former.server.getServerRoot()),
          textOf(fresh.server.getServerRoot()));
  for (const Key& key : Keys) {
    if (key.isServers) compare(key.key, key.counts, key.text(former), key.text(fresh));
  }
}

void keep(const Target& fresh, const Values& former) {
  for (const Key& key : Keys) {
    if (key.counts == ConfigCounts::Restart) key.copy(fresh, former);
  }
}

std::string placeOf(const ZOVAppServerConfigParms& parms) {
  return "[AppServer:" + std::string(parms.getSubnodeAliasName().view()) + "]";
}

ConfigChange sectionChange(const ZOVAppServerConfigParms& parms, const char* before, const char* after) {
  return {"the section", placeOf(parms), before, after, ConfigCounts::Now};
}

}  // namespace

std::vector<ConfigChange> ZOVConfigParms::keepWhatNeedsARestart(const ZOVConfigParms& former) {
  std::vector<ConfigChange> changes;
  compareDefaults({former._agentParms, former._defaultAppServerParms}, {_agentParms, _defaultAppServerParms},
                  changes);
  for (ZOVAppServerConfigParms* parms : servers()) {
    const ZOVAppServerConfigParms* const before = former.findSection(parms->getSubnodeAliasName());
    if (before == nullptr) {
      changes.push_back(sectionChange(*parms, "none", "one"));
      continue;
    }
    compareServers(placeOf(*parms), {former._agentParms, *before}, {_agentParms, *parms}, changes);
    if (parms->isEqual(before)) keep({_agentParms, *parms}, {former._agentParms, *before});
  }
  for (const ZOVAppServerConfigParms* before : former.servers()) {
    if (findSection(before->getSubnodeAliasName()) == nullptr) {
      changes.push_back(sectionChange(*before, "one", "none"));
    }
  }
  keep({_agentParms, _defaultAppServerParms}, {former._agentParms, former._defaultAppServerParms});
  return changes;
}

std::vector<ZOVAppServerConfigParms*> ZOVConfigParms::servers() const {
  std::vector<ZOVAppServerConfigParms*> all;
  RWSlistCollectablesIterator next(_appServerParms);
  while (RWCollectable* member = next()) all.push_back(static_cast<ZOVAppServerConfigParms*>(member));
  return all;
}

ZOVAppServerConfigParms* ZOVConfigParms::findSection(const RWCString& id) const {
  for (ZOVAppServerConfigParms* parms : servers()) {
    if (parms->getSubnodeAliasName() == id) return parms;
  }
  return nullptr;
}
