#include "hub/http/exchange.h"

#include <netdb.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>

#include <exception>
#include <utility>

#include "hub/http/admission.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHEXCH");

namespace zov::hub {
namespace {

constexpr const char* tooManyWait = "too many requests wait for the agent already; try again later";
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

/// The client's, numeric.
std::string addressOf(MHD_Connection* connection) {
  const auto* const known = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  const sockaddr* const address = known == nullptr ? nullptr : known->client_addr;
  if (address == nullptr) return "unknown";
  const socklen_t size = address->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  char text[NI_MAXHOST] = "";
  ::getnameinfo(address, size, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
  return text;
}

/// A response that owns `body`.
Response ofText(std::string text) {
  auto body = std::make_unique<std::string>(std::move(text));
  Response response(MHD_create_response_from_buffer_with_free_callback_cls(
      body->size(), body->data(), [](void* owned) { delete static_cast<std::string*>(owned); }, body.get()));
  if (response != nullptr) (void)body.release();
  return response;
}

/// A response that is read by a member function of its owner, and keeps him.
template <class Owner, ssize_t (Owner::*read)(char*, std::size_t)>
Response ofReader(std::shared_ptr<Owner> owner) {
  using Pointer = std::shared_ptr<Owner>;
  auto kept = std::make_unique<Pointer>(std::move(owner));
  Response response(MHD_create_response_from_callback(
      MHD_SIZE_UNKNOWN, streamBlockBytes,
      [](void* pointer, std::uint64_t, char* buffer, std::size_t most) {
        return ((**static_cast<Pointer*>(pointer)).*read)(buffer, most);
      },
      kept.get(), [](void* pointer) { delete static_cast<Pointer*>(pointer); }));
  if (response != nullptr) (void)kept.release();
  return response;
}

}  // namespace

Desk::Desk(Settings given, const Limits& limitsNow)
    : settings(std::move(given)),
      limits(limitsNow),
      queries("hub query", {limits.queryThreads, limits.queryThreadsPerNode, limits.queriesWaitingPerNode}),
      statuses("hub status", {limits.statusThreads, limits.statusThreads, limits.queries}),
      commands("hub command", {limits.commandThreads, 1, limits.commandsWaitingPerNode}),
      queryPlaces(limits.queries),
      commandPlaces(limits.commands),
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
    _call.method = method;
    return admit(method);
  }
  if (!data.empty()) return takeBody(data);
  if (_phase == Phase::Body) {
    _phase = Phase::Routed;
    _received = true;
    DGT1_Printf(traceUnit, DGT1_DETAIL, "%s %s", std::string(method).c_str(), _target.path.c_str());
    route();
    if (_waits) return true;  // whether it is suspended still or resumed already: to be called again
  }
  // When work is under way there is no answer yet: called again once the connection has been resumed.
  if (_stream != nullptr) return sendStream();
  return _production != nullptr ? sendBody() : sendAnswer();
}

bool Exchange::admit(std::string_view method) {
  const auto headers = [this](const char* name) { return headersOf(_connection, name); };
  bool refused = false;
  {
    const MutexLock guard(_mutex);
    if (!_answer) _answer = refusalOf({method, _target.path, _path, headers}, _desk.settings, _desk.limits);
    _received = refused = _answer.has_value();
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
  if (_path->takesBody(_call.method) && _bodyBytes > _desk.limits.bodyBytes) {
    return setAnswer(bodyTooLong(std::to_string(_bodyBytes), _desk.limits));
  }
  _call.parameters = std::move(_target.parameters);
  _call.accept = header("Accept");
  _call.who = addressOf(_connection);
  Reply reply = _path->answer(_call);
  if (auto* const answer = std::get_if<Answer>(&reply)) return setAnswer(std::move(*answer));
  if (const auto* const work = std::get_if<Work>(&reply)) return answerLater(*work);
  if (auto* const rows = std::get_if<std::shared_ptr<Production>>(&reply)) return produce(std::move(*rows));
  openStream(std::get<EventTables>(std::move(reply)));
}

void Exchange::openStream(EventTables tables) {
  auto opened = _desk.streams.open(_connection, std::move(tables), header("Last-Event-ID"));
  if (auto* const refusal = std::get_if<Answer>(&opened)) return setAnswer(std::move(*refusal));
  _stream = std::get<std::shared_ptr<EventStream>>(std::move(opened));
  _watch = _desk.departures.watch(socketOf(_connection), weak_from_this());
}

bool Exchange::beginToWait() {
  const MutexLock guard(_mutex);
  if (_ended) {
    _answer = Answer::ending();
    return false;
  }
  _suspension.begin();
  _waits = true;
  return true;
}

void Exchange::answerLater(const Work& work) {
  if (!_desk.commandPlaces.take()) return setAnswer(Answer::error(503, tooManyWait));
  _place = &_desk.commandPlaces;
  if (!beginToWait()) return;
  _watch = _desk.departures.watch(socketOf(_connection), weak_from_this());
  const bool taken = _desk.commands.submit(work.lane, this, [exchange = shared_from_this(), run = work.run] {
    try {
      exchange->finish(run());
    } catch (const std::exception& error) {
      exchange->finish(Answer::error(500, std::string("the request failed: ") + error.what()));
      throw;
    }
  });
  if (!taken) finish(Answer::error(503, tooManyWait));
}

void Exchange::finish(Answer answer) {
  const MutexLock guard(_mutex);
  if (!_suspension.active()) return;
  _answer = std::move(answer);
  _suspension.end();
}

void Exchange::produce(std::shared_ptr<Production> production) {
  if (Body::roomIsFull() || !_desk.queryPlaces.take()) return setAnswer(Answer::error(503, tooManyWait));
  _place = &_desk.queryPlaces;
  if (!beginToWait()) return;
  const auto now = ZOVClock::steady();
  _deadline = now + production->time();
  _readerDeadline = now + std::chrono::seconds(_desk.limits.readerSeconds);
  {
    const MutexLock guard(_mutex);
    _production = std::move(production);
  }
  _production->body().onChange([weak = weak_from_this()] {
    if (const auto exchange = weak.lock()) exchange->bodyChanged();
  });
  _watch = _desk.departures.watch(socketOf(_connection), weak_from_this());
  if (submitParts()) return;
  _production->giveUp();
}

bool Exchange::submitParts() {
  Workers& workers = _production->mayWait() ? _desk.queries : _desk.statuses;
  bool anyTaken = false;
  std::vector<Production::Part> refused;
  for (Production::Part& part : _production->parts()) {
    if (workers.submit(part.lane, _production.get(), part.run)) {
      anyTaken = true;
    } else {
      refused.push_back(std::move(part));
    }
  }
  if (!anyTaken) return false;
  for (const Production::Part& part : refused) part.refused();
  return true;
}

void Exchange::bodyChanged() {
  const MutexLock guard(_mutex);
  if (_suspension.active()) _suspension.end();
}

ssize_t Exchange::readBody(char* buffer, std::size_t most) {
  const MutexLock guard(_mutex);
  std::size_t length = 0;
  switch (_production->body().read(buffer, most, length)) {
    case Body::Reading::Some:
      return static_cast<ssize_t>(length);
    case Body::Reading::NoneYet:
      _suspension.begin();
      return 0;
    case Body::Reading::End:
      return MHD_CONTENT_READER_END_OF_STREAM;
    case Body::Reading::Cut:
      break;
  }
  return MHD_CONTENT_READER_END_WITH_ERROR;
}

bool Exchange::sendBody() {
  if (_sendsBody) return true;
  bool failed = false;
  {
    const MutexLock guard(_mutex);
    if (!_production->body().isReady()) {
      _suspension.begin();
      return true;
    }
    failed = _production->body().failedAtOnce();
    if (failed && !_answer) _answer = _production->failure();
  }
  if (failed) return sendAnswer();
  _sendsBody = true;
  const Response response = ofReader<Exchange, &Exchange::readBody>(shared_from_this());
  if (response == nullptr) return false;
  addCommonHeaders(response.get(), _production->contentType());
  return MHD_queue_response(_connection, 200, response.get()) == MHD_YES;
}

void Exchange::end() {
  std::shared_ptr<Production> production;
  {
    const MutexLock guard(_mutex);
    _ended = true;
    production = _production;
    if (production == nullptr && !_suspension.active()) return;
    _answer = Answer::ending();
    if (production == nullptr) _suspension.end();
  }
  if (production != nullptr) production->giveUp();
}

void Exchange::clientLeft() {
  if (_stream != nullptr) return _stream->cut();
  if (_production != nullptr) {
    _production->giveUp();
    _desk.queries.cancel(_production.get());
  } else {
    _desk.commands.cancel(this);
    finish(Answer::error(503, "the client has left"));
  }
}

void Exchange::checkTime(ZOVClock::Steady now) {
  std::shared_ptr<Production> production;
  {
    const MutexLock guard(_mutex);
    production = _production;
  }
  if (production == nullptr) return;
  if (now >= _deadline) {
    production->timeOut();
    _desk.queries.cancel(production.get());
  }
  if (now < _readerDeadline) return;
  _readerDeadline = now + std::chrono::seconds(_desk.limits.readerSeconds);
  if (!production->body().isTakenSlowly(_desk.limits.readerBytes)) return;
  DGT1_Printf(traceUnit, DGT1_ERROR, "An answer is cut: its reader is too slow");
  production->giveUp();
  const MutexLock guard(_mutex);
  _suspension.cut();
}

void Exchange::close() {
  _desk.departures.forget(_watch);
  {
    const MutexLock guard(_mutex);
    _suspension.forget();
  }
  if (_stream != nullptr) _desk.streams.close(_stream);
  if (_production != nullptr) {
    _production->giveUp();
    _desk.queries.cancel(_production.get());
  }
  if (_place != nullptr) std::exchange(_place, nullptr)->giveBack();
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
  if (!answer.location.empty()) {
    MHD_add_response_header(response.get(), "Location", answer.location.c_str());
  }
  if (_closes) MHD_add_response_header(response.get(), "Connection", "close");
  if (answer.status == 503) MHD_add_response_header(response.get(), "Retry-After", "1");
  return MHD_queue_response(_connection, answer.status, response.get()) == MHD_YES;
}

bool Exchange::sendStream() {
  const Response response = ofReader<EventStream, &EventStream::read>(_stream);
  if (response == nullptr) return false;
  addCommonHeaders(response.get(), "text/event-stream");
  return MHD_queue_response(_connection, 200, response.get()) == MHD_YES;
}

}  // namespace zov::hub
