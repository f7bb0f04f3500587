#pragma once
// Tables with what is around them: real servers without threads, whose anchors hold samples that a test puts
// there; real requests; and services that ask those servers and write down what the tables wanted.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "diag/component_trace.h"
#include "hub/core/request.h"
#include "samples/sample_classes.h"
#include "server/application_server.h"
#include "support/diagnostic_environment.h"
#include "tables/families.h"
#include "tables/table_services.h"

class FakeTableServices : public zov::TableServices {
 public:
  struct Asked {
    std::string subnode;
    int type;
    bool history;
    bool held;
    bool operator==(const Asked&) const = default;
  };
  FakeTableServices() { setCurrent(this); }
  ~FakeTableServices() override { setCurrent(nullptr); }

  RWCString nodeName() override { return "host"; }
  unsigned int getSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms, const char* subnode,
                          const ZOVResourceAnchor* anchor, _SaveSampleType saveType,
                          zov::GetNewSample getNew) override {
    asked.push_back(
        {subnode, anchor->getSampleType(), saveType == SaveSampleHistorical, getNew == zov::UseHeldSample});
    for (const auto& server : servers) {
      if (server->getSubnodeName() == subnode)
        return server->returnSamples(callback, parms, *anchor, saveType);
    }
    return ZOV_NO_SUCH_SERVER;
  }
  unsigned int getLogEvents(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                            const char* subnode) override {
    for (const auto& server : servers) {
      if (server->getSubnodeName() == subnode) callback(parms, logEvent, server.get());
    }
    return 0;
  }
  void getProductEvents(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms) override {
    callback(parms, productEvent, nullptr);
  }
  void forEachServer(const std::function<void(const ZOVApplicationServerBase&)>& visit) override {
    for (const auto& server : servers) visit(*server);
  }
  void saveTraceEntry(std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry> entry) override {
    traceEntries.push_back(std::move(entry));
  }

  std::vector<std::shared_ptr<ZOVApplicationServer>> servers;
  const void* logEvent = nullptr;
  const void* productEvent = nullptr;
  std::vector<Asked> asked;
  std::vector<std::unique_ptr<ZOVAgentFrameworkComponentTraceEntry>> traceEntries;
};

using Filters = std::vector<zov::hub::Filter>;

inline const zov::TableInfo& tableNamed(std::string_view name) {
  for (const zov::TableInfo* one : zov::allTables()) {
    if (name == one->name) return *one;
  }
  throw std::runtime_error("no such table");
}
inline const zov::Column& columnNamed(const zov::TableInfo& table, std::string_view name) {
  for (const zov::Column& one : table.columns) {
    if (name == one.name) return one;
  }
  throw std::runtime_error("no such column");
}
inline std::int32_t numberAt(const std::string& row, std::size_t offset) {
  std::int32_t value;
  std::memcpy(&value, row.data() + offset, sizeof value);
  return value;
}
/// Without its padding.
inline std::string textAt(const std::string& row, std::size_t offset, std::size_t width) {
  const std::string whole = row.substr(offset, width);
  return whole.substr(0, whole.find_last_not_of(' ') + 1);
}
inline std::string textAt(const std::string& row, const zov::Column& column) {
  return textAt(row, column.offset, column.width);
}

class TableFixture : public testing::Test {
 protected:
  TableFixture() {
    for (const char* name : {"shop", "bank"}) {
      auto server = std::make_shared<ZOVApplicationServer>(
          zov::ServerDescription{.name = name, .rootDirectory = "/srv"}, false);
      server->init(ServerDisconnected);
      server->setStatus(ServerConnected);
      services.servers.push_back(server);
    }
  }

  ZOVApplicationServer& server(std::size_t which) { return *services.servers[which]; }
  std::string subnode(std::size_t which) { return server(which).getSubnodeName().str(); }

  /// The rows of a query of the first servers, or of a history query, which names its server by a filter.
  std::vector<std::string> query(const zov::TableInfo& table, Filters filters = {}, std::size_t servers = 2,
                                 bool history = false) {
    ContextInfo context;
    for (std::size_t i = 0; i < servers; ++i) context.subnodes.push_back(subnode(i));
    context.filters = std::move(filters);
    context.history = history;
    zov::hub::Request request(manager(table), std::move(context));
    request.box().TakeSample();
    std::vector<std::string> rows;
    for (std::int32_t i = 0; i < request.box()._data.count; ++i) {
      rows.emplace_back(request.box().rowAt(i), static_cast<std::size_t>(table.rowBytes));
    }
    return rows;
  }

  static TableManager& manager(const zov::TableInfo& table) {
    static zov_zovapp_manager app;
#define ZOV_TABLE(sort, stem, ...)       \
  if (&table == &zov_##stem##_info) {    \
    static zov_##stem##_manager manager; \
    return manager;                      \
  }
#include "tables/tables.def"
    return app;
  }

  DiagnosticEnvironment environment;
  FakeTableServices services;
};
