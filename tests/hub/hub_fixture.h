#pragma once
// A table of three columns, and a hub that serves it on a free port.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "framework/process.h"
#include "framework/table_manager.h"
#include "framework/tqbox.h"
#include "hub/core/process.h"
#include "hub/core/registry.h"
#include "hub/core/request.h"
#include "hub/core/settings.h"
#include "platform/clock.h"
#include "platform/mutex.h"
#include "platform/trace.h"
#include "support/comes_true.h"
#include "support/http_client.h"
#include "support/temporary_directory.h"
#include "tables/table.h"

struct FakeRow {
  std::int32_t number;
  char text[16];
  char origin[32];

  explicit FakeRow(std::int32_t value = 0, const std::string& words = "", const std::string& node = "")
      : number(value) {
    std::memset(text, ' ', sizeof text);
    std::memset(origin, ' ', sizeof origin);
    words.copy(text, sizeof text);
    node.copy(origin, sizeof origin);
  }
};

inline constexpr zov::Column FakeColumns[] = {
    {"number", 0, 4, ColumnInfo_Integer, zov::ColumnSource::Own, zov::NoKey, {}},
    {"text", 4, 16, ColumnInfo_Utf8Text, zov::ColumnSource::Own, zov::NoKey, {}},
    {"originnode", 20, 32, ColumnInfo_SingleByteText, zov::ColumnSource::Own, zov::NoKey, {}}};
inline constexpr zov::TableInfo FakeInfo{
    "fake", "FAKE",  sizeof(FakeRow),     10,    "",    "",     "", FakeColumns, {},
    {},     nullptr, zov::Sorting::Never, false, false, nullptr};

class FakeBox : public zov::Table {
 public:
  using Sample = std::function<void(FakeBox&)>;
  FakeBox(RequestDetail* detail, ContextInfo* context, TableManager* manager, Sample sample,
          std::atomic<int>& alive)
      : Table(detail, context, manager, FakeInfo),
        historyAtConstruction(IsHistoryRequest()),
        _sample(std::move(sample)),
        _alive(alive) {
    ++_alive;
  }
  ~FakeBox() override { --_alive; }
  void TakeSample() override {
    if (_sample) _sample(*this);
  }
  int AddData(const FakeRow& row) { return addRows(reinterpret_cast<const char*>(&row), 1); }
  /// All filters that the request gives, as " NAME type value" each.
  std::string filters() {
    std::string result;
    ResetFilterIndex();
    for (QFL1_FILTERINFO* filter = nullptr; GetFilterInfo(&filter) == 0;) {
      std::string value(static_cast<const char*>(filter->value),
                        static_cast<std::size_t>(filter->valueLength));
      if (filter->valueType == QFL1_INTEGER) {
        value = std::to_string(*static_cast<const std::int32_t*>(filter->value));
      }
      result.append(" ").append(filter->columnName) += " " + std::to_string(filter->valueType) + " " + value;
    }
    return result;
  }

  const bool historyAtConstruction;

 private:
  Sample _sample;
  std::atomic<int>& _alive;
};

class FakeTable : public zov::TableManagerBase {
 public:
  explicit FakeTable(const char* name = "FAKE") : TableManagerBase("TST", name) {}
  tqbox* CreateTqbox(RequestDetail* detail, ContextInfo* context) override {
    return new FakeBox(detail, context, this, sample, boxes);
  }
  int AddDataToEvent(const FakeRow& row) { return addRowsToEvent(reinterpret_cast<const char*>(&row), 1); }

  zov::QueryAbilities queryAbilities() const override { return abilities; }
  std::vector<zov::ColumnDescription> describeColumns() const override { return descriptions; }

  zov::QueryAbilities abilities{
      .filters = {}, .sortable = {"number"}, .limitsRows = false, .pushesEvents = true};
  std::vector<zov::ColumnDescription> descriptions{
      {"mean_time", "ms", "Mean time.", 2, zov::ColumnDescription::None::MinusOne},
      {"label", "time", "", 0, zov::ColumnDescription::None::Empty}};
  FakeBox::Sample sample;  ///< what each TakeSample does; set before the query
  std::atomic<int> boxes{0};
};

/// Runs arkmain on a thread of its own, from start to stop.
class HubTest : public testing::Test {
 protected:
  HubTest() {
    DGT1_SetSink(&HubTest::sink, this);
    unsetenv("ZOV_HUB_TOKEN");
    setenv("ZOV_HUB_ADDRESS", "127.0.0.1:0", 1);
    zov::introduceAgent({.version = "", .node = "", .directory = directory.path(), .mostNodeBytes = 32});
    TableManager::RegisterWithManager(&table);
  }
  ~HubTest() override {
    stop();
    DGT1_SetSink(nullptr, nullptr);
    zov::hub::limits() = zov::hub::Limits();
  }

  void start() {
    {
      const zov::MutexLock guard(_mutex);
      _lines.clear();
    }
    startWithoutPort();
    waitForLine("HTTP is served at");
    port = zov::hub::servedPort();
    ASSERT_NE(port, 0);
  }
  void startWithoutPort() {
    _main = std::thread([this] { result = arkmain(0, nullptr); });
  }
  void stop() {
    if (!_main.joinable()) return;
    ARQ_Shutdown(1);
    _main.join();
  }
  /// Waits, at most 30 seconds, for a trace line that holds `text`.
  bool waitForLine(const std::string& text) {
    const auto deadline = ZOVClock::steady() + std::chrono::seconds(30);
    const zov::MutexLock guard(_mutex);
    while (_lines.find(text) == std::string::npos) {
      if (!_arrived.waitUntil(_mutex, deadline)) return false;
    }
    return true;
  }
  bool hasLine(const std::string& text) {
    const zov::MutexLock guard(_mutex);
    return _lines.find(text) != std::string::npos;
  }
  std::string rows(const std::string& query = "") {
    return zovTestGet(port, "/v1/tables/FAKE/rows" + query).body;
  }

  /// The headers of an action that is let in.
  std::string actionHeaders() const {
    std::string token;
    std::ifstream(directory.file("hub.token")) >> token;
    return "Content-Type: application/json\r\nAuthorization: Bearer " + token + "\r\n";
  }
  ZOVTestAnswer act(const std::string& body) {
    return ZOVTestHttpClient(port).post("/v1/actions", body, actionHeaders());
  }

  TemporaryDirectory directory;
  FakeTable table;
  std::uint16_t port = 0;
  int result = -1;

 private:
  static void sink(const char*, int, std::string_view text, void* context) {
    auto* const self = static_cast<HubTest*>(context);
    const zov::MutexLock guard(self->_mutex);
    self->_lines.append(text).append("\n");
    self->_arrived.notifyAll();
  }
  zov::Mutex _mutex;
  zov::Condition _arrived;
  std::string _lines ZOV_GUARDED_BY(_mutex);
  std::thread _main;
};

/// Subnodes that are registered for a while.
class Subnodes {
 public:
  Subnodes(std::initializer_list<const char*> names) : _names(names) {
    for (const char* name : _names) ARQ_Subnode_Register_nAff(name, "OV", "1", 2, "", "");
    ARQ_Subnode_SendRequest();
  }
  ~Subnodes() {
    for (const char* name : _names) ARQ_Subnode_Deregister(name);
    ARQ_Subnode_SendRequest();
  }
  Subnodes(const Subnodes&) = delete;
  Subnodes& operator=(const Subnodes&) = delete;

 private:
  const std::vector<const char*> _names;
};

/// A gate that threads wait at until the test opens it.
class Gate {
 public:
  void wait() {
    ++_waiting;
    _open.wait(false);
  }
  bool hasWaited(int count) const { return _waiting >= count; }
  bool awaitWaiting(int count) {
    return comesTrue([&] { return hasWaited(count); });
  }
  void open() {
    _open = true;
    _open.notify_all();
  }

 private:
  std::atomic<int> _waiting{0};
  std::atomic<bool> _open{false};
};
