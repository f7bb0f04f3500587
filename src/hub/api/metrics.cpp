#include "hub/api/metrics.h"

#include <algorithm>
#include <cmath>
#include <unordered_set>

#include "hub/api/metrics_text.h"
#include "hub/core/registry.h"
#include "hub/core/settings.h"
#include "hub/core/visit.h"
#include "platform/own_metrics.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHMETR");

namespace zov::hub {
namespace {

OwnTimes scrapes("zov_agent_scrape_seconds", "Answers of metrics, and the time that they took.");

std::vector<std::string> chosenGroups(const MetricsSource& source) {
  std::vector<std::string> groups = source.groups();
  const auto& wanted = metricsChoice().tables;
  if (!wanted) return groups;
  std::erase_if(groups,
                [&](const std::string& group) { return std::ranges::find(*wanted, group) == wanted->end(); });
  return groups;
}

/// Writes one answer of metrics, a group at a time, on one thread.
class Scrape : public Production, public std::enable_shared_from_this<Scrape> {
 public:
  explicit Scrape(MetricsText::Format format) : _format(format) {}

  Body& body() override { return _body; }
  const char* contentType() const override { return MetricsText::contentType(_format); }
  std::vector<Part> parts() override {
    const auto self = shared_from_this();
    return {{"", [self] { self->run(); }, [self] { self->giveUp(); }}};
  }
  bool mayWait() const override { return false; }
  std::chrono::seconds time() const override { return std::chrono::seconds(limits().querySeconds); }
  void timeOut() override { giveUp(); }  // half of an answer would be taken for the whole
  void giveUp() override {
    _givenUp = true;
    _body.cut();
  }
  Answer failure() const override {
    return Answer::error(503, "the metrics could not be written in time; try again later");
  }

 private:
  void run();
  void write();
  bool writeGroup(const MetricGroup& group);
  bool writeFamily(const MetricFamily& family, const MetricGroup& group, std::size_t place);
  bool writeOwn();
  bool sendIfFull() { return _block.size() < limits().blockBytes || send(); }
  bool send();

  const MetricsText::Format _format;
  Body _body{"", ""};
  std::atomic<bool> _givenUp{false};
  // Of the thread that writes.
  std::string _block;
  MetricsText _text{_format, _block};
  Body::Patience _patience = std::chrono::milliseconds(limits().writerMilliseconds);
  std::size_t _room = metricsChoice().mostSeries;
  std::size_t _leftOut = 0;
  std::vector<std::string> _labels;  // of the present group, by series; empty: it is left out
};

void Scrape::run() {
  try {
    write();
  } catch (const std::exception& error) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "An answer of metrics ended early: %s", error.what());
    giveUp();
  }
}

void Scrape::write() {
  const auto begin = ZOVClock::steady();
  const AgentIdentity agent = Registry::instance().identity();
  _text.targetInfo(MetricsText::label("node", agent.node) + "," +
                   MetricsText::label("version", agent.version));
  if (MetricsSource* const source = Registry::instance().metrics) {
    for (const std::string& name : chosenGroups(*source)) {
      if (_givenUp) return;
      const Visit visit;
      if (!writeGroup(source->collect(name, _room))) return;
    }
  }
  scrapes.add(begin);
  if (!writeOwn()) return;
  _text.end();
  if (send()) _body.finish("");
}

bool Scrape::writeGroup(const MetricGroup& group) {
  _leftOut += group.leftOut;
  _labels.clear();
  std::unordered_set<std::string> known;
  for (const MetricGroup::Series& series : group.series) {
    std::string labels;
    for (std::size_t i = 0; i < group.labelNames.size(); ++i) {
      if (i != 0) labels += ',';
      labels += MetricsText::label(group.labelNames[i], series.labels[i]);
    }
    const auto values = static_cast<std::size_t>(
        std::ranges::count_if(series.values, [](double value) { return !std::isnan(value); }));
    // A reader refuses an answer in which a series stands twice.
    const bool isTaken = values <= _room && known.insert(labels).second;
    if (isTaken) {
      _room -= values;
    } else {
      _leftOut += values;
      labels.clear();
    }
    _labels.push_back(std::move(labels));
  }
  std::size_t place = 0;
  for (const MetricFamily& family : group.families) {
    if (!writeFamily(family, group, place)) return false;
    place += family.type == MetricFamily::Type::Summary ? 2 : 1;
  }
  return true;
}

bool Scrape::writeFamily(const MetricFamily& family, const MetricGroup& group, std::size_t place) {
  const bool isSummary = family.type == MetricFamily::Type::Summary;
  bool begun = false;
  for (std::size_t i = 0; i < group.series.size(); ++i) {
    const double* const values = &group.series[i].values[place];
    if (_labels[i].empty() || std::isnan(values[0]) || (isSummary && std::isnan(values[1]))) continue;
    if (!begun) _text.family(family);
    begun = true;
    if (isSummary) {
      _text.summary(_labels[i], values[0], values[1]);
    } else {
      _text.value(_labels[i], values[0]);
    }
    if (!sendIfFull()) return false;
  }
  return true;
}

bool Scrape::writeOwn() {
  using Kind = OwnMetric::Kind;
  const OwnMetric* before = nullptr;
  for (const OwnMetric* metric : OwnMetric::all()) {
    const std::string_view name = metric->name;
    if (before == nullptr || before->name != name) {
      _text.family({std::string(name),
                    name.ends_with("_seconds") ? "seconds"
                    : name.ends_with("_bytes") ? "bytes"
                                               : "",
                    metric->kind == Kind::Counter   ? MetricFamily::Type::Counter
                    : metric->kind == Kind::Summary ? MetricFamily::Type::Summary
                                                    : MetricFamily::Type::Gauge,
                    metric->help});
    }
    if (metric->kind == Kind::Summary) {
      _text.summary(metric->labels, metric->seconds(), metric->value());
    } else {
      _text.value(metric->labels, metric->value());
    }
    before = metric;
  }
  _text.family({"zov_agent_metrics_left_out_series", "", MetricFamily::Type::Gauge,
                "Series that this answer has not, beyond ZOV_METRICS_MAX_SERIES, or given twice."});
  _text.value("", static_cast<double>(_leftOut));
  return sendIfFull();
}

bool Scrape::send() {
  if (_block.empty()) return true;
  std::string text;
  text.swap(_block);
  return _body.write(std::move(text), _patience);
}

}  // namespace

void checkMetricsChoice() {
  const MetricsSource* const source = Registry::instance().metrics;
  if (!metricsChoice().tables || source == nullptr) return;
  const std::vector<std::string> known = source->groups();
  std::string accepted;
  for (const std::string& name : known) accepted += ' ' + name;
  for (const std::string& name : *metricsChoice().tables) {
    if (std::ranges::find(known, name) != known.end()) continue;
    DGT1_Printf(
        traceUnit, DGT1_MESSAGE,
        "ZOV_METRICS_TABLES names %s, which is left out; accepted are%s, with blanks or commas between them",
        quoted(name).c_str(), accepted.c_str());
  }
}

Reply scrapeMetrics(const Call& call) {
  if (!call.parameters.empty()) {
    return Answer::error(400, "there is no parameter " + quoted(call.parameters.front().name) +
                                  "; accepted is none: ZOV_METRICS_TABLES of the agent chooses the tables");
  }
  const bool isOpen = preferredType(call.accept, {"text/plain", "application/openmetrics-text"}) == 1;
  return std::make_shared<Scrape>(isOpen ? MetricsText::Format::OpenMetrics
                                         : MetricsText::Format::Prometheus);
}

}  // namespace zov::hub
