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
  ZOVLock held("held");
  const struct {
    const char* name;
    std::function<void(Task&)> body;
    int answer;
  } cases[] = {
      {"runs until told", [](Task& t) { t.startupCompleted(1), t._shutdownEvent.wait(); }, 1},
      {"says no", [](Task& t) { t.startupCompleted(-7), t._shutdownEvent.wait(); }, -7},
      {"ends without a word", [](Task&) {}, 0},
      {"raises before a word", [](Task&) { zovRaise(ZOVException(ZOV_BROKEN_PIPE)); }, 0},
      {"faults with a lock in hand", [&](Task&) { held.get(Exclusive, Wait), storeToNull(); }, 0},
      {"faults with the task's lock in hand",
       [](Task& t) { t.startupCompleted(3), t.lock(Exclusive, Wait), storeToNull(); }, 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TestEnvironment environment;
    TraceCapture quiet;
    Task task(c.body);
    EXPECT_EQ(task.startBackgroundThread(), c.answer);
    AgentThread other([&] { task.shutdown(); });
    task.shutdown();
    other.join();
    EXPECT_FALSE(task.isThreadRunning());
    EXPECT_EQ(held.get(Exclusive, DoNotWait), 0);
    held.release(All);
    EXPECT_EQ(environment.threadTable().entries(), 0);
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

class Service : public ZOVServiceTask {
 public:
  explicit Service(std::function<void(Service&)> body) : _body(std::move(body)) {}
  ~Service() override { shutdown(); }
  void backgroundProcessing() override {
    startupCompleted(1);
    _body(*this);
  }
  using ZOVServiceTask::_shutdownEvent;
  using ZOVServiceTask::waitForNextRequest;

 private:
  std::function<void(Service&)> _body;
};

unsigned int process(Service& service, RPXAsynchronousCollectionRequest& request, bool wait = false) {
  return service.processRequest(&request,
                                wait ? ZOVServiceTask::WaitForCompletion : ZOVServiceTask::ReturnAtOnce);
}

TEST(ServiceTask, ServesFromManyThreadsAndAnswersTheRequestsResult) {
  TestEnvironment environment;
  Service service([](Service& self) {
    while (RPXAsynchronousCollectionRequest* request = self.waitForNextRequest()) {
      for (int i = 0; i < 3; ++i) request->insert(new RWCollectableString("sample"));
      request->setComplete(200);
    }
  });
  ASSERT_EQ(service.startBackgroundThread(), 1);
  const auto serve = [&] {
    for (int round = 0; round < 50; ++round) {
      RPXAsynchronousCollectionRequest request;
      EXPECT_EQ(process(service, request, true), 200u);
    }
  };
  AgentThread one(serve), two(serve), three(serve);
  for (AgentThread* client : {&one, &two, &three}) client->join();
  RPXAsynchronousCollectionRequest later;
  EXPECT_EQ(process(service, later), 0u);
  int samples = 0;
  while (const RWCollectable* sample = later.get()) ++samples, delete sample;
  EXPECT_EQ(samples, 3);
}

TEST(ServiceTask, RefusesWhatNoThreadWouldTake) {
  TestEnvironment environment;
  ZOVEvent goOn;
  const std::function<void(Service&)> bodies[] = {
      [&](Service&) { goOn.wait(); },
      [&](Service&) { goOn.wait(), zovRaise(ZOVException(ZOV_OUT_OF_STORAGE)); },
      [&](Service& self) {
        self._shutdownEvent.wait();
        EXPECT_EQ(self.waitForNextRequest(), nullptr);
      },
  };
  for (const auto& body : bodies) {
    Service service(body);
    RPXAsynchronousCollectionRequest early, queued, late;
    EXPECT_EQ(process(service, early, true), ZOV_TASK_SHUTTING_DOWN);
    ASSERT_EQ(service.startBackgroundThread(), 1);
    EXPECT_EQ(process(service, queued), 0u);
    goOn.post();
    if (&body == &bodies[2]) service.shutdown();
    EXPECT_EQ(queued.get(), nullptr);
    EXPECT_EQ(queued.getResult(), ZOV_TASK_SHUTTING_DOWN);
    EXPECT_EQ(process(service, late, true), ZOV_TASK_SHUTTING_DOWN);
  }
}

TEST(ServiceTask, ATimedWaitForARequestLooksTwice) {
  TestEnvironment environment;
  Service service([](Service& self) { self._shutdownEvent.wait(); });  // the test takes the requests
  ASSERT_EQ(service.startBackgroundThread(), 1);
  EXPECT_EQ(service.waitForNextRequest(0), nullptr);
  RPXAsynchronousCollectionRequest request;
  process(service, request);
  EXPECT_EQ(service.waitForNextRequest(0), &request);
  AgentThread client([&] { process(service, request); });
  while (service.waitForNextRequest(3600) == nullptr) {  // the post for the first request ends one wait
  }
  client.join();
  request.setComplete(0);
}
}  // namespace
