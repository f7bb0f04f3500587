#include "context/application_context.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "diag/agent_log.h"
#include "diag/utf8_handler.h"
#include "platform/message_rate.h"
#include "runtime/trace_scope.h"
#include "runtime/waits.h"
#include "server/application_server.h"

static DGT1_Unit traceUnit("ZOVACTXT");

namespace {

enum ContextKey : std::size_t {
  AppServerName,
  WorkingDirectory,
  ServerRootDirectory,
  Occurrence,
  Platform,
  SubnodeName,
  AliasName,
  LocaleName,
  Encoding,
  OwnerUid,
  ContextKeys
};
/// In the order of writing.
constexpr const char* ContextTable[ContextKeys] = {
    "appServerName", "workingDirectory", "serverRootDirectory", "occurrence", "platform",
    "subnodeName",   "aliasName",        "localeName",          "encoding",   "ownerUid"};

/// Nobody for anything but a whole number of a user.
std::optional<uid_t> readOwner(const RWCString& value) {
  const std::string_view text = value.view();
  uid_t user = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), user);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return user;
}

bool writeAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::string freshPath(const std::string& path) {
  return path + ".new";
}

/// Writes beside the file and renames, so that a crash leaves the old file or the new one.
bool replaceFile(const std::string& path, std::string_view text) {
  const std::string fresh = freshPath(path);
  ::unlink(fresh.c_str());  // of a writer that was killed; what cannot be taken away, the open refuses
  const int file = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file < 0) return false;
  const bool written = writeAll(file, text) && ::fsync(file) == 0;
  const bool closed = ::close(file) == 0;
  if (written && closed && ::rename(fresh.c_str(), path.c_str()) == 0) return true;
  const int error = errno;
  ::unlink(fresh.c_str());
  errno = error;
  return false;
}

/// Opens a regular file for reading; anything else in its place is refused, and never waited for. Null with
/// errno set.
std::FILE* openRegularFile(const char* path) {
  const int file = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return nullptr;
  struct stat status {};
  const bool regular = ::fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  if (std::FILE* const stream = regular ? ::fdopen(file, "r") : nullptr) return stream;
  ::close(file);
  errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  return nullptr;
}

void announce(const ZOVApplicationServer& server) {
  ZOV_FUNCTION;
  ZOV_LOG_MESSAGE(ZOVA0007I, server.getName(), server.getStatusText());
}

void replaceFirst(char* text, char wanted, std::size_t length) {
  char* const found = std::strchr(text, wanted);
  if (!found) return;
  constexpr std::size_t EndPlaces = 3;
  *found = length - static_cast<std::size_t>(found - text) < EndPlaces ? '\0' : ' ';
}

}  // namespace

void removeCRandLF(char* text, char which) {
  const std::size_t length = std::strlen(text);
  // The line feed first: a terminator at the carriage return before it would hide it.
  if (which == 'F' || which == 'B') replaceFirst(text, '\n', length);
  if (which == 'R' || which == 'B') replaceFirst(text, '\r', length);
}

ZOVApplicationContext::ZOVApplicationContext(const char* prefix)
    : ZOVAsynchronousTask("ApplicationContextTask"), _contextFilePath(prefix) {
  _contextFilePath += std::string_view("zovapctx");
  DGT1_Printf(traceUnit, DGT1_DETAIL, "ContextFilePath: %s", _contextFilePath.data());
}

ZOVApplicationContext::~ZOVApplicationContext() {
  shutdown();
}

// --- The thread.

void ZOVApplicationContext::start() {
  ZOV_TRACE(Public);
  _startEvent.post();
}

void ZOVApplicationContext::interrupt() {
  ZOV_TRACE(Public);
  requestShutdown();
  _startEvent.post();
  _readEvent.post();
}

void ZOVApplicationContext::waitUntilRead() {
  ZOV_TRACE(Public);
  if (!isThreadRunning()) return;
  _readEvent.wait();
  _readEvent.post();  // for the next one
}

void ZOVApplicationContext::shutdown() {
  ZOV_TRACE(Public);
  interrupt();
  ZOVAsynchronousTask::shutdown();
  std::vector<Server> servers;
  {
    const zov::ExclusiveLock lock(_lock);
    _whole = false;
    servers.swap(_appServers);
  }
  stopThreadsOf(servers);
}

/// All are told before one is waited for. A thread that had to be killed keeps its server from being freed.
void ZOVApplicationContext::stopThreadsOf(const std::vector<Server>& servers) {
  for (const Server& server : servers) server->requestThreadsToStop();
  for (const Server& server : servers) server->stopThreads();
}

void ZOVApplicationContext::backgroundProcessing() {
  ZOV_TRACE(Public);
  startupCompleted(1);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Starting context initialization thread");
  withCleanup(
      [&] {
        if (!waitForStart()) return;
        holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) { readContextFile(); });
      },
      [&] { _readEvent.post(); });
}

bool ZOVApplicationContext::waitForStart() {
  if (!isShutdownRequested()) _startEvent.wait();
  if (!isShutdownRequested()) _startEvent.waitWithTimeout(zovWaits().contextStartDelaySeconds);
  return !isShutdownRequested();
}

void ZOVApplicationContext::readContextFile() {
  ZOV_TRACE(Private);
  ::unlink(freshPath(_contextFilePath.str()).c_str());  // of a writer that was killed
  std::FILE* const file = openRegularFile(_contextFilePath.data());
  const int error = errno;
  bool whole = !file && error == ENOENT;
  if (file) {
    const bool failed = guarded(ZOV_PLACE, [&]() ZOV_REQUIRES(_lock) { readRecords(file); }).has_value();
    whole = !failed && std::ferror(file) == 0 && !isShutdownRequested();
    std::fclose(file);
  } else if (!whole) {
    DGT1_Printf(
        traceUnit, DGT1_ERROR,
        "Context file %s cannot be read: %s. It stays as it is, and servers are not remembered until the "
        "agent is started with a file that it can read, or with none.",
        _contextFilePath.data(), std::strerror(error));
  }
  if (!whole) return;
  _whole = true;
  writeContextFile();  // tidied at every start
}

void ZOVApplicationContext::readRecords(std::FILE* file) {
  ZOV_FUNCTION;
  char line[MaximumLineLength + 1];
  if (!std::fgets(line, sizeof line, file)) return;  // the first line is empty
  while (!isShutdownRequested() && std::fgets(line, sizeof line, file)) {
    // A line that fails costs its server alone.
    guarded(ZOV_PLACE, [&]() ZOV_REQUIRES(_lock) { readRecord(line); });
  }
}

void ZOVApplicationContext::readRecord(char* line) {
  removeCRandLF(line, 'B');
  ZOVReturnCode rc;
  if (const Server server = createAppServerFromContextRecord(line, rc)) {
    _appServers.push_back(server);
    announce(*server);
  } else if (*line) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Line of %s dropped, code %i (%s): %s", _contextFilePath.data(),
                static_cast<unsigned int>(rc), rc.getDescription(), static_cast<const char*>(line));
  }
}

RWCString ZOVApplicationContext::cleaned(std::string_view value) {
  constexpr std::string_view Ends("\t\r\n\0", 4);
  std::string text(value);
  std::replace_if(
      text.begin(), text.end(), [&](char c) { return Ends.find(c) != std::string_view::npos; }, ' ');
  return RWCString(std::move(text));
}

ZOVApplicationContext::Server ZOVApplicationContext::createAppServerFromContextRecord(const char* record,
                                                                                      ZOVReturnCode& rc) {
  ZOV_TRACE(Public);
  std::array<RWCString, ContextKeys> values;
  const RWCString line(record);
  RWCTokenizer nextField(line);
  for (RWCString field = nextField("\t"); !field.isNull(); field = nextField("\t")) {
    const std::string_view text = field.view();
    const std::size_t equals = std::min(text.find('='), text.size());
    const std::string_view key = text.substr(0, equals);
    const auto* const found = std::find(std::begin(ContextTable), std::end(ContextTable), key);
    if (found == std::end(ContextTable)) continue;
    values[static_cast<std::size_t>(found - std::begin(ContextTable))] =
        cleaned(text.substr(std::min(equals + 1, text.size())));
  }
  const RWCString occurrence = ZOVUTF8Handler(values[Occurrence]).convertToLocalString();
  const zov::ServerDescription description{
      .name = values[AppServerName],
      .rootDirectory = values[ServerRootDirectory],
      .workingDirectory = values[WorkingDirectory],
      .platform = values[Platform],
      .locale = values[LocaleName],
      .encoding = values[Encoding],
      .subnode = values[SubnodeName],
      .subnodeAlias = values[AliasName],
      .owner = readOwner(values[OwnerUid]),
      .occurrence = static_cast<int>(std::strtol(occurrence.data(), nullptr, 10))};
  return ZOVApplicationServer::buildNew(description, rc);
}

// --- The list.

std::vector<ZOVApplicationContext::Server> ZOVApplicationContext::getAppServers() {
  const zov::SharedLock lock(_lock);
  return _appServers;
}

int ZOVApplicationContext::defineNewAppServer(const Server& server, bool writeFile) {
  ZOV_TRACE(Public);
  waitUntilRead();
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    _appServers.push_back(server);
    if (writeFile) writeContextFile();
  });
  announce(*server);
  return 0;
}

ZOVApplicationContext::Server ZOVApplicationContext::findAppServer(const RWCString& name,
                                                                   const RWCString& root) {
  ZOV_TRACE(Public);
  Server found;
  forEachAppServer([&](const Server& server) {
    if (server->getName() != name || server->getServerRootDirectory() != root) return false;
    found = server;
    return true;
  });
  return found;
}

ZOVApplicationContext::Server ZOVApplicationContext::findAppServerMatchingSubnode(const char* subnode) {
  ZOV_TRACE(Public);
  if (!subnode) return nullptr;
  Server found;
  forEachAppServer([&](const Server& server) {
    if (!server->getSubnodeName().equals(subnode, RWCString::ignoreCase)) return false;
    found = server;
    return true;
  });
  return found;
}

int ZOVApplicationContext::isSubNodeNameUnique(const char* subnode) {
  ZOV_TRACE(Public);
  int unique = 1;
  forEachAppServer([&](const Server& server) {
    if (server->getSubnodeName() == subnode) unique = 0;
    return !unique;
  });
  return unique;
}

unsigned int ZOVApplicationContext::deleteAppServerContext(const Server& server) {
  ZOV_TRACE(Public);
  if (!server) return ZOV_NO_SUCH_SERVER;
  if (const ZOVReturnCode rc = server->deRegisterSubNode()) return rc;
  holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
    // The caller has a reference too, so nothing is destroyed under the lock.
    std::erase_if(_appServers, [&](const Server& known) { return known == server; });
    writeContextFile();
  });
  server->stopThreads();
  return ZOV_OK;
}

// --- The file.

void ZOVApplicationContext::rewriteContextInfo() {
  ZOV_TRACE(Public);
  holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) { writeContextFile(); });
}

RWCString ZOVApplicationContext::writeContextRecord(const ZOVApplicationServer& server) {
  std::array<RWCString, ContextKeys> values;
  values[AppServerName] = server.getName();
  values[WorkingDirectory] = server.getWorkingDirectory();
  values[ServerRootDirectory] = server.getServerRootDirectory();
  values[Occurrence] = std::to_string(server.getOccurrence()).c_str();
  values[Platform] = server.getPlatform();
  values[SubnodeName] = server.getSubnodeNameUTF8();
  values[AliasName] = server.getAliasName();
  values[LocaleName] = server.getLocaleName();
  values[Encoding] = server.getEncoding();
  if (const auto owner = server.getOwner()) values[OwnerUid] = std::to_string(*owner).c_str();
  RWCString record;
  for (std::size_t i = 0; i < ContextKeys; ++i) {
    if (i != 0) record.append('\t');
    record.append(ContextTable[i]).append('=').append(cleaned(values[i].view()).view());
  }
  return record;
}

int ZOVApplicationContext::writeContextFile() {
  ZOV_TRACE(Private);
  if (!_whole) return 0;
  // The mutex is held while the text is made too, so that the last writer's text is the newest.
  _contextFileMutex.get();
  const auto failure = guarded(ZOV_PLACE, [&]() ZOV_REQUIRES_SHARED(_lock) {
    const RWCString text = makeContextText();
    if (replaceFile(_contextFilePath.str(), text.view())) return;
    DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "Context file %s cannot be written: %s. It stays as it was.",
                       _contextFilePath.data(), std::strerror(errno));
  });
  _contextFileMutex.release();
  if (failure) zovRaise(*failure);
  return 0;
}

RWCString ZOVApplicationContext::makeContextText() const {
  RWCString text("\n");
  for (const Server& server : _appServers) {
    const RWCString record = writeContextRecord(*server);
    if (record.length() >= MaximumLineLength) {
      DGT1_PrintfLimited(
          traceUnit, DGT1_ERROR,
          "Application server %s is not kept in the context file: its line of %i bytes is longer than %i",
          server->getName().data(), record.length(), MaximumLineLength);
      continue;
    }
    text.append(record.view()).append('\n');
  }
  return text;
}
