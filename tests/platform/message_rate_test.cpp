#include "platform/message_rate.h"

#include <gtest/gtest.h>

#include "support/step_clock.h"
#include "support/trace_capture.h"

static DGT1_Unit traceUnit("ZOVTRATE");

namespace {

int admitted(zov::MessageRate& rate, int asked) {
  int count = 0;
  for (int i = 0; i < asked; ++i) count += rate.admit();
  return count;
}

TEST(MessageRate, SomeGoInAPeriodAndTheOthersAreCounted) {
  const StepClock clock;
  zov::MessageRate rate, slow(1, std::chrono::minutes(1));
  EXPECT_EQ(admitted(slow, 5), 1);
  EXPECT_EQ(admitted(rate, 100), 10);
  EXPECT_EQ(rate.takeLeftOut(), 0U) << "more may follow";
  StepClock::setWallBy(1000);
  EXPECT_EQ(admitted(rate, 1), 0) << "goes by steady time";
  StepClock::step(1);
  EXPECT_EQ(rate.takeLeftOut(), 91U);
  EXPECT_EQ(rate.takeLeftOut(), 0U);
  EXPECT_EQ(admitted(rate, 12), 10);
  StepClock::step(58);
  EXPECT_EQ(admitted(slow, 5), 0);
  StepClock::step(1);
  EXPECT_EQ(admitted(slow, 5), 1);
}

TEST(MessageRate, LinesOfOnePlaceAreLimited) {
  const StepClock clock;
  const TraceCapture trace;
  const auto flood = [] {
    for (int i = 0; i < 15; ++i) DGT1_PrintfLimited(traceUnit, DGT1_ERROR, "flooded %i", i);
  };
  flood();
  EXPECT_EQ(trace.count("flooded"), 10);
  StepClock::step(1);
  flood();
  EXPECT_EQ(trace.count("flooded"), 20);
  EXPECT_EQ(trace.count("5 lines like the next were left out"), 1);
}

}  // namespace
