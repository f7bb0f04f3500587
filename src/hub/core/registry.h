#pragma once
// What the agent has told the framework: its tables, its subnodes, itself.

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "framework/actions.h"
#include "framework/process.h"
#include "hub/core/table.h"
#include "platform/mutex.h"

class TableManager;
class TqboxAutomationCapsule;
namespace zov {
class MetricsSource;
}

namespace zov::hub {

struct Subnode {
  std::string name;
  std::string product;
  std::string version;
  std::string affinity;
  std::string feature;
};

/// The one registry of the process; never destroyed. Any thread; its mutex is held for no call into the
/// agent.
class Registry {
 public:
  static Registry& instance();

  /// False when the name is empty or taken.
  bool addTable(TableManager* manager);
  void removeTable(const TableManager* manager);
  std::vector<TableManager*> managers() const;
  /// The table of that name, case-sensitive, or null. Asks the table for its columns the first time.
  std::shared_ptr<const Table> table(const std::string& name);
  std::vector<std::shared_ptr<const Table>> tables();

  /// Changes of subnodes count from applySubnodes on. False as ARQ_Subnode_Register_nAff and _Deregister say.
  bool queueSubnode(Subnode subnode);
  bool queueSubnodeRemoval(const std::string& name);
  void applySubnodes();
  std::vector<Subnode> subnodes() const;
  std::vector<std::string> subnodeNames() const;
  /// The subnode of that name, else one that has it in another case.
  std::optional<Subnode> findSubnode(const std::string& name) const;

  void setIdentity(AgentIdentity identity);
  AgentIdentity identity() const;
  /// The id as a text that stays good when it is set again.
  const char* subsystemId() const { return _subsystemId.load(); }
  void setSubsystemId(const std::string& id);
  void setProduct(const std::string& product);
  std::string product() const;
  void addAffinity(const std::string& affinity);

  using Loader = int (*)();
  using CommandCallback = long (*)(TqboxAutomationCapsule*);
  std::atomic<Loader> loader{nullptr};
  /// Commands of all prefixes go to the last callback: there is one product in a process.
  std::atomic<CommandCallback> commandCallback{nullptr};
  using ActionCallback = void (*)(const ActionRecord&);
  std::atomic<ActionCallback> actionCallback{nullptr};  ///< of records that have ended
  std::atomic<MetricsSource*> metrics{nullptr};
  std::atomic<void (*)()> reload{nullptr};
  std::atomic<std::string (*)()> status{nullptr};

 private:
  Registry() = default;
  struct TableEntry {
    TableManager* manager;
    std::shared_ptr<const Table> description;  // null until asked for
  };

  mutable Mutex _mutex;
  /// In order of registration.
  std::vector<std::pair<std::string, TableEntry>> _tables ZOV_GUARDED_BY(_mutex);
  std::map<std::string, Subnode> _subnodes ZOV_GUARDED_BY(_mutex);
  /// Null: removal.
  std::vector<std::pair<std::string, std::unique_ptr<Subnode>>> _queued ZOV_GUARDED_BY(_mutex);
  AgentIdentity _identity ZOV_GUARDED_BY(_mutex);
  std::string _product ZOV_GUARDED_BY(_mutex);
  std::vector<std::string> _affinities ZOV_GUARDED_BY(_mutex);
  /// All that were ever set.
  std::vector<std::unique_ptr<std::string>> _subsystemIds ZOV_GUARDED_BY(_mutex);
  std::atomic<const char*> _subsystemId{""};
};

}  // namespace zov::hub
