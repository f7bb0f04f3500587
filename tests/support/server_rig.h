#pragma once
// The agent around a server, for tests: a real listener on a free port, a real context on a file of its own,
// and services that record. Collectors are real connections; time is stepped.
//
//   ServerRig rig;
//   FakeCollector collector = rig.connect("shop");     // pings, and reads the answer
//   rig.step(60);                                       // a minute passes, and the servers' threads have
//   looked

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "config/agent_config_parms.h"
#include "config/server_config_parms.h"
#include "context/application_context.h"
#include "context/session_directory.h"
#include "runtime/waits.h"
#include "server/application_server.h"
#include "server/resource_manager_proxy.h"
#include "server/server_services.h"
#include "support/comes_true.h"
#include "support/diagnostic_environment.h"
#include "support/fake_collector.h"
#include "support/step_clock.h"
#include "transport/session_listener.h"

class RecordingServerServices : public ZOVServerServices {
 public:
  RecordingServerServices() { setCurrent(this); }
  ~RecordingServerServices() override { setCurrent(nullptr); }

  ZOVAppServerConfigParms* getConfigParms(const char*, const char*) override { return &serverParms; }
  ZOVAgentConfigParms* getConfigParms() override { return &agentParms; }
  RWCString getSubsystemId() override { return "host"; }
  int isSubNodeNameUnique(const char* subnode) override {
    const std::scoped_lock lock(_mutex);
    return !takenNames.contains(subnode) && (!context || context->isSubNodeNameUnique(subnode));
  }
  ZOVReturnCode registerSubnode(const char* subnode, const char* affinity) override {
    const std::scoped_lock lock(_mutex);
    registered.push_back(std::string(subnode) + " " + affinity);
    return refuseSubnodes;
  }
  ZOVReturnCode deregisterSubnode(const char*) override { return refuseSubnodes; }
  void rewriteContextInfo() override {
    if (context) context->rewriteContextInfo();
  }
  std::shared_ptr<ZOVApplicationServerBase> findServer(const RWCString& name,
                                                       const RWCString& root) override {
    return context ? context->findAppServer(name, root) : nullptr;
  }
  std::shared_ptr<ZOVResourceManagerProxy> resourceManager() override { return manager; }
  ZOVReturnCode queueSystemCommand(const zov::ServerScript& script) override {
    std::string line = script.path().str();
    for (const RWCString& argument : script.arguments) line += "|" + argument.str();
    commands.push_back(line);
    return 176;
  }

  ZOVAppServerConfigParms serverParms{"defaults"};
  ZOVAgentConfigParms agentParms;
  ZOVApplicationContext* context = nullptr;
  std::shared_ptr<ZOVResourceManagerProxy> manager;
  std::set<std::string> takenNames;
  std::vector<std::string> registered;
  std::vector<std::string> commands;
  ZOVReturnCode refuseSubnodes;

 private:
  std::mutex _mutex;
};

/// One sample as a reader saw it.
struct SeenSample {
  int type;
  std::uint32_t duration;
  std::vector<std::pair<int, long long>> numbers;  // not null
  std::vector<std::string> texts;
};

/// Reads as a table query does.
class Reader {
 public:
  ZOVReturnCode read(ZOVApplicationServerBase& server, const ZOVResourceAnchor& wanted,
                     _SaveSampleType how = SaveSampleInterval) {
    samples.clear();
    return server.returnSamples(see, reinterpret_cast<ZOVSampleCallbackParms*>(this), wanted, how);
  }
  /// Texts of the first string key that is not empty, of each sample.
  std::set<std::string> names() const {
    std::set<std::string> all;
    for (const SeenSample& sample : samples) all.insert(sample.texts.empty() ? "" : sample.texts.back());
    return all;
  }
  long long number(int key) const {
    for (const auto& [known, value] : samples.at(0).numbers) {
      if (known == key) return value;
    }
    return -1;
  }
  std::vector<SeenSample> samples;

 private:
  static unsigned int see(ZOVSampleCallbackParms* parms, const void* data, const ZOVApplicationServerBase*) {
    const auto& sample = *static_cast<const ZOVSample*>(data);
    SeenSample seen{sample.getSampleType(), sample.getDuration(), {}, {}};
    std::vector<int> keys(static_cast<std::size_t>(sample.getNumNumericKeys()));
    sample.numericKeys(keys.data());
    for (const int key : keys) seen.numbers.emplace_back(key, sample.getTotalCount(key));
    keys.resize(static_cast<std::size_t>(sample.getNumStringKeys()));
    sample.stringKeys(keys.data());
    for (const int key : keys) {
      if (!sample.getStringData(key).isNull()) seen.texts.push_back(sample.getStringData(key).str());
    }
    reinterpret_cast<Reader*>(parms)->samples.push_back(std::move(seen));
    return 0;
  }
};

/// A request (servlet or page) of the last interval.
inline WireFrame requestSample(const std::string& name, long long count, int duration = 60) {
  return wireSample(31)
      .number(21, duration)
      .number(700, 1)
      .number(703, count)
      .number(704, 10 * count)
      .number(4, 4711)
      .number(314, 1000LL * duration)
      .text(701, "app")
      .text(702, name);
}

/// A server outside of any context; its threads stop when the test lets go of it.
inline std::shared_ptr<ZOVApplicationServer> buildServer(const zov::ServerDescription& description,
                                                         ZOVReturnCode& rc) {
  auto server = ZOVApplicationServer::buildNew(description, rc);
  if (!server) return nullptr;
  ZOVApplicationServer* const plain = server.get();
  return {plain, [server = std::move(server)](ZOVApplicationServer*) { server->stopThreads(); }};
}

class ServerRig {
 public:
  ServerRig() : _directory(std::filesystem::temp_directory_path() / uniqueName()) {
    std::filesystem::create_directories(_directory);
    zovWaits().contextStartDelaySeconds = 0;
    services.serverParms.setGCCollectAction(0);
    services.agentParms.setSocketReceiveTimeout(30);
  }
  ~ServerRig() {
    stop();
    services.context = nullptr;
    std::filesystem::remove_all(_directory);
    zovWaits() = ZOVWaits{};
  }

  void start() {
    context = std::make_unique<ZOVApplicationContext>((_directory / "host_").c_str());
    services.context = context.get();
    sessions = std::make_unique<zov::ContextSessionDirectory>(*context);
    listener = std::make_unique<ZOVProfilerSocketMonitor>(std::uint16_t{0}, *sessions);
    context->startBackgroundThread();
    context->start();
    listener->startBackgroundThread();
  }
  /// In the order of the agent's end.
  void stop() {
    if (context) context->interrupt();
    if (listener) listener->shutdown();
    if (services.manager) services.manager->shutdown();
    if (context) context->shutdown();
    listener.reset();
    sessions.reset();
    services.context = nullptr;
    context.reset();
  }
  std::uint16_t port() {
    EXPECT_TRUE(comesTrue([&] { return listener->getPort() != 0; }));
    return listener->getPort();
  }
  /// Connects and sends a ping; the caller reads the answer.
  std::unique_ptr<FakeCollector> ping(const std::string& name, long long processId = 4711) {
    auto collector = std::make_unique<FakeCollector>(port());
    collector->send(wirePing(7, name, "/srv/" + name, processId));
    return collector;
  }
  /// A collector that is bound, serves, and has been polled once.
  std::unique_ptr<FakeCollector> serve(const std::string& name, std::vector<WireFrame> samples = {},
                                       long long processId = 4711) {
    auto collector = ping(name, processId);
    EXPECT_EQ(collector->receive().value_or(WireMessage("")).number(14), 2);
    collector->serve(std::move(samples));
    EXPECT_TRUE(collector->waitForRequest(2));
    server(name)->settle();
    return collector;
  }
  /// Waits until the context's file has been read.
  std::shared_ptr<ZOVApplicationServer> server(const std::string& name) {
    context->waitUntilRead();
    for (const auto& known : context->getAppServers()) {
      if (known->getName() == name.c_str()) return known;
    }
    ADD_FAILURE() << "no server " << name;
    return nullptr;
  }
  /// Time passes, and the servers' threads have done what was due.
  void step(std::int64_t seconds) {
    StepClock::step(seconds);
    for (const auto& known : context->getAppServers()) known->settle();
  }
  std::filesystem::path contextFile() const { return _directory / "host_zovapctx"; }
  std::string contextText() const {
    std::ifstream file(contextFile());
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
  }
  bool issued(const std::string& start) {
    for (const std::string& message : environment.issued()) {
      if (message.starts_with(start)) return true;
    }
    return false;
  }

  StepClock clock;
  DiagnosticEnvironment environment;
  RecordingServerServices services;
  std::unique_ptr<ZOVApplicationContext> context;
  std::unique_ptr<zov::ContextSessionDirectory> sessions;
  std::unique_ptr<ZOVProfilerSocketMonitor> listener;

 private:
  static std::string uniqueName() {
    static int count = 0;
    return "zov_server_test_" + std::to_string(::getpid()) + "_" + std::to_string(++count);
  }

  std::filesystem::path _directory;
};
