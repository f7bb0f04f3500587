// A sample to its anchor, in the order in which a poll brings the samples, with a thousand and a million
// anchors: find, rate, keep, and drop the sample before.

#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "foundation/collections.h"
#include "samples/anchors.h"

namespace {

constexpr std::int64_t batch = 1000;

std::unique_ptr<ZOVSample> sampleOf(std::int64_t resource, long long count) {
  auto sample = std::make_unique<ZOVServletSample>();
  sample->applicationName = "shop";
  sample->virtualHostName = "default_host";
  sample->servletName = RWCString("/catalogue/item" + std::to_string(resource));
  for (int key : sample->sampleClass().numericKeys) sample->saveNumericData(key, count);
  return sample;
}

/// Seconds of this thread alone, since other work on the host would drown the difference that is looked for.
double threadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// As a server does it under its lock.
void save(RWHashTable& anchors, ZOVSample* sample, unsigned int collection) {
  std::unique_ptr<ZOVResourceAnchor> wanted(sample->getResourceAnchor());
  auto* anchor = static_cast<ZOVResourceAnchor*>(anchors.find(wanted.get()));
  if (anchor == nullptr) {
    anchor = wanted.release();
    anchors.insert(anchor);
  }
  anchor->saveNewSample(sample, collection);
}

void SampleToAnchor(benchmark::State& state) {
  const std::int64_t resources = state.range(0);
  RWHashTable anchors;
  for (std::int64_t i = 0; i < resources; ++i) save(anchors, sampleOf(i, 1).release(), 1);

  std::int64_t next = 0;
  unsigned int collection = 2;
  std::vector<std::unique_ptr<ZOVSample>> samples(batch);
  for (auto _ : state) {
    for (std::int64_t i = 0; i < batch; ++i)
      samples[static_cast<std::size_t>(i)] = sampleOf(next + i, collection);
    const double begin = threadSeconds();
    for (auto& sample : samples) save(anchors, sample.release(), collection);
    state.SetIterationTime(threadSeconds() - begin);
    next += batch;
    if (next < resources) continue;
    next = 0;
    ++collection;
  }
  state.SetItemsProcessed(state.iterations() * batch);
  anchors.clearAndDestroy();
}

BENCHMARK(SampleToAnchor)->Arg(1'000)->Arg(1'000'000)->UseManualTime()->Iterations(3000);

}  // namespace
