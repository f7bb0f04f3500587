#pragma once
// Threads that carry queries and commands into the agent.

#include <cstddef>
#include <functional>
#include <memory>

#include "platform/clock.h"

namespace zov::hub {

/// A bounded set of threads with a bounded queue. A thread is made when a job finds none idle, and stays
/// until stop. Threads are detached and share the state with this object: one that is still inside the agent
/// when the object goes ends by itself once it comes back. Any thread may call.
class Workers {
 public:
  /// `name`: of the threads, at most 15 characters; outlives this object.
  Workers(const char* name, std::size_t mostThreads, std::size_t mostWaiting);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  /// Has a thread run `job`; false when as many wait already as may, after stop, or when no thread can be
  /// made. A job that throws is traced and forgotten: it answers whoever waits for it itself.
  bool submit(std::function<void()> job);
  /// Forgets the jobs that wait, tells the threads to end, and waits for them, at most until then.
  void stop(ZOVClock::Steady deadline);

 private:
  struct State;
  std::shared_ptr<State> _state;
};

}  // namespace zov::hub
