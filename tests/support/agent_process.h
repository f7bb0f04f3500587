#pragma once
// The real agent as a child process, for end-to-end tests: a directory of its own, free ports, loopback only.
//
//   AgentProcess agent;                       // configuration and context may be written before start
//   agent.start();
//   FakeCollector collector(agent.collectorPort());
//   agent.rows("/v1/tables/ZOVAPSRV/rows");
//   EXPECT_EQ(agent.stop(SIGTERM), 0);
//
// What the agent traces is read from its standard error by a thread; waits are for lines of it, give up after
// 30 seconds, and so never sleep. A test that ends kills the agent that it started.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/http_client.h"
#include "support/test_paths.h"

using TestRow = std::map<std::string, std::string>;

class AgentProcess {
 public:
  AgentProcess() = default;
  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;
  ~AgentProcess() {
    if (_pid > 0) stop(SIGKILL);
  }

  // --- Before the start.
  /// Replaces the configuration; "{port}" in it becomes the port for collectors.
  void configure(const std::string& text) { _configuration = text; }
  void configureMore(const std::string& text) { _configuration += text; }
  void setEnvironment(const std::string& name, const std::string& value) { _environment[name] = value; }

  /// The agent is to run as this user, and to have its directory. For root only.
  void setUser(uid_t user) { _user = user; }
  /// The agent is to start with the signal ignored, as a shell does that puts it into the background.
  void setIgnored(int signal) { _ignored = signal; }

  /// Starts the agent, and returns once it listens for collectors and serves HTTP.
  void start() {
    ASSERT_NO_FATAL_FAILURE(launch());
    ASSERT_TRUE(waitForTrace("ZOVProfilerSocketMonitor::serveNext")) << trace();
    waitForHttp();
  }
  /// Starts it, and returns once it serves HTTP.
  void startWithoutListener() {
    ASSERT_NO_FATAL_FAILURE(launch());
    waitForHttp();
  }
  /// Starts it and waits for nothing.
  void launch() {
    const char* const binary = std::getenv("ZOV_TEST_BINARY");
    ASSERT_TRUE(binary != nullptr && *binary != '\0') << "ZOV_TEST_BINARY names the agent's binary";
    _collectorPort = freePort();
    std::string configuration = _configuration;
    if (const std::size_t place = configuration.find("{port}"); place != std::string::npos) {
      configuration.replace(place, 6, std::to_string(_collectorPort));
    }
    std::ofstream(prefix() + "ov.cfg") << configuration;
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    _environment.emplace("ZOV_CONFIG_DIR", _directory.path());
    _environment.emplace("ZOV_HUB_ADDRESS", "127.0.0.1:0");
    _environment.emplace("ZOV_LOCAL_ADDRESS", "127.0.0.1");
    _environment.emplace("ZOV_START_DELAY", "0");
    _environment.emplace("ZOV_TRACE", "ERROR MESSAGE FLOW(ZOVCPSKM)");
    _pid = ::fork();
    if (_pid == 0) {
      for (const auto& [name, value] : _environment) ::setenv(name.c_str(), value.c_str(), 1);
      std::signal(SIGINT, SIG_DFL);  // whatever this test was started with
      if (_ignored != 0) std::signal(_ignored, SIG_IGN);
      ::dup2(ends[1], STDERR_FILENO);
      ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);  // a hangup ends it in a terminal
      if (_user && (::chown(_directory.path().c_str(), *_user, 0) != 0 ||
                    ::chown((prefix() + "ov.cfg").c_str(), *_user, 0) != 0 || ::setuid(*_user) != 0))
        ::_exit(126);
      ::execl(binary, binary, nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    _trace.clear();
    _ended = false;
    _reader = std::thread([this, descriptor = ends[0]] { readTrace(descriptor); });
  }

  void send(int signal) { ::kill(_pid, signal); }
  /// Sends the signal, and waits for the end: the exit status, or 256 and the signal that ended it.
  int stop(int signal) {
    ::kill(_pid, signal);
    return waitForEnd();
  }
  int waitForEnd() {
    int status = 0;
    ::waitpid(_pid, &status, 0);
    _pid = 0;
    if (_reader.joinable()) _reader.join();
    if (status != 0 && WTERMSIG(status) != SIGKILL) std::fprintf(stderr, "%s\n", trace().c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
  }

  // --- While it runs.
  std::uint16_t collectorPort() const { return _collectorPort; }
  std::uint16_t httpPort() const { return _httpPort; }
  std::string prefix() const { return _directory.path() + "/" + shortHostName() + "_"; }
  const std::string& directory() const { return _directory.path(); }
  /// Sends a command through HTTP, with the token that the agent keeps.
  ZOVTestAnswer act(const std::string& node, const std::string& command) {
    return ZOVTestHttpClient(_httpPort).post("/v1/actions",
                                             R"({"node":")" + node + R"(","command":")" + command + "\"}",
                                             "Content-Type: application/json\r\n" + authorization());
  }
  /// The header with the token that the agent keeps.
  std::string authorization() const {
    std::string token;
    std::ifstream(_directory.file("hub.token")) >> token;
    return "Authorization: Bearer " + token + "\r\n";
  }
  std::string contextFile() const {
    std::ostringstream text;
    text << std::ifstream(prefix() + "zovapctx").rdbuf();
    return text.str();
  }
  std::string trace() {
    const std::scoped_lock lock(_mutex);
    return _trace;
  }
  /// Waits until the trace holds `text` `count` times.
  bool waitForTrace(const std::string& text, int count = 1) {
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, std::chrono::seconds(30), [&] {
      int found = 0;
      for (std::size_t at = 0; (at = _trace.find(text, at)) != std::string::npos; ++at) ++found;
      return found >= count || _ended;
    }) && _trace.find(text) != std::string::npos;
  }
  rapidjson::Document get(const std::string& target, const std::string& headers = "") {
    rapidjson::Document document;
    const ZOVTestAnswer answer = zovTestGet(_httpPort, target, headers);
    EXPECT_EQ(answer.status, 200) << target << ": " << answer.body;
    document.Parse(answer.body.c_str());
    return document;
  }
  /// The rows of a table; `query` begins with "?".
  std::vector<TestRow> rows(const std::string& table, const std::string& query = "") {
    std::vector<TestRow> result;
    const rapidjson::Document document = get("/v1/tables/" + table + "/rows" + query);
    if (!document.IsObject() || !document.HasMember("rows")) return result;
    for (const auto& row : document["rows"].GetArray()) {
      TestRow& columns = result.emplace_back();
      for (const auto& column : row.GetObject()) {
        columns[column.name.GetString()] = column.value.IsString() ? std::string(column.value.GetString())
                                                                   : std::to_string(column.value.GetInt64());
      }
    }
    return result;
  }
  /// The names of the registered subnodes.
  std::vector<std::string> subnodes() {
    std::vector<std::string> result;
    const rapidjson::Document document = get("/v1/nodes");
    if (!document.IsObject() || !document.HasMember("subnodes")) return result;
    for (const auto& subnode : document["subnodes"].GetArray()) result.push_back(subnode["name"].GetString());
    return result;
  }
  std::size_t openDescriptors() const {
    const std::filesystem::directory_iterator all("/proc/" + std::to_string(_pid) + "/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }
  /// Kilobytes.
  long residentMemory() const { return std::atol(status("VmRSS:").c_str()); }
  bool ignores(int signal) const {
    return (std::strtoull(status("SigIgn:").c_str(), nullptr, 16) >> (signal - 1) & 1) != 0;
  }

 private:
  /// What the system says of the process under this name.
  std::string status(const std::string& name) const {
    std::ifstream status("/proc/" + std::to_string(_pid) + "/status");
    for (std::string line; std::getline(status, line);) {
      if (line.starts_with(name)) return line.substr(name.size());
    }
    return "";
  }
  void waitForHttp() {
    static const std::string served = "HTTP is served at http://127.0.0.1:";
    ASSERT_TRUE(waitForTrace(served)) << trace();
    const std::string text = trace();
    _httpPort = static_cast<std::uint16_t>(std::atoi(text.c_str() + text.find(served) + served.size()));
  }
  void readTrace(int descriptor) {
    char chunk[4096];
    for (ssize_t count; (count = ::read(descriptor, chunk, sizeof chunk)) > 0;) {
      const std::scoped_lock lock(_mutex);
      _trace.append(chunk, static_cast<std::size_t>(count));
      _changed.notify_all();
    }
    ::close(descriptor);
    const std::scoped_lock lock(_mutex);
    _ended = true;
    _changed.notify_all();
  }

  TemporaryDirectory _directory;
  std::string _configuration = "[Advanced_Agent_Config]\nZOV_PORT = {port}\n";
  std::uint16_t _collectorPort = 0;
  std::uint16_t _httpPort = 0;
  std::map<std::string, std::string> _environment;
  int _ignored = 0;
  std::optional<uid_t> _user;
  pid_t _pid = 0;
  std::thread _reader;
  std::mutex _mutex;  // guards what follows
  std::condition_variable _changed;
  std::string _trace;
  bool _ended = false;
};
