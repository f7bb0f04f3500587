// A scrape of 50,000 series, from the anchors to the last byte of the text.

#include <benchmark/benchmark.h>

#include "bench_agent.h"
#include "hub/api/metrics.h"
#include "hub/core/settings.h"

namespace {

void Scrape(benchmark::State& state) {
  constexpr int anchors = 3'000;
  zov::hub::metricsChoice() = {.tables = {{"ZOVREQUEST"}}, .mostSeries = 50'000};
  const char* const accept = state.range(0) == 0 ? "text/plain" : "application/openmetrics-text";
  Bench& bench = Bench::instance();
  takeAnswer(zov::hub::scrapeMetrics({"", {}, "", accept}));  // counting begins with the first one
  bench.report(anchors);
  std::size_t bytes = 0;
  for (auto _ : state) bytes += takeAnswer(zov::hub::scrapeMetrics({"", {}, "", accept}));
  state.SetItemsProcessed(state.iterations() * 50'000);
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
  if (bytes < static_cast<std::size_t>(state.iterations()) * 50'000 * 50)
    state.SkipWithError("series are missing");
}

BENCHMARK(Scrape)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
