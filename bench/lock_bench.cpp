// ZOVLock beside std::shared_mutex: one get and release by a thread that the process knows, uncontended,
// recursive (which the standard lock has not), and contended; what the frames around them cost; one deadlock
// check while many threads wait; and what it costs two threads to have their storage counted.

#include <benchmark/benchmark.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <shared_mutex>
#include <vector>

#include "runtime/lock.h"
#include "runtime/recovery.h"
#include "support/agent_thread.h"
#include "support/test_environment.h"

namespace {

// The environment stands while any benchmark runs, and goes at the end of none: threads overlap.
void agent() {
  static TestEnvironment& environment = *new TestEnvironment;
  static_cast<void>(environment);
}

// Runs a benchmark on a thread that the process knows, as all of the agent's are.
template <class Body>
void onKnownThread(Body body) {
  agent();
  guarded("ZOVBLOCK", "benchmark", body);
}

template <_LockRequestType mode>
void zovLock(benchmark::State& state) {
  static ZOVLock lock("bench");
  onKnownThread([&] {
    for (auto _ : state) {
      lock.get(mode, Wait);
      lock.release(mode);
    }
  });
}

template <_LockRequestType mode>
void zovLockRecursive(benchmark::State& state) {
  ZOVLock lock("bench");
  onKnownThread([&] {
    lock.get(mode, Wait);
    for (auto _ : state) {
      lock.get(mode, Wait);
      lock.release(mode);
    }
    lock.release(mode);
  });
}

void zovHolding(benchmark::State& state) {
  ZOVLock lock("bench");
  onKnownThread([&] {
    for (auto _ : state) holding(lock, Exclusive, [] { benchmark::ClobberMemory(); });
  });
}

void zovGuarded(benchmark::State& state) {
  onKnownThread([&] {
    for (auto _ : state) guarded("ZOVBLOCK", "inner", [] { benchmark::ClobberMemory(); });
  });
}

void zovAdoption(benchmark::State& state) {
  agent();
  for (auto _ : state) guarded("ZOVBLOCK", "outermost", [] { benchmark::ClobberMemory(); });
}

void zovActiveThread(benchmark::State& state) {
  onKnownThread([&] {
    for (auto _ : state) benchmark::DoNotOptimize(ZOVAgentEnvironment::getActiveThread());
  });
}

// All that wait hold the lock shared that the check is made for; the one that checks holds what nobody wants.
void zovDeadlockCheck(benchmark::State& state) {
  agent();
  const auto count = static_cast<std::size_t>(state.range(0));
  ZOVLock wanted("wanted"), crowded("crowded"), held("held");
  std::atomic<std::size_t> ready{0};
  ZOVEvent taken, done;
  AgentThread holder([&] {
    holding(wanted, Exclusive, [&] {
      taken.post();
      done.wait();
    });
  });
  taken.wait();
  std::vector<std::unique_ptr<AgentThread>> threads;
  while (threads.size() < count) {
    threads.push_back(std::make_unique<AgentThread>([&] {
      crowded.get(Shared, Wait);
      ++ready;
      wanted.get(Exclusive, Wait);
      wanted.release(Exclusive);
      crowded.release(Shared);
    }));
  }
  const auto allWait = [&] {
    return ready == count && std::all_of(threads.begin(), threads.end(), [](const auto& thread) {
             return (*thread)->getState() == ZOVThread::WaitingForLock;
           });
  };
  while (!allWait()) sched_yield();
  onKnownThread([&] {
    holding(held, Exclusive, [&] {
      const zov::RecursiveLock lock(*ZOVLock::pLockMutex);
      for (auto _ : state) benchmark::DoNotOptimize(crowded.testDeadlockCondition());
    });
  });
  done.post();
}

void zovCountedStorage(benchmark::State& state) {
  for (auto _ : state) {
    void* storage = ZOVMemoryManager::allocate(64);
    benchmark::DoNotOptimize(storage);
    ZOVMemoryManager::release(storage, 64);
  }
}

void stdStorage(benchmark::State& state) {
  for (auto _ : state) {
    void* storage = ::operator new(64);
    benchmark::DoNotOptimize(storage);
    ::operator delete(storage);
  }
}

std::shared_mutex standard;

void stdExclusive(benchmark::State& state) {
  for (auto _ : state) {
    standard.lock();
    standard.unlock();
  }
}

void stdShared(benchmark::State& state) {
  for (auto _ : state) {
    standard.lock_shared();
    standard.unlock_shared();
  }
}

BENCHMARK(stdExclusive);
BENCHMARK(zovLock<Exclusive>);
BENCHMARK(stdShared);
BENCHMARK(zovLock<Shared>);
BENCHMARK(zovLockRecursive<Exclusive>);
BENCHMARK(zovLockRecursive<Shared>);
BENCHMARK(stdExclusive)->Threads(2)->UseRealTime();
BENCHMARK(zovLock<Exclusive>)->Threads(2)->UseRealTime();
BENCHMARK(stdShared)->Threads(2)->UseRealTime();
BENCHMARK(zovLock<Shared>)->Threads(2)->UseRealTime();
BENCHMARK(zovActiveThread);
BENCHMARK(zovGuarded);
BENCHMARK(zovHolding);
BENCHMARK(zovAdoption);
BENCHMARK(zovDeadlockCheck)->Arg(10)->Arg(500);
BENCHMARK(stdStorage)->Threads(2);
BENCHMARK(zovCountedStorage)->Threads(2);
}  // namespace
