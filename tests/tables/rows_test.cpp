// From samples to rows: every column of every table against columns.def, every filter, sorts and limits.

#include <algorithm>
#include <cmath>
#include <map>

#include "table_fixture.h"

namespace {

constexpr long long JavaTimeOfSample = 1'700'000'000'000;

/// One line of columns.def.
struct ExpectedColumn {
  std::string table, name;
  std::size_t offset, width;
  std::string kind, source;
  int key;
};

const std::vector<ExpectedColumn>& expectedColumns() {
  static const std::vector<ExpectedColumn> columns{
#define COLUMN(table, name, offset, width, kind, source, key) \
  {#table, #name, offset, width, #kind, #source, key},
#include "columns.def"
  };
  return columns;
}

/// A sample in which each key has a value of its own, and another one in each server. In the second round
/// the counts have grown by amounts that differ by key and server.
std::unique_ptr<ZOVSample> makeSample(ZOVSample::_SampleType type, int server, int round) {
  std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromType(type));
  const zov::SampleClass& known = sample->sampleClass();
  sample->saveNumericData(zov::key::sample_time, 1'700'000'000 + 60 * round + 7200 * server);
  sample->saveNumericData(zov::key::duration, 60);
  for (std::size_t i = 0; i < known.numericKeys.size(); ++i) {
    const int key = known.numericKeys[i];
    const long long own = 10 * static_cast<long long>(i + 1) + server;
    const zov::KeyInfo& info = zov::keyInfo(key);
    switch (known.rows[i].kind) {
      case KeyKindStatInfo:
      case KeyKindPerfLoad:
        sample->saveStatInfoData(key, 100.0 + static_cast<double>(own * 7 * round), 3.0 + 3.0 * round);
        break;
      case KeyKindCounter:
      case KeyKindCounterFromZero:
      case KeyKindPercent:
        sample->saveNumericData(key, sample->isIntervalSample() ? own * 300 : 5000 + own * 300 * round);
        break;
      default:
        sample->saveNumericData(key, info.unit == zov::Unit::Time ? JavaTimeOfSample + 1000 * own : own);
    }
  }
  for (const zov::StringKey& string : known.strings) {
    sample->saveStringData(string.key, "t" + std::to_string(string.key) + "-" + std::to_string(server));
  }
  return sample;
}

class Rows : public TableFixture {
 protected:
  Rows() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }
  /// Two collections of each type that the table shows, in both servers.
  void send(const zov::TableInfo& table) {
    for (int which = 0; which < 2; ++which) {
      for (const ZOVSample::_SampleType type : table.sampleTypes) {
        for (int round = 0; round < 2; ++round) {
          server(static_cast<std::size_t>(which))
              .saveSample(makeSample(type, which, round).release(), SaveSampleInterval, 0);
        }
      }
    }
  }
  /// Copies of the samples that the table's anchors select.
  std::vector<std::unique_ptr<ZOVSample>> samplesOf(const zov::TableInfo& table, std::size_t which) {
    std::vector<std::unique_ptr<ZOVSample>> samples;
    const auto take = [](ZOVSampleCallbackParms* parms, const void* sample, const ZOVApplicationServerBase*) {
      reinterpret_cast<std::vector<std::unique_ptr<ZOVSample>>*>(parms)->emplace_back(
          static_cast<const ZOVSample*>(sample)->clone());
      return 0u;
    };
    for (const auto& anchor : table.makeAnchors(zov::FilterValues(table.filters))) {
      server(which).returnSamples(take, reinterpret_cast<ZOVSampleCallbackParms*>(&samples), *anchor,
                                  SaveSampleInterval);
    }
    return samples;
  }
  void expectColumn(const std::string& row, const ExpectedColumn& column, const ZOVSample& sample,
                    std::size_t which);
};

/// What the key is read as, and what the row says, side by side.
void Rows::expectColumn(const std::string& row, const ExpectedColumn& column, const ZOVSample& sample,
                        std::size_t which) {
  const std::map<std::string, long long> numbers = {{"value", sample.getNumericData(column.key)},
                                                    {"rate", sample.getRate(column.key)},
                                                    {"percent", sample.getPercent(column.key)},
                                                    {"duration", sample.getDuration()},
                                                    {"captured", server(which).getRequestCapturePercent()}};
  if (const auto found = numbers.find(column.source); found != numbers.end()) {
    EXPECT_EQ(numberAt(row, column.offset), found->second);
    return;
  }
  const long long value = sample.getNumericData(column.key);
  char time[17] = {};
  ZOVTime(sample.getSampleTime()).getCTTime(time, sizeof time);
  char javaTime[17] = {};
  ZOVTime(static_cast<std::uint32_t>(value / 1000)).getCTTime(javaTime, sizeof javaTime);
  const std::map<std::string, std::string> texts = {{"subnode", subnode(which)},
                                                    {"server", server(which).getName().str()},
                                                    {"host", "host"},
                                                    {"string", sample.getStringData(column.key).str()},
                                                    {"time", time},
                                                    {"javatime", javaTime},
                                                    {"digits", std::to_string(value)}};
  if (const auto found = texts.find(column.source); found != texts.end()) {
    EXPECT_EQ(textAt(row, column.offset, column.width), found->second.substr(0, column.width));
  } else if (column.source == "empty") {
    EXPECT_EQ(row.substr(column.offset, column.width), std::string(column.width, '\0'));
  } else {
    EXPECT_EQ(column.source, "own");
  }
}

/// Samples can have values of their own for the tables that no sample fills.
bool isOfEvents(const zov::TableInfo& table) {
  if (table.sampleTypes.empty()) return true;
  const std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromType(table.sampleTypes.front()));
  return sample == nullptr;
}

TEST_F(Rows, EveryColumnIsWhatTheListOfColumnsSays) {
  for (const zov::TableInfo* info : zov::allTables()) {
    SCOPED_TRACE(info->name);
    std::vector<ExpectedColumn> columns;
    std::ranges::copy_if(expectedColumns(), std::back_inserter(columns),
                         [&](const ExpectedColumn& column) { return column.table == info->name; });
    ASSERT_EQ(columns.size(), info->columns.size());
    for (std::size_t i = 0; i < columns.size(); ++i) {
      SCOPED_TRACE(columns[i].name);
      const zov::Column& known = info->columns[i];
      EXPECT_EQ(known.name, columns[i].name);
      EXPECT_EQ(known.offset, columns[i].offset);
      EXPECT_EQ(known.width, columns[i].width);
      const std::map<std::string, int> kinds = {{"int", 3}, {"text", 9}, {"utf8", 12}};
      EXPECT_EQ(known.type, kinds.at(columns[i].kind));
    }
    if (isOfEvents(*info)) continue;
    send(*info);
    const std::vector<std::string> rows = query(*info);
    std::size_t next = 0;
    for (std::size_t which = 0; which < 2; ++which) {
      const auto samples = samplesOf(*info, which);
      EXPECT_FALSE(samples.empty());
      for (const auto& sample : samples) {
        ASSERT_LT(next, rows.size());
        const std::string& row = rows[next];
        next += std::string_view("ZOVBSMQM") == info->name ? 8 : 1;  // a row for each of its queues
        for (const ExpectedColumn& column : columns) {
          SCOPED_TRACE(column.name);
          expectColumn(row, column, *sample, which);
        }
      }
    }
    EXPECT_EQ(next, rows.size());
  }
}

zov::hub::Filter filterOf(const zov::Filter& filter, const std::string& text) {
  if (filter.isNumber) return zov::hub::Filter::ofNumber(filter.column, std::stoi(text));
  return zov::hub::Filter::ofText(filter.column, text);
}

/// Empty without a row.
std::string firstOf(const std::vector<std::string>& rows) {
  return rows.empty() ? std::string() : rows.front();
}

/// What the samples of a server have where the table filters by this column.
std::string valueOf(const zov::Filter& filter, const zov::TableInfo& table, const std::string& row,
                    const ZOVSample& sample) {
  for (const zov::Column& column : table.columns) {
    if (!RWCString(filter.column).equals(column.name, RWCString::ignoreCase)) continue;
    if (!filter.isNumber) return textAt(row, column);
    return std::to_string(numberAt(row, column.offset));
  }
  // The table does not show it.
  if (filter.isNumber) return std::to_string(sample.getNumericData(zov::key::summary));
  return sample.getStringData(zov::key::container_name).str();
}

TEST_F(Rows, EveryFilterSelectsWhatHasItsValue) {
  for (const zov::TableInfo* info : zov::allTables()) {
    if (isOfEvents(*info)) continue;
    SCOPED_TRACE(info->name);
    send(*info);
    const std::string row = query(*info, {}, 1).at(0);
    const auto sample = std::move(samplesOf(*info, 0).at(0));
    Filters all;
    for (const zov::Filter& filter : info->filters) {
      SCOPED_TRACE(filter.column);
      const std::string column = filter.column;
      if (column == "ORIGINNODE" || column == "SERVER_NAM") continue;
      const std::string value = valueOf(filter, *info, row, *sample);
      all.push_back(filterOf(filter, value));
      EXPECT_EQ(firstOf(query(*info, {all.back()})), row) << value;
      const std::string other = filter.isNumber ? std::to_string(std::stoi(value) + 5) : value + "x";
      // Anchors of workload data are not told apart by their process.
      const bool selects = column != "PID" || sample->getDataSource() != ZOVSample::DataSourceWorkload;
      EXPECT_EQ(query(*info, {filterOf(filter, other)}).size(), selects ? 0u : 2u) << other;
    }
    EXPECT_EQ(firstOf(query(*info, all)), row);
  }
}

TEST_F(Rows, AreAskedOfTheNodesOfTheQueryAndOfHistoryOnce) {
  const zov::TableInfo& mail = tableNamed("ZOVBSMIP");
  query(mail, {}, 0);
  EXPECT_EQ(services.asked, std::vector<FakeTableServices::Asked>{});
  query(mail, {zov::hub::Filter::ofText("ORIGINNODE", "elsewhere")});
  EXPECT_EQ(services.asked, (std::vector<FakeTableServices::Asked>{{subnode(0), 78, false, false},
                                                                   {subnode(0), 79, false, false},
                                                                   {subnode(1), 78, false, false},
                                                                   {subnode(1), 79, false, false}}));
  services.asked.clear();
  query(tableNamed("ZOVGCACT"),
        {zov::hub::Filter::ofText("ORIGINNODE", "elsewhere"),
         zov::hub::Filter::ofText("PARMA", "TOP;NEW_SAMP;1")},
        2, true);
  EXPECT_EQ(services.asked, (std::vector<FakeTableServices::Asked>{{"elsewhere", 14, true, true}}));
  EXPECT_EQ(services.traceEntries.size(), 3u);
}

TEST_F(Rows, AreSortedAndLimited) {
  const auto send = [&](auto sample, int name, int nameKey, int key, long long value) {
    sample->saveStringData(nameKey, "n" + std::to_string(name));
    sample->saveNumericData(key, value);
    server(0).saveSample(sample.release(), SaveSampleInterval, 0);
  };
  const long long values[] = {5, 9, 1};
  for (int i = 0; i < 3; ++i) {
    send(std::make_unique<ZOVWorkloadSumSample>(), i, zov::key::request_name, zov::key::longest_request_time,
         values[i]);
    send(std::make_unique<ZOVContainerSample>(), i, zov::key::container_name, zov::key::summary, values[i]);
  }
  const struct {
    const char* table;
    const char* name;
    const char* parma;
    bool sorted;
    const char* names;  // of all rows, or of sorted ones in order
  } cases[] = {
      {"ZOVREQUEST", "req_name", "TOP;COLUMN;c11", true, "n1n0n2"},
      {"ZOVREQUEST", "req_name", "TOP;COLUMN;C11;ORDER;asc;ROWS;2", true, "n2n0"},
      {"ZOVREQUEST", "req_name", "TOP;COLUMN;c52;ROWS;2", false, ""},
      {"ZOVREQUEST", "req_name", "BOTTOM;ROWS;1", false, ""},
      // This table sorts only with a row limit.
      {"ZOVCONTNR", "cont_name", "TOP;COLUMN;summary", false, ""},
      {"ZOVCONTNR", "cont_name", "TOP;COLUMN;summary;ROWS;3", true, "n1n0n2"},
      {"ZOVCONTNR", "cont_name", "TOP;COLUMN;cont_il", false, ""},
      {"ZOVREQHIS", "originnode", "TOP;COLUMN;avg_time", false, ""},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.parma);
    const zov::TableInfo& table = tableNamed(one.table);
    const zov::Column& name =
        columnNamed(table, one.name == std::string("req_name") ? "req_detail" : one.name);
    std::string inOrder;
    const auto plain = query(table);
    const auto rows = query(table, {zov::hub::Filter::ofText("PARMA", one.parma)});
    for (const std::string& row : rows) inOrder += textAt(row, name);
    if (one.sorted) {
      EXPECT_EQ(inOrder, one.names);
    } else {
      EXPECT_TRUE(std::equal(rows.begin(), rows.end(), plain.begin()));
    }
  }
}

TEST_F(Rows, ASubnodeWithoutAnySaysWhy) {
  auto sample = std::make_unique<ZOVWorkloadSumSample>();
  sample->saveStringData(zov::key::request_name, "order");
  server(0).saveSample(sample.release(), SaveSampleInterval, 0);
  server(1).setStatus(ServerDisconnected);
  const auto reports = [&](const char* table, bool history, std::vector<std::string> subnodes,
                           std::vector<zov::hub::Threshold> thresholds = {}) {
    ContextInfo context;
    context.nodes = std::make_shared<zov::hub::NodeReports>();
    context.subnodes = std::move(subnodes);
    context.history = history;
    context.thresholds = std::move(thresholds);
    if (history) context.filters.push_back(zov::hub::Filter::ofText("ORIGINNODE", context.subnodes.front()));
    zov::hub::Request request(manager(tableNamed(table)), context);
    request.box().TakeSample();
    std::string result;
    for (const auto& report : context.nodes->all()) {
      result += report.name + " " + report.status + ": " + report.reason + "\n";
    }
    return result;
  };
  EXPECT_EQ(reports("ZOVREQUEST", false, {subnode(0), subnode(1), "none"}),
            subnode(1) + " disconnected: The requested application server is not active\n" +
                "none unknown_node: Unable to locate the application server\n");
  EXPECT_EQ(reports("ZOVREQUEST", false, {subnode(0)}, {{"REQ_TYPE", _IntfOper::Equal, "99"}}),
            subnode(0) + " no_data: No row, or none that passes the filters\n");
  EXPECT_EQ(reports("ZOVDATAS", false, {subnode(0)}),
            subnode(0) + " no_data: No row, or none that passes the filters\n");
  EXPECT_EQ(reports("ZOVCONTNR", true, {subnode(0)}),
            subnode(0) + " no_data: Historical Data Not Collected for this sample type\n");
  EXPECT_EQ(reports("ZOVAPSRV", false, {subnode(1)}), "") << "a row is there for a server that is not";
  EXPECT_EQ(reports("ZOVLOGANAL", false, {"none"}),
            "none no_data: No row, or none that passes the filters\n");
}

TEST_F(Rows, ColumnsSayWhatTheirMeaningSays) {
  struct Sent {
    int key;
    long long value;
  };
  const struct {
    const char* table;
    std::vector<Sent> sent;  // in the first type of the table
    const char* column;
    double shown;
    zov::Unit unit;
    zov::ColumnForm form;
  } cases[] = {
      {"ZOVREQUEST",
       {{zov::key::request_count, 30}},
       "c8",
       0.5,
       zov::Unit::Count,
       zov::ColumnForm::PerSecond},
      {"ZOVREQUEST",
       {{zov::key::request_count, 4}, {zov::key::request_time, 600}},
       "c10",
       150,
       zov::Unit::Milliseconds,
       zov::ColumnForm::Mean},
      {"ZOVREQUEST",
       {{zov::key::request_time, 600}, {zov::key::delay_5_time, 75}},
       "c26",
       12.5,
       zov::Unit::Percent,
       zov::ColumnForm::Share},
      {"ZOVREQSEL",
       {{zov::key::delay_count, 4}, {zov::key::delay_time, 10}},
       "avg_time",
       2.5,
       zov::Unit::Milliseconds,
       zov::ColumnForm::Mean},
      {"ZOVGCACT",
       {{zov::key::interval_milliseconds, 60'000}, {zov::key::gc_rate, 120}},
       "gc_rate",
       2,
       zov::Unit::Count,
       zov::ColumnForm::PerSecond},
      {"ZOVGCACT",
       {{zov::key::interval_milliseconds, 60'000}, {zov::key::gc_time, 3'000}},
       "real_tpct",
       5,
       zov::Unit::Percent,
       zov::ColumnForm::Share},
      {"ZOVREQUEST",
       {{zov::key::longest_request_time, 75}},
       "c11",
       75,
       zov::Unit::Milliseconds,
       zov::ColumnForm::Plain},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(std::string(one.table) + " " + one.column);
    const zov::TableInfo& table = tableNamed(one.table);
    std::unique_ptr<ZOVSample> sample(ZOVSample::buildFromType(table.sampleTypes.front()));
    sample->saveNumericData(zov::key::duration, 60);
    for (const Sent& sent : one.sent) sample->saveNumericData(sent.key, sent.value);
    server(0).saveSample(sample.release(), SaveSampleInterval, 0);
    const zov::Column& column = columnNamed(table, one.column);
    const zov::ColumnMeaning meaning = zov::columnMeaning(table, column);
    const auto rows = query(table, {}, 1);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_DOUBLE_EQ(numberAt(rows[0], column.offset) / std::pow(10, meaning.decimals), one.shown);
    EXPECT_EQ(meaning.unit, one.unit);
    EXPECT_EQ(meaning.form, one.form);
    EXPECT_EQ(meaning.null, zov::NullValue::MinusOne);
  }
}

}  // namespace
