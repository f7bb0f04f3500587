#include "hub/http/event_streams.h"

#include <algorithm>

#include "hub/core/registry.h"
#include "platform/own_metrics.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHEVNT");

namespace zov::hub {
namespace {

OwnGauge streamsOpen("zov_agent_event_streams", "Event streams that are open.");

std::shared_ptr<const std::string> comment(const char* text) {
  return std::make_shared<const std::string>(std::string(": ") + text + "\n\n");
}

}  // namespace

EventStream::EventStream(MHD_Connection* connection, EventTables tables, const EventLog& log,
                         std::uint64_t position)
    : _tables(std::move(tables)),
      _log(log),
      _suspension(connection),
      _position(position),
      _text(comment("events follow")) {
  streamsOpen.change(1);
}

EventStream::~EventStream() {
  streamsOpen.change(-1);
}

ssize_t EventStream::read(char* buffer, std::size_t most) {
  const MutexLock guard(_mutex);
  if (_suspension.isCut()) return MHD_CONTENT_READER_END_WITH_ERROR;
  if (_text == nullptr && !_ended) _text = _log.next(_position, _tables);
  if (_text == nullptr) {
    if (_ended) return MHD_CONTENT_READER_END_OF_STREAM;
    _suspension.begin();
    return 0;
  }
  const std::size_t length = _text->copy(buffer, most, _sent);
  _sent += length;
  if (_sent == _text->size()) {
    _text = nullptr;
    _sent = 0;
  }
  return static_cast<ssize_t>(length);
}

bool EventStream::follows(const Table& table) const {
  return std::ranges::any_of(_tables, [&](const auto& each) { return each->manager == table.manager; });
}

bool EventStream::offer(const Table& table, std::uint64_t position) {
  const MutexLock guard(_mutex);
  if (_suspension.active()) {  // everything before has been read
    if (follows(table)) {
      _suspension.end();
    } else {
      _position = position + 1;
    }
    return true;
  }
  if (_position >= _log.oldest()) return true;
  _suspension.cut();
  return false;
}

void EventStream::close() {
  const MutexLock guard(_mutex);
  _suspension.forget();
}

void EventStream::keepAlive() {
  const MutexLock guard(_mutex);
  if (!_suspension.active()) return;
  _text = comment("still here");
  _suspension.end();
}

void EventStream::end() {
  const MutexLock guard(_mutex);
  _ended = true;
  if (_suspension.active()) _suspension.end();
}

void EventStream::cut() {
  const MutexLock guard(_mutex);
  _suspension.cut();
}

EventStreams::EventStreams(std::size_t most, std::size_t eventsKept) : _most(most), _log(eventsKept) {}

void EventStreams::begin() {
  for (const auto& table : Registry::instance().tables()) {
    ContextInfo context;
    context.deliver = [this, table](const tqbox& box) {
      add(*table, box);
      return true;
    };
    _requests.push_back(std::make_unique<Request>(*table->manager, std::move(context)));
    _requests.back()->subscribe();
  }
}

void EventStreams::add(const Table& table, const tqbox& box) {
  const MutexLock guard(_mutex);
  for (std::int32_t i = 0; i < box._data.count; ++i) {
    const char* const row = box.rowAt(i);
    if (row == nullptr) break;
    const std::uint64_t position = _log.add(table, row);
    std::erase_if(_streams, [&](const auto& stream) {
      if (stream->offer(table, position)) return false;
      DGT1_Printf(traceUnit, DGT1_ERROR, "An event stream is cut: its reader is too far behind");
      return true;
    });
  }
}

std::variant<std::shared_ptr<EventStream>, Answer> EventStreams::open(MHD_Connection* connection,
                                                                      EventTables tables,
                                                                      std::string_view lastId) {
  const MutexLock guard(_mutex);
  if (_ending) return Answer::ending();
  if (_streams.size() >= _most) {
    return Answer::error(503, std::to_string(_streams.size()) + " event streams are open; try again later");
  }
  const std::uint64_t position = lastId.empty() ? _log.end() : _log.after(lastId);
  return *_streams.insert(std::make_shared<EventStream>(connection, std::move(tables), _log, position)).first;
}

void EventStreams::close(const std::shared_ptr<EventStream>& stream) {
  {
    const MutexLock guard(_mutex);
    _streams.erase(stream);
  }
  stream->close();
}

void EventStreams::keepAlive() {
  const MutexLock guard(_mutex);
  for (const auto& stream : _streams) stream->keepAlive();
}

void EventStreams::end() {
  {
    const MutexLock guard(_mutex);
    _ending = true;
    for (const auto& stream : _streams) stream->end();
  }
  _requests.clear();  // takes managers' locks, under which _mutex is taken
}

}  // namespace zov::hub
