// Anchor to row: a query of ZOVREQUEST over the anchors of one server, first up to the framework's rows, then
// up to JSON. The peer makes a protobuf message of the same content for each sample, and serialises it.

#include <benchmark/benchmark.h>

#include <string>

#include "bench_agent.h"
#include "hub/api/rows.h"
#include "hub/core/registry.h"
#include "hub/core/request.h"
#ifdef ZOV_BENCH_PROTOBUF
#include "samples.pb.h"
#endif

namespace {

void AnchorToRow(benchmark::State& state) {
  Bench& bench = Bench::instance();
  bench.report(static_cast<int>(state.range(0)));
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
  bench.report(static_cast<int>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) {
    bytes += takeAnswer(zov::hub::queryRows({"ZOVREQUEST", {{"node", bench.subnode()}}, "", ""}));
  }
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
