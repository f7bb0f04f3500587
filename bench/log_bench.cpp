// The scan of a server's log, from the bytes of the file up to the emitter, beside std::getline over the same
// file: 100 MiB, ten thousand records a second of their own time. With "lines" a record has four more lines,
// as of a stack trace. What storage the scan takes is counted.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "logs/log_file.h"
#include "runtime/lock.h"

namespace {
std::atomic<long> allocations{0};
}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

constexpr std::size_t FileSize = 100U << 20U;

struct Form {
  const char* name;
  const char* record;  // with %02d for the second and %03d for the milliseconds
};
constexpr Form Forms[] = {
    {"ACTIVITY",
     "[11/23/26 10:08:%02d:%03d CET] 0000001a OrderService  I ABCD0001I: The order was taken and stored\n"},
    {"TOMCAT",
     "23-Nov-2026 10:08:%02d.%03d INFO [http-nio-8080-exec-1] org.example.shop.OrderServlet.doGet The order "
     "was "
     "taken\n"},
    {"JSON",
     "{\"@timestamp\":\"2026-11-23T10:08:%02d.%03d\",\"level\":\"INFO\",\"thread_name\":\"main\",\"logger_"
     "name\":"
     "\"org.example.shop.Orders\",\"message\":\"The order was taken and stored\"}\n"},
};

/// A log of the form, made once for each run.
class Log {
 public:
  explicit Log(const Form& form, bool lines)
      : _path(std::filesystem::temp_directory_path() / ("zov_log_bench" + std::to_string(::getpid()))) {
    const std::string trace =
        lines
            ? "\tat org.example.shop.Orders.take(Orders.java:42)\n\tat org.example.shop.OrderServlet.doGet\n"
              "\tat java.base/java.lang.Thread.run(Thread.java:840)\n\t... 23 more\n"
            : "";
    std::string bytes;
    bytes.reserve(FileSize + 1024);
    for (; bytes.size() < FileSize; ++records) {
      char line[512];
      std::snprintf(line, sizeof line, form.record, static_cast<int>(records / 10'000 % 60),
                    static_cast<int>(records / 10 % 1000));
      bytes.append(line).append(trace);
    }
    std::ofstream(_path, std::ios::binary) << bytes;
  }
  ~Log() { std::filesystem::remove(_path); }
  std::string path() const { return _path; }
  long records = 0;

 private:
  std::filesystem::path _path;
};

std::atomic<long> emitted{0};

void Scan(benchmark::State& state) {
  ZOVLock::init();
  const Form& form = Forms[state.range(0)];
  const Log log(form, state.range(1) != 0);
  const std::string name = log.path() + ".followed";
  ZOVLogFile::setEmitter([](const ZOVLogEventSample*, const ZOVApplicationServerBase*) -> unsigned int {
    emitted.fetch_add(1, std::memory_order_relaxed);
    return 0;
  });
  long taken = 0, records = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::ofstream(name) << "";
    ZOVLogFile file(name.c_str(), 60, 100, form.name, nullptr, nullptr);
    file.read();  // from here on all is new
    std::filesystem::copy_file(log.path(), name, std::filesystem::copy_options::overwrite_existing);
    const long before = allocations, sent = emitted;
    state.ResumeTiming();
    file.read();
    taken += allocations - before;
    records += emitted - sent;
    if (emitted - sent != log.records) state.SkipWithError("records are missing");
  }
  std::filesystem::remove(name);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(FileSize));
  state.SetItemsProcessed(records);
  state.counters["allocations/record"] = static_cast<double>(taken) / static_cast<double>(records);
}

void Getline(benchmark::State& state) {
  const Log log(Forms[state.range(0)], state.range(1) != 0);
  std::string line;
  for (auto _ : state) {
    std::ifstream file(log.path(), std::ios::binary);
    std::size_t bytes = 0;
    while (std::getline(file, line)) bytes += line.size();
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(FileSize));
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"form", "lines"})->Unit(benchmark::kMillisecond);
  for (const int form : {0, 1, 2}) {
    for (const int lines : {0, 1}) benchmark->Args({form, lines});
  }
}
BENCHMARK(Scan)->Apply(sizes);
BENCHMARK(Getline)->Apply(sizes);

}  // namespace
