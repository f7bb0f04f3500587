#include "runtime/thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <array>
#include <cerrno>
#include <deque>
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
  table.removeEntry(&b);
  EXPECT_EQ(table.getHighestIndex(), 2);
  table.removeEntry(&c);
  EXPECT_EQ(table.getHighestIndex(), 1) << "the second pair is empty, and the highest index says so not";
  EXPECT_THAT(membersOf(table), ElementsAre(&a));
  table.removeEntry(&c);  // absent
  table.addNewEntry(&d);
  table.addNewEntry(&c);
  EXPECT_THAT(membersOf(table), ElementsAre(&a, &d, &c));
  EXPECT_TRUE(table.isLockOwned(&a));
  EXPECT_TRUE(table.isLockOwned(&d));
  EXPECT_FALSE(table.isLockOwned(&b));
  EXPECT_EQ(table.entries(), 3);
}

TEST(Thread, ALockHeldInBothModesIsCalledOnceAndOneThatGoesLeavesTheRecord) {
  TestEnvironment environment;
  ZOVLock both("both"), shared("shared");
  auto exclusive = std::make_unique<ZOVLock>("exclusive");
  std::vector<const ZOVLock*> seen;
  AgentThread([&] {
    both.get(Shared, Wait);
    shared.get(Shared, Wait);
    exclusive->get(Exclusive, Wait);
    both.get(Exclusive, Wait);
    exclusive.reset();
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
  ZOVRecoverableThread thread(
      [](void* given, ZOVThread* self) {
        EXPECT_EQ(self->getState(), ZOVThread::Running);
        EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), self);
        return *static_cast<int*>(given);
      },
      &argument, sizeof argument, 0x100000);
  argument = 0;
  EXPECT_EQ(thread.getState(), ZOVThread::WaitingToRun);
  EXPECT_EQ(thread.kill(), 0);
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(thread.start(nullptr), 1);
    thread.waitForThreadToFinish();
    thread.waitForThreadToFinish();
    EXPECT_EQ(thread.getExitCode(), 41);
    EXPECT_EQ(thread.getState(), ZOVThread::Completed);
    EXPECT_EQ(thread.kill(), 0);
    EXPECT_EQ(environment.threadTable().entries(), 0);
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
  EXPECT_EQ(environment.recorded().loggedNumbers(), std::vector<int>{2});
  EXPECT_EQ(environment.threadTable().entries(), 0);
  EXPECT_EQ(exclusive.get(Exclusive, DoNotWait), 0);
  EXPECT_EQ(shared.get(Exclusive, DoNotWait), 0);
}

TEST(Thread, TheObjectOfAKilledThreadMayGoBeforeIt) {
  TestEnvironment environment;
  const long former = std::exchange(zovWaits().killedThreadSeconds, 0);
  struct Events {
    ZOVEvent runs, killed, ended;
  } events;
  struct TellsEnd {  // of a thread's whole unwinding
    ZOVEvent& event;
    ~TellsEnd() { event.post(); }
  };
  {
    ZOVRecoverableThread thread(
        [](void* given, ZOVThread*) {
          auto* to = static_cast<Events*>(given);
          static thread_local const TellsEnd tells{to->ended};
          int cancelState;
          pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
          to->runs.post();
          to->killed.wait();  // the object is gone behind this
          pthread_setcancelstate(cancelState, nullptr);
          pthread_testcancel();
          return 0;
        },
        &events, 0, 0);
    thread.start(nullptr);
    events.runs.wait();
    EXPECT_EQ(environment.threadTable().entries(), 1);
    EXPECT_EQ(thread.kill(), 1);
  }
  EXPECT_EQ(environment.threadTable().entries(), 0);
  events.killed.post();
  events.ended.wait();
  zovWaits().killedThreadSeconds = former;
}

// A thread that is killed with kills held off, and goes on when it is told to.
struct Returner {
  ZOVEvent runs, goOn, ended;
  ZOVLock lock{"of the first run"};
  static int run(void* given, ZOVThread*) {
    auto* to = static_cast<Returner*>(given);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    to->lock.get(Exclusive, DoNotWait);
    to->runs.post();
    to->goOn.wait();
    struct TellsEnd {  // of the thread's last steps
      ZOVEvent& event;
      ~TellsEnd() { event.post(); }
    };
    static thread_local const TellsEnd tells{to->ended};
    return 7;
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

TEST(Thread, AKilledThreadThatReturnsTouchesNoObjectThatHasGone) {
  TestEnvironment environment;
  const long former = std::exchange(zovWaits().killedThreadSeconds, 0);
  Returner returner;
  alignas(ZOVRecoverableThread) static std::array<unsigned char, sizeof(ZOVRecoverableThread)> storage;
  auto* thread = ::new (storage.data()) ZOVRecoverableThread(&Returner::run, &returner, 0, 0);
  thread->start(nullptr);
  returner.runs.wait();
  EXPECT_EQ(thread->kill(), 1);
  thread->~ZOVRecoverableThread();
  storage.fill(0xA5);
  returner.goOn.post();
  returner.ended.wait();
  for (const unsigned char byte : storage) ASSERT_EQ(byte, 0xA5);
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

TEST(ThreadTable, AFullTableRefusesAndTakesAgainWhenOneLeaves) {
  ZOVThreadTable table;
  std::vector<std::unique_ptr<Stranger>> threads;
  for (unsigned long id = 1; id <= ZOVThreadTable::Capacity; ++id) {
    threads.push_back(std::make_unique<Stranger>(id));
    EXPECT_TRUE(table.insert(threads.back().get()));
  }
  Stranger late(1000);
  EXPECT_FALSE(table.insert(&late));
  table.remove(threads[200].get());
  EXPECT_TRUE(table.insert(&late));
  const unsigned long id = 1000;
  EXPECT_EQ(table.find(&id), 200);
  table.remove(&late);
  for (auto& thread : threads) table.remove(thread.get());
  EXPECT_EQ(table.entries(), 0);
}

TEST(ThreadTable, StartedThreadsLeaveSlotsToOthersAlsoBeforeTheyRun) {
  ZOVThreadTable table;
  std::vector<std::unique_ptr<Stranger>> threads;
  for (unsigned long id = 1; table.reserve(); ++id) {
    threads.push_back(std::make_unique<Stranger>(id));
    if (id % 2 == 0) table.insertReserved(threads.back().get());  // of the others the start is under way
  }
  EXPECT_EQ(threads.size(), std::size_t{ZOVThreadTable::Capacity - ZOVThreadTable::KeptBack});
  std::vector<std::unique_ptr<Stranger>> adopted;
  for (unsigned long id = 1001; adopted.empty() || table.insert(adopted.back().get()); ++id) {
    adopted.push_back(std::make_unique<Stranger>(id));
  }
  EXPECT_GE(adopted.size(), std::size_t{ZOVThreadTable::KeptBack});
  for (std::size_t i = 0; i < threads.size(); i += 2) table.insertReserved(threads[i].get());
  EXPECT_EQ(table.entries(), ZOVThreadTable::Capacity);
  for (auto& thread : threads) table.remove(thread.get());
  EXPECT_TRUE(table.reserve());
  table.giveUpReservation();
  for (auto& thread : adopted) table.remove(thread.get());
}

TEST(ThreadTable, WithoutASlotAThreadIsNotStartedAndAFrameIsACode) {
  TestEnvironment environment;
  TraceCapture quiet;
  ZOVThreadTable& table = environment.threadTable();
  std::deque<Stranger> others;
  while (table.entries() < ZOVThreadTable::Capacity - ZOVThreadTable::KeptBack) {
    table.insert(&others.emplace_back(others.size() + 1));
  }
  ZOVRecoverableThread thread([](void*, ZOVThread*) { return 0; }, nullptr, 0, 0);
  EXPECT_EQ(thread.start(nullptr), 0);
  bool ran = false;
  EXPECT_FALSE(guarded("ZOVTTEST", "adopted", [&] { ran = true; }));
  EXPECT_TRUE(ran) << "the slots that are kept back";
  while (table.entries() < ZOVThreadTable::Capacity) {
    table.insert(&others.emplace_back(others.size() + 1));
  }
  ran = false;
  const auto failure = guarded("ZOVTTEST", "adopted", [&] { ran = true; });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->getReturnCode(), ZOVReturnCode(ZOV_NO_SUBTASK));
  EXPECT_FALSE(ran);
  for (Stranger& other : others) table.remove(&other);
  EXPECT_EQ(thread.start(nullptr), 1);
}

TEST(ThreadTable, AThreadFindsItselfThroughEveryChange) {
  ZOVThreadTable first, second;
  Stranger me(pthread_self()), again(pthread_self());
  EXPECT_EQ(first.findCurrentThread(), nullptr);
  first.insert(&me);
  EXPECT_EQ(first.findCurrentThread(), &me);
  EXPECT_EQ(second.findCurrentThread(), nullptr);
  second.insert(&again);
  EXPECT_EQ(second.findCurrentThread(), &again);
  EXPECT_EQ(first.findCurrentThread(), &me);
  std::thread([&] { first.remove(&me); }).join();
  EXPECT_EQ(first.findCurrentThread(), nullptr);
  second.remove(&again);
  EXPECT_EQ(second.findCurrentThread(), nullptr);
}

TEST(ThreadTable, WaitsForThreadsThatStay) {
  const long former = std::exchange(zovWaits().threadTableSeconds, 0);
  ZOVLock::init();
  TraceCapture lines;
  Stranger a(11), b(12);
  {
    ZOVThreadTable table;
    table.insert(&a);
    table.insert(&b);
  }
  zovWaits().threadTableSeconds = former;
  EXPECT_EQ(lines.count("numThreads=2,  cannot delete pTable."), 1);
  EXPECT_EQ(lines.count("   ZOVThread at"), 4);
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
  event.post();
  event.wait();
  EXPECT_EQ(event.waitWithTimeout(0), 0);
  std::thread poster([&] { event.post(); });
  EXPECT_NE(event.waitWithTimeout(std::numeric_limits<long>::max()), 0) << "no overflow into the past";
  poster.join();
}

TEST(Event, MillisecondsCarryOneSecondOnly) {
  ZOVEvent event;
  ZOVClock::setSource([]() -> std::int64_t { return 1'700'000'000'800'000; });
  // Each would outlast the test, were the sum not out of range.
  for (const long milliseconds : {1'500L, 2'000L, 3'600'000L, std::numeric_limits<long>::max(), -1'000L}) {
    EXPECT_EQ(event.waitWithMillisecondTimeout(milliseconds), 0);
  }
  event.post();
  EXPECT_NE(event.waitWithMillisecondTimeout(3'600'000), 0);
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
  ZOVThreadManager manager(&environment.services(), 5);
  manager.executeNewThread(*make());
  {
    const ThreadCreationFails fails;
    manager.executeNewThread(*make());
  }
  EXPECT_EQ(manager.getMaximum(), 1);
  EXPECT_EQ(environment.recorded().loggedNumbers(), std::vector<int>{3});
  go.post();
  go.post();
  manager.killAllThreads();
  EXPECT_FALSE(manager.isValid());
  manager.waitForAllThreads();

  ZOVThreadManager hopeless(nullptr, 5);
  const ThreadCreationFails fails;
  hopeless.executeNewThread(*make());
  EXPECT_FALSE(hopeless.isValid());
}
}  // namespace
