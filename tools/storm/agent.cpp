#include "agent.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "support/test_paths.h"

namespace zov::storm {

namespace {

constexpr long LongestLog = 64 << 20;  // bytes; what is beyond is counted only
constexpr std::string_view Served = "HTTP is served at http://127.0.0.1:";

}  // namespace

Agent::Agent(const std::string& binary, const std::string& logFile, int pollIntervalSeconds)
    : _collectorPort(freePort()) {
  _directory.write(shortHostName() + "_ov.cfg",
                   fmt::format("[Advanced_Agent_Config]\nZOV_PORT = {}\n"
                               "[Advanced_J2EE_Config]\nZOV_REQ_FIXEDINTERVAL_TIME = {}\n",
                               _collectorPort, pollIntervalSeconds));
  launch(binary, logFile);
  auto port = _served.get_future();
  if (port.wait_for(std::chrono::seconds(30)) == std::future_status::ready) _httpPort = port.get();
  if (_httpPort != 0) return;
  stop();
  throw std::runtime_error("the agent does not serve HTTP; its log is " + logFile);
}

Agent::~Agent() {
  if (!reap(false)) {
    ::kill(_pid, SIGKILL);
    reap(true);
  }
  if (_reader.joinable()) _reader.join();
}

void Agent::launch(const std::string& binary, const std::string& logFile) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  const pid_t parent = ::getpid();
  _pid = ::fork();
  if (_pid < 0) throw std::runtime_error("no process");
  if (_pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(127);
    ::setenv("ZOV_CONFIG_DIR", _directory.path().c_str(), 1);
    ::setenv("ZOV_HUB_ADDRESS", "127.0.0.1:0", 1);
    ::setenv("ZOV_LOCAL_ADDRESS", "127.0.0.1", 1);
    ::setenv("ZOV_TRACE", "ERROR MESSAGE", 1);
    ::dup2(ends[1], STDERR_FILENO);
    ::execl(binary.c_str(), binary.c_str(), nullptr);
    ::_exit(127);
  }
  ::close(ends[1]);
  _reader = std::thread([this, descriptor = ends[0], logFile] { takeTrace(descriptor, logFile); });
}

void Agent::takeTrace(int descriptor, const std::string& logFile) {
  std::ofstream log(logFile, std::ios::binary);
  std::string head;  // until the port is found
  long written = 0;
  bool found = false;
  char chunk[65536];
  for (ssize_t n; (n = ::read(descriptor, chunk, sizeof chunk)) > 0;) {
    const std::string_view bytes(chunk, static_cast<std::size_t>(n));
    _logLines += std::count(bytes.begin(), bytes.end(), '\n');
    if (written < LongestLog) log.write(bytes.data(), n).flush();
    written += n;
    if (found) continue;
    head += bytes;
    const std::size_t at = head.find(Served);
    if (at == std::string::npos || head.find('\n', at) == std::string::npos) continue;
    _served.set_value(static_cast<std::uint16_t>(std::atoi(head.c_str() + at + Served.size())));
    found = true;
  }
  ::close(descriptor);
  if (!found) _served.set_value(0);
}

Agent::Usage Agent::usage() const {
  Usage usage;
  const std::string place = fmt::format("/proc/{}/", _pid);
  std::error_code ignored;
  for (std::filesystem::directory_iterator at(place + "fd", ignored), end; at != end; at.increment(ignored)) {
    ++usage.descriptors;
  }
  std::ifstream status(place + "status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) usage.residentMiB = std::atof(line.c_str() + 6) / 1024;
    if (line.starts_with("Threads:")) usage.threads = std::atol(line.c_str() + 8);
  }
  std::ifstream stat(place + "stat");
  std::string text;
  std::getline(stat, text);
  // Behind the name in parentheses, which is field 2, come 3 to 13, and then user and system time.
  if (const std::size_t name = text.rfind(')'); name != std::string::npos) {
    std::istringstream fields(text.substr(name + 1));
    std::string skipped;
    for (int i = 3; i <= 13; ++i) fields >> skipped;
    double user = 0, system = 0;
    fields >> user >> system;
    usage.processorSeconds = (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
  }
  return usage;
}

bool Agent::runs() {
  return !reap(false);
}

Agent::Ending Agent::stop() {
  constexpr auto Patience = std::chrono::seconds(30);
  const Moment asked = Clock::now();
  if (!reap(false)) ::kill(_pid, SIGTERM);
  while (!reap(false)) {
    if (Clock::now() - asked > Patience) {
      ::kill(_pid, SIGKILL);
      reap(true);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return {seconds(Clock::now() - asked), WIFEXITED(*_status) ? WEXITSTATUS(*_status) : -1};
}

bool Agent::reap(bool wait) {
  if (_status) return true;
  int status = 0;
  pid_t ended;
  do {
    ended = ::waitpid(_pid, &status, wait ? 0 : WNOHANG);
  } while (ended < 0 && errno == EINTR);
  if (ended == 0) return false;
  _status = status;
  return true;
}

}  // namespace zov::storm
