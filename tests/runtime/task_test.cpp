#include "runtime/task.h"

#include <gtest/gtest.h>

#include <thread>

#include "runtime/recovery.h"
#include "runtime/service_task.h"
#include "support/agent_thread.h"
#include "support/test_environment.h"
#include "support/thread_creation.h"
#include "support/trace_capture.h"

namespace {

class Task : public ZOVAsynchronousTask {
 public:
  explicit Task(std::function<void(Task&)> body) : _body(std::move(body)) {}
  ~Task() override { shutdown(); }
  void backgroundProcessing() override { _body(*this); }
  using ZOVAsynchronousTask::_shutdownEvent;
  using ZOVAsynchronousTask::startupCompleted;

 private:
  std::function<void(Task&)> _body;
};

TEST(Task, StartAnswersWhatTheThreadSaysAndShutdownNeverHangs) {
  struct Case {
    const char* name;
    std::function<void(Task&)> body;
    int answer;
    std::vector<int> messages;
  };
  ZOVLock held("held");
  const Case cases[] = {
      {"runs until told", [](Task& t) { t.startupCompleted(1), t._shutdownEvent.wait(); }, 1, {}},
      {"says no", [](Task& t) { t.startupCompleted(-7), t._shutdownEvent.wait(); }, -7, {}},
      {"ends without a word", [](Task&) {}, 0, {}},
      {"raises before a word", [](Task&) { zovRaise(ZOVException(ZOV_BROKEN_PIPE)); }, 0, {2}},
      {"faults before a word", [](Task&) { storeToNull(); }, 0, {2}},
      {"throws before a word", [](Task&) { throw std::runtime_error("odd"); }, 0, {2}},
      {"faults with a lock in hand", [&](Task&) { held.get(Exclusive, Wait), storeToNull(); }, 0, {2}},
      {"faults with the task's lock in hand",
       [](Task& t) { t.startupCompleted(3), t.lock(Exclusive, Wait), storeToNull(); },
       3,
       {2}},
  };
  for (const Case& c : cases) {
    TestEnvironment environment;
    TraceCapture quiet;
    {
      Task task(c.body);
      EXPECT_EQ(task.startBackgroundThread(), c.answer) << c.name;
      AgentThread other([&] { task.shutdown(); });
      task.shutdown();
      other.join();
      EXPECT_FALSE(task.isThreadRunning()) << c.name;
      EXPECT_EQ(held.get(Exclusive, DoNotWait), 0) << c.name;
      held.release(All);
    }
    EXPECT_EQ(environment.recorded().loggedNumbers(), c.messages) << c.name;
    EXPECT_EQ(environment.threadTable().entries(), 0) << c.name;
  }
}

TEST(Task, AFailedThreadStartAnswersNothingAndMayBeTriedAgain) {
  TestEnvironment environment;
  Task task([](Task& t) { t.startupCompleted(5), t._shutdownEvent.wait(); });
  {
    const ThreadCreationFails fails;
    EXPECT_EQ(task.startBackgroundThread(), 0);
  }
  EXPECT_FALSE(task.isThreadRunning());
  EXPECT_EQ(task.startBackgroundThread(), 5);
  EXPECT_EQ(task.startBackgroundThread(), 5) << "the one that runs";
  EXPECT_EQ(environment.threadTable().entries(), 1);
}

TEST(AsynchronousRequest, GivesAllSamplesBeforeTheEndAndMayGoAsSoonAsThatIsSeen) {
  for (int round = 0; round < 200; ++round) {
    auto request = std::make_unique<RPXAsynchronousCollectionRequest>();
    std::thread collector([to = request.get()] {
      for (const char* sample : {"a", "b", "c"}) to->insert(new RWCollectableString(sample));
      to->setComplete(ZOV_RECOVERABLE_JAVA_EXCEPTION);
    });
    std::string samples;
    while (const RWCollectable* sample = request->get()) {
      samples += static_cast<const RWCollectableString*>(sample)->str();
      delete sample;
    }
    EXPECT_EQ(samples, "abc");
    EXPECT_EQ(request->getResult(), ZOV_RECOVERABLE_JAVA_EXCEPTION);
    request->insert(new RWCollectableString("goes with the request"));
    request.reset();
    collector.join();
  }
}

// Answers each request with its own number of samples and the code 200 + number; stops in the middle of the
// queue when told so.
class Service : public ZOVServiceTask {
 public:
  ~Service() override { shutdown(); }
  void backgroundProcessing() override {
    startupCompleted(1);
    if (_holdBack) _shutdownEvent.wait();
    while (RPXAsynchronousCollectionRequest* request = waitForNextRequest()) {
      for (int i = 0; i < 3; ++i) request->insert(new RWCollectableString("sample"));
      request->setComplete(200);
    }
  }
  void holdBack() { _holdBack = true; }
  using ZOVServiceTask::waitForNextRequest;

 private:
  bool _holdBack = false;
};

TEST(ServiceTask, ServesFromManyThreadsAndAnswersTheRequestsResult) {
  TestEnvironment environment;
  Service service;
  ASSERT_EQ(service.startBackgroundThread(), 1);
  std::vector<std::unique_ptr<AgentThread>> clients;
  for (int i = 0; i < 4; ++i) {
    clients.push_back(std::make_unique<AgentThread>([&] {
      for (int round = 0; round < 50; ++round) {
        RPXAsynchronousCollectionRequest request;
        EXPECT_EQ(service.processRequest(&request, ZOVServiceTask::WaitForCompletion), 200u);
      }
    }));
  }
  RPXAsynchronousCollectionRequest later;
  EXPECT_EQ(service.processRequest(&later, ZOVServiceTask::ReturnAtOnce), 0u);
  int samples = 0;
  while (const RWCollectable* sample = later.get()) ++samples, delete sample;
  EXPECT_EQ(samples, 3);
}

TEST(ServiceTask, ShutdownLeavesNobodyWaiting) {
  TestEnvironment environment;
  Service service;
  service.holdBack();
  ASSERT_EQ(service.startBackgroundThread(), 1);
  RPXAsynchronousCollectionRequest queued, late;
  EXPECT_EQ(service.processRequest(&queued, ZOVServiceTask::ReturnAtOnce), 0u);
  service.shutdown();
  EXPECT_EQ(queued.get(), nullptr);
  EXPECT_EQ(queued.getResult(), ZOV_TASK_SHUTTING_DOWN);
  EXPECT_EQ(service.processRequest(&late, ZOVServiceTask::WaitForCompletion), ZOV_TASK_SHUTTING_DOWN);
  EXPECT_EQ(service.waitForNextRequest(), nullptr);
}

/// Ends by itself, or by a raise, with a request in its queue.
class ShortService : public ZOVServiceTask {
 public:
  explicit ShortService(bool raises) : _raises(raises) {}
  ~ShortService() override { shutdown(); }
  void backgroundProcessing() override {
    startupCompleted(1);
    _goOn.wait();
    if (_raises) zovRaise(ZOVException(ZOV_OUT_OF_STORAGE));
  }
  void goOn() { _goOn.post(); }

 private:
  const bool _raises;
  ZOVEvent _goOn;
};

TEST(ServiceTask, RefusesWhatNoThreadWouldTake) {
  TestEnvironment environment;
  for (const bool raises : {false, true}) {
    ShortService service(raises);
    RPXAsynchronousCollectionRequest early, queued, late;
    EXPECT_EQ(service.processRequest(&early, ZOVServiceTask::WaitForCompletion), ZOV_TASK_SHUTTING_DOWN);
    ASSERT_EQ(service.startBackgroundThread(), 1);
    service.processRequest(&queued, ZOVServiceTask::ReturnAtOnce);
    service.goOn();
    EXPECT_EQ(queued.get(), nullptr);
    EXPECT_EQ(queued.getResult(), ZOV_TASK_SHUTTING_DOWN);
    EXPECT_EQ(service.processRequest(&late, ZOVServiceTask::WaitForCompletion), ZOV_TASK_SHUTTING_DOWN);
  }
}

TEST(ServiceTask, ATimedWaitForARequestLooksTwice) {
  TestEnvironment environment;
  Service service;
  service.holdBack();  // the test takes the requests
  ASSERT_EQ(service.startBackgroundThread(), 1);
  EXPECT_EQ(service.waitForNextRequest(0), nullptr);
  RPXAsynchronousCollectionRequest request;
  service.processRequest(&request, ZOVServiceTask::ReturnAtOnce);
  EXPECT_EQ(service.waitForNextRequest(0), &request);
  AgentThread client([&] { service.processRequest(&request, ZOVServiceTask::ReturnAtOnce); });
  while (service.waitForNextRequest(3600) == nullptr) {  // the post for the first request ends one wait
  }
  client.join();
  request.setComplete(0);
}
}  // namespace
