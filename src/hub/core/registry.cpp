#include "hub/core/registry.h"

#include <sys/utsname.h>

#include <algorithm>

#include "framework/table_manager.h"
#include "hub/core/request.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHREGI");

namespace {

constexpr std::size_t mostNodeBytes = 32;

std::string upperCase(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return text;
}

std::shared_ptr<const ZOVHubTable> describe(TableManager& manager) {
  ZOVHubRequest request(manager, {});
  tqbox& box = request.box();
  auto table = std::make_shared<ZOVHubTable>();
  table->manager = &manager;
  table->rowBytes = box._rowSize > 0 ? static_cast<std::size_t>(box._rowSize) : 0;
  for (int i = 0; i < box.NumColumns(); ++i) {
    ColumnInfo info;
    if (box.GetColumnInfo(&info, i) != 0 || info.name == nullptr) continue;
    const std::size_t least = info.type == ColumnInfo_Integer ? sizeof(std::int32_t) : 0;
    if (info.size < least || std::size_t{info.offset} + info.size > table->rowBytes) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "Column %s of table %s lies outside the row and is left out",
                  info.name, manager.table().c_str());
      continue;
    }
    table->columns.push_back({info.name, upperCase(info.name), info.offset, info.size, info.type});
  }
  return table;
}

struct Visits {
  std::mutex mutex;
  std::condition_variable left;
  int inside = 0;

  static Visits& instance() {
    static Visits* const visits = new Visits;
    return *visits;
  }
};

}  // namespace

const ZOVHubColumn* ZOVHubTable::find(std::string_view upperName) const {
  const auto found = std::ranges::find(columns, upperName, &ZOVHubColumn::upperName);
  return found == columns.end() ? nullptr : &*found;
}

ZOVHubRegistry& ZOVHubRegistry::instance() {
  static ZOVHubRegistry* const registry = new ZOVHubRegistry;
  return *registry;
}

bool ZOVHubRegistry::addTable(TableManager* manager) {
  const std::lock_guard guard(_mutex);
  const std::string& name = manager->table();
  const bool taken = std::ranges::any_of(_tables, [&](const auto& entry) { return entry.first == name; });
  if (name.empty() || taken) return false;
  _tables.emplace_back(name, TableEntry{manager, nullptr});
  return true;
}

void ZOVHubRegistry::removeTable(const TableManager* manager) {
  const std::lock_guard guard(_mutex);
  std::erase_if(_tables, [&](const auto& entry) { return entry.second.manager == manager; });
}

std::vector<TableManager*> ZOVHubRegistry::managers() const {
  const std::lock_guard guard(_mutex);
  std::vector<TableManager*> result;
  for (const auto& [name, entry] : _tables) result.push_back(entry.manager);
  return result;
}

std::shared_ptr<const ZOVHubTable> ZOVHubRegistry::table(const std::string& name) {
  TableManager* manager = nullptr;
  {
    const std::lock_guard guard(_mutex);
    for (const auto& [entryName, entry] : _tables) {
      if (entryName != name) continue;
      if (entry.description != nullptr) return entry.description;
      manager = entry.manager;
    }
  }
  if (manager == nullptr) return nullptr;
  auto description = describe(*manager);
  const std::lock_guard guard(_mutex);
  for (auto& [entryName, entry] : _tables) {
    if (entryName == name) entry.description = description;
  }
  return description;
}

std::vector<std::shared_ptr<const ZOVHubTable>> ZOVHubRegistry::tables() {
  std::vector<std::shared_ptr<const ZOVHubTable>> result;
  for (const TableManager* manager : managers()) {
    if (auto description = table(manager->table())) result.push_back(std::move(description));
  }
  return result;
}

bool ZOVHubRegistry::queueSubnode(ZOVHubSubnode subnode) {
  if (subnode.name.empty() || subnode.name.size() > mostNodeBytes) return false;
  const std::lock_guard guard(_mutex);
  std::string name = subnode.name;
  _queued.emplace_back(std::move(name), std::make_unique<ZOVHubSubnode>(std::move(subnode)));
  return true;
}

bool ZOVHubRegistry::queueSubnodeRemoval(const std::string& name) {
  const std::lock_guard guard(_mutex);
  const auto last = std::ranges::find(_queued.rbegin(), _queued.rend(), name,
                                      [](const auto& queued) -> const std::string& { return queued.first; });
  const bool known = last != _queued.rend() ? last->second != nullptr : _subnodes.contains(name);
  if (!known) return false;
  _queued.emplace_back(name, nullptr);
  return true;
}

void ZOVHubRegistry::applySubnodes() {
  const std::lock_guard guard(_mutex);
  for (auto& [name, subnode] : _queued) {
    if (subnode == nullptr) {
      _subnodes.erase(name);
    } else {
      _subnodes.insert_or_assign(name, std::move(*subnode));
    }
  }
  _queued.clear();
}

std::vector<ZOVHubSubnode> ZOVHubRegistry::subnodes() const {
  const std::lock_guard guard(_mutex);
  std::vector<ZOVHubSubnode> result;
  for (const auto& [name, subnode] : _subnodes) result.push_back(subnode);
  return result;
}

std::vector<std::string> ZOVHubRegistry::subnodeNames() const {
  const std::lock_guard guard(_mutex);
  std::vector<std::string> result;
  for (const auto& [name, subnode] : _subnodes) result.push_back(name);
  return result;
}

void ZOVHubRegistry::setSubsystemId(const std::string& id) {
  const std::lock_guard guard(_mutex);
  _subsystemIds.push_back(std::make_unique<std::string>(id));
  _subsystemId = _subsystemIds.back()->c_str();
}

void ZOVHubRegistry::setProduct(const std::string& product) {
  const std::lock_guard guard(_mutex);
  _product = product;
}

std::string ZOVHubRegistry::product() const {
  const std::lock_guard guard(_mutex);
  return _product;
}

void ZOVHubRegistry::addAffinity(const std::string& affinity) {
  const std::lock_guard guard(_mutex);
  _affinities.push_back(affinity);
}

std::string ZOVHubRegistry::agentNode() const {
  constexpr std::string_view suffix = ":ZOVA";
  std::string node = subsystemId();
  if (!node.empty()) node += ':';
  node.resize(std::min(node.size(), mostNodeBytes - suffix.size()));
  utsname names{};
  std::string host = uname(&names) == 0 ? names.nodename : "$UNKNOWN$";
  host.resize(std::min(host.find('.'), host.size()));
  node += host.substr(0, mostNodeBytes - suffix.size() - node.size());
  return node.append(suffix);
}

ZOVHubVisit::ZOVHubVisit() {
  Visits& visits = Visits::instance();
  const std::lock_guard guard(visits.mutex);
  ++visits.inside;
}

ZOVHubVisit::~ZOVHubVisit() {
  Visits& visits = Visits::instance();
  const std::lock_guard guard(visits.mutex);
  if (--visits.inside == 0) visits.left.notify_all();
}

int ZOVHubVisit::await(std::chrono::milliseconds most) {
  Visits& visits = Visits::instance();
  std::unique_lock guard(visits.mutex);
  visits.left.wait_for(guard, most, [&] { return visits.inside == 0; });
  return visits.inside;
}
