#include "hub/http/workers.h"

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHWORK");

struct ZOVHubWorkers::State {
  const char* name;
  std::size_t mostThreads;
  std::size_t mostWaiting;

  std::mutex mutex;  // guards all below
  std::condition_variable wake;
  std::condition_variable ended;
  std::deque<std::function<void()>> jobs;
  std::size_t threads = 0;
  std::size_t busy = 0;  // threads that have a job
  bool stopping = false;
};

ZOVHubWorkers::ZOVHubWorkers(const char* name, std::size_t mostThreads, std::size_t mostWaiting)
    : _state(std::make_shared<State>()) {
  _state->name = name;
  _state->mostThreads = mostThreads;
  _state->mostWaiting = mostWaiting;
}

ZOVHubWorkers::~ZOVHubWorkers() {
  stop(std::chrono::milliseconds(0));
}

bool ZOVHubWorkers::submit(std::function<void()> job) {
  const std::lock_guard guard(_state->mutex);
  if (_state->stopping) return false;
  // Threads that have been woken, or are starting, still have to take their job from the queue.
  const std::size_t free = _state->threads - _state->busy;
  const bool needsThread = free <= _state->jobs.size();
  if (needsThread && _state->threads < _state->mostThreads) {
    try {
      std::thread([state = _state] { work(state); }).detach();
      ++_state->threads;
    } catch (const std::system_error& error) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "No thread for %s: %s", _state->name, error.what());
      if (_state->threads == 0) return false;
    }
  } else if (needsThread && _state->jobs.size() - free >= _state->mostWaiting) {
    return false;
  }
  _state->jobs.push_back(std::move(job));
  _state->wake.notify_one();
  return true;
}

void ZOVHubWorkers::work(const std::shared_ptr<State>& state) {
  pthread_setname_np(pthread_self(), state->name);
  std::unique_lock guard(state->mutex);
  for (;;) {
    state->wake.wait(guard, [&] { return state->stopping || !state->jobs.empty(); });
    if (state->stopping) break;
    std::function<void()> job = std::move(state->jobs.front());
    state->jobs.pop_front();
    ++state->busy;
    guard.unlock();
    try {
      job();
    } catch (const std::exception& error) {
      DGT1_Printf(traceUnit, DGT1_ERROR, "A job of %s ended early: %s", state->name, error.what());
    }
    job = nullptr;
    guard.lock();
    --state->busy;
  }
  --state->threads;
  state->ended.notify_all();
}

void ZOVHubWorkers::stop(std::chrono::milliseconds most) {
  std::deque<std::function<void()>> forgotten;
  std::unique_lock guard(_state->mutex);
  _state->stopping = true;
  forgotten.swap(_state->jobs);
  _state->wake.notify_all();
  _state->ended.wait_for(guard, most, [&] { return _state->threads == 0; });
  guard.unlock();
}
