#pragma once
// An agent with a server, and answers of its hub, for benchmarks.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <variant>

#include "agent/agent.h"
#include "hub/api/answer.h"
#include "runtime/lock.h"
#include "runtime/waits.h"
#include "samples/sample_classes.h"
#include "server/application_server.h"

/// An agent with one server, that is collected in the background. Made once; never taken down.
class Bench {
 public:
  static Bench& instance() {
    static Bench* bench = new Bench;
    return *bench;
  }

  /// Saves a sample of each of so many requests.
  void report(int anchors) {
    for (int i = 0; i < anchors; ++i) {
      auto* sample = new ZOVWorkloadSumSample;
      const std::string name = "request-" + std::to_string(i);
      sample->saveStringData(701, "shop");
      sample->saveStringData(702, name);
      sample->saveNumericData(4, 4711);
      sample->saveNumericData(700, 2);
      sample->saveNumericData(20, 1'700'000'000);
      sample->saveNumericData(21, 60);
      for (int key = 703; key <= 731; ++key) sample->saveNumericData(key, key + i % 10);
      _server->saveSample(sample, SaveSampleInterval, 0);
    }
  }
  ZOVApplicationServer& server() { return *_server; }
  std::string subnode() const { return _server->getSubnodeName().str(); }

 private:
  Bench() {
    const std::string folder =
        std::filesystem::temp_directory_path() / ("zov_row_bench" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    setenv("ZOV_CONFIG_DIR", folder.c_str(), 1);
    setenv("ZOV_LOCAL_ADDRESS", "127.0.0.1", 1);
    setenv("ZOV_AGENT_COMPONENT_TRACE", "NO", 1);
    zovWaits().contextStartDelaySeconds = 0;
    ZOVLock::init();
    auto* agent = new ZOVAgent(nullptr);
    ZOVAgent::LoadAgents();
    agent->applicationContext()->start();
    ZOVReturnCode rc;
    _server = ZOVApplicationServer::buildNew(
        {.name = "bench", .rootDirectory = "/srv/bench", .status = ServerConnected}, rc);
    agent->applicationContext()->defineNewAppServer(_server, false);
    _server->startProfilerMonitorThread();
    std::filesystem::remove_all(folder);
  }

  std::shared_ptr<ZOVApplicationServer> _server;
};

/// Makes all of an answer on this thread, takes it, and gives its bytes.
inline std::size_t takeAnswer(const zov::hub::Reply& reply) {
  const auto& production = std::get<std::shared_ptr<zov::hub::Production>>(reply);
  for (const auto& part : production->parts()) part.run();
  char buffer[16384];
  std::size_t bytes = 0;
  for (std::size_t length = 0;
       production->body().read(buffer, sizeof buffer, length) == zov::hub::Body::Reading::Some;) {
    bytes += length;
  }
  return bytes;
}
