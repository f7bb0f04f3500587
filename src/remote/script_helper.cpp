#include "remote/script_helper.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>
#include <utility>

#include "remote/local_scripts.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCSCRH");

namespace zov {

namespace {

constexpr std::size_t MostPacketBytes = 128 * 1024;
constexpr timeval ForAnAnswer{30, 0};  // whether a script starts; its end takes as long as it likes
constexpr const char* Commands[] = {"startServer.sh", "stopServer.sh"};

template <class Number>
std::optional<Number> numberIn(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// One end of a connection.
class Packets {
 public:
  explicit Packets(int socket) : _socket(socket) {}
  ~Packets() {
    if (_socket >= 0) ::close(_socket);
  }
  Packets(const Packets&) = delete;
  Packets& operator=(const Packets&) = delete;

  bool send(const std::vector<std::string>& texts) const {
    const std::string packet = packed(texts);
    if (packet.size() > MostPacketBytes) return errno = EMSGSIZE, false;
    return ::send(_socket, packet.data(), packet.size(), MSG_NOSIGNAL) >= 0;
  }
  /// Empty, with errno, at the end of the connection.
  std::vector<std::string> receive(timeval limit) const {
    ::setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::string packet(MostPacketBytes, '\0');
    ssize_t length = 0;
    do length = ::recv(_socket, packet.data(), packet.size(), 0);
    while (length < 0 && errno == EINTR);
    if (length == 0) errno = ECONNRESET;
    return length <= 0 ? std::vector<std::string>()
                       : unpacked({packet.data(), static_cast<std::size_t>(length)});
  }
  int socket() const { return _socket; }

 private:
  const int _socket;
};

int connectTo(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return errno = ENAMETOOLONG, -1;
  path.copy(address.sun_path, path.size());
  const int connection = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (connection < 0) return -1;
  if (::connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return connection;
  const int failure = errno;
  ::close(connection);
  return errno = failure, -1;
}

/// A script that the helper has started.
class HelpedScript : public ScriptRun {
 public:
  explicit HelpedScript(std::unique_ptr<Packets> helper) : _helper(std::move(helper)) {}
  int wait() override {
    const std::vector<std::string> answer = _helper->receive({});
    if (answer.empty()) return -1;
    const auto status = answer.size() == 5 ? numberIn<int>(answer[1]) : std::nullopt;
    errno = status ? numberIn<int>(answer[2]).value_or(EPROTO) : EPROTO;
    if (!status) return -1;
    _output = RWCString(answer[3]);
    _error = RWCString(answer[4]);
    return *status;
  }
  const RWCString& output() const override { return _output; }
  const RWCString& error() const override { return _error; }

 private:
  const std::unique_ptr<Packets> _helper;
  RWCString _output;
  RWCString _error;
};

std::vector<std::string> requestFor(const ServerScript& script) {
  std::vector<std::string> request{"run", script.owner ? std::to_string(*script.owner) : "",
                                   script.directory.str(), script.command.str()};
  for (const RWCString& argument : script.arguments) request.push_back(argument.str());
  return request;
}

/// Nothing when it is none.
std::optional<ServerScript> scriptIn(const std::vector<std::string>& request, uid_t agent) {
  constexpr std::size_t Fixed = 4;
  if (request.size() < Fixed || request[0] != "run") return std::nullopt;
  const std::optional<uid_t> owner = request[1].empty() ? agent : numberIn<uid_t>(request[1]);
  if (!owner) return std::nullopt;
  ServerScript script;
  script.owner = owner;
  script.directory = RWCString(request[2]);
  script.command = RWCString(request[3]);
  for (std::size_t i = Fixed; i < request.size(); ++i) script.arguments.emplace_back(request[i]);
  return script;
}

std::optional<uid_t> peerOf(int connection) {
  ucred peer{};
  socklen_t length = sizeof peer;
  if (::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) return std::nullopt;
  return peer.uid;
}

bool refuse(const Packets& agent, const RWCString& reason) {
  DGT1_Printf(traceUnit, DGT1_ERROR, "Refused: %s", reason.data());
  agent.send({"refused", reason.str()});
  return false;
}

}  // namespace

std::string packed(const std::vector<std::string>& texts) {
  std::string packet;
  for (const std::string& text : texts) packet += std::to_string(text.size()) + ":" + text;
  return packet;
}

std::vector<std::string> unpacked(std::string_view packet) {
  std::vector<std::string> texts;
  while (!packet.empty()) {
    const std::size_t colon = std::min(packet.find(':'), packet.size());
    const auto length = numberIn<std::size_t>(packet.substr(0, colon));
    packet.remove_prefix(std::min(colon + 1, packet.size()));
    if (!length || *length > packet.size()) return {};
    texts.emplace_back(packet.substr(0, *length));
    packet.remove_prefix(*length);
  }
  return texts;
}

std::unique_ptr<ScriptRun> HelperScripts::start(const ServerScript& script, RWCString& refusal) {
  ZOV_TRACE(Public);
  const auto failed = [&](const std::string& what) {
    refusal =
        script.path() + " was not run: " + what + " at " + _socket + ": " + std::strerror(errno) +
        ". zovagent-scripts.socket is to be there; without ZOV_SCRIPT_HELPER the agent runs scripts itself";
    return nullptr;
  };
  const int connection = connectTo(_socket);
  if (connection < 0) return failed("no helper can be reached");
  auto helper = std::make_unique<Packets>(connection);
  if (!helper->send(requestFor(script))) return failed("the helper takes no request");
  const std::vector<std::string> answer = helper->receive(ForAnAnswer);
  if (answer.empty()) return failed("the helper does not answer");
  if (answer.front() == "started") return std::make_unique<HelpedScript>(std::move(helper));
  refusal = RWCString(answer.back());
  return nullptr;
}

RWCString refusalOfHelper(const ServerScript& script, uid_t user) {
  if (RWCString wrong = refusalOfNames(script); !wrong.isNull()) return wrong;
  const std::string path = script.path().str();
  if (std::ranges::find(Commands, script.command.view()) == std::end(Commands)) {
    return RWCString(path + " is not run: accepted are startServer.sh and stopServer.sh");
  }
  if (!script.directory.view().ends_with("/bin")) {
    return RWCString(path + " is not run: accepted is a script in bin of a server's root");
  }
  const RWCString wrong = findForeignHand(script.path(), user);
  if (wrong.isNull()) return {};
  return RWCString(path + " is not run as user " + std::to_string(user) + ": ") + wrong +
         "; accepted is a script that only this user and root can change";
}

bool serveScript(int connection, uid_t agent, bool mayBeRoots, ScriptRunner& runner) {
  ZOV_TRACE(Public);
  const Packets peer(connection);
  const std::vector<std::string> request = peer.receive(ForAnAnswer);  // or who sends it may see no answer
  const auto user = peerOf(connection);
  if (!user || (*user != agent && *user != 0)) {
    return refuse(peer,
                  RWCString("user " + (user ? std::to_string(*user) : "?") + " may have no script run"));
  }
  const std::optional<ServerScript> script = scriptIn(request, *user);
  if (!script) {
    return refuse(peer, RWCString("a request of " + std::to_string(request.size()) + " texts, the first \"" +
                                  (request.empty() ? "" : request[0]) +
                                  "\", is none: accepted is run, a user's number or nothing, directory, "
                                  "command, arguments; no script is run"));
  }
  if (*script->owner == 0 && !mayBeRoots) {
    return refuse(peer, script->path() +
                            " is not run as root: accepted are servers of other users; "
                            "zovscripts --root runs those of root, too");
  }
  if (const RWCString wrong = refusalOfHelper(*script, *script->owner); !wrong.isNull())
    return refuse(peer, wrong);
  RWCString refusal;
  const std::unique_ptr<ScriptRun> run = runner.start(*script, refusal);
  if (!run) return refuse(peer, refusal);
  DGT1_Printf(traceUnit, DGT1_MESSAGE, "%s runs as user %d", script->path().data(), *script->owner);
  peer.send({"started"});
  const int status = run->wait();
  const int failure = status == -1 ? errno : 0;
  DGT1_Printf(traceUnit, DGT1_MESSAGE, "%s has ended with status %d", script->path().data(), status);
  peer.send(
      {"ended", std::to_string(status), std::to_string(failure), run->output().str(), run->error().str()});
  return true;
}

}  // namespace zov
