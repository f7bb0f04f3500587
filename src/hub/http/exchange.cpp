#include "hub/http/exchange.h"

#include <strings.h>

#include <exception>

#include "hub/http/admission.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHEXCH");

namespace zov::hub {
namespace {

constexpr std::size_t wastedBodyBytes = KiB * KiB;  // of a body without a length, read before it is cut off
constexpr unsigned badRequest = 400;
constexpr std::size_t streamBlockBytes = 16 * KiB;  // asked of a stream at once

struct DestroyResponse {
  void operator()(MHD_Response* response) const { MHD_destroy_response(response); }
};
using Response = std::unique_ptr<MHD_Response, DestroyResponse>;

void addCommonHeaders(MHD_Response* response, const char* contentType) {
  MHD_add_response_header(response, "Content-Type", contentType);
  MHD_add_response_header(response, "Cache-Control", "no-store");
  MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
}

std::vector<std::string> headersOf(MHD_Connection* connection, const char* name) {
  struct Wanted {
    const char* name;
    std::vector<std::string> values;
  } wanted{name, {}};
  MHD_get_connection_values(
      connection, MHD_HEADER_KIND,
      [](void* context, MHD_ValueKind, const char* key, const char* value) {
        auto& found = *static_cast<Wanted*>(context);
        if (strcasecmp(key, found.name) == 0) found.values.emplace_back(value == nullptr ? "" : value);
        return MHD_YES;
      },
      &wanted);
  return std::move(wanted.values);
}

/// A response that owns `body`.
Response ofText(std::string text) {
  auto body = std::make_unique<std::string>(std::move(text));
  Response response(MHD_create_response_from_buffer_with_free_callback_cls(
      body->size(), body->data(), [](void* owned) { delete static_cast<std::string*>(owned); }, body.get()));
  if (response != nullptr) (void)body.release();
  return response;
}

/// A response that reads from the stream and keeps it.
Response ofStream(std::shared_ptr<EventStream> stream) {
  using Pointer = std::shared_ptr<EventStream>;
  auto reader = std::make_unique<Pointer>(std::move(stream));
  Response response(MHD_create_response_from_callback(
      MHD_SIZE_UNKNOWN, streamBlockBytes,
      [](void* owned, std::uint64_t, char* buffer, std::size_t most) {
        return (*static_cast<Pointer*>(owned))->read(buffer, most);
      },
      reader.get(), [](void* owned) { delete static_cast<Pointer*>(owned); }));
  if (response != nullptr) (void)reader.release();
  return response;
}

}  // namespace

Desk::Desk(Settings given)
    : settings(std::move(given)),
      limits(zov::hub::limits()),
      queries("hub query", limits.queryThreads, limits.queriesWaiting),
      commands("hub command", 1, limits.commandsWaiting),
      streams(limits.streams, limits.eventsKept) {}

Exchange::Exchange(Desk& desk, MHD_Connection* connection, std::string_view target)
    : _desk(desk), _connection(connection), _suspension(connection) {
  std::string wrong;
  if (const unsigned status = _target.read(target, wrong); status != 0) {
    setAnswer(Answer::error(status, wrong));
  } else {
    _path = findPath(_target.path, _call.subject);
  }
}

bool Exchange::proceed(std::string_view method, std::string_view data) {
  if (_phase == Phase::Head) {
    _phase = Phase::Body;
    return admit(method);
  }
  if (!data.empty()) return takeBody(data);
  if (_phase == Phase::Body) {
    _phase = Phase::Routed;
    DGT1_Printf(traceUnit, DGT1_DETAIL, "%s %s", std::string(method).c_str(), _target.path.c_str());
    route();
  }
  // When work is under way there is no answer yet: called again once the connection has been resumed.
  return _stream != nullptr ? sendStream() : sendAnswer();
}

bool Exchange::admit(std::string_view method) {
  const auto headers = [this](const char* name) { return headersOf(_connection, name); };
  bool refused = false;
  {
    const MutexLock guard(_mutex);
    if (!_answer) _answer = refusalOf({method, _target.path, _path, headers}, _desk.settings, _desk.limits);
    refused = _answer.has_value();
    _closes = refused && _answer->status == badRequest;
  }
  return !refused || sendAnswer();
}

std::string Exchange::header(const char* name) const {
  const char* const value = MHD_lookup_connection_value(_connection, MHD_HEADER_KIND, name);
  return value == nullptr ? "" : value;
}

bool Exchange::takeBody(std::string_view data) {
  _bodyBytes += data.size();
  if (_bodyBytes <= _desk.limits.bodyBytes) _call.body.append(data);
  return _bodyBytes <= wastedBodyBytes;
}

void Exchange::route() {
  if (_path->takesBody && _bodyBytes > _desk.limits.bodyBytes) {
    return setAnswer(bodyTooLong(std::to_string(_bodyBytes), _desk.limits));
  }
  _call.parameters = std::move(_target.parameters);
  Reply reply = _path->function(_call);
  if (auto* const answer = std::get_if<Answer>(&reply)) return setAnswer(std::move(*answer));
  if (auto* const work = std::get_if<Work>(&reply)) return answerLater(std::move(*work));
  openStream(std::get<EventTables>(std::move(reply)));
}

void Exchange::openStream(EventTables tables) {
  auto opened = _desk.streams.open(_connection, std::move(tables), header("Last-Event-ID"));
  if (auto* const refusal = std::get_if<Answer>(&opened)) return setAnswer(std::move(*refusal));
  _stream = std::get<std::shared_ptr<EventStream>>(std::move(opened));
  _watch = _desk.departures.watch(socketOf(_connection), weak_from_this());
}

void Exchange::answerLater(Work work) {
  {
    const MutexLock guard(_mutex);
    if (_ended) {
      _answer = Answer::ending();
      return;
    }
    _suspension.begin();
  }
  Workers& workers = _path->waits == Waits::ForCommand ? _desk.commands : _desk.queries;
  const bool taken = workers.submit([exchange = shared_from_this(), work = std::move(work)] {
    try {
      exchange->finish(work(exchange->_givenUp));
    } catch (const std::exception& error) {
      exchange->finish(Answer::error(500, std::string("the request failed: ") + error.what()));
      throw;
    }
  });
  if (!taken) finish(Answer::error(503, "too many requests wait for the agent already; try again later"));
}

void Exchange::finish(Answer answer) {
  const MutexLock guard(_mutex);
  if (!_suspension.active()) return;
  _answer = std::move(answer);
  _suspension.end();
}

void Exchange::end() {
  _givenUp = true;
  const MutexLock guard(_mutex);
  _ended = true;
  if (!_suspension.active()) return;
  _answer = Answer::ending();
  _suspension.end();
}

void Exchange::clientLeft() {
  if (_stream != nullptr) _stream->cut();
}

void Exchange::close() {
  _desk.departures.forget(_watch);
  {
    const MutexLock guard(_mutex);
    _suspension.forget();
  }
  if (_stream != nullptr) _desk.streams.close(_stream);
}

void Exchange::setAnswer(Answer answer) {
  const MutexLock guard(_mutex);
  _answer = std::move(answer);
}

bool Exchange::sendAnswer() {
  Answer answer;
  {
    const MutexLock guard(_mutex);
    if (!_answer) return true;
    answer = std::move(*_answer);
  }
  const Response response = ofText(std::move(answer.body));
  if (response == nullptr) return false;
  addCommonHeaders(response.get(), answer.contentType);
  if (answer.status == 401) MHD_add_response_header(response.get(), "WWW-Authenticate", "Bearer");
  if (answer.status == 405) {
    MHD_add_response_header(response.get(), "Allow", std::string(_path->methods).c_str());
  }
  if (_closes) MHD_add_response_header(response.get(), "Connection", "close");
  if (answer.status == 503) MHD_add_response_header(response.get(), "Retry-After", "1");
  return MHD_queue_response(_connection, answer.status, response.get()) == MHD_YES;
}

bool Exchange::sendStream() {
  const Response response = ofStream(_stream);
  if (response == nullptr) return false;
  addCommonHeaders(response.get(), "text/event-stream");
  return MHD_queue_response(_connection, 200, response.get()) == MHD_YES;
}

}  // namespace zov::hub
