// A server's thread: its turns, its rests, and its end.

#include "server/server_thread.h"

#include <gtest/gtest.h>

#include <functional>

#include "runtime/recovery.h"
#include "runtime/waits.h"
#include "support/diagnostic_environment.h"
#include "support/test_environment.h"
#include "support/thread_creation_fails.h"

namespace {

class Work : public zov::ServerThreadWork {
 public:
  void threadBegins() override { ++begun; }
  long secondsToNextTurn() override { return 1000; }
  void turn() override {
    ++turns;
    inTurn();
  }
  bool turnFailed(const ZOVReturnCode& rc) override {
    failure = rc;
    return true;
  }
  void threadEnds() override { ++ended; }
  void startFailed() override { ++failedStarts; }

  std::function<void()> inTurn = [] {};
  std::atomic<int> begun{0}, turns{0}, ended{0}, failedStarts{0};
  std::atomic<unsigned int> failure{0};
};

class ServerThreadTest : public testing::Test {
 protected:
  ~ServerThreadTest() override { thread.end(); }

  DiagnosticEnvironment environment;
  Work work;
  zov::ServerThread thread{work};
};

TEST_F(ServerThreadTest, TakesATurnWhenWokenAndRestsOtherwise) {
  EXPECT_FALSE(thread.isRunning());
  EXPECT_FALSE(thread.offer([] { FAIL(); }));
  for (int run = 1; run <= 2; ++run) {
    thread.start();
    thread.settle();
    const int before = work.turns;
    thread.settle();
    EXPECT_EQ(work.turns, before + 1);
    thread.start();  // runs already, so it is woken
    thread.settle();
    EXPECT_EQ(work.begun, run);
    thread.requestStop();
    EXPECT_FALSE(thread.offer([] { FAIL(); }));
    thread.waitUntilStopped();
    EXPECT_FALSE(thread.isRunning());
    EXPECT_EQ(work.ended, run);
  }
}

TEST_F(ServerThreadTest, WhatIsOfferedIsFollowedByATurn) {
  std::atomic<int> offered{0}, seen{0};
  work.inTurn = [&] { seen = offered.load(); };
  thread.start();
  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(thread.offer([&] { ++offered; }));
  thread.settle();
  EXPECT_EQ(seen, 1000);
}

TEST_F(ServerThreadTest, ARaiseCostsItsTurnAndTheLocksOfIt) {
  ZOVLock lock("Turn");
  work.inTurn = [&] {
    if (work.turns > 1) return;
    lock.get(Exclusive, Wait);
    storeToNull();
  };
  thread.start();
  thread.settle();
  EXPECT_EQ(work.failure, 5U);
  EXPECT_EQ(lock.get(Exclusive, DoNotWait), 0);
  lock.release(Exclusive);
  const int before = work.turns;
  thread.settle();
  EXPECT_GT(work.turns, before);
}

TEST_F(ServerThreadTest, AStartThatFailsIsToldAndMayBeTriedAgain) {
  {
    const ThreadCreationFails fails;
    EXPECT_FALSE(thread.start());
  }
  EXPECT_EQ(work.failedStarts, 1);
  EXPECT_EQ(work.begun, 0);
  EXPECT_FALSE(thread.isRunning());
  EXPECT_TRUE(thread.start());
  thread.settle();
  EXPECT_EQ(work.begun, 1);
}

TEST_F(ServerThreadTest, AStartOfAThreadThatIsStoppingPromisesNothing) {
  ZOVEvent inTurn, goOn;
  work.inTurn = [&] {
    if (work.turns > 1) return;
    inTurn.post();
    goOn.wait();
  };
  EXPECT_TRUE(thread.start());
  thread.wake();
  inTurn.wait();
  EXPECT_TRUE(thread.start());
  thread.requestStop();
  EXPECT_FALSE(thread.start());
  goOn.post();
  thread.waitUntilStopped();
  EXPECT_TRUE(thread.start());
}

TEST_F(ServerThreadTest, AnEndIsForGood) {
  EXPECT_TRUE(thread.end());  // never started
  EXPECT_FALSE(thread.start());
  EXPECT_FALSE(thread.isRunning());
  EXPECT_EQ(work.begun, 0);
}

TEST_F(ServerThreadTest, AThreadThatDoesNotEndIsKilledAndNeverCountsAsEnded) {
  const long former = std::exchange(zovWaits().threadStopSeconds, 0);
  ZOVEvent begun, never;
  work.inTurn = [&] {
    begun.post();
    never.wait();
  };
  thread.start();
  thread.wake();
  begun.wait();
  EXPECT_FALSE(thread.end());
  thread.waitUntilStopped();
  EXPECT_EQ(work.ended, 1);
  EXPECT_FALSE(thread.hasEnded());
  EXPECT_FALSE(thread.end());
  zovWaits().threadStopSeconds = former;
}

}  // namespace
