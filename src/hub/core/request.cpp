#include "hub/core/request.h"

#include <algorithm>
#include <cstring>
#include <unordered_map>

#include "platform/mutex.h"

namespace zov::hub {

struct Request::State {
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

  std::uint32_t enter(const std::shared_ptr<Request::State>& state) {
    const MutexLock guard(_mutex);
    do {
      ++_last;
    } while (_last == 0 || _entries.contains(_last));
    _entries[_last].state = state;
    return _last;
  }
  void leave(std::uint32_t id) {
    const MutexLock guard(_mutex);
    _entries.erase(id);
  }
  void hold(std::uint32_t id) {
    const MutexLock guard(_mutex);
    const auto entry = _entries.find(id);
    if (entry == _entries.end()) return;
    if (auto state = entry->second.state.lock()) entry->second.holds.push_back(std::move(state));
  }
  void drop(std::uint32_t id) {
    std::shared_ptr<Request::State> dropped;
    const MutexLock guard(_mutex);
    const auto entry = _entries.find(id);
    if (entry == _entries.end() || entry->second.holds.empty()) return;
    dropped = std::move(entry->second.holds.back());
    entry->second.holds.pop_back();
  }

 private:
  struct Entry {
    std::weak_ptr<Request::State> state;
    std::vector<std::shared_ptr<Request::State>> holds;
  };
  Mutex _mutex;
  std::unordered_map<std::uint32_t, Entry> _entries ZOV_GUARDED_BY(_mutex);
  std::uint32_t _last ZOV_GUARDED_BY(_mutex) = 0;
};

}  // namespace

Request::State::~State() {
  if (box != nullptr && box->handle.id != 0) HandleTable::instance().leave(box->handle.id);
}

Filter Filter::ofText(std::string column, std::string value, QFL1_ValueType type) {
  Filter filter;
  filter.column = std::move(column);
  filter.type = type;
  filter.text = std::move(value);
  return filter;
}

Filter Filter::ofNumber(std::string column, std::int32_t value) {
  Filter filter;
  filter.column = std::move(column);
  filter.type = QFL1_INTEGER;
  filter.number = value;
  return filter;
}

Request::Request(TableManager& manager, ContextInfo context)
    : _state(std::make_shared<State>()), _manager(&manager) {
  _state->detail = {manager.application(), manager.table()};
  _state->context = std::move(context);
  _state->box.reset(manager.CreateTqbox(&_state->detail, &_state->context));
  enter();
}

Request::Request(RequestDetail detail, ContextInfo context) : _state(std::make_shared<State>()) {
  _state->detail = std::move(detail);
  _state->context = std::move(context);
  _state->box = std::make_unique<tqbox>(&_state->detail, &_state->context, nullptr);
  enter();
}

void Request::enter() {
  _state->box->handle = {1, HandleTable::instance().enter(_state)};
}

Request::~Request() {
  if (_manager == nullptr) return;
  OSL1_GetLock(&_manager->lock);
  _manager->openRequests.remove(_state->box.get());
  OSL1_ReleaseLock(&_manager->lock);
}

void Request::subscribe() {
  OSL1_GetLock(&_manager->lock);
  _manager->openRequests.append(_state->box.get());
  OSL1_ReleaseLock(&_manager->lock);
}

tqbox& Request::box() {
  return *_state->box;
}
ContextInfo& Request::context() {
  return _state->context;
}

std::size_t Request::openCount(TableManager& manager) {
  OSL1_GetLock(&manager.lock);
  const std::size_t count = manager.openRequests.entries();
  OSL1_ReleaseLock(&manager.lock);
  return count;
}

}  // namespace zov::hub

void tqbox::UseHandle(unsigned long id) {
  zov::hub::HandleTable::instance().hold(static_cast<std::uint32_t>(id));
}

void RCL1_Drop(unsigned long id) {
  zov::hub::HandleTable::instance().drop(static_cast<std::uint32_t>(id));
}
