#include "runtime/thread.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <cerrno>
#include <thread>

#include "platform/clock.h"
#include "runtime/lock.h"
#include "runtime/recovery.h"
#include "runtime/thread_manager.h"
#include "runtime/waits.h"
#include "support/agent_thread.h"
#include "support/test_environment.h"
#include "thread_creation.h"

constinit thread_local bool ThreadCreationFails::active = false;

// Stands before the system's, which it finds behind itself.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) noexcept {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  return ThreadCreationFails::active ? EAGAIN : create(thread, attributes, start, argument);
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
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
  int token = 0;
  Table table(Table::SharedMode);
  for (ZOVLock* lock : {&a, &b, &c}) table.addNewEntry(lock, &token);
  table.removeEntry(&b);
  EXPECT_EQ(table.getHighestIndex(), 2);
  table.removeEntry(&c);
  EXPECT_EQ(table.getHighestIndex(), 1) << "the second pair is empty, and the highest index says so not";
  EXPECT_THAT(membersOf(table), ElementsAre(&a));
  table.removeEntry(&c);  // absent
  table.addNewEntry(&d, nullptr);
  table.addNewEntry(&c, &token);
  EXPECT_THAT(membersOf(table), ElementsAre(&a, &d, &c));
  EXPECT_EQ(table.getTokenFor(&a), &token);
  EXPECT_EQ(table.getTokenFor(&d), nullptr);
  EXPECT_TRUE(table.isLockOwned(&d));
  EXPECT_FALSE(table.isLockOwned(&b));
  EXPECT_EQ(table.entries(), 3);
}

TEST(HeldLocks, AreFullAtFifty) {
  TestEnvironment environment;
  std::array<ZOVLock, 51> locks;
  Table table(Table::ExclusiveMode);
  for (int i = 0; i < 50; ++i) table.addNewEntry(&locks[static_cast<std::size_t>(i)], nullptr);
  EXPECT_TRUE(table.isFull());
  const auto failure = guarded("ZOVTTHRD", "full", [&] { table.addNewEntry(&locks[50], nullptr); });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->getReturnCode(), ZOV_TOO_MANY_LOCKS);
  EXPECT_EQ(table.entries(), 50);
}

TEST(Thread, ALockHeldInBothModesIsCalledOnce) {
  TestEnvironment environment;
  ZOVLock both("both"), shared("shared"), exclusive("exclusive");
  std::vector<const ZOVLock*> seen;
  AgentThread([&] {
    both.get(Shared, Wait);
    shared.get(Shared, Wait);
    exclusive.get(Exclusive, Wait);
    both.get(Exclusive, Wait);
    ZOVAgentEnvironment::getActiveThread()->callForEachLockHeld(
        [](const ZOVLock* lock, const ZOVThread*, void* list) {
          static_cast<std::vector<const ZOVLock*>*>(list)->push_back(lock);
        },
        &seen);
  }).join();
  EXPECT_THAT(seen, ElementsAre(&exclusive, &both, &shared));
}

TEST(Thread, RunsWithItsOwnCopyOfTheArgumentAndTellsItsEnd) {
  TestEnvironment environment;
  struct Seen {
    int argument;
    int state;
    bool current, known;
  };
  static Seen seen;
  static ZOVThread* running;
  int argument = 41;
  ZOVRecoverableThread thread(
      [](void* given, ZOVThread* self) {
        running = self;
        seen = {*static_cast<int*>(given), self->getState(), self->isThisCurrentThread() != 0,
                ZOVAgentEnvironment::getActiveThread() == self};
        return 17;
      },
      &argument, sizeof argument, 0x100000);
  argument = 0;
  EXPECT_EQ(thread.getState(), ZOVThread::WaitingToRun);
  EXPECT_EQ(thread.start(nullptr), 1);
  thread.waitForThreadToFinish();
  thread.waitForThreadToFinish();
  EXPECT_EQ(running, &thread);
  EXPECT_EQ(seen.argument, 41);
  EXPECT_EQ(seen.state, ZOVThread::Running);
  EXPECT_TRUE(seen.current);
  EXPECT_TRUE(seen.known);
  EXPECT_EQ(thread.getExitCode(), 17);
  EXPECT_EQ(thread.getState(), ZOVThread::Completed);
  EXPECT_EQ(thread.isRunning(), 0);
  EXPECT_EQ(thread.kill(), 0);
  EXPECT_EQ(environment.threadTable().entries(), 0);
  EXPECT_EQ(thread.start(nullptr), 1) << "it may run again";
  thread.waitForThreadToFinish();
}

TEST(Thread, AFailedStartShowsInTheAnswer) {
  TestEnvironment environment;
  ZOVRecoverableThread thread([](void*, ZOVThread*) { return 0; }, nullptr, 0, 0);
  {
    const ThreadCreationFails fails;
    EXPECT_EQ(thread.start(nullptr), 0);
    EXPECT_EQ(thread.kill(), 0);
    thread.waitForThreadToFinish();
  }
  EXPECT_EQ(thread.start(nullptr), 1);
}

TEST(Thread, ARaiseAtItsEntryCostsTheThreadAndGivesBackItsLocks) {
  const std::function<void()> ends[] = {storeToNull, [] { zovRaise(ZOVException(ZOV_BROKEN_PIPE)); },
                                        [] { throw std::runtime_error("odd"); }};
  for (const auto& end : ends) {
    TestEnvironment environment;
    TraceLines quiet;
    ZOVLock exclusive("exclusive"), shared("shared");
    AgentThread thread([&] {
      exclusive.get(Exclusive, Wait);
      exclusive.get(Exclusive, Wait);
      shared.get(Shared, Wait);
      shared.get(Shared, Wait);
      shared.get(Exclusive, Wait);
      end();
    });
    thread.join();
    EXPECT_TRUE(thread->threadFailed());
    EXPECT_EQ(environment.recorded().loggedNumbers(), std::vector<int>{2});
    EXPECT_EQ(environment.threadTable().entries(), 0);
    EXPECT_EQ(exclusive.get(Exclusive, DoNotWait), 0);
    EXPECT_EQ(shared.get(Exclusive, DoNotWait), 0);
  }
}

TEST(Thread, ALockThatGoesWhileHeldLeavesTheRecord) {
  TestEnvironment environment;
  AgentThread([] {
    auto lock = std::make_unique<ZOVLock>("short");
    lock->get(Exclusive, Wait);
    auto other = std::make_unique<ZOVLock>("other");
    other->get(Shared, Wait);
    lock.reset();
    other.reset();
    ZOVAgentEnvironment::getActiveThread()->diagDump();
  }).join();
}

TEST(Thread, TheObjectOfAKilledThreadMayGoBeforeIt) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "AddressSanitizer takes the unwinding of a cancelled thread for an overflow of its stack";
#endif
  TestEnvironment environment;
  const long former = std::exchange(zovWaits().killedThreadSeconds, 0);
  ZOVEvent runs, killed, ended;
  struct TellsEnd {  // of a thread's whole unwinding
    ZOVEvent& event;
    ~TellsEnd() { event.post(); }
  };
  struct Shared {
    ZOVEvent &runs, &killed, &ended;
  } shared{runs, killed, ended};
  {
    ZOVRecoverableThread thread(
        [](void* given, ZOVThread*) {
          auto* events = static_cast<Shared*>(given);
          static thread_local const TellsEnd tells{events->ended};
          int cancelState;
          pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
          events->runs.post();
          events->killed.wait();  // the object is gone behind this
          pthread_setcancelstate(cancelState, nullptr);
          pthread_testcancel();
          return 0;
        },
        &shared, 0, 0);
    thread.start(nullptr);
    runs.wait();
    EXPECT_EQ(environment.threadTable().entries(), 1);
    EXPECT_EQ(thread.kill(), 1);
  }
  EXPECT_EQ(environment.threadTable().entries(), 0);
  killed.post();
  ended.wait();
  zovWaits().killedThreadSeconds = former;
}

TEST(Thread, StatesHaveTexts) {
  EXPECT_STREQ(ZOVThread::getStateText(ZOVThread::WaitingToRun), "Waiting to run");
  EXPECT_STREQ(ZOVThread::getStateText(ZOVThread::Completed), "Completed");
  EXPECT_STREQ(ZOVThread::getStateText(-1), "Unknown");
  EXPECT_STREQ(ZOVThread::getStateText(7), "Unknown");
  ZOVThread neverStarted;
  EXPECT_EQ(neverStarted.kill(), 0);
}

// A thread object that stands in the table under an id of the test's.
class Stranger : public ZOVRecoverableThread {
 public:
  explicit Stranger(unsigned long id) { _threadId = id; }
};

TEST(ThreadTable, FindsRemovesAndReusesSlots) {
  ZOVThreadTable table;
  Stranger a(11), b(12), c(13);
  for (Stranger* thread : {&a, &b}) table.insert(thread);
  const auto find = [&](unsigned long id) { return table.findThread(&id); };
  EXPECT_EQ(find(11), &a);
  EXPECT_EQ(find(12), &b);
  EXPECT_EQ(find(13), nullptr);
  EXPECT_EQ(find(0), nullptr);
  table.remove(&a);
  table.remove(&a);
  EXPECT_EQ(find(11), nullptr);
  EXPECT_EQ(table.entries(), 1);
  table.insert(&c);
  const unsigned long id = 13;
  EXPECT_EQ(table.find(&id), 0);
  table.remove(&b);
  table.remove(&c);
}

TEST(ThreadTable, AFullTableBlocksTheNextUntilOneLeaves) {
  ZOVThreadTable table;
  std::vector<std::unique_ptr<Stranger>> threads;
  for (unsigned long id = 1; id <= ZOVThreadTable::Capacity; ++id) {
    threads.push_back(std::make_unique<Stranger>(id));
    table.insert(threads.back().get());
  }
  Stranger late(1000);
  std::atomic<bool> inserted{false};
  std::thread waiter([&] {
    table.insert(&late);
    inserted = true;
  });
  EXPECT_FALSE(inserted);
  table.remove(threads[200].get());
  waiter.join();
  const unsigned long id = 1000;
  EXPECT_EQ(table.find(&id), 200);
  table.remove(&late);
  for (auto& thread : threads) table.remove(thread.get());
  EXPECT_EQ(table.entries(), 0);
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
  TraceLines lines;
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

TEST(Mutex, IsRecursiveAndExclusive) {
  ZOVMutex mutex;
  long counter = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 500; ++round) {
        mutex.get();
        mutex.get();
        ++counter;
        mutex.release();
        EXPECT_TRUE(mutex.isOwned());
        mutex.releaseTo(0);
        EXPECT_FALSE(mutex.isOwned());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(counter, 2000);
}

TEST(ThreadManager, TheLimitComesFromTheSetting) {
  for (const auto& [setting, limit] : {std::pair{"7", 7}, {"0", 20}, {"-5", 20}, {"abc", 20}, {"", 20}}) {
    EXPECT_EQ(ZOVThreadManager::maximumFrom(setting), limit) << setting;
  }
  EXPECT_EQ(ZOVThreadManager::maximumFrom(nullptr), 20);
}

TEST(ThreadManager, RunsAllThreadsUnderTheLimit) {
  TestEnvironment environment;
  static std::atomic<int> now, most, ran;
  now = most = ran = 0;
  ZOVThreadManager manager(&environment.services(), 3);
  for (int i = 0; i < 20; ++i) {
    manager.executeNewThread(*new ZOVRecoverableThread(
        [](void*, ZOVThread*) {
          const int running = ++now;
          for (int seen = most; seen < running && !most.compare_exchange_weak(seen, running);) {
          }
          sched_yield();
          --now;
          return ++ran, 0;
        },
        nullptr, 0, 0));
  }
  manager.waitForAllThreads();
  EXPECT_EQ(ran, 20);
  EXPECT_LE(most, 3);
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
