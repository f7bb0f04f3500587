// From a collector's samples to the rows of every table, with the real agent.

#include <gmock/gmock.h>

#include "support/agent_process.h"
#include "support/fake_collector.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Pair;
using testing::SizeIs;

namespace {

using Numbers = std::vector<std::pair<int, long long>>;
using Texts = std::vector<std::pair<int, std::string>>;

constexpr long long FirstTime = 1'700'000'000;
constexpr int Seconds = 10;  // between the first collection and the second
constexpr long long FirstCount = 100, SecondCount = 130;

/// One sample class: what is sent, and what the table must show after the second collection.
struct ClassCase {
  int type;
  const char* table;
  Texts texts;
  Numbers numbers;            // the same in both collections
  std::vector<int> counters;  // FirstCount, then SecondCount
  TestRow columns;
};

const std::vector<ClassCase>& classCases() {
  // A counter's column is its difference, and a rate is that for a second, in thousandths.
  static const std::vector<ClassCase> cases = {
      {8,
       "ZOVAPP",
       {{267, "host"}, {9, "shop.war"}},
       {{265, 7}},
       {260, 261},
       {{"vhost_name", "host"},
        {"appl_name", "shop.war"},
        {"num_errors", "30"},
        {"rte_req", "3000"},
        {"num_svrlt", "7"}}},
      {2,
       "ZOVCONTNR",
       {{6, "box"}},
       {{17, 0}},
       {121, 163},
       {{"cont_name", "box"}, {"mthd_calls", "30"}, {"rte_eb_lod", "3000"}, {"summary", "0"}}},
      {3,
       "ZOVTRANS",
       {{6, "box"}},
       {{54, 2}},
       {370, 372},
       {{"gl_tr_beg", "30"}, {"rte_gt_beg", "3000"}, {"rte_lt_beg", "3"}, {"iltype", "2"}}},
      {4,
       "ZOVCNTROP",
       {{6, "box"}},
       {{56, 3}},
       {122},
       {{"cont_name", "box"}, {"num_gets", "30"}, {"iltype", "3"}}},
      {5,
       "ZOVEJB",
       {{6, "box"}, {7, "Bean"}},
       {{200, 2}},
       {201, 121},
       {{"bean_name", "Bean"}, {"bean_type", "2"}, {"num_create", "30"}, {"rte_mt_cal", "3000"}}},
      {7,
       "ZOVDBCONP",
       {{8, "jdbc/shop"}},
       {{252, 40}},
       {240},
       {{"name", "jdbc/shop"}, {"max_size", "40"}, {"rte_create", "3000"}}},
      {9,
       "ZOVSERVLT",
       {{9, "shop.war"}, {267, "host"}, {270, "Cart"}, {271, "/cart.jsp"}},
       {{272, 1}},
       {260, 261},
       {{"svlt_name", "Cart"}, {"jspp_name", "/cart.jsp"}, {"svlt_type", "1"}, {"rte_errors", "3000"}}},
      {67,
       "ZOVCACHE",
       {},
       {{1201, 500}},
       {1203},
       {{"max_size", "500"}, {"total_tout", "30"}, {"rte_ttout", "3000"}}},
      {68,
       "ZOVCACHT",
       {{1205, "page"}},
       {{17, 1}},
       {1206, 1221},
       {{"cachet_nam", "page"}, {"rte_dishit", "3000"}, {"num_rcreat", "30"}}},
      {69,
       "ZOVJ2C",
       {{1245, "cf"}},
       {{1246, 9}},
       {1233},
       {{"cfact_name", "cf"}, {"max_size", "9"}, {"rte_create", "3000"}}},
      {72, "ZOVSERVS", {{9, "shop.war"}}, {}, {1258}, {{"wappl_name", "shop.war"}, {"rte_screat", "3000"}}},
      {73,
       "ZOVTHRDP",
       {{1295, "pool"}},
       {{92, 1}, {1296, 50}},
       {87, 88},
       {{"thrdp_name", "pool"},
        {"iltype", "1"},
        {"max_size", "50"},
        {"num_create", "30"},
        {"rte_destry", "3000"}}},
      {74, "ZOVWLMCL", {}, {{1280, 1}}, {1289}, {{"wlmc_il", "1"}, {"rte_outreq", "3000"}}},
      {75, "ZOVWLMSR", {}, {{1292, 20}}, {1281}, {{"srv_weight", "20"}, {"rte_inreqs", "3000"}}},
      {77, "ZOVBSMSV", {}, {}, {1410, 1430}, {{"sm_cn", "30"}, {"peak_ldcn", "30"}}},
      {78, "ZOVBSMIP", {}, {{1440, 0}}, {1441}, {{"protocol", "0"}, {"act_sess", "30"}}},
      {1,
       "ZOVAPSRV",
       {},
       {{62, 111}, {63, 222}},
       {},
       {{"server_nam", "server1"}, {"mem_free", "111"}, {"mem_total", "222"}}},
      // The samples of an interval are their own difference.
      {34,
       "ZOVDATAS",
       {{8, "jdbc/shop"}, {781, "DB"}},
       {{4, 1}, {783, 20}, {784, 300}, {785, 90}},
       {},
       {{"prod_name", "DB"}, {"conn_rate", "2000"}, {"avg_cwait", "15000"}, {"max_cwait", "90"}}},
      {35,
       "ZOVJMSSUM",
       {{800, "QM"}, {801, "Q"}},
       {{4, 1}, {802, 5}, {805, 50}},
       {},
       {{"qmgr_name", "QM"}, {"num_get", "5"}, {"get_rate", "500"}, {"avg_gtime", "10000"}}},
      {32,
       "ZOVREQSEL",
       {{701, "shop"}, {702, "/buy"}, {751, "wait"}, {752, "db"}},
       {{4, 1}, {700, 1}, {753, 4}, {754, 80}, {755, 60}},
       {},
       {{"act_name", "wait"}, {"num_occur", "4"}, {"avg_time", "200"}, {"max_time", "60"}}},
      {14,
       "ZOVGCACT",
       {},
       {{4, 1}, {314, 10000}, {352, 3}, {353, 4096}, {356, 500}},
       {},
       {{"num_run", "3"}, {"byte_free", "4096"}, {"real_tpct", "50"}}},
      {53, "ZOVGCAF", {}, {{4, 1}, {1061, 5}, {1062, 64}}, {}, {{"af_no", "5"}, {"bytes_need", "64"}}},
      {54,
       "ZOVGCCYC",
       {},
       {{4, 1}, {1061, 5}, {1076, 6}, {1078, 900}},
       {},
       {{"gc_no", "6"}, {"heap_total", "900"}}},
  };
  return cases;
}

std::vector<WireFrame> collection(int index) {
  std::vector<WireFrame> frames;
  for (const ClassCase& c : classCases()) {
    WireFrame& frame = frames.emplace_back(wireSample(c.type));
    frame.number(20, FirstTime + index * Seconds).number(21, Seconds);
    for (const auto& [key, text] : c.texts) frame.text(key, text);
    for (const auto& [key, number] : c.numbers) frame.number(key, number);
    for (const int key : c.counters) frame.number(key, index == 0 ? FirstCount : SecondCount);
  }
  return frames;
}

/// A request served `count` times in ten seconds, in `milliseconds` altogether.
WireFrame request(const std::string& name, long long count, long long milliseconds) {
  return wireSample(31)
      .number(20, FirstTime)
      .number(21, Seconds)
      .number(4, 1)
      .number(314, Seconds * 1000)
      .number(700, 1)
      .text(701, name)
      .text(702, "/" + name)
      .number(703, count)
      .number(704, milliseconds)
      .number(705, milliseconds);
}

/// An agent whose collector is polled by each query for requests, and at no other time.
class Samples : public testing::Test {
 protected:
  void SetUp() override {
    agent.configureMore(
        "[Basic_Config]\nZOV_REQ_SAMPLEMETHOD = ONDEMAND\n"
        "[Advanced_J2EE_Config]\nZOV_REQ_ONDEMAND_MAXSAMPLEAGE = 0\n");
    ASSERT_NO_FATAL_FAILURE(agent.start());
    collector.emplace(agent.collectorPort());
    ASSERT_TRUE(collector->send(wirePing(7, "server1", "/srv/shop")));
    collector->serve();
    ASSERT_TRUE(collector->waitForRequest(2));
  }
  /// The rows of requests, of a collection that brings these samples.
  std::vector<TestRow> collect(std::vector<WireFrame> samples, const std::string& query = "") {
    collector->setSamples(std::move(samples));
    return agent.rows("ZOVREQUEST", query);
  }
  /// One column of some rows, in their order.
  static std::vector<std::string> column(const std::vector<TestRow>& rows, const std::string& name) {
    std::vector<std::string> values;
    for (const TestRow& row : rows) values.push_back(row.at(name));
    return values;
  }

  AgentProcess agent;
  std::optional<FakeCollector> collector;
};

}  // namespace

TEST_F(Samples, OfEveryClassBecomeTheColumnsOfTheirTable) {
  collect(collection(0));
  collect(collection(1));
  for (const ClassCase& c : classCases()) {
    SCOPED_TRACE(c.table);
    const std::vector<TestRow> rows = agent.rows(c.table, "?PARMA=TOP%3BNEW_SAMP%3B1");
    ASSERT_THAT(rows, SizeIs(1));
    EXPECT_THAT(rows[0], IsSupersetOf(std::vector<std::pair<const std::string, std::string>>(
                             c.columns.begin(), c.columns.end())));
    EXPECT_EQ(rows[0].at("originnode"), agent.subnodes().at(0));
  }
}

TEST_F(Samples, OfRequestsAreRatedSummedAndGoneWhenTheyAreNotServedAnyMore) {
  const std::vector<TestRow> both = collect({request("buy", 10, 500), request("look", 30, 300)});
  EXPECT_THAT(column(both, "req_name"), testing::UnorderedElementsAre("buy", "look"));
  for (const TestRow& row : both) {
    const bool buy = row.at("req_name") == "buy";
    EXPECT_EQ(row.at("c7"), buy ? "10" : "30");
    EXPECT_EQ(row.at("c8"), buy ? "1000" : "3000");  // a second, in thousandths
    EXPECT_EQ(row.at("c10"), buy ? "50" : "10");     // milliseconds for each
    EXPECT_EQ(row.at("c61"), "2");
  }
  EXPECT_THAT(agent.rows("ZOVREQHIS"),
              ElementsAre(AllOf(Contains(Pair("avg_time", "20")), Contains(Pair("req_rate", "4000")))));

  EXPECT_THAT(column(collect({request("look", 1, 1)}), "req_name"), ElementsAre("look"));
  const std::vector<TestRow> history = collect({request("look", 1, 1)}, "?history=1");
  EXPECT_THAT(column(history, "req_name"), testing::UnorderedElementsAre("buy", "look"));
  EXPECT_THAT(column(collect({request("look", 1, 1)}, "?history=1"), "req_name"), ElementsAre("look"));
}

TEST_F(Samples, AreFilteredSortedAndLimited) {
  const std::vector<WireFrame> samples = {request("a", 1, 40), request("b", 1, 10), request("c", 1, 30),
                                          request("d", 1, 20), request("e", 1, 50), request("f", 1, 60)};
  const struct {
    const char* query;
    std::vector<std::string> names;
  } cases[] = {
      {"?PARMA=TOP%3BCOLUMN%3Bc10%3BROWS%3B5%3BORDER%3BDESC", {"f", "e", "a", "c", "d"}},
      {"?PARMA=top%3Bcolumn%3BC10%3Brows%3B2%3Border%3Basc", {"b", "d"}},
      {"?PARMA=TOP%3BCOLUMN%3Bc10", {"f", "e", "a", "c", "d", "b"}},
      {"?PARMA=TOP%3BNEW_SAMP%3B1%3BCOLUMN%3Bc10%3BROWS%3B1", {"f"}},
      {"?REQ_NAME=c", {"c"}},
      {"?REQ_NAME=c&REQ_TYPE=1&PID=1", {"c"}},
      {"?REQ_NAME=c&REQ_TYPE=2", {}},
      {"?req_type=1&server_nam=nobody", {}},
      {"?C7=1&PARMA=TOP%3BCOLUMN%3Bc10%3BROWS%3B2", {"f", "e"}},
      {"?C11=20", {"d"}},
      {"?C11=20&PARMA=TOP%3BCOLUMN%3Bc10%3BROWS%3B2", {"d"}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(column(collect(samples, c.query), "req_name"), c.names) << c.query;
  }
  EXPECT_THAT(collect(samples, "?PARMA=TOP%3BROWS%3B4"), SizeIs(4));
  EXPECT_EQ(zovTestGet(agent.httpPort(), "/v1/tables/ZOVREQUEST/rows?PARMA=BOTTOM%3BROWS%3B4").status, 400);
  EXPECT_EQ(zovTestGet(agent.httpPort(), "/v1/tables/ZOVREQUEST/rows?node=nobody:here:ZOVS").status, 404);
  EXPECT_EQ(zovTestGet(agent.httpPort(), "/v1/tables/ZOVNONE/rows").status, 404);
  EXPECT_EQ(zovTestGet(agent.httpPort(), "/v1/tables/ZOVREQUEST/rows?PID=x").status, 400);
  EXPECT_EQ(zovTestGet(agent.httpPort(), "/v1/tables/ZOVREQUEST/rows?NOCOLUMN=1").status, 400);
}

TEST_F(Samples, AreGivenTheirLongNamesBack) {
  const std::string longName(120, 'n');
  const auto rows = collect({wireSample(59).number(4, 1).text(1020, longName).text(1021, "#12"),
                             request("#12", 1, 1), request("##13", 1, 1)});
  EXPECT_THAT(column(rows, "req_name"), testing::UnorderedElementsAre(longName, "#13"));
}

TEST_F(Samples, OfMessagesBecomeProductEvents) {
  collect({wireSample(62)
               .number(4, 1)
               .number(1123, FirstTime * 1000)
               .text(1121, "W")
               .text(1122, "ZOVD0001W Careful")});
  EXPECT_THAT(agent.rows("ZOVPREV"),
              Contains(AllOf(Contains(Pair("msg_id", "ZOVD0001")), Contains(Pair("severity", "1")),
                             Contains(Pair("msg_desc", "Careful Server: server1")))));
}
