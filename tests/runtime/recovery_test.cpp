#include "platform/frames.h"
#include "runtime/recovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include "runtime/foundation/collections.h"
#include "support/agent_thread.h"
#include "support/test_environment.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

ZOVException exception(unsigned int code, ZOVException::_Severity severity = ZOVException::Error,
                       ZOVException::_ShouldDisplayMessage display = ZOVException::Display,
                       ZOVException::_DumpOption dump = ZOVException::NoDump) {
  return ZOVException(code, 1, 0, dump, severity, display);
}

TEST(Recovery, WhatEndsABodyBecomesTheException) {
  struct Case {
    const char* name;
    std::function<void()> body;
    unsigned int code;
    int recoverable;
    unsigned long parameter;
  };
  RWOrdered empty;
  const Case cases[] = {
      {"null store", storeToNull, ZOV_EXCEPTION_CAUGHT, 0, SIGSEGV},
      {"raise", [] { zovRaise(exception(ZOV_DEADLOCK_AVERTED)); }, ZOV_DEADLOCK_AVERTED, 1, 0},
      {"storage", [] { throw std::bad_alloc(); }, ZOV_OUT_OF_STORAGE, 1, 0},
      {"C++", [] { throw std::logic_error("odd"); }, ZOV_EXCEPTION_CAUGHT, 0, 0},
      {"unknown", [] { throw 7; }, ZOV_EXCEPTION_CAUGHT, 0, 0},
      {"foundation", [&] { empty.at(3); }, ZOV_FOUNDATION_STORAGE, 1, 0},
  };
  for (const Case& c : cases) {
    TestEnvironment environment;
    TraceLines quiet;
    const auto failure = guarded("ZOVTTAG", "Test::function", [&] { c.body(); });
    ASSERT_TRUE(failure) << c.name;
    EXPECT_EQ(failure->getReturnCode(), c.code) << c.name;
    EXPECT_EQ(failure->isRecoverable(), c.recoverable) << c.name;
    EXPECT_EQ(failure->getParameter(), c.parameter) << c.name;
    const auto logged = environment.recorded().logged();
    ASSERT_EQ(logged.size(), 1u) << c.name;
    EXPECT_EQ(logged[0].number, 2) << c.name;
    EXPECT_THAT(logged[0].arguments,
                ElementsAre(ZOVReturnCode::getDescription(c.code), "ZOVTTAG", "Test::function"))
        << c.name;
  }
}

TEST(Recovery, TheMessageFollowsSeverityAndTheDumpItsOption) {
  struct Case {
    ZOVException raised;
    std::vector<int> messages;  // written by the inner and the outer frame
    int dumps;
  };
  const Case cases[] = {
      {exception(ZOV_BROKEN_PIPE), {2, 2}, 0},
      {exception(ZOV_BROKEN_PIPE, ZOVException::Warning), {55, 55}, 0},
      {exception(ZOV_BROKEN_PIPE, ZOVException::Informational), {56, 56}, 0},
      {exception(ZOV_BROKEN_PIPE, ZOVException::Error, ZOVException::DoNotDisplay), {}, 0},
      {exception(ZOV_BROKEN_PIPE, ZOVException::Error, ZOVException::Display,
                 ZOVException::DumpWhenDisplayed),
       {2},
       1},
  };
  for (const Case& c : cases) {
    TestEnvironment environment;
    TraceLines lines;
    const auto failure = guarded("ZOVTTEST", "outer", [&] {
      const auto inner = guarded("ZOVTTEST", "inner", [&] { zovRaise(c.raised); });
      ASSERT_TRUE(inner);
      zovRaise(*inner);
    });
    ASSERT_TRUE(failure);
    EXPECT_EQ(environment.recorded().loggedNumbers(), c.messages);
    EXPECT_EQ(lines.count("Dump of all registered threads follows"), c.dumps);
  }
}

TEST(Recovery, NestedRaisesReachTheInnermostFrameEachTime) {
  TestEnvironment environment;
  TraceLines quiet;
  std::vector<unsigned int> caught;
  const auto outer = guarded("ZOVTTEST", "outer", [&] {
    for (unsigned int code = 10; code < 200; ++code) {
      const auto middle = guarded("ZOVTTEST", "middle", [&] {
        const auto inner = guarded("ZOVTTEST", "inner", [&] {
          if (code % 2 != 0) storeToNull();
          zovRaise(exception(code));
        });
        ASSERT_TRUE(inner);
        zovRaise(exception(inner->getReturnCode() + 1000));
      });
      ASSERT_TRUE(middle);
      ASSERT_EQ(middle->getReturnCode(), code % 2 != 0 ? 1005 : code + 1000);
      ASSERT_EQ(ZOVAgentEnvironment::getActiveThread()->getRecoveryDepth(), 1);
    }
    zovRaise(exception(7));
  });
  ASSERT_TRUE(outer);
  EXPECT_EQ(outer->getReturnCode(), ZOV_NO_SUCH_SERVER);
}

TEST(Recovery, CleanupRunsOnEveryPathInnermostFirst) {
  TestEnvironment environment;
  TraceLines quiet;
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

TEST(Recovery, AForeignThreadIsAdoptedForItsOutermostFrame) {
  TestEnvironment environment;
  EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), nullptr);
  std::thread foreign([&] {
    ZOVRecoverableThread* first = nullptr;
    guarded("ZOVTTEST", "outer", [&] {
      first = ZOVAgentEnvironment::getActiveThread();
      ASSERT_NE(first, nullptr);
      EXPECT_EQ(first->getState(), ZOVThread::Running);
      guarded("ZOVTTEST", "inner", [&] { EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), first); });
      EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), first);
      EXPECT_EQ(environment.threadTable().entries(), 1);
      const unsigned long id = pthread_self();
      EXPECT_EQ(environment.findThread(&id), first);
      zovRaise(exception(9));
    });
    EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), nullptr);
  });
  foreign.join();
  EXPECT_EQ(environment.threadTable().entries(), 0);
}

TEST(Recovery, EveryEnvironmentHasItsOwnThreads) {
  for (int i = 0; i < 3; ++i) {
    TestEnvironment environment;
    const ZOVRecoverableThread* adopted = nullptr;
    guarded("ZOVTTEST", "frame", [&] { adopted = ZOVAgentEnvironment::getActiveThread(); });
    EXPECT_NE(adopted, nullptr);
    EXPECT_EQ(ZOVAgentEnvironment::getActiveThread(), nullptr);
  }
}

TEST(Recovery, WithoutAnEnvironmentARaiseIsNoneAndAFaultStaysInItsFrame) {
  ASSERT_EQ(ZOVAgentEnvironment::pEnvironment.load(), nullptr);
  XFR1_InstallFaultHandlers();
  bool wentOn = false;
  EXPECT_FALSE(guarded("ZOVTTEST", "frame", [&] {
    zovRaise(exception(9));
    wentOn = true;
  }));
  EXPECT_TRUE(wentOn);
  EXPECT_TRUE(guarded("ZOVTTEST", "frame", storeToNull));
  EXPECT_EQ(ZOVAgentEnvironment::isErrorRecoveryEnabled(), 0);
  EXPECT_EQ(ZOVAgentEnvironment::deleteRecoveryEnvironment(), 0);
  zovRaise(exception(9));
  ZOVTerminateHandler();
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
  auto services = std::make_unique<Failing>();
  Failing& failing = *services;
  TestEnvironment environment(std::move(services));
  for (int i = 0; i < 4; ++i) {
    const auto failure = guarded("ZOVTTEST", "frame", [] { zovRaise(exception(9)); });
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->getReturnCode(), ZOV_NO_SUCH_RESOURCE);
  }
  EXPECT_EQ(failing.calls, 4);
  EXPECT_EQ(environment.threadTable().entries(), 0);
}

TEST(Recovery, FaultsAndRaisesOnManyThreadsComeBackEachTime) {
  TestEnvironment environment;
  TraceLines quiet;
  std::atomic<int> caught{0};
  std::vector<std::unique_ptr<AgentThread>> threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(std::make_unique<AgentThread>([&] {
      for (int round = 0; round < 50; ++round) {
        caught += guarded("ZOVTTEST", "fault", storeToNull).has_value();
        caught += guarded("ZOVTTEST", "raise", [] { zovRaise(exception(9)); }).has_value();
      }
    }));
  }
  for (auto& thread : threads) EXPECT_FALSE(thread->join()->threadFailed());
  EXPECT_EQ(caught, 400);
}

TEST(ReturnCode, DescriptionsNeverFailAndHoldForOneMoreCall) {
  const auto check = [] {
    EXPECT_STREQ(ZOVReturnCode(6).getDescription(), "A deadlock condition was averted");
    EXPECT_STREQ(ZOVReturnCode::getDescription(8), "ZOVR0008");
    EXPECT_STREQ(ZOVReturnCode::getDescription(180), "ZOVR0180");
    EXPECT_STREQ(ZOVReturnCode::getDescription(4'294'967'295u), "ZOVR4294967295");
    const char* first = ZOVReturnCode::getDescription(0);
    const char* second = ZOVReturnCode::getDescription(179);
    EXPECT_STREQ(first, "OK");
    EXPECT_STREQ(second, "Request Data Collection Suspended");
  };
  check();
  TestEnvironment environment;
  check();
}
}  // namespace
