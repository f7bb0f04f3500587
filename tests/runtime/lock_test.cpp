#include "runtime/lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <array>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <thread>

#include "runtime/recovery.h"
#include "runtime/waits.h"
#include "support/agent_thread.h"
#include "support/comes_true.h"
#include "support/test_environment.h"
#include "support/trace_capture.h"

#ifdef __SANITIZE_THREAD__
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
  return "deadlock:killInTheQueue\n";
}
#endif

namespace {

// An actor is a thread that does one step at a time. A step's outcome is "ok", "busy" (not acquired),
// "waits" (for a lock), or the code that was raised.
class Actor {
 public:
  Actor() : _thread([this] { live(); }) {}
  ~Actor() {
    _step = nullptr;
    _go.post();
    _thread.join();
  }
  static Actor* current() { return self; }

  std::string act(std::function<int()> step) {
    _step = std::move(step);
    _waits = false;
    _done = false;
    _go.post();
    return outcome();
  }
  /// Of the last step, once it has ended or come to wait for a lock.
  std::string outcome() {
    while (!_done) {
      {
        zov::RecursiveLock scope(*ZOVLock::pLockMutex);
        if (!_done && _waits) return "waits";
      }
      sched_yield();
    }
    return _outcome;
  }
  void enterWait() { _waits = true; }  // with pLockMutex held until the thread stands in the queue
  ZOVRecoverableThread& thread() { return *_thread.operator->(); }

 private:
  void live() {
    self = this;
    for (_go.wait(); _step; _go.wait()) {
      int result = 0;
      const auto failure = guarded("ZOVTLOCK", "Actor", [&] { result = _step(); });
      _outcome = failure ? std::to_string(failure->getReturnCode()) : result == 4 ? "busy" : "ok";
      _done = true;
    }
  }

  static thread_local Actor* self;
  std::function<int()> _step;
  std::string _outcome;
  std::atomic<bool> _done{true};
  std::atomic<bool> _waits{false};
  ZOVEvent _go;
  AgentThread _thread;
};
thread_local Actor* Actor::self = nullptr;

// Tells its actor when a wait is about to begin.
class StageLock : public ZOVLock {
 public:
  using ZOVLock::ZOVLock;
  int testDeadlockCondition() override ZOV_REQUIRES(*pLockMutex) {
    const int found = ZOVLock::testDeadlockCondition();
    if (found == 0 && Actor::current() != nullptr) Actor::current()->enterWait();
    return found;
  }
};

class Stage {
 public:
  Stage() {
    for (const char* name : {"LockX", "LockY", "LockZ"}) place(name + 4).emplace(name);
  }
  /// Plays "A e:X ok" lines: actor, step, outcome. Steps: s, e (get shared, exclusive), s?, e? (without a
  /// wait), -s, -e, -all (release); "then" asks again for the outcome of the step before.
  void play(const std::vector<std::string>& script) {
    for (const std::string& line : script) {
      std::istringstream words(line);
      std::string name, step, expected;
      words >> name >> step >> expected;
      Actor& actor = _actors[name];
      const std::string outcome = step == "then" ? settled(actor, expected) : actor.act(parse(step));
      ASSERT_EQ(outcome, expected) << "in: " << line;
    }
  }
  ZOVLock& lock(const std::string& name) { return *place(name); }
  void drop(const std::string& name) { place(name).reset(); }
  Actor& actor(const std::string& name) { return _actors[name]; }

 private:
  // A thread that has been posted needs a moment to get what it waited for, or to queue again.
  static std::string settled(Actor& actor, const std::string& expected) {
    std::string outcome = actor.outcome();
    if (expected != "waits") comesTrue([&] { return (outcome = actor.outcome()) != "waits"; });
    return outcome;
  }
  std::function<int()> parse(const std::string& step) {
    const auto colon = step.find(':');
    const std::string what = step.substr(0, colon);
    ZOVLock& on = lock(step.substr(colon + 1));
    if (what[0] == '-') {
      const auto type = what == "-all" ? All : what == "-e" ? Exclusive : ::Shared;
      return [&on, type] { return on.release(type), 0; };
    }
    const auto type = what[0] == 'e' ? Exclusive : ::Shared;
    const auto wait = what.back() == '?' ? DoNotWait : Wait;
    return [&on, type, wait] { return on.get(type, wait); };
  }

  std::optional<StageLock>& place(const std::string& name) {
    return _locks.at(static_cast<std::size_t>(name.at(0) - 'X'));
  }

  std::array<std::optional<StageLock>, 3> _locks;
  std::map<std::string, Actor> _actors;
};

struct Scenario {
  const char* name;
  std::vector<std::string> script;
};

class LockScenario : public testing::TestWithParam<Scenario> {};

TEST_P(LockScenario, Plays) {
  TestEnvironment environment;
  {
    Stage stage;
    stage.play(GetParam().script);
  }
  EXPECT_FALSE(ZOVLock::pLockMutex->isOwned());
}

const Scenario scenarios[] = {
    {"ExclusiveIsRecursiveInEitherMode",
     {"A e:X ok", "A e:X ok", "A s:X ok", "B e?:X busy", "B s?:X busy", "A -s:X ok", "A -e:X ok",
      "B e?:X busy", "A -e:X ok", "B e?:X ok"}},
    {"SharedIsRecursive", {"A s:X ok", "A s:X ok", "A -s:X ok", "B e?:X busy", "A -s:X ok", "B e?:X ok"}},
    {"AReaderPassesAWriterThatWaits",
     {"A s:X ok", "B e:X waits", "C s:X ok", "A -s:X ok", "B then waits", "C -s:X ok", "B then ok"}},
    {"WaitersFollowAnExclusiveHold",
     {"A e:X ok", "B s:X waits", "C s:X waits", "A -e:X ok", "B then ok", "C then ok", "A e?:X busy"}},
    {"ALoneSharedHoldConvertsAtOnce",
     {"A s:X ok", "A e:X ok", "B s?:X busy", "A -e:X ok", "B s?:X ok", "A -s:X ok", "B e?:X ok", "B -e:X ok",
      "B -s:X ok", "A e?:X ok"}},
    {"AConversionWithoutAWaitIsBusy", {"A s:X ok", "B s:X ok", "A e?:X busy", "B -s:X ok", "A e?:X ok"}},
    {"TwoConvertersDoNotBlockEachOther",
     {"A s:X ok", "B s:X ok", "A e:X waits", "B e:X ok", "B -e:X ok", "B -s:X ok", "A then ok", "B s?:X busy",
      "A -e:X ok", "A -s:X ok", "B e?:X ok"}},
    {"AnUpgraderGoesBeforeAWaiter",
     {"A s:X ok", "B s:X ok", "A e:X waits", "C e:X waits", "B -s:X ok", "A then ok", "C then waits",
      "A -all:X ok", "A -all:X ok", "C then ok"}},
    {"AllUndoesAnyDepth",
     {"A e:X ok", "A e:X ok", "A e:X ok", "A -all:X ok", "B s:X ok", "B s:X ok", "B -all:X ok", "A e?:X ok"}},
    {"AReleaseOfWhatIsNotHeldIsNothing",
     {"A -s:X ok", "A -e:X ok", "A e:X ok", "B -e:X ok", "B -all:X ok", "B e?:X busy", "A -e:X ok",
      "B e?:X ok"}},
    {"TwoWayCycle",
     {"A e:X ok", "B e:Y ok", "A e:Y waits", "B e:X 6", "B -e:Y ok", "A then ok", "A -e:X ok", "B e?:X ok"}},
    {"ThreeWayCycle",
     {"A e:X ok", "B e:Y ok", "C e:Z ok", "A e:Y waits", "B e:Z waits", "C e:X 6", "C -e:Z ok", "B then ok",
      "B -all:Y ok", "A then ok"}},
    {"ACycleThroughAConversion",
     {"B e:Y ok", "A s:X ok", "B s:X ok", "B e:X waits", "A s:Y 6", "A -s:X ok", "B then ok"}},
    {"OneReaderOfManyInACycle",
     {"A s:X ok", "B s:X ok", "C s:X ok", "D e:Y ok", "B e:Y waits", "D e:X 6", "D -e:Y ok", "B then ok"}},
    {"AChainIsNoCycle",
     {"A e:X ok", "B e:Y ok", "B e:X waits", "C e:Z ok", "C e:Y waits", "A -e:X ok", "B then ok", "B -e:Y ok",
      "C then ok"}},
    {"AThreadThatHoldsNothingMayAlwaysWait",
     {"A e:X ok", "B e:Y ok", "A e:Y waits", "C e:X waits", "B -e:Y ok", "A then ok", "A -e:X ok",
      "C then ok"}},
};
INSTANTIATE_TEST_SUITE_P(Lock, LockScenario, testing::ValuesIn(scenarios),
                         [](const auto& scenario) { return std::string(scenario.param.name); });

TEST(Lock, AnAvertedDeadlockIsToldAndItsThreadCountsAsWaitingUntilItsNextLockOrTheLocksEnd) {
  for (const bool lockGoes : {false, true}) {
    TestEnvironment environment;
    Stage stage;
    TraceCapture lines;
    stage.play({"A e:X ok", "B e:Y ok", "A e:Y waits", "B e:X 6"});
    ZOVRecoverableThread& b = stage.actor("B").thread();
    const std::string idA = std::to_string(stage.actor("A").thread().getThreadId());
    EXPECT_TRUE(lines.has("Deadlock condition detected between thread " + std::to_string(b.getThreadId()) +
                          " and thread " + idA + "  Lock 1 = "));
    EXPECT_EQ(lines.count("  Current State Waiting for lock"), 2);
    EXPECT_EQ(lines.count("Lock name = LockX"), 2);  // held by A, waited for by B
    EXPECT_EQ(lines.count("      Lock is held exclusively by threadid " + idA), 2);
    EXPECT_EQ(lines.count("      1 threads are waiting for this lock"), 2);
    ASSERT_EQ(environment.recorded().logged().size(), 1U);
    EXPECT_THAT(environment.recorded().logged()[0].arguments,
                testing::Contains("A deadlock condition was averted"));
    stage.play({"B -e:Y ok", "A then ok", "A -e:X ok"});
    EXPECT_EQ(b.getState(), ZOVThread::WaitingForLock);
    EXPECT_EQ(b.getLockWaitedFor(), &stage.lock("X"));
    if (lockGoes) {
      stage.drop("X");
    } else {
      stage.play({"B e:Z ok"});
    }
    EXPECT_EQ(b.getLockWaitedFor(), nullptr);
  }
}

bool oneThreadWaitsFor(const ZOVLock& lock) {
  return comesTrue([&] {
    TraceCapture lines;
    lock.diagDump();
    return lines.has("      1 threads are waiting for this lock");
  });
}

int fromAnotherThread(ZOVLock& lock, _LockRequestType type) {
  int answer = -1;
  AgentThread([&] { answer = lock.get(type, DoNotWait); }).join();
  return answer;
}

TEST(Lock, AConverterThatFindsTheLockTakenQueuesAgain) {
  TestEnvironment environment;
  Stage stage;
  ZOVLock& lock = stage.lock("X");
  ASSERT_EQ(lock.get(::Shared, Wait), 0);
  stage.play({"A s:X ok", "A e:X waits"});
  {
    const zov::RecursiveLock scope(*ZOVLock::pLockMutex);  // without which A cannot go on
    lock.release(::Shared);
    ASSERT_EQ(lock.get(Exclusive, DoNotWait), 0);
  }
  EXPECT_TRUE(oneThreadWaitsFor(lock));
  lock.release(Exclusive);
  stage.play({"A then ok"});
}

TEST(Lock, AThreadWithFiftyLocksGetsNoMoreAndCostsNoWakeUp) {
  for (const _LockRequestType type : {Exclusive, ::Shared}) {
    TestEnvironment environment;
    std::array<ZOVLock, 50> locks;
    Stage stage;
    Actor& full = stage.actor("Full");
    full.act([&] {
      for (ZOVLock& lock : locks) lock.get(type, Wait);
      return locks[0].get(type, Wait);  // one more level is no new lock
    });
    const std::string get = type == Exclusive ? "Full e" : "Full s";
    stage.play({get + ":X 4", "A e:X ok", get + "?:X busy", get + ":X 4"});
    EXPECT_EQ(full.thread().getLockWaitedFor(), nullptr);
    stage.play({"B e:X waits", "A -e:X ok", "B then ok", "B -e:X ok"});
    full.act([&] {
      for (ZOVLock& lock : locks) lock.release(All);
      return 0;
    });
    stage.play({get + ":X ok"});
  }
}

TEST(Lock, ALongWaitIsToldOnceAndGoesOn) {
  TestEnvironment environment;
  const long former = std::exchange(zovWaits().lockWarningSeconds, 0);
  Stage stage;
  TraceCapture lines;
  stage.play({"A e:X ok", "B s:X waits"});
  EXPECT_TRUE(comesTrue([&] { return lines.has("      1 threads are waiting for this lock"); }));
  EXPECT_EQ(lines.count("has been waiting for lock LockX at "), 1);
  stage.play({"B then waits", "A -e:X ok", "B then ok"});
  EXPECT_EQ(lines.count("has been waiting for lock LockX at "), 1);
  zovWaits().lockWarningSeconds = former;
}

TEST(Lock, AThreadThatNobodyKnowsIsKnownByItsHolderAndKeepsItsHoldPastItsFrames) {
  ZOVLock lock;
  ASSERT_EQ(ZOVAgentEnvironment::getActiveThread(), nullptr);
  EXPECT_EQ(lock.get(::Shared, Wait), 0);
  EXPECT_EQ(lock.get(::Shared, Wait), 0);
  lock.release(::Shared);
  EXPECT_EQ(lock.get(Exclusive, DoNotWait), 4) << "a conversion needs a thread object";
  TestEnvironment environment;
  guarded("ZOVTLOCK", "known", [&] {
    EXPECT_EQ(lock.get(::Shared, Wait), 0);
    lock.release(::Shared);
    EXPECT_EQ(lock.get(Exclusive, Wait), 0) << "converts";
    EXPECT_EQ(fromAnotherThread(lock, ::Shared), 4);
  });
  EXPECT_EQ(fromAnotherThread(lock, ::Shared), 0) << "what the frame took has been given back";
  EXPECT_EQ(fromAnotherThread(lock, Exclusive), 4) << "and nothing else";
  guarded("ZOVTLOCK", "known", [&] { lock.release(::Shared); });
  EXPECT_EQ(fromAnotherThread(lock, Exclusive), 0);
}

TEST(Lock, HoldingGivesBackOnEveryPathAndLetsTheFailureGoOn) {
  TestEnvironment environment;
  ZOVLock lock("Held");
  EXPECT_EQ(holding(lock, ::Shared, [&] { return fromAnotherThread(lock, Exclusive); }), 4);
  const std::pair<void (*)(), unsigned int> failures[] = {
      {[] { zovRaise(ZOVException(ZOV_BROKEN_PIPE)); }, ZOV_BROKEN_PIPE},
      {[] { throw std::bad_alloc(); }, ZOV_OUT_OF_STORAGE},
      {storeToNull, ZOV_EXCEPTION_CAUGHT},
  };
  for (const auto& failing : failures) {
    const auto failure = guarded("ZOVTLOCK", "outer", [&] {
      holding(lock, ::Shared, [&] { holding(lock, Exclusive, [&] { failing.first(); }); });
      ADD_FAILURE() << "holding made good";
    });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->getReturnCode(), failing.second);
    EXPECT_EQ(fromAnotherThread(lock, Exclusive), 0);
  }
  EXPECT_EQ(environment.recorded().logged().size(), std::size(failures)) << "told once each";
  EXPECT_EQ(holding(lock, Exclusive, [] { return storeToNull(), 7; }), 0) << "no outer frame: a default";
  EXPECT_EQ(fromAnotherThread(lock, Exclusive), 0);
}

/// Kills with the mutex held without which the victim cannot leave the queue. Nothing in the agent takes a
/// thread's mutex inside that one, so ThreadSanitizer is told to pass over the order.
__attribute__((noinline)) void killInTheQueue(ZOVThread& victim, const std::function<void()>& first,
                                              const std::function<void()>& then) {
  const zov::RecursiveLock scope(*ZOVLock::pLockMutex);
  first();
  EXPECT_EQ(victim.kill(), 1);
  EXPECT_EQ(victim.kill(), 0);
  then();
}

// The test's thread holds X, V is killed in its wait for it, and N waits behind V.
TEST(Lock, AKillInAWaitLeavesNoWaiterAndOthersGoOn) {
  const std::pair<_LockRequestType, std::vector<std::string>> kills[] = {
      {Exclusive, {"V s:X waits", "N e:X waits"}},
      {::Shared, {"V e:X waits", "N e:X waits"}},
      {::Shared, {"V s:X ok", "V e:X waits", "N e:X waits"}}};
  enum { Never, Before, Behind };  // V is posted, with regard to its kill; while it cannot leave the queue
  for (const auto& [hold, waits] : kills) {
    for (const int posted : {Never, Before, Behind}) {
      SCOPED_TRACE(waits[0] + " " + std::to_string(posted));
      TestEnvironment environment;
      Stage stage;
      ZOVLock& lock = stage.lock("X");
      ASSERT_EQ(lock.get(hold, Wait), 0);
      stage.play(waits);
      const auto releaseWhen = [&lock, posted, type = hold](int when) {
        if (posted == when) lock.release(type);
      };
      killInTheQueue(
          stage.actor("V").thread(), [&] { releaseWhen(Before); }, [&] { releaseWhen(Behind); });
      EXPECT_TRUE(posted != Never || oneThreadWaitsFor(lock));
      releaseWhen(Never);
      stage.play({"N then ok", "M s?:X busy", "N -e:X ok", "M e?:X ok"});
    }
  }
}

TEST(Lock, AFloodKeepsDataWhole) {
  TestEnvironment environment;
  TraceCapture quiet;
  ZOVLock lock("Flooded");
  long one = 0, two = 0;
  std::atomic<long> written{0};
  std::atomic<int> torn{0};
  const auto write = [&](_WaitRequestType wait) {
    if (lock.get(Exclusive, wait) == 0) ++one, ++two, ++written, lock.release(Exclusive);
  };
  const auto work = [&](unsigned int seed) {
    for (int round = 0; round < 3000; ++round) {
      seed = seed * 1103515245u + 12345u;
      const unsigned int what = (seed >> 16) % 8;
      if (what < 2) {
        write(what == 0 ? DoNotWait : Wait);
      } else {
        const zov::SharedLock held(lock);
        if (one != two) ++torn;
        if (what == 2 && ZOVAgentEnvironment::getActiveThread() != nullptr) write(Wait);  // converts
        if (one != two) ++torn;
      }
      if (what == 3) pthread_testcancel();
    }
  };
  {
    std::vector<std::unique_ptr<AgentThread>> known;
    std::vector<std::thread> unknown;
    for (unsigned int i = 1; i <= 4; ++i) {
      known.push_back(std::make_unique<AgentThread>([&work, i] { work(i); }));
      if (i <= 2) unknown.emplace_back([&work, i] { work(i * 100); });
    }
    for (int i = 0; i < 20; ++i) {
      AgentThread victim([&work] { work(77); });
      sched_yield();
      victim->kill();
    }
    for (auto& thread : known) EXPECT_FALSE(thread->join()->threadFailed());
    for (std::thread& thread : unknown) thread.join();
  }
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(one, written);
  EXPECT_EQ(two, written);
  EXPECT_EQ(lock.get(Exclusive, DoNotWait), 0);
}

TEST(Lock, ThreadsThatTakeLocksInAnyOrderGetOnWithWholeData) {
  TestEnvironment environment;
  TraceCapture quiet;
  std::array<ZOVLock, 3> locks;
  std::array<long, 3> counters{};  // each guarded by its lock
  std::atomic<long> added{0};
  const auto add = [&](std::size_t to) { holding(locks[to], Exclusive, [&] { ++counters[to], ++added; }); };
  const auto work = [&](unsigned int seed) {
    for (int round = 0; round < 300; ++round) {
      seed = seed * 1103515245u + 12345u;
      const std::size_t first = (seed >> 8) % locks.size(), second = (seed >> 16) % locks.size();
      guarded("ZOVTLOCK", "work", [&] {
        holding(locks[first], (seed & 1) != 0 ? ::Shared : Exclusive, [&] { add(first), add(second); });
      });
    }
  };
  std::vector<std::unique_ptr<AgentThread>> threads;
  for (unsigned int i = 1; i <= 6; ++i) threads.push_back(std::make_unique<AgentThread>([&, i] { work(i); }));
  for (auto& thread : threads) EXPECT_FALSE(thread->join()->threadFailed());
  EXPECT_EQ(counters[0] + counters[1] + counters[2], added);
  for (ZOVLock& lock : locks) EXPECT_EQ(lock.get(Exclusive, DoNotWait), 0);
}
}  // namespace
