#include "hub/core/request.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <unordered_map>

struct ZOVHubRequest::State {
  RequestDetail detail;
  ContextInfo context;
  std::unique_ptr<tqbox> box;  // refers to both above, so it goes first

  ~State();
};

namespace {

/// The framework's table of handles. Its mutex is innermost: nothing is destroyed or called under it.
class HandleTable {
 public:
  static HandleTable& instance() {
    static HandleTable* const table = new HandleTable;
    return *table;
  }

  std::uint32_t enter(const std::shared_ptr<ZOVHubRequest::State>& state) {
    const std::lock_guard guard(_mutex);
    do {
      ++_last;
    } while (_last == 0 || _entries.contains(_last));
    _entries[_last].state = state;
    return _last;
  }
  void leave(std::uint32_t id) {
    const std::lock_guard guard(_mutex);
    _entries.erase(id);
  }
  void hold(std::uint32_t id) {
    const std::lock_guard guard(_mutex);
    const auto entry = _entries.find(id);
    if (entry == _entries.end()) return;
    if (auto state = entry->second.state.lock()) entry->second.holds.push_back(std::move(state));
  }
  void drop(std::uint32_t id) {
    std::shared_ptr<ZOVHubRequest::State> dropped;
    const std::lock_guard guard(_mutex);
    const auto entry = _entries.find(id);
    if (entry == _entries.end() || entry->second.holds.empty()) return;
    dropped = std::move(entry->second.holds.back());
    entry->second.holds.pop_back();
  }

 private:
  struct Entry {
    std::weak_ptr<ZOVHubRequest::State> state;
    std::vector<std::shared_ptr<ZOVHubRequest::State>> holds;
  };
  std::mutex _mutex;
  std::unordered_map<std::uint32_t, Entry> _entries;
  std::uint32_t _last = 0;
};

}  // namespace

ZOVHubRequest::State::~State() {
  if (box != nullptr && box->handle.id != 0) HandleTable::instance().leave(box->handle.id);
}

ZOVHubFilter ZOVHubFilter::ofText(std::string column, std::string value, QFL1_ValueType type) {
  ZOVHubFilter filter;
  filter.column = std::move(column);
  filter.type = type;
  filter.text = std::move(value);
  return filter;
}

ZOVHubFilter ZOVHubFilter::ofNumber(std::string column, std::int32_t value) {
  ZOVHubFilter filter;
  filter.column = std::move(column);
  filter.type = QFL1_INTEGER;
  filter.number = value;
  return filter;
}

ZOVHubRequest::ZOVHubRequest(TableManager& manager, ContextInfo context)
    : _state(std::make_shared<State>()), _manager(&manager) {
  _state->detail = {manager.application(), manager.table()};
  _state->context = std::move(context);
  _state->box.reset(manager.CreateTqbox(&_state->detail, &_state->context));
  enter();
}

ZOVHubRequest::ZOVHubRequest(RequestDetail detail, ContextInfo context) : _state(std::make_shared<State>()) {
  _state->detail = std::move(detail);
  _state->context = std::move(context);
  _state->box = std::make_unique<tqbox>(&_state->detail, &_state->context, nullptr);
  enter();
}

void ZOVHubRequest::enter() {
  _state->box->handle = {1, HandleTable::instance().enter(_state)};
}

ZOVHubRequest::~ZOVHubRequest() {
  if (_manager == nullptr) return;
  OSL1_GetLock(&_manager->lock);
  _manager->openRequests.remove(_state->box.get());
  OSL1_ReleaseLock(&_manager->lock);
}

void ZOVHubRequest::subscribe() {
  OSL1_GetLock(&_manager->lock);
  _manager->openRequests.append(_state->box.get());
  OSL1_ReleaseLock(&_manager->lock);
}

tqbox& ZOVHubRequest::box() {
  return *_state->box;
}
ContextInfo& ZOVHubRequest::context() {
  return _state->context;
}

std::size_t ZOVHubRequest::openCount(TableManager& manager) {
  OSL1_GetLock(&manager.lock);
  const std::size_t count = manager.openRequests.entries();
  OSL1_ReleaseLock(&manager.lock);
  return count;
}

void tqbox::UseHandle(unsigned long id) {
  HandleTable::instance().hold(static_cast<std::uint32_t>(id));
}

void RCL1_Drop(unsigned long id) {
  HandleTable::instance().drop(static_cast<std::uint32_t>(id));
}
