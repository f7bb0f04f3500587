// What one who hangs or does not read costs the others.

#include "hub/api/body.h"
#include "hub/http/workers.h"
#include "hub_fixture.h"
#include "support/step_clock.h"

namespace {

std::string get(const std::string& query) {
  return ZOVTestHttpClient::request("GET", "/v1/tables/FAKE/rows?" + query);
}

/// The node "hung" waits at the gate, and every other gives a row.
class HubWaiting : public HubTest {
 protected:
  HubWaiting() {
    table.sample = [this](FakeBox& box) {
      const char* const node = box.GetSubnode();
      if (node == nullptr) return;
      if (std::string(node) == "hung") {
        ++asked;
        gate.wait();
      }
      box.AddData(FakeRow(7, "", node));
    };
  }
  ~HubWaiting() override {
    gate.open();
    stop();
    while (ARQ_AwaitRequests(1000) != 0) {
    }
  }
  int statusOf(const std::string& query) { return zovTestGet(port, "/v1/tables/FAKE/rows?" + query).status; }

  const Subnodes registered{"hung", "good", "a", "b", "n", "endless", "early", "late"};
  Gate gate;
  std::atomic<int> asked{0};  // the node that hangs
};

}  // namespace

TEST_F(HubWaiting, ANodeThatHangsIsLeftOutWhenTheTimeIsOver) {
  start();
  ZOVTestHttpClient client(port);
  client.send(get("node=hung&node=good&timeout=1"));
  EXPECT_EQ(client.receiveHead().status, 200);
  EXPECT_EQ(client.receiveChunk(),
            "{\"table\":\"FAKE\",\"rows\":[{\"number\":7,\"text\":\"\",\"originnode\":\"good\"}")
      << "goes out at once";
  EXPECT_EQ(statusOf("node=good"), 200);
  EXPECT_EQ(
      client.receiveChunk(),
      "],\"nodes\":[{\"name\":\"hung\",\"status\":\"timeout\",\"reason\":\"no answer came within 1 s\"}]}\n");
  EXPECT_EQ(client.receiveChunk(), "");
  gate.open();
  EXPECT_TRUE(comesTrue([&] { return ARQ_AwaitRequests(0) == 0; }));
  EXPECT_EQ(client.get("/v1/nodes").status, 200) << "the connection is as it was";
}

TEST_F(HubWaiting, ANodeThatHangsHoldsNoMoreThanItsLane) {
  zov::hub::limits().queryThreads = 3;
  zov::hub::limits().queryThreadsPerNode = 2;
  zov::hub::limits().queriesWaitingPerNode = 1;
  start();
  std::vector<ZOVTestHttpClient> slow;
  for (int i = 0; i < 3; ++i) slow.emplace_back(port).send(get("node=hung"));
  ASSERT_TRUE(gate.awaitWaiting(2));
  ASSERT_TRUE(comesTrue([&] { return statusOf("node=hung&timeout=1") == 503; }));
  EXPECT_EQ(zovTestGet(port, "/v1/tables/FAKE/rows?node=hung").headers["retry-after"], "1");
  EXPECT_EQ(zovTestGet(port, "/healthz").status, 200);
  EXPECT_EQ(rows("?node=hung&node=good"),
            "{\"table\":\"FAKE\",\"rows\":[{\"number\":7,\"text\":\"\",\"originnode\":\"good\"}],\"nodes\":[{"
            "\"name\":"
            "\"hung\",\"status\":\"busy\",\"reason\":\"as many queries as may wait for it already\"}]}\n");
  EXPECT_EQ(asked, 2);
  gate.open();
  for (ZOVTestHttpClient& client : slow) {
    EXPECT_NE(client.receive().body.find("\"originnode\":\"hung\""), std::string::npos);
  }
}

TEST(HubWorkers, LanesThatHangTogetherLeaveThreadsForTheOthers) {
  StepClock clock;
  zov::hub::Workers workers("test", {4, 2, 8});
  Gate hangs[2];
  std::atomic<int> served{0};
  const auto submit = [&](Gate& gate, std::initializer_list<const char*> lanes) {
    for (const char* lane : lanes) EXPECT_TRUE(workers.submit(lane, nullptr, [&gate] { gate.wait(); }));
  };
  const auto isServed = [&] {
    const int now = ++served;
    workers.submit("good", nullptr, [&] { ++served; });
    return comesTrue([&] { return served > now; });
  };
  submit(hangs[0], {"a", "a"});
  EXPECT_TRUE(hangs[0].awaitWaiting(2));
  submit(hangs[0], {"b", "b"});
  EXPECT_TRUE(hangs[0].awaitWaiting(3));
  EXPECT_TRUE(isServed()) << "b has not got a second thread";
  StepClock::step(zov::hub::Workers::SlowSeconds);
  hangs[0].open();
  EXPECT_TRUE(hangs[0].awaitWaiting(4));
  submit(hangs[1], {"a", "a"});
  EXPECT_TRUE(hangs[1].awaitWaiting(1));
  submit(hangs[1], {"c", "c"});
  EXPECT_TRUE(hangs[1].awaitWaiting(2));
  EXPECT_TRUE(isServed());
  EXPECT_FALSE(hangs[1].hasWaited(3)) << "a is slow, and c has come when half were busy";
  hangs[1].open();
  EXPECT_TRUE(hangs[1].awaitWaiting(4));
  workers.stop(ZOVClock::steady() + std::chrono::seconds(60));
}

TEST_F(HubWaiting, AClientThatLeavesFreesHisPlace) {
  zov::hub::limits().queries = 2;
  zov::hub::limits().queryThreadsPerNode = 1;
  start();
  ZOVTestHttpClient first(port);
  ZOVTestHttpClient second(port);
  first.send(get("node=hung"));
  ASSERT_TRUE(gate.awaitWaiting(1));
  second.send(get("node=hung"));
  ASSERT_TRUE(comesTrue([&] { return statusOf("node=good") == 503; }));
  first.close();
  second.close();
  EXPECT_TRUE(comesTrue([&] { return statusOf("node=good") == 200; })) << "though the first is inside still";
  gate.open();
  EXPECT_EQ(statusOf("node=hung"), 200);
  EXPECT_EQ(asked, 2) << "the second was never asked, since no one waited for it any more";
}

TEST_F(HubWaiting, TablesThatDoNotWaitAreAskedOnceAndAtOnce) {
  struct StatusTable : FakeTable {
    using FakeTable::FakeTable;
    bool WaitsForSubnodes() const override { return false; }
  } status("STATUS");
  TableManager::RegisterWithManager(&status);
  std::atomic<int> requests{0};
  status.sample = [&](FakeBox& box) {
    ++requests;
    box.AddData(FakeRow(1));
  };
  zov::hub::limits().queryThreads = 1;
  start();
  ZOVTestHttpClient hung(port);
  hung.send(get("node=hung"));
  ASSERT_TRUE(gate.awaitWaiting(1));
  EXPECT_EQ(
      zovTestGet(port, "/v1/tables/STATUS/rows?node=a&node=b&timeout=5").body,
      "{\"table\":\"STATUS\",\"rows\":[{\"number\":1,\"text\":\"\",\"originnode\":\"\"}],\"nodes\":[]}\n");
  EXPECT_EQ(requests, 1);
  gate.open();
  stop();
}

TEST_F(HubWaiting, RowsAreSentInLittleMemory) {
  zov::hub::Limits& most = zov::hub::limits();
  most.queries = 4;
  most.blockBytes = 4096;
  most.bodyShareBytes = 64 * 1024;
  most.answerBytes = most.reservedBytes() + 2 * most.bodyShareBytes;
  most.writerMilliseconds = 20000;
  constexpr int rowCount = 100'000;
  std::atomic<std::size_t> unsent{0};
  table.sample = [&](FakeBox& box) {
    for (int i = 0; i < rowCount && box.AddData(FakeRow(i)) == 0; ++i) {
      unsent = std::max(unsent.load(), zov::hub::Body::unsentBytes());
    }
  };
  start();
  const std::string body = rows("?node=n");
  EXPECT_EQ(std::count(body.begin(), body.end(), '{'), rowCount + 1);
  EXPECT_TRUE(body.ends_with("{\"number\":99999,\"text\":\"\",\"originnode\":\"\"}],\"nodes\":[]}\n"));
  EXPECT_LE(unsent, most.bodyShareBytes);
  EXPECT_GT(body.size(), 10 * most.bodyShareBytes);
  EXPECT_TRUE(comesTrue([] { return zov::hub::Body::unsentBytes() == 0; }));
}

TEST_F(HubWaiting, AReaderWhoDoesNotReadCostsHimHisAnswerAndNoOneElse) {
  zov::hub::Limits& most = zov::hub::limits();
  most.bodyShareBytes = 64 * 1024;
  most.writerMilliseconds = 100;
  std::atomic<bool> refused{false};
  table.sample = [&](FakeBox& box) {
    const std::string node = box.GetSubnode();
    while (!refused) {
      if (box.AddData(FakeRow(1)) == 0 && node == "good") return;
      if (node != "good") refused = box.AddData(FakeRow(1)) != 0;
    }
  };
  start();
  ZOVTestHttpClient lazy(port);
  lazy.send(get("node=endless"));
  EXPECT_EQ(lazy.receiveHead().status, 200);
  EXPECT_EQ(statusOf("node=good"), 200);
  EXPECT_TRUE(comesTrue([&] { return refused.load(); })) << "rows are not made for ever";
  EXPECT_TRUE(comesTrue([] { return zov::hub::Body::unsentBytes() == 0; }));
  std::string last;
  for (std::string chunk; !(chunk = lazy.receiveChunk()).empty();) last = chunk;
  EXPECT_FALSE(last.ends_with("]}\n"));
  EXPECT_TRUE(lazy.closedByServer());
  EXPECT_EQ(statusOf("node=good"), 200);
}

TEST_F(HubWaiting, ASlowReaderIsCut) {
  zov::hub::Limits& most = zov::hub::limits();
  most.readerSeconds = 1;
  table.sample = [&](FakeBox& box) {
    for (int i = 0; i < 200'000; ++i) box.AddData(FakeRow(i));
  };
  start();
  ZOVTestHttpClient lazy(port);
  lazy.send(get("node=n"));
  EXPECT_TRUE(waitForLine("its reader is too slow"));
  EXPECT_TRUE(comesTrue([] { return zov::hub::Body::unsentBytes() == 0; }));
  EXPECT_TRUE(lazy.closedByServer());
}

TEST_F(HubWaiting, AFailureIsAnAnswerBeforeTheFirstByteAndACutBehindIt) {
  zov::hub::limits().blockBytes = 1;
  start();
  table.sample = [&](FakeBox& box) {
    if (std::string(box.GetSubnode()) == "late") box.AddData(FakeRow(1));
    throw std::bad_alloc();
  };
  const ZOVTestAnswer early = zovTestGet(port, "/v1/tables/FAKE/rows?node=early");
  EXPECT_EQ(early.status, 500);
  EXPECT_NE(early.body.find("bad_alloc"), std::string::npos) << early.body;
  ZOVTestHttpClient late(port);
  const ZOVTestAnswer answer = late.get("/v1/tables/FAKE/rows?node=late");
  EXPECT_TRUE(late.closedByServer());
  EXPECT_EQ(answer.body.find("\"nodes\""), std::string::npos) << answer.body;
}

TEST_F(HubWaiting, ARequestThatIsNotCompleteInTimeLosesItsConnection) {
  zov::hub::limits().requestSeconds = 1;
  zov::hub::limits().idleSeconds = 3600;
  start();
  ZOVTestHttpClient silent(port);
  ZOVTestHttpClient half(port);
  ZOVTestHttpClient body(port);
  half.send("GET /v1/ta");
  body.send("POST /v1/actions HTTP/1.1\r\nHost: localhost\r\n" + actionHeaders() +
            "Content-Length: 9\r\n\r\n{");
  for (ZOVTestHttpClient* client : {&silent, &half, &body}) EXPECT_TRUE(client->closedByServer());
  ZOVTestHttpClient waiting(port);
  waiting.send(get("node=hung&timeout=2"));
  EXPECT_EQ(waiting.receive().status, 200) << "a request that is complete may wait for longer";
}

TEST_F(HubWaiting, ShortRequestsFindAPlaceAmongManyConnections) {
  zov::hub::Limits& most = zov::hub::limits();
  most.requestSeconds = 3600;
  most.streams = most.queries = most.commands = 1;
  most.shortExchanges = 8;
  start();
  std::vector<ZOVTestHttpClient> silent;
  for (int i = 0; i < 40; ++i) silent.emplace_back(port);
  ZOVTestHttpClient stream(port);
  EXPECT_EQ(stream.openEvents().status, 200);
  EXPECT_EQ(zovTestGet(port, "/healthz").status, 200);
  EXPECT_TRUE(silent.front().closedByServer()) << "the one that has said nothing for the longest";
  table.AddDataToEvent(FakeRow(1));
  EXPECT_NE(stream.receiveEvent(), "");
}

TEST(HubLimits, FitTheDescriptorsOfTheProcess) {
  const zov::hub::Limits most;
  for (const std::size_t descriptors : {20U, 64U, 256U, 1024U, 3000U, 100'000U}) {
    const zov::hub::Limits fit = most.within(descriptors);
    EXPECT_LE(fit.connections(), std::max<std::size_t>(descriptors / 2, 10)) << descriptors;
    for (const std::size_t kind : {fit.streams, fit.queries, fit.commands, fit.shortExchanges}) {
      EXPECT_GE(kind, 1U) << descriptors;
    }
  }
  EXPECT_EQ(most.within(100'000).connections(), most.connections());
}
