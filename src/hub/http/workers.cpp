#include "hub/http/workers.h"

#include <pthread.h>

#include <deque>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/mutex.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHWORK");

namespace zov::hub {

using Job = std::function<void()>;

struct Workers::State {
  State(const char* threadName, std::size_t threadsAtMost, std::size_t waitingAtMost)
      : name(threadName), mostThreads(threadsAtMost), mostWaiting(waitingAtMost) {}

  /// The life of one thread.
  void work();

  const char* const name;
  const std::size_t mostThreads;
  const std::size_t mostWaiting;

  Mutex mutex;
  Condition wake;
  Condition ended;
  std::deque<Job> jobs ZOV_GUARDED_BY(mutex);
  std::size_t threads ZOV_GUARDED_BY(mutex) = 0;
  std::size_t busy ZOV_GUARDED_BY(mutex) = 0;  ///< threads that have a job
  bool stopping ZOV_GUARDED_BY(mutex) = false;
};

Workers::Workers(const char* name, std::size_t mostThreads, std::size_t mostWaiting)
    : _state(std::make_shared<State>(name, mostThreads, mostWaiting)) {}

Workers::~Workers() {
  stop(ZOVClock::steady());
}

bool Workers::submit(Job job) {
  State& state = *_state;
  const MutexLock guard(state.mutex);
  if (state.stopping) return false;
  // Threads that have been woken, or are starting, still have to take their job from the queue.
  const std::size_t free = state.threads - state.busy;
  const bool needsThread = free <= state.jobs.size();
  if (needsThread && state.threads < state.mostThreads) {
    try {
      std::thread([shared = _state] { shared->work(); }).detach();
      ++state.threads;
    } catch (const std::system_error& error) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "No thread for %s: %s", state.name, error.what());
      if (state.threads == 0) return false;
    }
  } else if (needsThread && state.jobs.size() - free >= state.mostWaiting) {
    return false;
  }
  state.jobs.push_back(std::move(job));
  state.wake.notifyOne();
  return true;
}

void Workers::State::work() {
  pthread_setname_np(pthread_self(), name);
  MutexLock guard(mutex);
  for (;;) {
    while (!stopping && jobs.empty()) wake.wait(mutex);
    if (stopping) break;
    Job job = std::move(jobs.front());
    jobs.pop_front();
    ++busy;
    guard.unlock();
    try {
      job();
    } catch (const std::exception& error) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "A job of %s ended early: %s", name, error.what());
    }
    job = nullptr;
    guard.lock();
    --busy;
  }
  --threads;
  ended.notifyAll();
}

void Workers::stop(ZOVClock::Steady deadline) {
  std::deque<Job> forgotten;  // goes after the lock
  State& state = *_state;
  const MutexLock guard(state.mutex);
  state.stopping = true;
  forgotten.swap(state.jobs);
  state.wake.notifyAll();
  while (state.threads != 0 && state.ended.waitUntil(state.mutex, deadline)) {
  }
}

}  // namespace zov::hub
