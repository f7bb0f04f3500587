#include "runtime/time.h"

#include <gtest/gtest.h>

#include <climits>
#include <ctime>

#include "support/environment_variable.h"

namespace {

constexpr std::uint32_t newYear2005 = 1'104'537'600;  // UTC

/// A local zone five hours behind UTC with summer time, while it lives.
class Zone {
 public:
  Zone() { tzset(); }
  ~Zone() { _variable.reset(), tzset(); }
  Zone(const Zone&) = delete;
  Zone& operator=(const Zone&) = delete;

 private:
  std::optional<EnvironmentVariable> _variable{std::in_place, "TZ", "EST5EDT,M4.1.0,M10.5.0"};
};

std::string frameworkTime(std::uint32_t seconds, int size = 17) {
  char buffer[32] = "untouched";
  ZOVTime(seconds).getCTTime(buffer, size);
  return buffer;
}

std::uint32_t fromFramework(const char* text) {
  ZOVTime time(99);
  time.convertFromCTTime(text);
  return time.seconds();
}

TEST(Time, FrameworkForm) {
  const Zone zone;
  const struct {
    std::uint32_t seconds;
    const char* text;
  } cases[] = {
      {newYear2005 + 5 * 3600, "1050101000000000"},
      {788'918'400 + 5 * 3600, "0950101000000000"},
      {1'120'000'000, "1050628190640000"},  // summer time
      {1'078'012'800U + 5 * 3600, "1040229000000000"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(frameworkTime(c.seconds), c.text);
    EXPECT_EQ(fromFramework(c.text), c.seconds);
  }
  EXPECT_EQ(frameworkTime(UINT32_MAX), "1060207012815000");  // two digits of a year, and one century
  EXPECT_EQ(frameworkTime(newYear2005 + 5 * 3600, 8), "1050101");
  EXPECT_EQ(frameworkTime(newYear2005, 0), "untouched");
  EXPECT_EQ(frameworkTime(0), "untouched");

  EXPECT_EQ(fromFramework("0991231235959999trailing"), 946'684'799U + 5 * 3600);
  EXPECT_EQ(fromFramework(nullptr), 0U);
  for (const char* text : {"", "105010100000000", "105x101000000000", "1051301000000000", "1050229000000000",
                           "1050101240000000", "0690101000000000", "2100101000000000", "105-101000000000"}) {
    EXPECT_EQ(fromFramework(text), 0U) << text;
  }
}

TEST(Time, JavaMilliseconds) {
  const std::pair<long long, std::uint32_t> cases[] = {
      {1'104'537'600'999, newYear2005}, {-5000, 0},     {4'294'967'295'999, UINT32_MAX},
      {4'294'967'296'000, 0},           {LLONG_MAX, 0}, {LLONG_MIN, 0},
  };
  for (const auto& [milliseconds, seconds] : cases) {
    ZOVTime time(99);
    time.convertFromJavaTime(milliseconds);
    EXPECT_EQ(time.seconds(), seconds) << milliseconds;
  }
}

TEST(Time, TextDifferenceAndFieldsInBothZones) {
  const Zone zone;
  EXPECT_EQ(ZOVTime(newYear2005).asString(), "12/31/2004 19:00:00");
  EXPECT_EQ(ZOVTime(UINT32_MAX) - ZOVTime(0), 4'294'967'295L);
  struct tm fields {};
  RWTime(newYear2005).extract(&fields, RWZone::utc());
  EXPECT_EQ(RWTime(fields, RWZone::utc()).seconds(), newYear2005);
  EXPECT_EQ(RWTime(fields, RWZone::local()).seconds(), newYear2005 + 5 * 3600);
  EXPECT_EQ(RWTime::buildFrom(RWDate(7, 2, 2106), 6, 28, 15, RWZone::utc()).seconds(), UINT32_MAX);
  EXPECT_EQ(RWTime::buildFrom(RWDate(7, 2, 2106), 6, 28, 16, RWZone::utc()).seconds(), 0U);
  EXPECT_EQ(RWTime::buildFrom(RWDate(0, 1, 2005), 0, 0, 0, RWZone::utc()).seconds(), 0U);
}

}  // namespace
