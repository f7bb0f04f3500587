#include "hub/http/event_streams.h"

#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHEVNT");

namespace zov::hub {

EventStream::EventStream(MHD_Connection* connection, std::size_t mostUnsentBytes,
                         std::shared_ptr<EventWriter> writer)
    : _mostUnsentBytes(mostUnsentBytes),
      _writer(std::move(writer)),
      _suspension(connection),
      _unsent(": events follow\n\n") {}

void EventStream::follow(const EventTables& tables) {
  for (const auto& table : tables) {
    ContextInfo context;
    context.deliver = [weak = weak_from_this(), table](const tqbox& box) {
      const auto stream = weak.lock();
      return stream != nullptr && stream->deliver(*table, box);
    };
    _requests.push_back(std::make_unique<Request>(*table->manager, std::move(context)));
    _requests.back()->subscribe();
  }
}

bool EventStream::deliver(const Table& table, const tqbox& box) {
  const MutexLock guard(_mutex);
  if (_ended) return false;
  for (std::int32_t i = 0; i < box._data.count && !_ended; ++i) {
    const char* const row = box.rowAt(i);
    if (row == nullptr) break;
    append(*_writer->write(table, row));
  }
  if (_suspension.active()) _suspension.end();
  return !_ended;
}

void EventStream::append(std::string_view text) {
  if (_unsent.size() + text.size() <= _mostUnsentBytes) {
    _unsent.append(text);
    return;
  }
  _ended = true;
  _dropped = true;
  _unsent = std::string();
  DGT1_Printf(traceUnit, DGT1_ERROR, "An event stream is dropped: its reader is %u bytes behind",
              _mostUnsentBytes);
}

ssize_t EventStream::read(char* buffer, std::size_t most) {
  const MutexLock guard(_mutex);
  if (!_unsent.empty()) {
    const std::size_t length = _unsent.copy(buffer, most);
    _unsent.erase(0, length);
    return static_cast<ssize_t>(length);
  }
  if (_dropped) return MHD_CONTENT_READER_END_WITH_ERROR;
  if (_ended) return MHD_CONTENT_READER_END_OF_STREAM;
  _suspension.begin();
  return 0;
}

void EventStream::close() {
  {
    const MutexLock guard(_mutex);
    _ended = true;
    _suspension.forget();
  }
  _requests.clear();  // takes managers' locks, under which _mutex is taken
}

void EventStream::keepAlive() {
  const MutexLock guard(_mutex);
  if (!_suspension.active()) return;
  append(": still here\n\n");
  _suspension.end();
}

void EventStream::end() {
  const MutexLock guard(_mutex);
  _ended = true;
  if (_suspension.active()) _suspension.end();
}

EventStreams::EventStreams(std::size_t most, std::size_t mostUnsentBytes)
    : _most(most), _mostUnsentBytes(mostUnsentBytes) {}

std::variant<std::shared_ptr<EventStream>, Answer> EventStreams::open(MHD_Connection* connection,
                                                                      const EventTables& tables) {
  auto stream = std::make_shared<EventStream>(connection, _mostUnsentBytes, _writer);
  {
    const MutexLock guard(_mutex);
    if (_ending) return Answer::ending();
    if (_streams.size() >= _most) {
      return Answer::error(503, std::to_string(_streams.size()) + " event streams are open; try again later");
    }
    _streams.insert(stream);
  }
  stream->follow(tables);
  return stream;
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
  const MutexLock guard(_mutex);
  _ending = true;
  for (const auto& stream : _streams) stream->end();
}

}  // namespace zov::hub
