#include "platform/own_metrics.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <tuple>

namespace zov {
namespace {

constinit std::atomic<OwnMetric*> newest{nullptr};

/// A number of /proc/self/stat, by its place behind the name in parentheses; 0 when it cannot be read.
double fromProcess(int place) {
  std::ifstream file("/proc/self/stat");
  std::string word;
  std::getline(file, word, ')');
  for (int i = 0; i < place; ++i) file >> word;
  double value = 0;
  file >> value;
  return value;
}

double processSeconds() {
  rusage used{};
  getrusage(RUSAGE_SELF, &used);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

double residentBytes() {
  constexpr int residentPages = 21;
  return fromProcess(residentPages) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double openDescriptors() {
  std::error_code error;
  const std::filesystem::directory_iterator entries("/proc/self/fd", error);
  return static_cast<double>(std::distance(begin(entries), end(entries)));
}

const double startSeconds = static_cast<double>(ZOVClock::microseconds()) / 1e6;

const OwnCounter cpu("process_cpu_seconds", "Processor time of the agent's process.", "", processSeconds);
const OwnGauge memory("process_resident_memory_bytes", "Memory of the agent's process.", residentBytes);
const OwnGauge descriptors("process_open_fds", "Descriptors that the agent's process has open.",
                           openDescriptors);
const OwnGauge start("process_start_time_seconds", "When the agent's process was started, since 1970.",
                     [] { return startSeconds; });
const OwnGauge threads("zov_agent_threads", "Threads of the agent's process.",
                       [] { return fromProcess(17); });

}  // namespace

OwnMetric::OwnMetric(Kind itsKind, const char* itsName, const char* itsHelp, const char* itsLabels,
                     double (*read)())
    : name(itsName), help(itsHelp), labels(itsLabels), kind(itsKind), _read(read), _next(newest) {
  while (!newest.compare_exchange_weak(_next, this)) {
  }
}

std::vector<const OwnMetric*> OwnMetric::all() {
  std::vector<const OwnMetric*> metrics;
  for (const OwnMetric* each = newest; each != nullptr; each = each->_next) metrics.push_back(each);
  const auto place = [](const OwnMetric* metric) {
    return std::tuple(std::string_view(metric->name), std::string_view(metric->labels));
  };
  std::ranges::sort(metrics, {}, place);
  return metrics;
}

}  // namespace zov
