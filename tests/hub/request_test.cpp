#include "hub_fixture.h"

TEST(HubRequest, ARowPassesWhenAllThresholdsHold) {
  using enum _IntfOper;
  FakeTable table;
  const struct {
    std::vector<zov::hub::Threshold> thresholds;
    bool passes;
  } cases[] = {
      {{}, true},
      {{{"NUMBER", Equal, "-5"}}, true},
      {{{"NUMBER", Equal, " -5"}}, false},
      {{{"NUMBER", NotEqual, "-5"}}, false},
      {{{"NUMBER", Less, "-4"}, {"NUMBER", Greater, "-6"}}, true},
      {{{"NUMBER", LessOrEqual, "-5"}, {"NUMBER", GreaterOrEqual, "-5"}}, true},
      {{{"NUMBER", Less, "0"}, {"NUMBER", Greater, "0"}}, false},
      {{{"NUMBER", NotEqual, "five"}}, false},
      {{{"NUMBER", NotEqual, ""}}, false},
      {{{"NUMBER", Less, "99999999999999999999"}}, false},
      {{{"TEXT", Equal, "abc"}}, true},
      {{{"TEXT", Equal, "abc   "}}, true},
      {{{"TEXT", Equal, "ab"}}, false},
      {{{"TEXT", Greater, "abb"}, {"TEXT", Less, "abcd"}}, true},
      {{{"number", NotEqual, "0"}}, false},
      {{{"OTHER", NotEqual, "x"}}, false},
  };
  for (const auto& [thresholds, passes] : cases) {
    ContextInfo context;
    context.thresholds = thresholds;
    zov::hub::Request request(table, context);
    static_cast<FakeBox&>(request.box()).AddData(FakeRow(-5, "abc"));
    EXPECT_EQ(request.box()._data.count, passes ? 1 : 0)
        << testing::PrintToString(&thresholds - &cases[0].thresholds);
  }
}

TEST(HubRequest, ClosesAtOnceAndGoesWithItsLastHold) {
  FakeTable table;
  std::vector<std::int32_t> delivered;
  ContextInfo context;
  context.thresholds = {{"NUMBER", _IntfOper::Greater, "10"}};
  context.deliver = [&](const tqbox& box) {
    for (std::int32_t i = 0; i < box._data.count; ++i)
      delivered.push_back(FakeRow(*reinterpret_cast<const FakeRow*>(box.rowAt(i))).number);
    return true;
  };
  auto request = std::make_unique<zov::hub::Request>(table, context);
  EXPECT_EQ(table.AddDataToEvent(FakeRow(20)), 0);
  EXPECT_TRUE(delivered.empty()) << "not subscribed yet";
  request->subscribe();
  table.AddDataToEvent(FakeRow(21));
  table.AddDataToEvent(FakeRow(9));
  EXPECT_EQ(delivered, std::vector<std::int32_t>{21});

  tqbox& box = request->box();
  const std::uint32_t id = box.handle.id;
  box.UseHandle(id);
  box.UseHandle(id);
  request.reset();
  EXPECT_EQ(zov::hub::Request::openCount(table), 0U);
  table.AddDataToEvent(FakeRow(22));
  EXPECT_EQ(delivered.size(), 1U);
  RCL1_Drop(id);
  EXPECT_EQ(table.boxes, 1);
  RCL1_Drop(id);
  EXPECT_EQ(table.boxes, 0);
  RCL1_Drop(id);
  RCL1_Drop(0);
}

TEST(HubRequest, ATableNameIsTakenOnce) {
  FakeTable table;
  FakeTable same;
  FakeTable nameless("");
  EXPECT_EQ(TableManager::RegisterWithManager(&table), 0);
  EXPECT_NE(TableManager::RegisterWithManager(&same), 0);
  EXPECT_NE(TableManager::RegisterWithManager(&nameless), 0);
  EXPECT_NE(TableManager::RegisterWithManager(nullptr), 0);
}
