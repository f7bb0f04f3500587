// Anchor to row: a query of ZOVREQUEST over the anchors of one server, first up to the framework's rows, then
// up to JSON. The peer makes a protobuf message of the same content for each sample, and serialises it.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "agent/agent.h"
#include "hub/api/rows.h"
#include "hub/core/registry.h"
#include "hub/core/request.h"
#include "runtime/lock.h"
#include "runtime/waits.h"
#include "samples/sample_classes.h"
#include "server/application_server.h"
#include "tables/table_inits.h"
#ifdef ZOV_BENCH_PROTOBUF
#include "samples.pb.h"
#endif

namespace {

/// An agent with one server, whose requests are `anchors` many. Made once; never taken down.
class Bench {
 public:
  static Bench& instance() {
    static Bench* bench = new Bench;
    return *bench;
  }

  void resize(int anchors) {
    for (; _anchors < anchors; ++_anchors) {
      auto* sample = new ZOVWorkloadSumSample;
      const std::string name = "request-" + std::to_string(_anchors);
      sample->saveStringData(701, "shop");
      sample->saveStringData(702, name);
      sample->saveNumericData(4, 4711);
      sample->saveNumericData(700, 2);
      sample->saveNumericData(20, 1'700'000'000);
      sample->saveNumericData(21, 60);
      for (int key = 703; key <= 731; ++key) sample->saveNumericData(key, key + _anchors % 10);
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
    std::filesystem::remove_all(folder);
  }

  std::shared_ptr<ZOVApplicationServer> _server;
  int _anchors = 0;
};

void AnchorToRow(benchmark::State& state) {
  Bench& bench = Bench::instance();
  bench.resize(static_cast<int>(state.range(0)));
  const auto table = zov::hub::Registry::instance().table("ZOVREQUEST");
  long rows = 0;
  for (auto _ : state) {
    ContextInfo context;
    context.subnodes = {bench.subnode()};
    zov::hub::Request request(*table->manager, std::move(context));
    request.box().TakeSample();
    rows += request.box()._data.count;
  }
  if (rows == 0) state.SkipWithError("no rows");
  state.SetItemsProcessed(rows);
}

void AnchorToJson(benchmark::State& state) {
  Bench& bench = Bench::instance();
  bench.resize(static_cast<int>(state.range(0)));
  const std::atomic<bool> givenUp{false};
  const auto query =
      std::get<zov::hub::Work>(zov::hub::queryRows({"ZOVREQUEST", {{"node", bench.subnode()}}, ""}));
  std::size_t bytes = 0;
  for (auto _ : state) bytes += query(givenUp).body.size();
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

#ifdef ZOV_BENCH_PROTOBUF
/// The numbers and texts that the row shows, put into a message and serialised.
void SampleToProtobuf(benchmark::State& state) {
  zovbench::WorkloadSum message;
  std::string out;
  const std::string name = "request-4711";
  long count = 0;
  for (auto _ : state) {
    message.Clear();
    message.set_sample_time(1'700'000'000);
    message.set_duration(60);
    message.set_profiler_id(4711);
    message.set_type(2);
    message.set_requests(count);
    message.set_response_time(count);
    message.set_longest(count);
    message.set_delay_714(count);
    message.set_delay_715(count);
    message.set_delay_716(count);
    message.set_delay_717(count);
    message.set_delay_718(count);
    message.set_delay_719(count);
    message.set_delay_720(count);
    message.set_delay_721(count);
    message.set_delay_722(count);
    message.set_delay_723(count);
    message.set_delay_731(count);
    message.set_delay_738(count);
    message.set_delay_739(count);
    message.set_application_name("shop");
    message.set_request_name(name);
    out.clear();
    message.AppendToString(&out);
    benchmark::DoNotOptimize(out.data());
    ++count;
  }
  state.SetItemsProcessed(count);
}
#endif

// Anchors are added and never taken away, so sizes rise.
BENCHMARK(AnchorToRow)->Arg(1'000)->Arg(20'000)->Unit(benchmark::kMillisecond);
BENCHMARK(AnchorToJson)->Arg(20'000)->Unit(benchmark::kMillisecond);
#ifdef ZOV_BENCH_PROTOBUF
BENCHMARK(SampleToProtobuf);
#endif

}  // namespace
