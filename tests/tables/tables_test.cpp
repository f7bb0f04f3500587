// The tables' families: columns, thresholds, events, and the texts that they make of their own. Rows from
// samples are tested end to end.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "agent/agent.h"
#include "samples/sample_classes.h"
#include "tables/sample_table.h"
#include "tables/table_inits.h"
#include "tables/workload_name.h"

namespace {

struct OneTable {
  const char* name;
  const ZOVTableInfo& info;
};

const std::vector<OneTable>& allTables() {
  static const std::vector<OneTable> tables{
#define ZOV_TABLE(stem, name, ...) {#name, zov_##stem##_table()},
#include "tables/tables.def"
  };
  return tables;
}

class PlainTable : public ZOVTable {
 public:
  explicit PlainTable(const ZOVTableInfo& info) : ZOVTable(nullptr, nullptr, nullptr, info) {}
  int InsertRow(const char* row) override { return inserted.push_back(row), refuse; }
  int CheckForException(const char* row) override { return row != dropped; }

  std::vector<const char*> inserted;
  const char* dropped = nullptr;
  int refuse = 0;
};

TEST(Tables, ColumnsLieWithinTheRowInOrderAndHaveNamesOfTheirOwn) {
  ASSERT_EQ(allTables().size(), 29u);
  for (const OneTable& table : allTables()) {
    SCOPED_TRACE(table.name);
    PlainTable request(table.info);
    std::set<std::string> names;
    ColumnInfo info;
    int end = 0;
    for (int i = 0; i < request.NumColumns(); ++i) {
      ASSERT_EQ(request.GetColumnInfo(&info, i), 0);
      EXPECT_GE(info.offset, end);
      end = info.offset + info.size;
      EXPECT_TRUE(names.insert(info.name).second) << info.name;
      EXPECT_TRUE(info.type != ColumnInfo_Integer || info.size == 4) << info.name;
    }
    EXPECT_EQ(end, table.info.facts.rowBytes);
    EXPECT_LE(static_cast<std::size_t>(end), ZOVTableWidestRow);
    for (const char* filter : table.info.filters) EXPECT_STRNE(filter, "");
  }
}

TEST(Tables, ColumnInfoRefusesWhatIsOutOfRangeAndLeavesTheEndUntouched) {
  PlainTable request(zov_zovprev_table());
  ColumnInfo info{"kept", 1, 2, 3};
  EXPECT_EQ(request.GetColumnInfo(&info, -1), 0x21060007);
  EXPECT_EQ(request.GetColumnInfo(&info, request.NumColumns() + 1), 0x21060007);
  EXPECT_EQ(request.GetColumnInfo(&info, request.NumColumns()), 0);
  EXPECT_STREQ(info.name, "kept");
}

TEST(Tables, ThresholdsCompareTheColumnThatTheyName) {
  PlainTable request(zov_zovprev_table());
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
  PlainTable request(zov_zovreqhis_table());
  const std::vector<char> rows(3 * 160);
  request.dropped = rows.data() + 160;
  EXPECT_EQ(request.addRows(rows.data(), 3), 0);
  EXPECT_EQ(request.inserted, (std::vector<const char*>{rows.data(), rows.data() + 320}));
  request.refuse = 7;
  EXPECT_EQ(request.addRows(rows.data(), 3), 7);
  EXPECT_EQ(request.inserted.size(), 3u);
}

TEST(Tables, SortableColumnsAreThoseWithAValueARateOrAPercentage) {
  std::map<std::string, ZOVKeywordTableEntry> sortable;
  for (const auto* row = zov_zovrequest_table().keywords; row->columnName != nullptr; ++row) {
    sortable[row->columnName] = *row;
  }
  EXPECT_EQ(sortable.count("req_name"), 0u);
  EXPECT_EQ(sortable.at("c8").valueType, SortByRate);
  EXPECT_EQ(sortable.at("c10").valueType, SortByPercent);
  EXPECT_EQ(sortable.at("c10").keyword, 704u);
  EXPECT_EQ(sortable.at("c7").valueType, SortByValue);
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
    const std::size_t length = zovWorkloadName(one.major, one.minor, one.type, out, one.width);
    EXPECT_EQ(std::string(out, length), one.expected);
    EXPECT_LE(length, one.width);
  }
}

TEST(SortedSample, EqualValuesKeepTheirOrderAndDescendingTurnsTheRestRound) {
  ZOVExtendedFilter filter;
  filter.sortKeyword = 705;
  for (const ZOVSortOrder order : {SortAscending, SortDescending}) {
    filter.sortOrder = order;
    RWBinaryTree tree;
    const long long values[] = {5, 9, 5, -1, 9};
    for (int i = 0; i < 5; ++i) {
      auto sample = std::make_unique<ZOVWorkloadSumSample>();
      sample->saveNumericData(705, values[i]);
      sample->saveNumericData(4, i);
      tree.insert(new ZOVSortedSample(std::move(sample), &filter, nullptr));
    }
    std::string ids;
    RWBinaryTreeIterator next(tree);
    while (auto* sorted = static_cast<ZOVSortedSample*>(next())) {
      ids += std::to_string(sorted->sample().getNumericData(4));
    }
    EXPECT_EQ(ids, order == SortAscending ? "30214" : "14023");
    tree.clearAndDestroy();
  }
}

}  // namespace
