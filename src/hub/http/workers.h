#pragma once
// Threads that carry queries and commands into the agent.

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/clock.h"

namespace zov::hub {

/// A bounded set of threads with a queue for each lane: what waits for one server stands in one lane, so that
/// a server that hangs holds no more threads than its lane may have. Nor can many that hang hold all: behind
/// a job of SlowSeconds or more a lane is slow, for SlowMemorySeconds or until a quick one; it then has one
/// thread at most, and all that are slow have half of the threads. Of the others each may have its first
/// thread at any time, and further ones while half are idle. Where a lane may have all threads there is but
/// one, and none of this. Lanes take turns; jobs of one lane begin in their order. A thread is made when a
/// job finds none idle, and stays until stop. Threads are detached and share the state with this object: one
/// that is still inside the agent when the object goes ends by itself once it comes back. Any thread may
/// call.
class Workers {
 public:
  static constexpr int SlowSeconds = 2;
  static constexpr int SlowMemorySeconds = 600;

  struct Bounds {
    std::size_t threads;         ///< of all lanes
    std::size_t threadsPerLane;  ///< 1 runs the jobs of a lane one after the other
    std::size_t waitingPerLane;
  };

  /// `name`: of the threads, at most 15 characters; outlives this object.
  Workers(const char* name, Bounds bounds);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  /// Has a thread run `job`; false when as many wait in the lane already as may, after stop, or when no
  /// thread can be made. A job that throws is traced and forgotten: it answers whoever waits for it itself.
  /// `owner` is what cancel knows the job by.
  bool submit(const std::string& lane, const void* owner, std::function<void()> job);
  /// Forgets the owner's jobs that have not begun.
  void cancel(const void* owner);
  /// Forgets the jobs that wait, tells the threads to end, and waits for them, at most until then.
  void stop(ZOVClock::Steady deadline);

 private:
  struct State;
  std::shared_ptr<State> _state;
};

}  // namespace zov::hub
