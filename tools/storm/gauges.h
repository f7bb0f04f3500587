#pragma once
// What the threads of the storm tell its measuring thread. Everything here may be used by any thread.

#include <algorithm>
#include <atomic>
#include <chrono>

namespace zov::storm {

using Clock = std::chrono::steady_clock;
using Moment = Clock::time_point;

inline double seconds(Clock::duration span) {
  return std::chrono::duration<double>(span).count();
}

/// The greatest value since it was last taken, in seconds.
class Peak {
 public:
  void raise(double value) {
    double seen = _value.load();
    while (value > seen && !_value.compare_exchange_weak(seen, value)) {
    }
  }
  double take() { return _value.exchange(0); }

 private:
  std::atomic<double> _value{0};
};

/// Of the collectors that behave.
struct Service {
  Peak pollLateness;                   ///< time since a regular's last poll, over its interval
  Peak firstPoll;                      ///< from a newcomer's connecting to its first poll
  std::atomic<int> regularsPolled{0};  ///< regulars that were polled at least once
  std::atomic<long> polls{0};
  std::atomic<long> servedNewcomers{0};
  std::atomic<long> lostSessions{0};     ///< sessions of regulars that the agent ended or refused
  std::atomic<long> failedNewcomers{0};  ///< that were refused, cut off, or gave up waiting
};

/// Of the others.
struct Weather {
  std::atomic<long> connections{0};  ///< open now
  std::atomic<long> opened{0};
  std::atomic<long> accepted{0};
  std::atomic<long> refused{0};
  std::atomic<long> unanswered{0};  ///< gone without an answer to their ping
  std::atomic<long> floodedBytes{0};
};

}  // namespace zov::storm
