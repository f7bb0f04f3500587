#include "remote/local_scripts.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/descriptor_limit.h"
#include "remote/pipe.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCSCRP");

namespace zov {

namespace {

constexpr const char* SetPriv = "/usr/bin/setpriv";
constexpr const char* SystemdRun = "/usr/bin/systemd-run";
constexpr std::size_t MostEntryBytes = 16384;

/// Descriptors of the shell that becomes the script. What lies above the standard ones is the drain's.
enum : int { Input, Output, Error, OutputEnd, ErrorEnd, Agent, Begin, BeginEnd, FirstClosed };

/// First the agent is told that the shell has been reached; that it may have gone must not end the shell,
/// which has the other end for that.
///
/// The drain waits for the end of a stream on which the agent never writes, and then takes both others. It is
/// nobody's child, so that the script finds none that it does not know.
constexpr const char* Prologue =
    "echo >&6; exec 6>&- 7<&-\n"
    "( { cat <&5; cat <&3 & cat <&4; } & ) </dev/null >/dev/null 2>&1; exec 3<&- 4<&- 5<&-\n"
    "cd 2>/dev/null || cd /; unset OLDPWD\n"
    "umask 022\n"
    "exec ";

struct Account {
  uid_t user;
  gid_t group = 0;
  std::string name, home = "/";
  bool isKnown = false;
};

Account findAccount(uid_t user) {
  Account account{.user = user, .group = ::getegid(), .name = {}};
  passwd entry{};
  passwd* found = nullptr;
  std::string space(MostEntryBytes, '\0');
  if (::getpwuid_r(user, &entry, space.data(), space.size(), &found) != 0 || !found) return account;
  return {.user = user, .group = entry.pw_gid, .name = entry.pw_name, .home = entry.pw_dir, .isKnown = true};
}

bool mayChangeUsers() {
  constexpr std::uint32_t Wanted = 1U << CAP_SETUID | 1U << CAP_SETGID;
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  return ::syscall(SYS_capget, &header, sets) == 0 && (sets[0].effective & Wanted) == Wanted;
}

/// systemd tells its units' processes how they were invoked, and is there when it has this directory.
bool isUnitOfSystemd() {
  struct stat status {};
  return std::getenv("INVOCATION_ID") != nullptr && ::stat("/run/systemd/system", &status) == 0;
}

/// A scope is called by its whole command line otherwise, which the system manager tells and logs.
std::string scopeName(const ServerScript& script) {
  return "--description=zovagent: " + script.command.str();
}

std::vector<std::string> commandOf(const ServerScript& script, const Account& account) {
  std::vector<std::string> words;
  if (::geteuid() == 0 && isUnitOfSystemd()) {
    words = {SystemdRun, "--scope", "--collect", "--quiet", scopeName(script), "--"};
  }
  words.insert(words.end(), {SetPriv, "--inh-caps=-all", "--ambient-caps=-all"});
  if (account.user != ::geteuid()) {
    words.insert(words.end(), {"--reuid=" + std::to_string(account.user),
                               "--regid=" + std::to_string(account.group), "--init-groups"});
  }
  std::vector<RWCString> called{script.path()};
  called.insert(called.end(), script.arguments.begin(), script.arguments.end());
  const std::string limit = "ulimit -S -n " + std::to_string(startingDescriptorLimit()) + "\n";
  words.insert(words.end(), {"/bin/sh", "-c", limit + Prologue + shellLine(called).str()});
  return words;
}

std::vector<std::string> environmentOf(const Account& account) {
  return {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
          "LANG=C.UTF-8",
          "SHELL=/bin/sh",
          "HOME=" + account.home,
          "USER=" + account.name,
          "LOGNAME=" + account.name};
}

/// The texts as exec takes them.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// The end of a stream.
class Tail {
 public:
  void take(ZOVPipe& pipe) {
    if (pipe.Read(&_text) != ZOV_OK) pipe.closeReadEnd();
    if (_text.length() > ScriptRun::OutputBytes) _text.remove(0, _text.length() - ScriptRun::OutputBytes);
  }
  const RWCString& text() const { return _text; }

 private:
  RWCString _text;
};

class SpawnedScript : public ScriptRun {
 public:
  ~SpawnedScript() override {
    if (_end > 0) ::close(_end);
  }
  /// 0, or an errno.
  int spawn(std::vector<std::string> command, std::vector<std::string> environment);
  /// Waits for the shell that becomes the script: false when what leads to it has ended instead.
  bool begins();
  int wait() override;
  const RWCString& output() const override { return _outputTail.text(); }
  const RWCString& error() const override { return _errorTail.text(); }

 private:
  int spawnWith(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes, char* const* command,
                char* const* environment);
  bool waitForMore();

  ZOVPipe _output, _error, _agent, _begin;
  Tail _outputTail, _errorTail;
  pid_t _pid = 0;
  int _end = -1;  // readable once the process has ended
};

int SpawnedScript::spawn(std::vector<std::string> command, std::vector<std::string> environment) {
  if (_output.writeEnd() == 0 || _error.writeEnd() == 0 || _agent.writeEnd() == 0 || _begin.writeEnd() == 0)
    return EMFILE;
  // A script opens its own streams anew as /dev/stdout or /dev/stderr, and may be another user's. Who else
  // could get at a pipe has that user's rights, or root's.
  for (const int stream : {_output.writeEnd(), _error.writeEnd()}) ::fchmod(stream, 0622);
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawnattr_init(&attributes);
  const int failed =
      spawnWith(actions, attributes, pointersTo(command).data(), pointersTo(environment).data());
  ::posix_spawn_file_actions_destroy(&actions);
  ::posix_spawnattr_destroy(&attributes);
  _output.closeWriteEnd();
  _error.closeWriteEnd();
  _agent.closeReadEnd();
  _begin.closeWriteEnd();
  if (failed != 0) return failed;
  _end = static_cast<int>(::syscall(SYS_pidfd_open, _pid, 0));
  if (_end < 0) _agent.closeWriteEnd();  // nobody can read while he waits, so the drain does
  return 0;
}

int SpawnedScript::spawnWith(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes,
                             char* const* command, char* const* environment) {
  ::posix_spawn_file_actions_addopen(&actions, Input, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, _output.writeEnd(), Output);
  ::posix_spawn_file_actions_adddup2(&actions, _error.writeEnd(), Error);
  ::posix_spawn_file_actions_adddup2(&actions, _output.readEnd(), OutputEnd);
  ::posix_spawn_file_actions_adddup2(&actions, _error.readEnd(), ErrorEnd);
  ::posix_spawn_file_actions_adddup2(&actions, _agent.readEnd(), Agent);
  ::posix_spawn_file_actions_adddup2(&actions, _begin.writeEnd(), Begin);
  ::posix_spawn_file_actions_adddup2(&actions, _begin.readEnd(), BeginEnd);
  ::posix_spawn_file_actions_addclosefrom_np(&actions, FirstClosed);
  sigset_t signals;
  std::memset(&signals, 0xFF, sizeof signals);  // sigfillset leaves out two, which would come to be ignored
  ::posix_spawnattr_setsigdefault(&attributes, &signals);
  ::sigemptyset(&signals);
  ::posix_spawnattr_setsigmask(&attributes, &signals);
  // A session of its own: what a terminal sends to the agent is not for the server.
  ::posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID);
  return ::posix_spawn(&_pid, command[0], &actions, &attributes, command, environment);
}

bool SpawnedScript::begins() {
  pollfd event{_begin.readEnd(), POLLIN, 0};
  while (::poll(&event, 1, -1) < 0 && errno == EINTR) continue;
  RWCString told;
  _begin.Read(&told);
  _begin.closeReadEnd();
  return !told.isNull();
}

/// Takes what has been written, and waits for more of it: false once the process has ended.
bool SpawnedScript::waitForMore() {
  const auto streamOf = [](const ZOVPipe& pipe) {
    return pollfd{pipe.readEnd() == 0 ? -1 : pipe.readEnd(), POLLIN, 0};
  };
  pollfd events[] = {{_end, POLLIN, 0}, streamOf(_output), streamOf(_error)};
  if (_end < 0 || (::poll(events, std::size(events), -1) < 0 && errno != EINTR)) return false;
  _outputTail.take(_output);
  _errorTail.take(_error);
  return (events[0].revents & POLLIN) == 0;
}

int SpawnedScript::wait() {
  while (waitForMore()) continue;
  int status = 0;
  while (::waitpid(_pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status;
}

}  // namespace

RWCString shellLine(const std::vector<RWCString>& words) {
  constexpr std::string_view Plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:@%+=,-";
  RWCString line;
  for (const RWCString& word : words) {
    if (!line.isNull()) line.append(' ');
    if (!word.isNull() && word.view().find_first_not_of(Plain) == std::string_view::npos) {
      line.append(word.view());
      continue;
    }
    line.append('\'');
    for (const char c : word.view())
      line.append(c == '\'' ? std::string_view("'\\''") : std::string_view(&c, 1));
    line.append('\'');
  }
  return line;
}

RWCString refusalOfNames(const ServerScript& script) {
  const RWCString name = script.server();
  const auto hasZero = [](const RWCString& text) { return text.view().find('\0') != std::string_view::npos; };
  if (!script.directory.view().starts_with('/')) {
    return "the server's root directory, in " + script.path() + ", is no absolute path";
  }
  if (name.view().starts_with('-')) return "the name " + name + " would be an option of " + script.path();
  if (!hasZero(script.path()) && std::ranges::none_of(script.arguments, hasZero)) return {};
  return "a zero byte, which none can hold, is in the path or an argument of " + script.path();
}

std::unique_ptr<ScriptRun> LocalScripts::start(const ServerScript& script, RWCString& refusal) {
  ZOV_TRACE(Public);
  const uid_t own = ::geteuid();
  const Account account = findAccount(mayChangeUsers() ? script.owner.value_or(own) : own);
  if (account.user == own) {
    const RWCString wrong = findForeignHand(script.path(), own);
    if (!wrong.isNull()) {
      refusal = script.path() + " is not run as user " + std::to_string(own) + ": " + wrong +
                "; accepted is a script that only this user and root can change";
    }
  } else if (!account.isKnown) {
    refusal = script.path() + " is not run: the server's owner, user " + std::to_string(account.user) +
              ", is no user of this host";
  }
  if (!refusal.isNull()) return nullptr;
  auto run = std::make_unique<SpawnedScript>();
  const std::vector<std::string> command = commandOf(script, account);
  if (const int failed = run->spawn(command, environmentOf(account))) {
    refusal = script.path() + " is not run: " + command[0] + " cannot be started, " + std::strerror(failed);
    return nullptr;
  }
  if (run->begins()) return run;
  run->wait();
  refusal = script.path() + " is not run: " + command[0] + " fails, " +
            run->error().strip(RWCString::trailing, '\n');
  return nullptr;
}

}  // namespace zov
