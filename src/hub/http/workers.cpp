#include "hub/http/workers.h"

#include <pthread.h>

#include <chrono>
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
  ZOVClock::Steady slowUntil{};

  bool isSlow() const { return ZOVClock::steady() < slowUntil; }
  bool isUsed() const { return running != 0 || !waiting.empty(); }
};

using Lanes = std::map<std::string, Lane>;

}  // namespace

struct Workers::State : std::enable_shared_from_this<State> {
  State(const char* threadName, Bounds given) : name(threadName), bounds(given) {}

  /// The life of one thread.
  void work();
  bool mayBegin(const Lane& lane) const ZOV_REQUIRES(mutex);
  /// Enters the lane in the list when a job of it may begin, and sees to a thread for it; takes it out of the
  /// map when nothing is in it.
  void settle(Lanes::iterator lane) ZOV_REQUIRES(mutex);
  struct Turn {
    Lanes::iterator lane;
    Job job;
    bool slow;  // its lane was
    ZOVClock::Steady begun;
  };
  Turn begin(Lanes::iterator lane) ZOV_REQUIRES(mutex);
  void end(const Turn& turn) ZOV_REQUIRES(mutex);
  void makeThread() ZOV_REQUIRES(mutex);

  const char* const name;
  const Bounds bounds;

  Mutex mutex;
  Condition wake;
  Condition ended;
  Lanes lanes ZOV_GUARDED_BY(mutex);
  std::deque<Lanes::iterator> ready ZOV_GUARDED_BY(mutex);
  std::size_t threads ZOV_GUARDED_BY(mutex) = 0;
  std::size_t busy ZOV_GUARDED_BY(mutex) = 0;      ///< threads that have a job
  std::size_t slowBusy ZOV_GUARDED_BY(mutex) = 0;  ///< of those, of a lane that was slow
  bool stopping ZOV_GUARDED_BY(mutex) = false;
};

Workers::Workers(const char* name, Bounds bounds) : _state(std::make_shared<State>(name, bounds)) {}

Workers::~Workers() {
  stop(ZOVClock::steady());
}

void Workers::State::makeThread() {
  try {
    std::thread([self = shared_from_this()] { self->work(); }).detach();
    ++threads;
  } catch (const std::system_error& error) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "No thread for %s: %s", name, error.what());
  }
}

bool Workers::submit(const std::string& lane, const void* owner, std::function<void()> job) {
  State& state = *_state;
  const MutexLock guard(state.mutex);
  if (state.stopping) return false;
  const auto entry = state.lanes.try_emplace(lane).first;
  std::deque<Job>& waiting = entry->second.waiting;
  const std::size_t begin = state.bounds.threadsPerLane - entry->second.running;  // without waiting
  if (waiting.size() >= state.bounds.waitingPerLane + begin) return false;
  waiting.push_back({owner, std::move(job)});
  state.settle(entry);
  if (state.threads != 0) return true;
  waiting.pop_back();
  return false;
}

bool Workers::State::mayBegin(const Lane& lane) const {
  if (lane.waiting.empty() || lane.running >= bounds.threadsPerLane) return false;
  if (bounds.threadsPerLane == bounds.threads) return true;
  const std::size_t half = (bounds.threads + 1) / 2;
  if (lane.isSlow()) return lane.running == 0 && slowBusy < half;
  return lane.running == 0 || busy < half;
}

void Workers::State::settle(Lanes::iterator lane) {
  Lane& it = lane->second;
  if (it.ready) return;
  if (mayBegin(it)) {
    it.ready = true;
    ready.push_back(lane);
    if (threads - busy < ready.size() && threads < bounds.threads) makeThread();
    wake.notifyOne();
  } else if (!it.isUsed() && !it.isSlow()) {
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
    // What let it go on may be over: its jobs were cancelled, or others have taken the threads.
    if (!mayBegin(lane->second)) {
      settle(lane);
      continue;
    }
    Turn turn = begin(lane);
    guard.unlock();
    try {
      turn.job.run();
    } catch (const std::exception& error) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "A job of %s ended early: %s", name, error.what());
    }
    turn.job.run = nullptr;
    guard.lock();
    end(turn);
  }
  --threads;
  ended.notifyAll();
}

Workers::State::Turn Workers::State::begin(Lanes::iterator lane) {
  Lane& it = lane->second;
  Turn turn{lane, std::move(it.waiting.front()), it.isSlow(), ZOVClock::steady()};
  it.waiting.pop_front();
  ++it.running, ++busy, slowBusy += turn.slow;
  settle(lane);
  return turn;
}

void Workers::State::end(const Turn& turn) {
  Lane& it = turn.lane->second;
  --it.running, --busy, slowBusy -= turn.slow;
  const ZOVClock::Steady now = ZOVClock::steady();
  const bool quick = now - turn.begun < std::chrono::seconds(SlowSeconds);
  it.slowUntil = quick ? ZOVClock::Steady{} : now + std::chrono::seconds(SlowMemorySeconds);
  // Other lanes may have waited for it.
  for (auto each = lanes.begin(); each != lanes.end();) settle(each++);
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
