#include "runtime/thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <array>
#include <cerrno>
#include <deque>
#include <optional>
#include <thread>

#include "platform/clock.h"
#include "runtime/lock.h"
#include "runtime/recovery.h"
#include "runtime/thread_manager.h"
#include "runtime/waits.h"
#include "support/agent_thread.h"
#include "support/test_environment.h"
#include "support/thread_creation_fails.h"
#include "support/trace_capture.h"

namespace {

using testing::ElementsAre;
using Table = ZOVThread::HeldLockPlaceholderTable;
using Iterator = ZOVThread::HeldLockPlaceholderIterator;

std::vector<const ZOVLock*> membersOf(const Table& table) {
  std::vector<const ZOVLock*> members;
  Iterator next(table);
  while (const ZOVLock* lock = next.next()) members.push_back(lock);
  return members;
}

TEST(HeldLocks, FillTheFirstGapAndForgetInAnyOrder) {
  ZOVLock a, b, c, d;
  Table table(Table::SharedMode);
  for (ZOVLock* lock : {&a, &b, &c}) table.addNewEntry(lock);
  for (ZOVLock* lock : {&b, &c, &c}) table.removeEntry(lock);  // the last is absent
  EXPECT_EQ(table.getHighestIndex(), 1) << "the second pair is empty, and the highest index says so not";
  EXPECT_THAT(membersOf(table), ElementsAre(&a));
  table.addNewEntry(&d);
  table.addNewEntry(&c);
  EXPECT_THAT(membersOf(table), ElementsAre(&a, &d, &c));
  EXPECT_TRUE(table.isLockOwned(&d));
  EXPECT_FALSE(table.isLockOwned(&b));
}

TEST(Thread, ALockHeldInBothModesIsCalledOnceAndOneThatGoesLeavesTheRecord) {
  TestEnvironment environment;
  ZOVLock both("both"), shared("shared");
  std::optional<ZOVLock> goes[2];
  std::vector<const ZOVLock*> seen;
  AgentThread([&] {
    both.get(Shared, Wait);
    shared.get(Shared, Wait);
    for (const _LockRequestType type : {Shared, Exclusive}) goes[type].emplace("goes").get(type, Wait);
    both.get(Exclusive, Wait);
    for (auto& lock : goes) lock.reset();
    ZOVAgentEnvironment::getActiveThread()->callForEachLockHeld(
        [](const ZOVLock* lock, const ZOVThread*, void* list) {
          static_cast<std::vector<const ZOVLock*>*>(list)->push_back(lock);
        },
        &seen);
  }).join();
  EXPECT_THAT(seen, ElementsAre(&both, &shared));
}

TEST(Thread, RunsWithItsOwnCopyOfTheArgumentAndTellsItsEnd) {
  TestEnvironment environment;
  int argument = 41;
  ZOVRecoverableThread thread([](void* given, ZOVThread*) { return *static_cast<int*>(given); }, &argument,
                              sizeof argument, 0x100000);
  argument = 0;
  EXPECT_EQ(thread.kill(), 0);
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(thread.start(nullptr), 1);
    thread.waitForThreadToFinish();
    thread.waitForThreadToFinish();
    EXPECT_EQ(thread.getExitCode(), 41);
    EXPECT_EQ(thread.getState(), ZOVThread::Completed);
    EXPECT_EQ(thread.kill(), 0);
  }
}

TEST(Thread, AFaultCostsTheThreadAndGivesBackItsLocks) {
  TestEnvironment environment;
  TraceCapture quiet;
  ZOVLock exclusive("exclusive"), shared("shared");
  AgentThread thread([&] {
    for (int depth = 0; depth < 2; ++depth) exclusive.get(Exclusive, Wait), shared.get(Shared, Wait);
    shared.get(Exclusive, Wait);
    storeToNull();
  });
  EXPECT_TRUE(thread.join()->threadFailed());
  EXPECT_EQ(environment.threadTable().entries(), 0);
  EXPECT_EQ(exclusive.get(Exclusive, DoNotWait), 0);
  EXPECT_EQ(shared.get(Exclusive, DoNotWait), 0);
}

// A thread that is killed with kills held off, and goes on when it is told to: to its end, or to its kill.
struct Returner {
  ZOVEvent runs, goOn, ended;
  ZOVLock lock{"of the first run"};
  bool returns = true;
  static int run(void* given, ZOVThread*) {
    auto* to = static_cast<Returner*>(given);
    struct TellsEnd {  // of the thread's last steps
      ZOVEvent& event;
      ~TellsEnd() { event.post(); }
    };
    static thread_local const TellsEnd tells{to->ended};
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    to->lock.get(Exclusive, DoNotWait);
    to->runs.post();
    to->goOn.wait();
    if (to->returns) return 7;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    pthread_testcancel();
    return 0;
  }
};

TEST(Thread, AKilledThreadThatReturnsIsWaitedForNoLonger) {
  TestEnvironment environment;
  const long former = std::exchange(zovWaits().killedThreadSeconds, 1'000'000);
  Returner returner;
  {
    ZOVRecoverableThread thread(&Returner::run, &returner, 0, 0);
    thread.start(nullptr);
    returner.runs.wait();
    EXPECT_EQ(thread.kill(), 1);
    returner.goOn.post();
  }
  EXPECT_EQ(environment.threadTable().entries(), 0);
  returner.ended.wait();
  zovWaits().killedThreadSeconds = former;
}

TEST(Thread, AKilledThreadTouchesNoObjectThatHasGone) {
  TestEnvironment environment;
  const long former = std::exchange(zovWaits().killedThreadSeconds, 0);
  for (const bool returns : {true, false}) {
    Returner returner;
    returner.returns = returns;
    alignas(ZOVRecoverableThread) static std::array<unsigned char, sizeof(ZOVRecoverableThread)> storage;
    auto* thread = ::new (storage.data()) ZOVRecoverableThread(&Returner::run, &returner, 0, 0);
    thread->start(nullptr);
    returner.runs.wait();
    EXPECT_EQ(thread->kill(), 1);
    thread->~ZOVRecoverableThread();
    EXPECT_EQ(environment.threadTable().entries(), 0);
    storage.fill(0xA5);
    returner.goOn.post();
    returner.ended.wait();
    for (const unsigned char byte : storage) ASSERT_EQ(byte, 0xA5);
  }
  zovWaits().killedThreadSeconds = former;
}

TEST(Thread, AKilledRunLeavesTheNextOneAlone) {
  TestEnvironment environment;
  Returner returner;
  ZOVRecoverableThread thread(&Returner::run, &returner, 0, 0);
  thread.start(nullptr);
  returner.runs.wait();
  EXPECT_EQ(thread.kill(), 1);
  EXPECT_EQ(thread.start(nullptr), 1);
  returner.runs.wait();
  EXPECT_EQ(environment.threadTable().entries(), 1) << "the killed run is known no more";
  for (int run = 0; run < 2; ++run) {  // in either order
    returner.goOn.post();
    returner.ended.wait();
  }
  thread.waitForThreadToFinish();
  EXPECT_EQ(thread.getExitCode(), 7);
  EXPECT_EQ(thread.getState(), ZOVThread::Completed);
  EXPECT_EQ(thread.getRecoveryDepth(), 0);
  EXPECT_EQ(environment.threadTable().entries(), 0);
  EXPECT_EQ(returner.lock.get(Exclusive, DoNotWait), 0) << "the killed run has given back what it held";
}

// A thread object that stands in the table under an id of the test's.
class Stranger : public ZOVRecoverableThread {
 public:
  explicit Stranger(unsigned long id) { _threadId = id; }
};

TEST(ThreadTable, StartedThreadsLeaveSlotsToOthersAlsoBeforeTheyRun) {
  ZOVThreadTable table;
  std::deque<Stranger> threads, adopted;
  for (unsigned long id = 1; table.reserve(); ++id) {
    threads.emplace_back(id);
    if (id % 2 == 0) table.insertReserved(&threads.back());  // of the others the start is under way
  }
  EXPECT_EQ(threads.size(), std::size_t{ZOVThreadTable::Capacity - ZOVThreadTable::KeptBack});
  while (table.insert(&adopted.emplace_back(1001 + adopted.size()))) {
  }
  EXPECT_GE(adopted.size(), std::size_t{ZOVThreadTable::KeptBack});
  for (std::size_t i = 0; i < threads.size(); i += 2) table.insertReserved(&threads[i]);
  EXPECT_EQ(table.entries(), ZOVThreadTable::Capacity);
  for (Stranger& thread : threads) table.remove(&thread);
  for (Stranger& thread : adopted) table.remove(&thread);
  EXPECT_EQ(table.entries(), 0);
}

TEST(ThreadTable, WithoutASlotAThreadIsNotStartedAndAFrameIsACode) {
  TestEnvironment environment;
  TraceCapture quiet;
  ZOVThreadTable& table = environment.threadTable();
  std::deque<Stranger> others;
  const auto fillTo = [&](int entries) {
    while (table.entries() < entries) table.insert(&others.emplace_back(others.size() + 1));
  };
  bool ran = false;
  const auto adopted = [&] {
    ran = false;
    return guarded("ZOVTTEST", "adopted", [&] { ran = true; });
  };
  ZOVRecoverableThread thread([](void*, ZOVThread*) { return 0; }, nullptr, 0, 0);
  fillTo(ZOVThreadTable::Capacity - ZOVThreadTable::KeptBack);
  EXPECT_EQ(thread.start(nullptr), 0);
  EXPECT_FALSE(adopted());
  EXPECT_TRUE(ran) << "the slots that are kept back";
  fillTo(ZOVThreadTable::Capacity);
  const auto failure = adopted();
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->getReturnCode(), ZOVReturnCode(ZOV_NO_SUBTASK));
  EXPECT_FALSE(ran);
  for (Stranger& other : others) table.remove(&other);
  EXPECT_EQ(thread.start(nullptr), 1);
}

TEST(ThreadTable, AThreadFindsItselfThroughEveryChange) {
  ZOVThreadTable first, second;
  Stranger me(pthread_self()), again(pthread_self());
  first.insert(&me);
  EXPECT_EQ(first.findCurrentThread(), &me);
  EXPECT_EQ(second.findCurrentThread(), nullptr);
  second.insert(&again);
  EXPECT_EQ(second.findCurrentThread(), &again);
  EXPECT_EQ(first.findCurrentThread(), &me);
  std::thread([&] { first.remove(&me); }).join();
  EXPECT_EQ(first.findCurrentThread(), nullptr);
  second.remove(&again);
}

TEST(Event, KeepsOnePostAndReleasesOneWait) {
  ZOVEvent event;
  EXPECT_EQ(event.waitWithTimeout(0), 0);
  event.post();
  event.post();
  EXPECT_NE(event.waitWithTimeout(0), 0);
  EXPECT_EQ(event.waitWithTimeout(-5), 0);
  event.post();
  event.reset();
  EXPECT_EQ(event.waitWithMillisecondTimeout(0), 0);
  std::thread poster([&] { event.post(); });
  EXPECT_NE(event.waitWithTimeout(std::numeric_limits<long>::max()), 0) << "no overflow into the past";
  poster.join();
}

TEST(Event, MillisecondsCarryOneSecondOnly) {
  ZOVEvent event;
  ZOVClock::setSource([]() -> std::int64_t { return 1'700'000'000'800'000; });
  // Each would outlast the test, were the sum not out of range.
  for (const long milliseconds : {1'500L, 3'600'000L, std::numeric_limits<long>::max(), -1'000L}) {
    EXPECT_EQ(event.waitWithMillisecondTimeout(milliseconds), 0);
  }
  std::thread poster([&] { event.post(); });
  while (event.waitWithMillisecondTimeout(900) == 0) sched_yield();
  poster.join();
  ZOVClock::setSource(nullptr);
}

TEST(ThreadManager, TheLimitComesFromTheSetting) {
  for (const auto& [setting, limit] : {std::pair{"7", 7}, {"0", 20}, {"-5", 20}, {"abc", 20}, {"", 20}}) {
    EXPECT_EQ(ZOVThreadManager::maximumFrom(setting), limit) << setting;
  }
  EXPECT_EQ(ZOVThreadManager::maximumFrom(nullptr), 20);
}

TEST(ThreadManager, RunsAllThreadsUnderTheLimit) {
  TestEnvironment environment;
  static std::atomic<int> now, ran;
  now = ran = 0;
  ZOVThreadManager manager(&environment.services(), 3);
  for (int i = 0; i < 20; ++i) {
    manager.executeNewThread(*new ZOVRecoverableThread(
        [](void*, ZOVThread*) {
          EXPECT_LE(++now, 3);
          sched_yield();
          --now;
          return ++ran, 0;
        },
        nullptr, 0, 0));
  }
  manager.waitForAllThreads();
  EXPECT_EQ(ran, 20);
}

TEST(ThreadManager, LearnsFromAFailedStartAndGivesUpWhenNothingRuns) {
  TestEnvironment environment;
  static ZOVEvent go;
  const auto make = [] {
    return new ZOVRecoverableThread([](void*, ZOVThread*) { return go.wait(), 0; }, nullptr, 0, 0);
  };
  ZOVThreadManager manager(&environment.services(), 5), hopeless(nullptr, 5);
  manager.executeNewThread(*make());
  {
    const ThreadCreationFails fails;
    manager.executeNewThread(*make());
    hopeless.executeNewThread(*make());
  }
  EXPECT_EQ(manager.getMaximum(), 1);
  EXPECT_EQ(environment.recorded().loggedNumbers(), std::vector<int>{3});
  EXPECT_FALSE(hopeless.isValid());
  go.post();
  go.post();
  manager.killAllThreads();
  EXPECT_FALSE(manager.isValid());
  manager.waitForAllThreads();
}
}  // namespace
