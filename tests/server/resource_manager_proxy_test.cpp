// The resource manager's queue and timers, with a manager that only writes down what it is told.

#include "server/resource_manager_proxy.h"

#include <gtest/gtest.h>

#include <mutex>

#include "runtime/recovery.h"
#include "runtime/waits.h"
#include "support/comes_true.h"
#include "support/diagnostic_environment.h"
#include "support/step_clock.h"

namespace {

class NotingManager : public ZOVResourceManagerProxy {
 public:
  ~NotingManager() override { shutdown(); }
  ZOVReturnCode enumerateApplicationServers() override { return note("enumerate"); }
  ZOVReturnCode pingApplicationServers(ZOVApplicationServerBase*) override { return note("ping"); }
  ZOVReturnCode refreshNameCache(ZOVApplicationServerBase*) override { return note("refresh"); }
  ZOVReturnCode process(RPXCollectionRequest* request, _ShouldMarkRequestComplete mark) override {
    EXPECT_EQ(mark, MarkComplete);
    note(request->getParm1().str());
    if (request->getParm1() == "raise") zovRaise(ZOVException(ZOV_DEADLOCK_AVERTED));
    if (request->getParm1() == "hold") _goOn.wait();
    request->finish(200);
    return 200;
  }
  void goOn() { _goOn.post(); }
  void refuseTimers(unsigned int code) { _timerCode = code; }
  std::vector<std::string> noted() {
    const std::scoped_lock lock(_mutex);
    return _noted;
  }
  std::size_t count() { return noted().size(); }

 private:
  ZOVReturnCode note(const std::string& what) {
    const std::scoped_lock lock(_mutex);
    _noted.push_back(what);
    return _timerCode.load();
  }
  std::mutex _mutex;
  std::vector<std::string> _noted;
  std::atomic<unsigned int> _timerCode{0};
  ZOVEvent _goOn;
};

class ResourceManagerProxyTask : public testing::Test {
 protected:
  StepClock clock;
  DiagnosticEnvironment environment;
  NotingManager manager;
};

using Notes = std::vector<std::string>;

TEST_F(ResourceManagerProxyTask, TimersRunOnTheirPeriods) {
  const struct {
    int seconds;
    Notes expected;  // of the step
  } steps[] = {
      {59, {}},
      {1, {"ping"}},
      {60, {"enumerate"}},  // which counts as a ping, too
      {59, {}},
      {1, {"ping"}},
      {60, {"enumerate"}},
      {60, {"ping", "refresh"}},
      {600, {"enumerate", "refresh"}},  // what was missed is not made up for
  };
  ASSERT_EQ(manager.startBackgroundThread(), 1);
  RPXCollectionRequest first(1, nullptr, "first");
  ASSERT_EQ(manager.startProcessing(first), ZOV_OK);
  first.get();
  Notes expected{"first"};
  for (const auto& step : steps) {
    StepClock::step(step.seconds);
    expected.insert(expected.end(), step.expected.begin(), step.expected.end());
    manager.wake();
    EXPECT_TRUE(comesTrue([&] { return manager.count() >= expected.size(); }));
    // A request behind the timers: what they should not have done would stand before it.
    RPXCollectionRequest mark(1, nullptr, "mark");
    ASSERT_EQ(manager.startProcessing(mark), ZOV_OK);
    mark.get();
    manager.wake();
    RPXCollectionRequest again(1, nullptr, "mark");
    ASSERT_EQ(manager.startProcessing(again), ZOV_OK);
    again.get();
    expected.insert(expected.end(), {"mark", "mark"});
    ASSERT_EQ(manager.noted(), expected) << step.seconds;
  }
}

TEST_F(ResourceManagerProxyTask, AFailureCostsTheTurnAlone) {
  ASSERT_EQ(manager.startBackgroundThread(), 1);
  RPXCollectionRequest raises(1, nullptr, "raise"), behind(1, nullptr, "behind");
  ASSERT_EQ(manager.startProcessing(raises), ZOV_OK);
  ASSERT_EQ(manager.startProcessing(behind), ZOV_OK);
  EXPECT_EQ(raises.get(), nullptr);
  EXPECT_EQ(raises.getResult(), ZOV_DEADLOCK_AVERTED);
  EXPECT_EQ(behind.get(), nullptr);
  EXPECT_EQ(behind.getResult(), 200u);
  manager.refuseTimers(ZOV_NO_SUCH_SERVER);
  StepClock::step(60);
  manager.wake();
  EXPECT_TRUE(comesTrue([&] { return manager.count() == 3; }));
  manager.refuseTimers(ZOV_OK);
  RPXCollectionRequest later(1, nullptr, "later");
  ASSERT_EQ(manager.startProcessing(later), ZOV_OK);
  EXPECT_EQ(later.get(), nullptr);
  EXPECT_EQ(manager.noted(), (Notes{"raise", "behind", "ping", "later"}));
}

TEST_F(ResourceManagerProxyTask, NobodyWaitsForAManagerThatDoesNotRun) {
  RPXCollectionRequest early(1, nullptr, "early");
  EXPECT_EQ(manager.startProcessing(early), ZOV_PSI_NOT_ACTIVE);
  EXPECT_EQ(early.get(), nullptr);
  EXPECT_EQ(early.getResult(), ZOV_PSI_NOT_ACTIVE);

  ASSERT_EQ(manager.startBackgroundThread(), 1);
  RPXCollectionRequest held(1, nullptr, "hold"), queued(1, nullptr, "queued");
  auto ownerless = std::make_unique<RPXCollectionRequest>(1, nullptr, "ownerless");
  ownerless->setDeleteWhenDone();
  ASSERT_EQ(manager.startProcessing(held), ZOV_OK);
  EXPECT_TRUE(comesTrue([&] { return manager.count() == 1; }));
  ASSERT_EQ(manager.startProcessing(queued), ZOV_OK);
  if (manager.startProcessing(*ownerless) == ZOV_OK) static_cast<void>(ownerless.release());
  std::thread stopper([&] {
    EXPECT_TRUE(comesTrue([&] { return manager.isShutdownRequested(); }));
    manager.goOn();
  });
  manager.shutdown();
  stopper.join();
  EXPECT_EQ(held.getResult(), 200u);
  EXPECT_EQ(queued.get(), nullptr);
  EXPECT_EQ(queued.getResult(), ZOV_PSI_NOT_ACTIVE);
  RPXCollectionRequest late(1, nullptr, "late");
  EXPECT_EQ(manager.startProcessing(late), ZOV_PSI_NOT_ACTIVE);
  EXPECT_EQ(late.get(), nullptr);
}

}  // namespace
