#include "platform/services.h"

#include <gtest/gtest.h>

#include "platform/clock.h"

namespace {

TEST(Services, LocalTimeSaysWhenItFails) {
  const std::time_t present = 1'104'537'600, never = static_cast<std::time_t>(INT64_MAX);
  struct tm fields {};
  EXPECT_EQ(ARK_localtime(&present, &fields), 0);
  EXPECT_NE(ARK_localtime(&never, &fields), 0);
  EXPECT_NE(ARK_localtime(nullptr, &fields), 0);
}

TEST(Clock, StaysInsideItsRange) {
  const struct {
    std::int64_t (*source)();
    std::uint32_t seconds;
  } cases[] = {
      {[] { return std::int64_t{1'999'999}; }, 1},
      {[] { return std::int64_t{-5}; }, 0},
      {[] { return INT64_MAX; }, UINT32_MAX},
  };
  for (const auto& c : cases) {
    ZOVClock::setSource(c.source);
    EXPECT_EQ(ZOVClock::seconds(), c.seconds);
  }
  ZOVClock::setSource(nullptr);
  EXPECT_NEAR(static_cast<double>(ZOVClock::seconds()), static_cast<double>(std::time(nullptr)), 5);
}

}  // namespace
