// What tables fill by their own code: server status, process figures, names of requests, events.

#include <map>
#include <set>

#include "collectors/log_event_sample.h"
#include "collectors/product_event_sample.h"
#include "table_fixture.h"
#include "tables/zovloganal.h"
#include "tables/zovprev.h"

namespace {

class OwnColumns : public TableFixture {
 protected:
  OwnColumns() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }
  static std::string shown(const zov::TableInfo& table, const std::string& row, const char* name) {
    const zov::Column& column = columnNamed(table, name);
    if (column.type == ColumnInfo_Integer) return std::to_string(numberAt(row, column.offset));
    return textAt(row, column);
  }
  /// Each column of the row that is named, and what it must show.
  static void expectRow(const zov::TableInfo& table, const std::string& row,
                        const std::vector<std::pair<const char*, std::string>>& expected) {
    for (const auto& [name, value] : expected) EXPECT_EQ(shown(table, row, name), value) << name;
  }
};

TEST_F(OwnColumns, OfServerStatus) {
  const zov::TableInfo& status = tableNamed("ZOVAPSST");
  server(0).setAppServerStartTime(1'700'000'000'000);
  server(0).setDCProbeManagerProcessId(4711);
  server(0).setClusterName("group");
  server(0).setTSLNodeName("node");
  server(0).setTSLCellName("cell");
  server(1).setStatus(ServerDisconnected);
  const auto rows = query(status);
  ASSERT_EQ(rows.size(), 2u);
  expectRow(status, rows[0],
            {{"originnode", "host"},
             {"node_name", "host"},
             {"server_nam", "shop"},
             {"status", "1"},
             {"pid", "4711"},
             {"stdate_tim", "1231114221320000"},
             {"type", "1"},
             {"srvgrp_nam", "group"},
             {"tsl_nnam", "node"},
             {"tsl_cnam", "cell"},
             {"tsl_rnam", "/srv"}});
  expectRow(status, rows[1],
            {{"server_nam", "bank"}, {"status", "0"}, {"pid", "-1"}, {"stdate_tim", ""}, {"srvgrp_nam", ""}});
  const auto named = query(status, {zov::hub::Filter::ofText("SERVER_NAM", "bank"),
                                    zov::hub::Filter::ofText("ORIGINNODE", "agent")});
  ASSERT_EQ(named.size(), 1u);
  expectRow(status, named[0], {{"originnode", "agent"}, {"server_nam", "bank"}});
  EXPECT_TRUE(query(status, {zov::hub::Filter::ofText("SERVER_NAM", "Bank")}).empty());
}

TEST_F(OwnColumns, OfProcessFigures) {
  const zov::TableInfo& servers = tableNamed("ZOVAPSRV");
  server(0).setAppServerStartTime(1'700'000'000'000);
  const long long processors = ZOVAppServerSample::getNumProcessors();
  const struct {
    long long cpu;
    int seconds;
    const char* percent;
  } cases[] = {{0, 0, "-1"}, {30'000 * processors, 60, "500"}, {0, 60, "0"}};
  long long time = 1'700'000'000, total = 0;
  for (const auto& one : cases) {
    auto sample = std::make_unique<ZOVAppServerSample>();
    sample->saveNumericData(zov::key::sample_time, time += one.seconds);
    sample->saveNumericData(zov::key::cpu_time, total += one.cpu);
    server(0).saveSample(sample.release(), SaveSampleInterval, 0);
    const auto rows = query(servers, {}, 1);
    ASSERT_EQ(rows.size(), 1u);
    expectRow(servers, rows[0],
              {{"as_cpup", one.percent},
               {"int_time", std::to_string(one.seconds)},
               {"srv_type", "1"},
               {"stdate_tim", "1231114221320000"},
               {"tsl_vers", ""},
               {"req_mon", std::to_string(server(0).getRequestCollectLevel())},
               {"req_srate", std::to_string(server(0).getRequestCapturePercent())}});
  }
}

TEST_F(OwnColumns, OfWhatIsCollected) {
  const zov::TableInfo& servers = tableNamed("ZOVAPSRV");
  const auto expectMonitors = [&](const char* gc, const char* resources) {
    expectRow(servers, query(servers, {}, 1).at(0), {{"gc_mon", gc}, {"res_mon", resources}});
  };
  expectMonitors("0", "0");  // not suspended, but there is no collector
  server(0).startedCollectingGCData(true);
  expectMonitors("1", "0");
  server(0).connectedWithResourceManager();
  expectMonitors("1", "1");
  server(0).suspendCollectingResourceData();
  expectMonitors("1", "0");
}

TEST_F(OwnColumns, OfRequestNames) {
  auto sample = std::make_unique<ZOVWorkloadSumSample>();
  sample->saveNumericData(zov::key::request_type, 2);
  sample->saveStringData(zov::key::application_name, "shop");
  sample->saveStringData(zov::key::request_name, "order");
  server(0).saveSample(sample.release(), SaveSampleInterval, 0);
  const zov::TableInfo& requests = tableNamed("ZOVREQUEST");
  expectRow(requests, query(requests, {}, 1).at(0), {{"c52", "shop:order"}});
}

TEST_F(OwnColumns, OfSumsDifferencesAndNames) {
  namespace key = zov::key;
  const std::string action(70, 'a'), detail(70, 'd');
  const std::vector<std::pair<int, long long>> heaps = {
      {key::heap_1_free, 10}, {key::heap_1_size, 100}, {key::heap_2_free, 20}, {key::heap_2_size, 200}};
  const auto failure = [&](long long freed, long long expansion) {
    auto numbers = heaps;
    numbers.insert(numbers.end(), {{key::bytes_freed, freed}, {key::heap_expansion, expansion}});
    return numbers;
  };
  const struct {
    const char* table;
    std::vector<std::pair<int, long long>> numbers;
    std::vector<std::pair<int, std::string>> texts;
    std::vector<std::pair<const char*, std::string>> shown;
  } cases[] = {
      {"ZOVDATAS", {}, {}, {{"tot_wait", "-1"}}},
      {"ZOVDATAS", {{key::connection_wait_time, 1}, {key::update_time, 4}}, {}, {{"tot_wait", "5"}}},
      {"ZOVJMSSUM", {}, {}, {{"tot_time", "-1"}, {"full_name", ""}}},
      {"ZOVJMSSUM",
       {{key::get_time, 1}, {key::put_time, 2}, {key::browse_time, 4}, {key::publish_time, 8}},
       {{key::queue_manager_name, "manager"}, {key::queue_name, "queue"}},
       {{"tot_time", "15"}, {"full_name", "manager:queue"}}},
      {"ZOVGCAF", {}, {}, {{"total_used", "-1"}, {"total_avai", "-1"}, {"total_free", "-1"}}},
      {"ZOVGCAF", heaps, {}, {{"total_used", "-1"}, {"total_avai", "-1"}, {"total_free", "-1"}}},
      {"ZOVGCAF", failure(7, 5), {}, {{"total_used", "263"}, {"total_avai", "30"}, {"total_free", "12"}}},
      {"ZOVGCAF", failure(7, -5), {}, {{"total_used", "263"}, {"total_avai", "25"}, {"total_free", "7"}}},
      {"ZOVGCCYC", {{key::heap_total, 100}}, {}, {{"byte_free", "-1"}, {"byte_used", "-1"}}},
      {"ZOVGCCYC",
       {{key::heap_total, 100}, {key::heap_available, 40}},
       {},
       {{"byte_free", "40"}, {"byte_used", "60"}}},
      {"ZOVREQSEL", {}, {}, {{"act_shname", ""}}},
      {"ZOVREQSEL",
       {{key::request_type, 1}},
       {{key::delay_detail_1, action}, {key::delay_detail_2, detail}},
       {{"act_shname", "..." + action.substr(0, 61) + ":" + detail.substr(0, 60) + "..."}}},
  };
  for (int processId = 1; const auto& one : cases) {
    SCOPED_TRACE(testing::Message() << one.table << " case " << processId);
    const zov::TableInfo& table = tableNamed(one.table);
    std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromType(table.sampleTypes.front()));
    sample->saveNumericData(key::process_id, processId++);
    for (const auto& [key, value] : one.numbers) sample->saveNumericData(key, value);
    for (const auto& [key, text] : one.texts) sample->saveStringData(key, text);
    server(0).saveSample(sample.release(), SaveSampleInterval, 0);
    expectRow(table, query(table, {}, 1).back(), one.shown);
    server(0).markResourceAnchorsLogicallyDeleted(ZOVSample::getDataSource(table.sampleTypes.front()));
  }
}

TEST_F(OwnColumns, OfMailQueuesAndMailboxes) {
  const zov::TableInfo& queues = tableNamed("ZOVBSMQM");
  for (const int round : {0, 1}) {
    auto sample = std::make_unique<ZOVBSQueueManagerSample>();
    for (int key = 1450; key < 1482; ++key) sample->saveNumericData(key, key == 1481 ? -1 : round * key);
    sample->saveNumericData(zov::key::mail_level, 3);
    server(0).saveSample(sample.release(), SaveSampleInterval, 0);
  }
  const auto rows = query(queues, {}, 1);
  ASSERT_EQ(rows.size(), 8u);
  expectRow(queues, rows[0],
            {{"queue", "1"}, {"ready", "1450"}, {"unproc", "1451"}, {"retry", "1452"}, {"dead", "1453"}});
  expectRow(queues, rows[7], {{"queue", "8"}, {"ready", "1478"}, {"dead", "-1"}, {"inst_level", "3"}});
  EXPECT_EQ(query(queues, {zov::hub::Filter::ofText("PARMA", "TOP;ROWS;3")}, 1).size(), 3u);

  const zov::TableInfo& boxes = tableNamed("ZOVBSMIP");
  const auto send = [&](auto sample) { server(0).saveSample(sample.release(), SaveSampleInterval, 0); };
  send(std::make_unique<ZOVBSImapSample>());
  send(std::make_unique<ZOVBSPopSample>());
  const auto protocols = [&](const char* parma) {
    std::string all;
    for (const auto& row : query(boxes, {zov::hub::Filter::ofText("PARMA", parma)}, 1))
      all += shown(boxes, row, "protocol");
    return all;
  };
  EXPECT_EQ(protocols("TOP"), "12");
  EXPECT_EQ(protocols("TOP;COLUMN;protocol"), "21") << "one order for both";
  EXPECT_EQ(protocols("TOP;COLUMN;protocol;ROWS;1"), "2");
}

TEST_F(OwnColumns, OfShortNamesAndRowNumbers) {
  const std::string start = "the data source of the shop";  // 27 bytes
  const std::vector<std::string> names = {start + ", first", start + ", second",
                                          "12345678901234567890123456\xc3\xa9 shop",
                                          "exactly as wide as its column is"};
  for (std::size_t which = 0; which < 2; ++which) {
    for (const std::string& name : names) {
      auto pool = std::make_unique<ZOVDBConnectPoolSample>();
      pool->saveStringData(zov::key::data_source_name, name);
      server(which).saveSample(pool.release(), SaveSampleInterval, 0);
      auto factory = std::make_unique<ZOVJ2CPoolSample>();
      factory->saveStringData(zov::key::connection_factory_name, name);
      server(which).saveSample(factory.release(), SaveSampleInterval, 0);
    }
  }
  const auto shortNames = [&](const char* table, const char* column, const char* longColumn) {
    std::map<std::string, std::set<std::string>> shortened;
    for (const std::string& row : query(tableNamed(table))) {
      shortened[shown(tableNamed(table), row, longColumn)].insert(shown(tableNamed(table), row, column));
    }
    return shortened;
  };
  const auto ofPools = shortNames("ZOVDBCONP", "dssh_name", "name");
  ASSERT_EQ(ofPools.size(), names.size());
  EXPECT_EQ(ofPools, shortNames("ZOVJ2C", "ftsh_name", "cfact_name"));
  std::set<std::string> all;
  for (const std::string& name : names) {
    ASSERT_EQ(ofPools.at(name).size(), 1u) << name << " has one short name on every server";
    all.insert(*ofPools.at(name).begin());
  }
  EXPECT_EQ(all.size(), names.size());
  EXPECT_EQ(*ofPools.at(names[3]).begin(), names[3]);
  EXPECT_EQ(ofPools.at(names[0]).begin()->substr(0, 29), start.substr(0, 26) + "000");
  EXPECT_EQ(ofPools.at(names[2]).begin()->substr(0, 29), names[2].substr(0, 26) + "000");

  const zov::TableInfo& factories = tableNamed("ZOVJ2C");
  for (int time = 0; time < 2; ++time) {
    int number = 0;
    for (const std::string& row : query(factories)) {
      EXPECT_EQ(shown(factories, row, "row_num"), std::to_string(++number));
    }
    EXPECT_EQ(number, 8);
  }
}

TEST_F(OwnColumns, OfCaches) {
  auto cache = std::make_unique<ZOVCacheSample>();
  server(0).saveSample(cache.release(), SaveSampleInterval, 0);
  const zov::TableInfo& caches = tableNamed("ZOVCACHE");
  expectRow(caches, query(caches, {}, 1).at(0), {{"psi_enable", "0"}});
  server(0).connectedWithResourceManager();
  expectRow(caches, query(caches, {}, 1).at(0), {{"psi_enable", "1"}});
  server(0).suspendCollectingResourceData();
  server(0).saveSample(new ZOVCacheSample, SaveSampleInterval, 0);
  expectRow(caches, query(caches, {}, 1).at(0), {{"psi_enable", "0"}});

  const zov::TableInfo& templates = tableNamed("ZOVCACHT");
  server(0).saveSample(ZOVSample::buildFromSampleString(ZOVSample::SampleTypeCacheTemplate,
                                                        "templ_name=page\npercentEntry=37\n"),
                       SaveSampleInterval, 0);
  expectRow(templates, query(templates, {}, 1).at(0), {{"rates", "37"}, {"ref_num", "1"}});
}

TEST_F(OwnColumns, OfProductEvents) {
  ZOVProductEventSample event;
  event.setMsgId("ZOVA0017");
  event.setMsgDesc("A message");
  event.setFile("agent.cpp");
  event.setFunction("main");
  event.setSeverity(2);
  event.setLine(17);
  services.productEvent = &event;
  const zov::TableInfo& events = tableNamed("ZOVPREV");
  const auto rows = query(events);
  ASSERT_EQ(rows.size(), 1u);
  expectRow(events, rows[0],
            {{"originnode", "host"},
             {"node_name", "host"},
             {"severity", "2"},
             {"msg_id", "ZOVA0017"},
             {"msg_desc", "A message"},
             {"file", "agent"},
             {"line", "17"},
             {"function", "main"}});
  expectRow(events, query(events, {zov::hub::Filter::ofText("ORIGINNODE", "agent")}).at(0),
            {{"originnode", "agent"}});
  EXPECT_EQ(zov_zovprev_agent::emitEvent(&event, nullptr), ZOV_EVENT_ERROR) << "the table is not registered";
}

TEST_F(OwnColumns, OfLogEvents) {
  ZOVLogEventSample event;
  event.setThreadId("thread");
  event.setComponent("component");
  event.setMsgId("MSG1");
  event.setMessage("A record");
  event.setProcessId("4711");
  event.setServerInstanceName("one");
  event.setSeverity(3);
  services.logEvent = &event;
  const zov::TableInfo& events = tableNamed("ZOVLOGANAL");
  const auto rows = query(events);
  ASSERT_EQ(rows.size(), 2u);
  expectRow(events, rows[1],
            {{"originnode", subnode(1)},
             {"server_nam", "bank"},
             {"node_name", "host"},
             {"threadid", "thread"},
             {"component", "component"},
             {"severity", "3"},
             {"msg_id", "MSG1"},
             {"err_msg", "A record"},
             {"job_name", ""},
             {"job_asid", ""},
             {"processid", "4711"},
             {"origin", ""},
             {"srvi_name", "one"}});
}

}  // namespace
