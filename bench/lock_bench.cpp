// ZOVLock beside std::shared_mutex: one get and release by a thread that the process knows, uncontended,
// recursive (which the standard lock has not), and contended; and what the frames around them cost.

#include <benchmark/benchmark.h>

#include <shared_mutex>

#include "runtime/lock.h"
#include "runtime/recovery.h"
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
}  // namespace
