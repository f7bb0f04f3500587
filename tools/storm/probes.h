#pragma once
// A probe asks the agent by HTTP, again and again, on a thread and, each time, a connection of its own; it
// tells how long answers took, those that are still awaited included.

#include <cstdint>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>

#include "gauges.h"
#include "support/http_client.h"

namespace zov::storm {

class Probe {
 public:
  struct Question {
    /// The next target; called on the probe's thread.
    std::function<std::string()> target;
    std::string mustHold;  ///< that an answer of status 200 must have in its body, or it failed
    std::chrono::milliseconds pause;
  };
  Probe(std::uint16_t port, Question question);
  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  /// The longest time of an answer since this was last asked, in seconds.
  double takeSlowest();
  long answers() const { return _answers; }
  long failures() const { return _failures; }
  /// The target and the answer of the last failure.
  std::string lastFailure() const;

 private:
  void run(const std::stop_token& stop);
  void ask();

  const std::uint16_t _port;
  const Question _question;
  Peak _slowest;
  std::atomic<long> _answers{0};
  std::atomic<long> _failures{0};
  mutable std::mutex _mutex;  // guards what follows
  Moment _asked{};            // the clock's beginning: nothing is awaited
  std::string _lastFailure;
  std::jthread _thread;  // last, since it uses all the others
};

/// The names of the subnodes whose servers' names begin so.
std::vector<std::string> nodesOf(std::uint16_t port, std::string_view prefix);

}  // namespace zov::storm
