#include <optional>

#include "hub_fixture.h"

namespace {
std::string withoutId(const std::string& event) {
  return event.starts_with("id: ") ? event.substr(event.find('\n') + 1) : event;
}

const std::string firstEvent = "event: FAKE\ndata: {\"number\":1,\"text\":\"one\",\"originnode\":\"n\"}";
}  // namespace

TEST_F(HubTest, EveryStreamGetsEveryEventOfItsTables) {
  FakeTable other("OTHER");
  TableManager::RegisterWithManager(&other);
  FakeTable quiet("QUIET");
  quiet.abilities.pushesEvents = false;
  TableManager::RegisterWithManager(&quiet);
  start();
  ZOVTestHttpClient all(port);
  ZOVTestHttpClient one(port);
  EXPECT_EQ(all.openEvents().headers["content-type"], "text/event-stream");
  ASSERT_EQ(one.openEvents("/v1/events?table=FAKE").status, 200);
  EXPECT_EQ(quiet.AddDataToEvent(FakeRow(1)), 0) << "not followed unasked, so not what comes first";
  EXPECT_EQ(other.AddDataToEvent(FakeRow(5, "five\nlines")), 0);
  for (FakeTable* each : {&other, &table}) EXPECT_EQ(each->AddDataToEvent(FakeRow(1, "one", "n")), 0);
  EXPECT_EQ(withoutId(all.receiveEvent()),
            "event: OTHER\ndata: {\"number\":5,\"text\":\"five\\nlines\",\"originnode\":\"\"}");
  EXPECT_TRUE(withoutId(all.receiveEvent()).starts_with("event: OTHER\n"))
      << "though the next has the same row";
  EXPECT_EQ(withoutId(all.receiveEvent()), firstEvent);
  EXPECT_EQ(withoutId(one.receiveEvent()), firstEvent);
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

TEST_F(HubTest, AStreamThatClosesGivesItsPlaceBackAtOnce) {
  zov::hub::limits().streams = 2;
  zov::hub::limits().keepAliveMilliseconds = 3'600'000;  // so that no comment finds it out
  start();
  ZOVTestHttpClient first(port);
  ZOVTestHttpClient second(port);
  ASSERT_EQ(first.openEvents().status, 200);
  ASSERT_EQ(second.openEvents().status, 200);
  const ZOVTestAnswer refusal = zovTestGet(port, "/v1/events");
  EXPECT_EQ(refusal.status, 503) << "as many streams as may are open";
  EXPECT_TRUE(refusal.headers.contains("retry-after"));
  first.close();
  std::optional<ZOVTestHttpClient> third;
  ASSERT_TRUE(comesTrue([&] { return third.emplace(port).openEvents().status == 200; }));
  EXPECT_EQ(table.AddDataToEvent(FakeRow(1, "one", "n")), 0);
  EXPECT_EQ(withoutId(second.receiveEvent()), firstEvent);
  EXPECT_EQ(withoutId(third->receiveEvent()), firstEvent);
  EXPECT_EQ(zov::hub::Request::openCount(table), 1U) << "however many streams";
}

TEST_F(HubTest, AReaderFarBehindIsCutAndNoOneElseNotices) {
  zov::hub::limits().eventsKept = 200;
  start();
  ZOVTestHttpClient lazy(port);
  ZOVTestHttpClient good(port);
  ASSERT_EQ(lazy.openEvents().status, 200);
  ASSERT_EQ(good.openEvents().status, 200);
  int sent = 0;
  for (int batch = 0; batch < 500; ++batch) {  // more than sockets take in for one who does not read
    const int first = sent;
    for (; sent < first + 100; ++sent) {
      ASSERT_EQ(table.AddDataToEvent(FakeRow(sent)), 0) << "else it would be offered again to everyone";
    }
    for (int i = first; i < sent; ++i) {
      ASSERT_NE(good.receiveEvent().find("{\"number\":" + std::to_string(i) + ","), std::string::npos) << i;
    }
  }
  EXPECT_TRUE(lazy.closedByServer());
}

TEST_F(HubTest, AStreamGoesOnBehindTheLastEventOfItsReader) {
  zov::hub::limits().eventsKept = 3;
  FakeTable other("OTHER");
  TableManager::RegisterWithManager(&other);
  start();
  std::vector<std::string> ids;
  ZOVTestHttpClient client(port);
  ASSERT_EQ(client.openEvents().status, 200);
  for (int i = 0; i < 5; ++i) {
    (i == 4 ? other : table).AddDataToEvent(FakeRow(i));
    const std::string event = client.receiveEvent();
    ids.push_back(event.substr(0, event.find('\n')).substr(4));
  }
  const struct {
    std::string target, lastId, numbers;
  } cases[] = {{"/v1/events", ids[2], "34"},
               {"/v1/events", ids[4], ""},
               {"/v1/events", ids[0], "234"},  // as far as they are kept
               {"/v1/events?table=FAKE", ids[1], "23"},
               {"/v1/events", "another-2", "234"},
               {"/v1/events", ids[2] + "0", "234"},
               {"/v1/events", "", ""}};
  std::vector<ZOVTestHttpClient> readers;
  for (const auto& [target, lastId, numbers] : cases) {
    const std::string header = lastId.empty() ? "" : "Last-Event-ID: " + lastId + "\r\n";
    ASSERT_EQ(readers.emplace_back(port).openEvents(target, header).status, 200) << lastId;
  }
  const auto expectNumbers = [&](std::size_t i, const std::string& numbers) {
    for (const char number : numbers) {
      EXPECT_NE(readers[i].receiveEvent().find(std::string("{\"number\":") + number), std::string::npos)
          << cases[i].target << " " << cases[i].lastId << " " << number;
    }
  };
  // The next event ends the keeping of the oldest: it may come only when all have what they were to have.
  for (std::size_t i = 0; i < readers.size(); ++i) expectNumbers(i, cases[i].numbers);
  table.AddDataToEvent(FakeRow(9));
  for (std::size_t i = 0; i < readers.size(); ++i) expectNumbers(i, "9");
  stop();  // while the other table is there
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
  stop();
  EXPECT_EQ(table.boxes, 0);
}
