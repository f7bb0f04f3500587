#include "hub/api/event_log.h"

#include <algorithm>
#include <charconv>

#include "framework/table_manager.h"
#include "hub/api/json.h"
#include "platform/clock.h"
#include "platform/own_metrics.h"

namespace zov::hub {
namespace {

constexpr char idSeparator = '-';
OwnCounter eventsAdded("zov_agent_events", "Rows that were pushed as events.");

}  // namespace

EventLog::EventLog(std::size_t most) : _most(most), _run(std::to_string(ZOVClock::microseconds())) {}

std::uint64_t EventLog::add(const Table& table, const char* row) {
  std::string rest = "\nevent: " + table.manager->table() + "\ndata: ";
  JsonStream stream(rest);
  JsonWriter writer(stream);
  writeRow(writer, table, row);
  rest += "\n\n";
  eventsAdded.add();
  const MutexLock guard(_mutex);
  const std::uint64_t position = _oldest + _events.size();
  std::string text = "id: " + _run + idSeparator + std::to_string(position);
  text += rest;
  _events.push_back({table.manager, std::make_shared<const std::string>(std::move(text))});
  if (_events.size() > _most) {
    _events.pop_front();
    ++_oldest;
  }
  return position;
}

std::shared_ptr<const std::string> EventLog::next(std::uint64_t& position, const EventTables& tables) const {
  const MutexLock guard(_mutex);
  for (position = std::max(position, _oldest); position < _oldest + _events.size();) {
    const Event& event = _events[position++ - _oldest];
    const auto isEvents = [&](const auto& table) { return table->manager == event.table; };
    if (std::ranges::any_of(tables, isEvents)) return event.text;
  }
  return nullptr;
}

std::uint64_t EventLog::oldest() const {
  const MutexLock guard(_mutex);
  return _oldest;
}

std::uint64_t EventLog::end() const {
  const MutexLock guard(_mutex);
  return _oldest + _events.size();
}

std::uint64_t EventLog::after(std::string_view id) const {
  const MutexLock guard(_mutex);
  const std::string_view run = id.substr(0, id.find(idSeparator));
  const std::string_view number = id.substr(std::min(id.size(), run.size() + 1));
  std::uint64_t position = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), position);
  const bool isOfThisLog = run == _run && error == std::errc() && end == number.data() + number.size() &&
                           position < _oldest + _events.size();
  return isOfThisLog ? std::max(position + 1, _oldest) : _oldest;
}

}  // namespace zov::hub
