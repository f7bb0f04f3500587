#include "runtime/recovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "foundation/collections.h"
#include "platform/frames.h"
#include "support/agent_thread.h"
#include "support/comes_true.h"
#include "support/test_environment.h"
#include "support/trace_capture.h"

namespace {

using testing::ElementsAre;

ZOVException exception(unsigned int code, ZOVException::_Severity severity = ZOVException::Error,
                       ZOVException::_ShouldDisplayMessage display = ZOVException::Display,
                       ZOVException::_DumpOption dump = ZOVException::NoDump) {
  return ZOVException(code, 1, 0, dump, severity, display);
}

TEST(Recovery, WhatEndsABodyBecomesTheException) {
  RWOrdered empty;
  const struct {
    const char* name;
    std::function<void()> body;
    unsigned int code;
    int recoverable;
    unsigned long parameter;
  } cases[] = {
      {"null store", storeToNull, ZOV_EXCEPTION_CAUGHT, 0, SIGSEGV},
      {"raise", [] { zovRaise(exception(ZOV_DEADLOCK_AVERTED)); }, ZOV_DEADLOCK_AVERTED, 1, 0},
      {"storage", [] { throw std::bad_alloc(); }, ZOV_OUT_OF_STORAGE, 1, 0},
      {"C++", [] { throw std::logic_error("odd"); }, ZOV_EXCEPTION_CAUGHT, 0, 0},
      {"unknown", [] { throw 7; }, ZOV_EXCEPTION_CAUGHT, 0, 0},
      {"foundation", [&] { empty.at(3); }, ZOV_FOUNDATION_STORAGE, 1, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TestEnvironment environment;
    const auto failure = guarded("ZOVTTAG", "Test::function", [&] { c.body(); });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->getReturnCode(), c.code);
    EXPECT_EQ(failure->isRecoverable(), c.recoverable);
    EXPECT_EQ(failure->getParameter(), c.parameter);
    const auto logged = environment.recorded().logged();
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_THAT(logged[0].arguments,
                ElementsAre(ZOVReturnCode::getDescription(c.code), "ZOVTTAG", "Test::function"));
  }
}

TEST(Recovery, TheMessageFollowsSeverityAndTheDumpItsOption) {
  const struct {
    ZOVException raised;
    std::vector<int> messages;  // written by the inner and the outer frame
    int dumps;
  } cases[] = {
      {exception(ZOV_BROKEN_PIPE), {2, 2}, 0},
      {exception(ZOV_BROKEN_PIPE, ZOVException::Warning), {55, 55}, 0},
      {exception(ZOV_BROKEN_PIPE, ZOVException::Informational), {56, 56}, 0},
      {exception(ZOV_BROKEN_PIPE, ZOVException::Error, ZOVException::DoNotDisplay), {}, 0},
      {exception(ZOV_BROKEN_PIPE, ZOVException::Error, ZOVException::Display,
                 ZOVException::DumpWhenDisplayed),
       {2},
       1},
  };
  for (const auto& c : cases) {
    TestEnvironment environment;
    TraceCapture lines;
    guarded("ZOVTTEST", "outer",
            [&] { zovRaise(*guarded("ZOVTTEST", "inner", [&] { zovRaise(c.raised); })); });
    EXPECT_EQ(environment.recorded().loggedNumbers(), c.messages);
    EXPECT_EQ(lines.count("Dump of all registered threads follows"), c.dumps);
  }
}

TEST(Recovery, NestedRaisesReachTheInnermostFrameOnEveryThread) {
  TestEnvironment environment;
  TraceCapture quiet;
  const auto nested = [] {
    const auto outer = guarded("ZOVTTEST", "outer", [] {
      for (unsigned int code = 10; code < 60; ++code) {
        const auto middle = guarded("ZOVTTEST", "middle", [&] {
          const auto inner = guarded("ZOVTTEST", "inner", [&] {
            if (code % 2 != 0) storeToNull();
            zovRaise(exception(code));
          });
          zovRaise(exception(inner->getReturnCode() + 1000));
        });
        ASSERT_EQ(middle->getReturnCode(), code % 2 != 0 ? 1005 : code + 1000);
        ASSERT_EQ(ZOVAgentEnvironment::getActiveThread()->getRecoveryDepth(), 2);
      }
      zovRaise(exception(7));
    });
    EXPECT_EQ(outer->getReturnCode(), ZOV_NO_SUCH_SERVER);
  };
  AgentThread one(nested), two(nested), three(nested);
  for (AgentThread* thread : {&one, &two, &three}) EXPECT_FALSE(thread->join()->threadFailed());
}

TEST(Recovery, AForeignThreadIsAdoptedForItsOutermostFrameAndARegisteredOneOutlivesItsFrames) {
  TestEnvironment environment;
  guarded("ZOVTTEST", "outer", [&] {
    const ZOVRecoverableThread* const adopted = ZOVAgentEnvironment::getActiveThread();
    ASSERT_NE(adopted, nullptr);
    guarded("ZOVTTEST", "inner", [] {});
    EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), adopted);
    const unsigned long id = pthread_self();
    EXPECT_EQ(environment.findThread(&id), adopted);
    zovRaise(exception(9));
  });
  EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), nullptr);
  EXPECT_EQ(environment.threadTable().entries(), 0);
  ZOVRecoverableThread own;
  environment.registerThread(&own);
  for (int i = 0; i < 2; ++i) guarded("ZOVTTEST", "frame", [] {});
  EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), &own);
  environment.deregisterThread(&own);
}

TEST(Recovery, WithoutAnEnvironmentARaiseIsNoneAndAFaultStaysInItsFrame) {
  ASSERT_EQ(ZOVAgentEnvironment::pEnvironment.load(), nullptr);
  XFR1_InstallFaultHandlers();
  EXPECT_FALSE(guarded("ZOVTTEST", "frame", [] { zovRaise(exception(9)); }));
  EXPECT_TRUE(guarded("ZOVTTEST", "frame", storeToNull));
  zovRaise(exception(9));
  ZOVTerminateHandler();
}

TEST(Recovery, CleanupRunsOnEveryPathInnermostFirst) {
  TestEnvironment environment;
  TraceCapture quiet;
  const std::vector<std::function<void()>> bodies{[] {}, [] { zovRaise(exception(9)); }, storeToNull,
                                                  [] { throw std::bad_alloc(); }};
  for (const auto& body : bodies) {
    std::string order;
    guarded("ZOVTTEST", "cleanup", [&] {
      withCleanup([&] { withCleanup([&] { body(); }, [&] { order += "inner "; }); },
                  [&] { order += "outer"; });
    });
    EXPECT_EQ(order, "inner outer");
  }
  std::string order;
  withCleanup([&] { storeToNull(); }, [&] { order += "no frame around"; });
  EXPECT_EQ(order, "no frame around");
}

TEST(Recovery, AKillActsBehindACleanupAndNotInItsWaits) {
  TestEnvironment environment;
  ZOVEvent inCleanup, killed, never;
  std::atomic<bool> cleanedUp{false};
  AgentThread thread([&] {
    withCleanup([] {},
                [&] {
                  inCleanup.post();
                  killed.wait();
                  pthread_testcancel();  // also when the post came before the wait
                  cleanedUp = true;
                });
    never.wait();
  });
  inCleanup.wait();
  EXPECT_EQ(thread->kill(), 1);
  killed.post();
  EXPECT_TRUE(comesTrue([&] { return environment.threadTable().entries() == 0; }));
  EXPECT_TRUE(cleanedUp);
}

TEST(Recovery, AFailedCleanupLeavesTheThreadToBeKilled) {
  TestEnvironment environment;
  TraceCapture quiet;
  AgentThread([] {
    guarded("ZOVTTEST", "outer", [] { withCleanup([] {}, storeToNull); });
    int cancelState = PTHREAD_CANCEL_DISABLE;
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &cancelState);
    EXPECT_EQ(cancelState, PTHREAD_CANCEL_ENABLE);
  }).join();
}

// A thread whose dump fails.
class Undumpable : public ZOVRecoverableThread {
 public:
  void diagDump() const override {
    DGT1_Print(unit, 0, "dumped %i", ZOVLock::pLockMutex->isOwned());
    storeToNull();
  }

 private:
  static inline DGT1_Unit unit{"ZOVTDUMP"};
};

TEST(Recovery, AFaultInADumpIsToldOnceAndGivesBackTheMutexes) {
  TestEnvironment environment;
  TraceCapture lines;
  const auto known = std::make_unique<Undumpable>();
  environment.registerThread(known.get());
  environment.diagDump();
  environment.diagDump();
  EXPECT_EQ(environment.recorded().loggedNumbers(), (std::vector<int>{2, 2})) << "one for each dump";
  EXPECT_EQ(lines.count("dumped 1"), 2) << "what had been collected is written";
  EXPECT_FALSE(ZOVLock::pLockMutex->isOwned());
  AgentThread([] {}).join();  // needs the thread table's mutex
  environment.deregisterThread(known.get());
}

TEST(Recovery, ADumpIsWrittenWhenItsMutexesHaveBeenGivenBack) {
  TestEnvironment environment;
  guarded("ZOVTTEST", "known", [&] {
    std::vector<bool> owned;
    DGT1_SetSink(
        [](const char*, int, std::string_view, void* list) {
          static_cast<std::vector<bool>*>(list)->push_back(ZOVLock::pLockMutex->isOwned());
        },
        &owned);
    environment.diagDump();
    environment.threadTable().diagDump();
    ZOVLock("shown").diagDump();
    DGT1_SetSink(nullptr, nullptr);
    EXPECT_GT(owned.size(), 6U);
    EXPECT_EQ(std::count(owned.begin(), owned.end(), true), 0);
  });
}

TEST(Recovery, AFailureInTellingOfAFailureIsNotTold) {
  class Failing : public RecordingServices {
   public:
    void logError(const char*, const char*, int, int, std::span<const DGT1_Arg>) override {
      if (++calls % 2 != 0) storeToNull();
      zovRaise(exception(ZOV_BROKEN_PIPE));
    }
    int calls = 0;
  };
  TestEnvironment environment(std::make_unique<Failing>());
  for (int i = 0; i < 4; ++i) {
    const auto failure = guarded("ZOVTTEST", "frame", [] { zovRaise(exception(9)); });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->getReturnCode(), ZOV_NO_SUCH_RESOURCE);
  }
  EXPECT_EQ(static_cast<Failing&>(environment.recorded()).calls, 4);
  EXPECT_EQ(environment.threadTable().entries(), 0);
}

TEST(ReturnCode, DescriptionsNeverFailAndHoldForOneMoreCall) {
  EXPECT_STREQ(ZOVReturnCode::getDescription(4'294'967'295u), "ZOVR4294967295");
  const char* first = ZOVReturnCode::getDescription(8);
  EXPECT_STREQ(ZOVReturnCode::getDescription(6), "A deadlock condition was averted");
  EXPECT_STREQ(first, "ZOVR0008");
}
}  // namespace
