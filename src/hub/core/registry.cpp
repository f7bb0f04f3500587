#include "hub/core/registry.h"

#include <algorithm>

#include "framework/table_manager.h"

namespace zov::hub {
Registry& Registry::instance() {
  static Registry* const registry = new Registry;
  return *registry;
}

bool Registry::addTable(TableManager* manager) {
  const MutexLock guard(_mutex);
  const std::string& name = manager->table();
  const bool taken = std::ranges::any_of(_tables, [&](const auto& entry) { return entry.first == name; });
  if (name.empty() || taken) return false;
  _tables.emplace_back(name, TableEntry{manager, nullptr});
  return true;
}

void Registry::removeTable(const TableManager* manager) {
  const MutexLock guard(_mutex);
  std::erase_if(_tables, [&](const auto& entry) { return entry.second.manager == manager; });
}

std::vector<TableManager*> Registry::managers() const {
  const MutexLock guard(_mutex);
  std::vector<TableManager*> result;
  for (const auto& [name, entry] : _tables) result.push_back(entry.manager);
  return result;
}

std::shared_ptr<const Table> Registry::table(const std::string& name) {
  TableManager* manager = nullptr;
  {
    const MutexLock guard(_mutex);
    for (const auto& [entryName, entry] : _tables) {
      if (entryName != name) continue;
      if (entry.description != nullptr) return entry.description;
      manager = entry.manager;
    }
  }
  if (manager == nullptr) return nullptr;
  auto description = Table::describe(*manager);
  const MutexLock guard(_mutex);
  for (auto& [entryName, entry] : _tables) {
    if (entryName == name) entry.description = description;
  }
  return description;
}

std::vector<std::shared_ptr<const Table>> Registry::tables() {
  std::vector<std::shared_ptr<const Table>> result;
  for (const TableManager* manager : managers()) {
    if (auto description = table(manager->table())) result.push_back(std::move(description));
  }
  return result;
}

bool Registry::queueSubnode(Subnode subnode) {
  const MutexLock guard(_mutex);
  if (subnode.name.empty() || subnode.name.size() > _identity.mostNodeBytes) return false;
  std::string name = subnode.name;
  _queued.emplace_back(std::move(name), std::make_unique<Subnode>(std::move(subnode)));
  return true;
}

bool Registry::queueSubnodeRemoval(const std::string& name) {
  const MutexLock guard(_mutex);
  const auto last = std::ranges::find(_queued.rbegin(), _queued.rend(), name,
                                      [](const auto& queued) -> const std::string& { return queued.first; });
  const bool known = last != _queued.rend() ? last->second != nullptr : _subnodes.contains(name);
  if (!known) return false;
  _queued.emplace_back(name, nullptr);
  return true;
}

void Registry::applySubnodes() {
  const MutexLock guard(_mutex);
  for (auto& [name, subnode] : _queued) {
    if (subnode == nullptr) {
      _subnodes.erase(name);
    } else {
      _subnodes.insert_or_assign(name, std::move(*subnode));
    }
  }
  _queued.clear();
}

std::vector<Subnode> Registry::subnodes() const {
  const MutexLock guard(_mutex);
  std::vector<Subnode> result;
  for (const auto& [name, subnode] : _subnodes) result.push_back(subnode);
  return result;
}

std::vector<std::string> Registry::subnodeNames() const {
  const MutexLock guard(_mutex);
  std::vector<std::string> result;
  for (const auto& [name, subnode] : _subnodes) result.push_back(name);
  return result;
}

std::optional<Subnode> Registry::findSubnode(const std::string& name) const {
  const MutexLock guard(_mutex);
  if (const auto exact = _subnodes.find(name); exact != _subnodes.end()) return exact->second;
  for (const auto& [each, subnode] : _subnodes) {
    if (equalsIgnoringCase(each, name)) return subnode;
  }
  return std::nullopt;
}

void Registry::setIdentity(AgentIdentity identity) {
  const MutexLock guard(_mutex);
  _identity = std::move(identity);
}

AgentIdentity Registry::identity() const {
  const MutexLock guard(_mutex);
  return _identity;
}

void Registry::setSubsystemId(const std::string& id) {
  const MutexLock guard(_mutex);
  _subsystemIds.push_back(std::make_unique<std::string>(id));
  _subsystemId = _subsystemIds.back()->c_str();
}

void Registry::setProduct(const std::string& product) {
  const MutexLock guard(_mutex);
  _product = product;
}

std::string Registry::product() const {
  const MutexLock guard(_mutex);
  return _product;
}

void Registry::addAffinity(const std::string& affinity) {
  const MutexLock guard(_mutex);
  _affinities.push_back(affinity);
}

}  // namespace zov::hub
