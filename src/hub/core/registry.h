#pragma once
// What the agent has told the framework: its tables, its subnodes, itself.

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class TableManager;
class TqboxAutomationCapsule;

struct ZOVHubColumn {
  std::string name;       ///< lower case, as in rows
  std::string upperName;  ///< as in filters and thresholds
  std::uint16_t offset = 0;
  std::uint16_t size = 0;
  std::uint16_t type = 0;  ///< ColumnInfo_Type
};

/// A table as its own request object describes it. Immutable.
struct ZOVHubTable {
  TableManager* manager = nullptr;
  std::size_t rowBytes = 0;
  std::vector<ZOVHubColumn> columns;

  const ZOVHubColumn* find(std::string_view upperName) const;
};

struct ZOVHubSubnode {
  std::string name;
  std::string product;
  std::string version;
  std::string affinity;
  std::string feature;
};

/// The one registry of the process; never destroyed. Any thread; its mutex is held for no call into the
/// agent.
class ZOVHubRegistry {
 public:
  static ZOVHubRegistry& instance();

  /// False when the name is empty or taken.
  bool addTable(TableManager* manager);
  void removeTable(const TableManager* manager);
  std::vector<TableManager*> managers() const;
  /// The table of that name, case-sensitive, or null. Asks the table for its columns the first time.
  std::shared_ptr<const ZOVHubTable> table(const std::string& name);
  std::vector<std::shared_ptr<const ZOVHubTable>> tables();

  /// Changes of subnodes count from applySubnodes on. False as ARQ_Subnode_Register_nAff and _Deregister say.
  bool queueSubnode(ZOVHubSubnode subnode);
  bool queueSubnodeRemoval(const std::string& name);
  void applySubnodes();
  std::vector<ZOVHubSubnode> subnodes() const;
  std::vector<std::string> subnodeNames() const;

  /// The id as a text that stays good when it is set again.
  const char* subsystemId() const { return _subsystemId.load(); }
  void setSubsystemId(const std::string& id);
  void setProduct(const std::string& product);
  std::string product() const;
  void addAffinity(const std::string& affinity);
  /// The agent's own node: the id if there is one, the host's short name, and "ZOVA", with ":" between, at
  /// most 32 bytes.
  std::string agentNode() const;

  using Loader = int (*)();
  using CommandCallback = long (*)(TqboxAutomationCapsule*);
  std::atomic<Loader> loader{nullptr};
  /// Commands of all prefixes go to the last callback: there is one product in a process.
  std::atomic<CommandCallback> commandCallback{nullptr};

  static constexpr const char* version = "06.00.00";

 private:
  ZOVHubRegistry() = default;
  struct TableEntry {
    TableManager* manager;
    std::shared_ptr<const ZOVHubTable> description;
  };

  mutable std::mutex _mutex;
  std::vector<std::pair<std::string, TableEntry>> _tables;  // in order of registration
  std::map<std::string, ZOVHubSubnode> _subnodes;
  std::vector<std::pair<std::string, std::unique_ptr<ZOVHubSubnode>>> _queued;  // null: removal
  std::string _product;
  std::vector<std::string> _affinities;
  std::vector<std::unique_ptr<std::string>> _subsystemIds;  // all that were ever set
  std::atomic<const char*> _subsystemId{""};
};

/// Counts the threads of the framework that are inside the agent; one object per visit, on the stack.
class ZOVHubVisit {
 public:
  ZOVHubVisit();
  ~ZOVHubVisit();
  ZOVHubVisit(const ZOVHubVisit&) = delete;
  ZOVHubVisit& operator=(const ZOVHubVisit&) = delete;
  /// Waits until none is left, at most so long; the count then.
  static int await(std::chrono::milliseconds most);
};
