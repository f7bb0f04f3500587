// The tables' families: columns, thresholds, events, and the texts that they make of their own. Rows from
// samples are tested end to end.

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "samples/sample_classes.h"
#include "tables/families.h"
#include "tables/metrics.h"
#include "tables/sorted_sample.h"
#include "tables/workload_name.h"

namespace {

class PlainTable : public zov::Table {
 public:
  explicit PlainTable(const zov::TableInfo& info) : Table(nullptr, nullptr, nullptr, info) {}
  int InsertRow(const char* row) override { return inserted.push_back(row), refuse; }
  int CheckForException(const char* row) override { return row != dropped; }

  std::vector<const char*> inserted;
  const char* dropped = nullptr;
  int refuse = 0;
};

TEST(Tables, ColumnInfoRefusesWhatIsOutOfRangeAndLeavesTheEndUntouched) {
  PlainTable request(zov_zovprev_info);
  ColumnInfo info{"kept", 1, 2, 3};
  EXPECT_EQ(request.GetColumnInfo(&info, -1), 0x21060007);
  EXPECT_EQ(request.GetColumnInfo(&info, request.NumColumns() + 1), 0x21060007);
  EXPECT_EQ(request.GetColumnInfo(&info, request.NumColumns()), 0);
  EXPECT_STREQ(info.name, "kept");
}

TEST(Tables, ThresholdsCompareTheColumnThatTheyName) {
  PlainTable request(zov_zovprev_info);
  std::string row(584, ' ');
  row.replace(276, 8, "ZOVA0001");
  const std::int32_t severity = -2;
  row.replace(272, 4, reinterpret_cast<const char*>(&severity), 4);
  const auto holds = [&](const char* column, _IntfOper op, const char* value) {
    return request.ColumnIsException(row.data(), column, op, value) != 0;
  };
  EXPECT_TRUE(holds("SEVERITY", _IntfOper::Less, "0"));
  EXPECT_FALSE(holds("SEVERITY", _IntfOper::Greater, "0"));
  EXPECT_TRUE(holds("MSG_ID", _IntfOper::Equal, "ZOVA0001"));
  EXPECT_FALSE(holds("msg_id", _IntfOper::Equal, "ZOVA0001")) << "names are in upper case";
  EXPECT_FALSE(holds("SEVERITYX", _IntfOper::Less, "0"));
  EXPECT_FALSE(holds("NONE", _IntfOper::Equal, ""));
}

TEST(Tables, AddDataDropsRowsBelowTheThresholdsAndStopsAtTheFirstRefusal) {
  PlainTable request(zov_zovreqhis_info);
  const std::vector<char> rows(3 * 160);
  request.dropped = rows.data() + 160;
  EXPECT_EQ(request.addRows(rows.data(), 3), 0);
  EXPECT_EQ(request.inserted, (std::vector<const char*>{rows.data(), rows.data() + 320}));
  request.refuse = 7;
  EXPECT_EQ(request.addRows(rows.data(), 3), 7);
  EXPECT_EQ(request.inserted.size(), 3u);
}

TEST(Tables, SortableColumnsAreThoseWithAValueARateOrAPercentage) {
  std::map<std::string, zov::KeywordTableEntry> sortable;
  for (const auto* row = zov_zovrequest_info.keywords; row->columnName != nullptr; ++row) {
    sortable[row->columnName] = *row;
  }
  EXPECT_EQ(sortable.count("req_name"), 0u);
  EXPECT_EQ(sortable.at("c8").valueType, zov::SortByRate);
  EXPECT_EQ(sortable.at("c10").valueType, zov::SortByPercent);
  EXPECT_EQ(sortable.at("c10").keyword, static_cast<unsigned int>(zov::key::request_time));
  EXPECT_EQ(sortable.at("c7").valueType, zov::SortByValue);
  for (const zov::TableInfo* table : zov::allTables()) {
    for (const auto* row = table->keywords; row->columnName != nullptr; ++row) {
      const std::string name = row->columnName;
      EXPECT_FALSE(name == "iltype" || name == "inst_level" || name.ends_with("_il")) << table->name << name;
    }
  }
}

TEST(Tables, ReadableNamesTellWhatAColumnShows) {
  std::map<std::string, std::string> readable;  // of ZOVREQUEST and ZOVAPSRV
  for (const zov::TableInfo* table : zov::allTables()) {
    const auto described = zov::describeColumns(*table);
    std::map<std::string, std::string> columns;  // of both kinds of names
    for (std::size_t i = 0; i < described.size(); ++i) {
      const std::string name = table->columns[i].name;
      EXPECT_TRUE(columns.emplace(described[i].readable, name).second)
          << table->name << described[i].readable;
      EXPECT_EQ(described[i].readable.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"),
                std::string::npos);
      if (table == &zov_zovrequest_info || table == &zov_zovapsrv_info)
        readable[name] = described[i].readable;
    }
    for (const zov::Column& column : table->columns) {
      const auto same = columns.find(column.name);
      EXPECT_TRUE(same == columns.end() || same->second == column.name)
          << table->name << ": " << column.name << " is another column's readable name";
    }
  }
  const std::map<std::string, std::string> expected = {
      {"c7", "request_count"},      {"c8", "request_count_per_second"},
      {"c10", "request_time_mean"}, {"c26", "delay_5_time_percent"},
      {"originnode", "node"},       {"as_cpup", "cpu_percent"}};
  for (const auto& [name, shown] : expected) EXPECT_EQ(readable[name], shown);
}

TEST(Tables, MetricsAreNamedOnceAndEndWithTheirUnit) {
  std::set<std::string> names;
  for (const std::string& group : zov::TableMetrics::instance().groups()) {
    const zov::MetricGroup metrics = zov::TableMetrics::instance().collect(group, 0);
    EXPECT_FALSE(metrics.families.empty()) << group;
    EXPECT_EQ(std::ranges::count(metrics.labelNames, "process_id"), 0) << group;
    for (const zov::MetricFamily& family : metrics.families) {
      EXPECT_TRUE(names.insert(family.name).second) << family.name;
      EXPECT_TRUE(family.name.starts_with("zov_") && family.name.ends_with(family.unit)) << family.name;
      for (const char* reserved : {"_total", "_count", "_sum", "_info", "_bucket"}) {
        EXPECT_FALSE(family.name.ends_with(reserved)) << family.name;
      }
      EXPECT_FALSE(family.help.empty()) << family.name;
    }
  }
  for (const char* name : {"zov_request", "zov_request_time_seconds", "zov_server_up", "zov_gc_time_seconds",
                           "zov_server_used_memory_bytes", "zov_thread_pool_maxed_ratio"}) {
    EXPECT_TRUE(names.contains(name)) << name;
  }
}

TEST(WorkloadName, SharesTheRoomBetweenBothNames) {
  const struct {
    const char* major;
    const char* minor;
    int type;
    std::size_t width;
    const char* expected;
  } cases[] = {
      {"shop", "order", 1, 20, "shop"},
      {"a-long-application", "x", 1, 10, "...ication"},
      {"shop", "order", 2, 20, "shop:order"},
      {"shop", "order", 2, 10, "shop:order"},
      {"application", "request", 2, 14, "...tion:req..."},
      {"application", "ab", 2, 13, "...ication:ab"},
      {"ab", "a-long-request", 2, 13, "ab:a-long-..."},
      {"", "", 2, 4, ":"},
      {"\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9", "", 1, 6, "...\xc3\xa9"},
      {"abc", "def", 2, 2, "c:"},
      {"abc", "def", 2, 0, ""},
  };
  for (const auto& one : cases) {
    char out[32];
    const std::size_t length = zov::writeWorkloadName(one.major, one.minor, one.type, out, one.width);
    EXPECT_EQ(std::string(out, length), one.expected);
    EXPECT_LE(length, one.width);
  }
}

TEST(SortedSample, EqualValuesKeepTheirOrderAndDescendingTurnsTheRestRound) {
  zov::ExtendedFilter filter;
  filter.sortKeyword = zov::key::longest_request_time;
  for (const zov::SortOrder order : {zov::SortAscending, zov::SortDescending}) {
    filter.sortOrder = order;
    RWBinaryTree tree;
    const long long values[] = {5, 9, 5, -1, 9};
    for (int i = 0; i < 5; ++i) {
      auto sample = std::make_unique<ZOVWorkloadSumSample>();
      sample->saveNumericData(zov::key::longest_request_time, values[i]);
      sample->saveNumericData(zov::key::process_id, i);
      tree.insert(new zov::SortedSample(std::move(sample), &filter, nullptr));
    }
    std::string ids;
    RWBinaryTreeIterator next(tree);
    while (auto* sorted = static_cast<zov::SortedSample*>(next())) {
      ids += std::to_string(sorted->sample().getNumericData(zov::key::process_id));
    }
    EXPECT_EQ(ids, order == zov::SortAscending ? "30214" : "14023");
    tree.clearAndDestroy();
  }
}

}  // namespace
