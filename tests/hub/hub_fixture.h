#pragma once
// A table of three columns, and a hub that serves it on a free port.

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
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

/// The road of a generated table class: rows leave through AddData.
class FakeBox : public tqbox {
 public:
  using Sample = std::function<void(FakeBox&)>;
  FakeBox(RequestDetail* detail, ContextInfo* context, TableManager* manager, Sample sample,
          std::atomic<int>& alive)
      : tqbox(detail, context, manager),
        historyAtConstruction(IsHistoryRequest()),
        _sample(std::move(sample)),
        _alive(alive) {
    _rowSize = sizeof(FakeRow);
    _data.allocSize = 10;
    ++_alive;
  }
  ~FakeBox() override { --_alive; }
  void TakeSample() override {
    if (_sample) _sample(*this);
  }
  int NumColumns() override { return 3; }
  int GetColumnInfo(ColumnInfo* info, int index) override {
    static constexpr ColumnInfo columns[] = {{"number", 0, 4, ColumnInfo_Integer},
                                             {"text", 4, 16, ColumnInfo_Utf8Text},
                                             {"originnode", 20, 32, ColumnInfo_SingleByteText}};
    if (index < 0 || index > 3) return 1;
    if (index < 3) *info = columns[index];
    return 0;
  }
  int ColumnIsException(const char* row, const char* column, _IntfOper op, const char* value) override {
    FakeRow fake;
    std::memcpy(&fake, row, sizeof fake);
    if (std::strcmp(column, "NUMBER") == 0) return IsException(op, fake.number, value);
    if (std::strcmp(column, "TEXT") == 0) return IsException(op, fake.text, value, sizeof fake.text);
    return 0;
  }
  int AddData(const FakeRow& fake) {
    const char* const row = reinterpret_cast<const char*>(&fake);
    return CheckForException(row) != 0 ? InsertRow(row) : 0;
  }
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

class FakeTable : public TableManager {
 public:
  explicit FakeTable(const char* name = "FAKE") : TableManager("TST", name) {}
  tqbox* CreateTqbox(RequestDetail* detail, ContextInfo* context) override {
    return new FakeBox(detail, context, this, sample, boxes);
  }
  int AddDataToEvent(const FakeRow& row) {
    int result = 0;
    OSL1_GetLock(&lock);
    TqboxListIter iterator(&openRequests);
    while (tqbox* const box = iterator.Next()) {
      const std::uint32_t id = box->handle.id;
      box->UseHandle(id);
      static_cast<FakeBox*>(box)->AddData(row);
      if (const int code = box->Dispatch()) result = code;
      box->_data.count = 0;
      RCL1_Drop(id);
    }
    OSL1_ReleaseLock(&lock);
    return result;
  }

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
    TableManager::RegisterWithManager(&table);
  }
  ~HubTest() override {
    stop();
    DGT1_SetSink(nullptr, nullptr);
    zov::hub::limits() = zov::hub::Limits();
  }

  void start() {
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
  std::string rows(const std::string& query = "") {
    return zovTestGet(port, "/v1/tables/FAKE/rows" + query).body;
  }

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

/// A gate that threads wait at until the test opens it.
class Gate {
 public:
  void wait() {
    ++_waiting;
    _open.wait(false);
  }
  bool awaitWaiting(int count) {
    return comesTrue([&] { return _waiting >= count; });
  }
  void open() {
    _open = true;
    _open.notify_all();
  }

 private:
  std::atomic<int> _waiting{0};
  std::atomic<bool> _open{false};
};
