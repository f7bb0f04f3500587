#pragma once
// Threads that carry queries and commands into the agent.

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

/// A bounded set of threads with a bounded queue. A thread is made when a job finds none idle, and stays
/// until stop. Threads are detached and share the state with this object: one that is still inside the agent
/// when the object goes ends by itself once it comes back.
class ZOVHubWorkers {
 public:
  /// `name`: of the threads, at most 15 characters; outlives this object.
  ZOVHubWorkers(const char* name, std::size_t mostThreads, std::size_t mostWaiting);
  ~ZOVHubWorkers();
  ZOVHubWorkers(const ZOVHubWorkers&) = delete;
  ZOVHubWorkers& operator=(const ZOVHubWorkers&) = delete;

  /// Has a thread run `job`; false when as many wait already as may, after stop, or when no thread can be
  /// made. A job that throws is traced and forgotten: it answers whoever waits for it itself.
  bool submit(std::function<void()> job);
  /// Forgets the jobs that wait, tells the threads to end, and waits for them, at most so long.
  void stop(std::chrono::milliseconds most);

 private:
  struct State;
  static void work(const std::shared_ptr<State>& state);
  std::shared_ptr<State> _state;
};
