#include "collectors/diagnostics.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/diagnostic_environment.h"

static DGT1_Unit traceUnit("ZOVTDIAG");

namespace {

TEST(Diagnostics, MessagesOfTheProcessBecomeProductEvents) {
  DiagnosticEnvironment environment;
  ZOV_FUNCTION;
  const int line = __LINE__ + 1;
  ZOV_LOG_MESSAGE(ZOVA0017I, RWCString("shop"));
  EXPECT_EQ(environment.issued(),
            std::vector<std::string>{"ZOVA0017I Application server shop is now active."});
  environment.productEventCollector().forEachSample([&](const ZOVProductEventSample& sample) {
    char file[9] = {}, function[33] = {};
    sample.copyFile(file, 8);
    sample.copyFunction(function, 32);
    EXPECT_STREQ(file, "ZOVTDIAG");
    EXPECT_EQ(function, std::string(zovFunction.text).substr(0, 32));
    EXPECT_EQ(sample.getLine(), line);
  });
}

TEST(Diagnostics, AnyThreadMayIssueMessages) {
  DiagnosticEnvironment environment;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([] {
      ZOV_FUNCTION;
      for (const int kind : {ZOVA0007I, ZOVA0008I, ZOVA0009I, ZOVA0010I, ZOVA0011I, ZOVA0012I, ZOVA0015E,
                             ZOVA0016E, ZOVA0017I, ZOVA0018I}) {
        for (int i = 0; i < 2; ++i) ZOV_LOG_MESSAGE(kind, "x", "y");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(environment.issued().size(), 80U);
}

}  // namespace
