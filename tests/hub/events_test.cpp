#include "hub_fixture.h"

namespace {
const std::string firstEvent = "event: FAKE\ndata: {\"number\":1,\"text\":\"one\",\"originnode\":\"n\"}";
}

TEST_F(HubTest, EveryStreamGetsEveryEventOfItsTables) {
  FakeTable other("OTHER");
  TableManager::RegisterWithManager(&other);
  start();
  ZOVTestHttpClient all(port);
  ZOVTestHttpClient one(port);
  EXPECT_EQ(all.openEvents().headers["content-type"], "text/event-stream");
  ASSERT_EQ(one.openEvents("/v1/events?table=FAKE").status, 200);
  EXPECT_EQ(other.AddDataToEvent(FakeRow(5, "five\nlines")), 0);
  for (FakeTable* each : {&other, &table}) EXPECT_EQ(each->AddDataToEvent(FakeRow(1, "one", "n")), 0);
  EXPECT_EQ(all.receiveEvent(),
            "event: OTHER\ndata: {\"number\":5,\"text\":\"five\\nlines\",\"originnode\":\"\"}");
  EXPECT_TRUE(all.receiveEvent().starts_with("event: OTHER\n")) << "though the next has the same row";
  EXPECT_EQ(all.receiveEvent(), firstEvent);
  EXPECT_EQ(one.receiveEvent(), firstEvent);
  stop();
  EXPECT_EQ(all.receiveEvent(), "") << "the stream ends with the hub";
  EXPECT_EQ(table.AddDataToEvent(FakeRow(2)), 0);
}

TEST_F(HubTest, ManyStreamsKeepTheirOrder) {
  start();
  std::vector<ZOVTestHttpClient> clients;
  for (int i = 0; i < 300; ++i) ASSERT_EQ(clients.emplace_back(port).openEvents().status, 200) << i;
  std::thread source([&] {
    for (int i = 0; i < 50; ++i) EXPECT_EQ(table.AddDataToEvent(FakeRow(i)), 0);
  });
  for (int i = 0; i < 20; ++i) EXPECT_EQ(zovTestGet(port, "/healthz").status, 200);
  for (ZOVTestHttpClient& client : clients) {
    for (int i = 0; i < 50; ++i) {
      ASSERT_NE(client.receiveEvent().find("{\"number\":" + std::to_string(i) + ","), std::string::npos);
    }
  }
  source.join();
}

TEST_F(HubTest, AStreamThatClosesRemovesItsRequest) {
  zov::hub::limits().streams = 2;
  zov::hub::limits().keepAliveMilliseconds = 20;
  start();
  ZOVTestHttpClient first(port);
  ZOVTestHttpClient second(port);
  ASSERT_EQ(first.openEvents().status, 200);
  ASSERT_EQ(second.openEvents().status, 200);
  EXPECT_EQ(zov::hub::Request::openCount(table), 2U);
  EXPECT_EQ(zovTestGet(port, "/v1/events").status, 503) << "as many streams as may are open";
  first.close();
  EXPECT_TRUE(comesTrue([&] { return zov::hub::Request::openCount(table) == 1; }))
      << "found out by comments alone";
  EXPECT_TRUE(comesTrue([&] { return table.boxes == 1; }));
  ZOVTestHttpClient third(port);
  EXPECT_EQ(third.openEvents().status, 200);
  EXPECT_EQ(table.AddDataToEvent(FakeRow(1, "one", "n")), 0);
  EXPECT_EQ(second.receiveEvent(), firstEvent);
  EXPECT_EQ(third.receiveEvent(), firstEvent);
}

TEST_F(HubTest, AReaderFarBehindIsDropped) {
  zov::hub::limits().streamBytes = 20000;
  start();
  ZOVTestHttpClient lazy(port);
  ASSERT_EQ(lazy.openEvents().status, 200);
  ASSERT_TRUE(comesTrue([&] { return table.AddDataToEvent(FakeRow(1)) != 0; }));
  EXPECT_TRUE(lazy.closedByServer());
  EXPECT_TRUE(comesTrue([&] { return zov::hub::Request::openCount(table) == 0; }));
  EXPECT_EQ(zovTestGet(port, "/healthz").status, 200);
}

TEST_F(HubTest, StreamsComeAndGoWhileEventsFlow) {
  start();
  std::atomic<bool> enough{false};
  std::atomic<int> waiting{0};  // an endless flood would drop the readers as too slow
  std::thread source([&] {
    while (!enough) {
      if (waiting.exchange(0) > 0) table.AddDataToEvent(FakeRow(1));
      std::this_thread::yield();
    }
  });
  std::vector<std::thread> readers;
  for (int r = 0; r < 4; ++r) {
    readers.emplace_back([&] {
      for (int i = 0; i < 20; ++i) {
        ZOVTestHttpClient client(port);
        EXPECT_EQ(client.openEvents().status, 200);
        ++waiting;
        EXPECT_NE(client.receiveEvent(), "");
      }
    });
  }
  for (std::thread& reader : readers) reader.join();
  enough = true;
  source.join();
  EXPECT_TRUE(comesTrue([&] {
    table.AddDataToEvent(FakeRow(0));
    return table.boxes == 0;
  }));
}
