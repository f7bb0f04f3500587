#pragma once
// The agent under test: a child process with a directory of its own, on free ports of loopback. What it
// traces goes through a thread of this class to a file, is counted, and is looked through for the port of its
// HTTP interface. It is killed when this object goes, and when this process does.

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <fstream>
#include <future>
#include <optional>
#include <string>
#include <thread>

#include "gauges.h"
#include "support/temporary_directory.h"

namespace zov::storm {

class Agent {
 public:
  struct Usage {
    long descriptors = 0;
    long threads = 0;
    double residentMiB = 0;
    double processorSeconds = 0;  ///< since its start
  };
  struct Ending {
    double seconds;
    int status;  ///< of its exit; -1 when a signal ended it, or it had to be killed
  };

  /// Throws std::runtime_error when it does not serve HTTP within 30 seconds.
  Agent(const std::string& binary, const std::string& logFile, int pollIntervalSeconds);
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  pid_t processId() const { return _pid; }
  std::uint16_t collectorPort() const { return _collectorPort; }
  std::uint16_t httpPort() const { return _httpPort; }
  long logLines() const { return _logLines; }
  Usage usage() const;
  /// False once it has ended by itself.
  bool runs();
  /// Asks it to end, and waits; kills it after 30 seconds.
  Ending stop();

 private:
  void launch(const std::string& binary, const std::string& logFile);
  void takeTrace(int descriptor, const std::string& logFile);
  /// False when it still runs.
  bool reap(bool wait);

  TemporaryDirectory _directory;
  std::uint16_t _collectorPort;
  std::uint16_t _httpPort = 0;
  pid_t _pid = 0;
  std::optional<int> _status;  // of waitpid
  std::atomic<long> _logLines{0};
  std::promise<std::uint16_t> _served;
  std::thread _reader;
};

}  // namespace zov::storm
