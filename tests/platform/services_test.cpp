#include "platform/services.h"

#include <gtest/gtest.h>

#include "platform/clock.h"

namespace {

TEST(Clock, LocalTimeSaysWhenItFails) {
  const std::time_t present = 1'104'537'600, never = static_cast<std::time_t>(INT64_MAX);
  struct tm fields {};
  EXPECT_EQ(ARK_localtime(&present, &fields), 0);
  EXPECT_NE(ARK_localtime(&never, &fields), 0);
  EXPECT_NE(ARK_localtime(nullptr, &fields), 0);
}

TEST(Clock, StaysInsideItsRange) {
  const std::pair<std::int64_t (*)(), std::uint32_t> cases[] = {
      {[] { return std::int64_t{1'999'999}; }, 1},
      {[] { return std::int64_t{-5}; }, 0},
      {[] { return INT64_MAX; }, UINT32_MAX},
  };
  for (const auto& [source, seconds] : cases) {
    ZOVClock::setSource(source);
    EXPECT_EQ(ZOVClock::seconds(), seconds);
  }
  ZOVClock::setSource(nullptr);
}

}  // namespace
