#include "runtime/recovery.h"

#include <gtest/gtest.h>

#include "support/test_environment.h"

namespace {
TEST(Recovery, ANullStoreCostsTheRequestAndNotTheProcess) {
  TestEnvironment environment;
  int* volatile null = nullptr;
  const auto failure = guarded("ZOVTTEST", "request", [&] { *null = 1; });
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->getReturnCode(), ZOV_EXCEPTION_CAUGHT);
  EXPECT_EQ(environment.recorded().loggedNumbers(), std::vector<int>{2});
}
}  // namespace
