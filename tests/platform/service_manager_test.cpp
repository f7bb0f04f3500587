#include "platform/service_manager.h"

#include <gtest/gtest.h>

#include "support/environment_variable.h"
#include "support/notify_socket.h"
#include "support/step_clock.h"
#include "support/trace_capture.h"

namespace {
std::string noStatus() {
  return "";
}
}  // namespace

TEST(ServiceManager, FeedsTheWatchdogWhileAllVitalLoopsBeat) {
  const StepClock clock;
  const TraceCapture trace("ERROR");
  const NotifySocket socket;
  const EnvironmentVariable path("NOTIFY_SOCKET", socket.path().c_str()), pid("WATCHDOG_PID", nullptr),
      interval("WATCHDOG_USEC", "20000000");
  zov::ServiceManager manager;
  zov::VitalLoop quick("quick"), slow("slow");
  const auto round = [&] { return manager.attend(&noStatus), socket.receive(false); };
  quick.beat(std::chrono::seconds(0));
  slow.beat(std::chrono::seconds(60));
  EXPECT_EQ(round(), "WATCHDOG=1");
  EXPECT_EQ(round(), "") << "four times an interval, and not each round";
  EXPECT_EQ(manager.attend(&noStatus), 5000);
  StepClock::step(61);  // the quick one's patience is over
  EXPECT_EQ(round(), "");
  EXPECT_TRUE(trace.has("quick stands still"));
  quick.rest();
  StepClock::step(5);
  EXPECT_EQ(round(), "WATCHDOG=1");
  StepClock::step(60);
  EXPECT_EQ(round(), "") << "the slow one's is over, too";
}

TEST(ServiceManager, TellsOnlyWhoListens) {
  const NotifySocket socket;
  const std::string place = socket.path();
  const struct {
    const char *path, *pid, *interval;
    bool listens;
  } cases[] = {{nullptr, nullptr, "20000000", false},
               {place.c_str(), "1", "20000000", true},  // another process is watched
               {place.c_str(), nullptr, "20s", true}};
  for (const auto& c : cases) {
    const EnvironmentVariable path("NOTIFY_SOCKET", c.path), pid("WATCHDOG_PID", c.pid),
        interval("WATCHDOG_USEC", c.interval);
    EXPECT_EQ(zov::ServiceManager().attend(&noStatus), c.listens ? 10'000 : -1);
    EXPECT_EQ(socket.receive(false), "");
  }
}
