#include "hub/http/workers.h"

#include <pthread.h>

#include <deque>
#include <exception>
#include <map>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/mutex.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHWORK");

namespace zov::hub {

namespace {

struct Job {
  const void* owner;
  std::function<void()> run;
};

struct Lane {
  std::deque<Job> waiting;
  std::size_t running = 0;
  bool ready = false;  // stands in the list of those that may go on
};

using Lanes = std::map<std::string, Lane>;

}  // namespace

struct Workers::State {
  State(const char* threadName, Bounds given) : name(threadName), bounds(given) {}

  /// The life of one thread.
  void work();
  /// Enters the lane in the list when a job of it may begin; takes it out of the map when nothing is in it.
  void settle(Lanes::iterator lane) ZOV_REQUIRES(mutex);
  bool makeThread(const std::shared_ptr<State>& self) ZOV_REQUIRES(mutex);

  const char* const name;
  const Bounds bounds;

  Mutex mutex;
  Condition wake;
  Condition ended;
  Lanes lanes ZOV_GUARDED_BY(mutex);
  std::deque<Lanes::iterator> ready ZOV_GUARDED_BY(mutex);
  std::size_t threads ZOV_GUARDED_BY(mutex) = 0;
  std::size_t busy ZOV_GUARDED_BY(mutex) = 0;  ///< threads that have a job
  bool stopping ZOV_GUARDED_BY(mutex) = false;
};

Workers::Workers(const char* name, Bounds bounds) : _state(std::make_shared<State>(name, bounds)) {}

Workers::~Workers() {
  stop(ZOVClock::steady());
}

bool Workers::State::makeThread(const std::shared_ptr<State>& self) {
  try {
    std::thread([self] { self->work(); }).detach();
    ++threads;
  } catch (const std::system_error& error) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "No thread for %s: %s", name, error.what());
  }
  return threads != 0;
}

bool Workers::submit(const std::string& lane, const void* owner, std::function<void()> job) {
  State& state = *_state;
  const MutexLock guard(state.mutex);
  if (state.stopping) return false;
  const auto entry = state.lanes.try_emplace(lane).first;
  const std::size_t begin = state.bounds.threadsPerLane - entry->second.running;  // without waiting
  bool taken = entry->second.waiting.size() < state.bounds.waitingPerLane + begin;
  if (taken) {
    entry->second.waiting.push_back({owner, std::move(job)});
    const bool idle = state.threads - state.busy > state.ready.size();
    if (!idle && state.threads < state.bounds.threads) taken = state.makeThread(_state);
    if (!taken) entry->second.waiting.pop_back();
  }
  state.settle(entry);
  return taken;
}

void Workers::State::settle(Lanes::iterator lane) {
  Lane& it = lane->second;
  if (it.ready) return;
  if (!it.waiting.empty() && it.running < bounds.threadsPerLane) {
    it.ready = true;
    ready.push_back(lane);
    wake.notifyOne();
  } else if (it.waiting.empty() && it.running == 0) {
    lanes.erase(lane);
  }
}

void Workers::State::work() {
  pthread_setname_np(pthread_self(), name);
  MutexLock guard(mutex);
  for (;;) {
    while (!stopping && ready.empty()) wake.wait(mutex);
    if (stopping) break;
    const auto lane = ready.front();
    ready.pop_front();
    lane->second.ready = false;
    if (lane->second.waiting.empty()) {  // cancelled
      settle(lane);
      continue;
    }
    Job job = std::move(lane->second.waiting.front());
    lane->second.waiting.pop_front();
    ++lane->second.running;
    settle(lane);
    ++busy;
    guard.unlock();
    try {
      job.run();
    } catch (const std::exception& error) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "A job of %s ended early: %s", name, error.what());
    }
    job.run = nullptr;
    guard.lock();
    --busy;
    --lane->second.running;
    settle(lane);
  }
  --threads;
  ended.notifyAll();
}

void Workers::cancel(const void* owner) {
  std::deque<Job> forgotten;  // goes after the lock
  State& state = *_state;
  const MutexLock guard(state.mutex);
  for (auto& [name, lane] : state.lanes) {
    std::deque<Job> kept;
    for (Job& job : lane.waiting) (job.owner == owner ? forgotten : kept).push_back(std::move(job));
    lane.waiting.swap(kept);
  }
}

void Workers::stop(ZOVClock::Steady deadline) {
  std::deque<Job> forgotten;  // goes after the lock
  State& state = *_state;
  const MutexLock guard(state.mutex);
  state.stopping = true;
  for (auto& [name, lane] : state.lanes) {
    for (Job& job : lane.waiting) forgotten.push_back(std::move(job));
    lane.waiting.clear();
  }
  state.wake.notifyAll();
  while (state.threads != 0 && state.ended.waitUntil(state.mutex, deadline)) {
  }
}

}  // namespace zov::hub
