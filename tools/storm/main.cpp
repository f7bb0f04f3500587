// The storm: the real agent, and for some minutes about 250 collectors over 300 server names that do
// everything that a peer can do to it, while others behave and are measured. Says whether they were served,
// whether the agent stayed level, and how it ended in the middle of it. All traffic is on loopback. Exit
// status: 0 when all aims were met.

#include <fmt/format.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "agent.h"
#include "crowds.h"
#include "probes.h"
#include "report.h"

namespace zov::storm {

namespace {

constexpr double MostMemoryMiB = 3072;  // the storm ends when the agent holds more, for the machine's sake
constexpr auto MostWaitForRegulars = std::chrono::seconds(60);
constexpr double MostSecondsToStop = 5;

std::atomic<bool> interrupted{false};

struct Options {
  std::string agent;
  int seconds = 30 * 60;
  unsigned seed = std::random_device()();
  std::vector<std::string> kinds;
  std::string logFile = "/dev/null";
  bool timesCount = true;  ///< false: no aim of time or level is judged, for loaded machines and short runs
};

void usage() {
  fmt::print(stderr,
             "Usage: storm AGENT [--minutes N | --seconds N] [--seed N] [--kinds NAME,...] [--log FILE]\n"
             "             [--aims all|counts]\n"
             "With --aims counts, times and levels are shown and not judged.\n"
             "Kinds of peers, all unless some are named:\n");
  for (const Behaviour& behaviour : Behaviours)
    fmt::print(stderr, "  {:<9} {}\n", behaviour.name, behaviour.what);
}

bool isKind(std::string_view name) {
  return std::ranges::find(Behaviours, name, &Behaviour::name) != Behaviours.end();
}

bool readKinds(std::string_view list, std::vector<std::string>& kinds) {
  while (!list.empty()) {
    const std::string_view name = list.substr(0, list.find(','));
    if (!isKind(name)) return false;
    kinds.emplace_back(name);
    list.remove_prefix(std::min(list.size(), name.size() + 1));
  }
  return !kinds.empty();
}

template <class Number>
bool readNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

std::optional<Options> readOptions(const std::vector<std::string_view>& arguments) {
  if (arguments.empty() || arguments.size() % 2 == 0) return std::nullopt;
  Options options;
  options.agent = arguments[0];
  for (std::size_t i = 1; i < arguments.size(); i += 2) {
    const std::string_view name = arguments[i], value = arguments[i + 1];
    bool good = false;
    if (name == "--minutes") {
      good = readNumber(value, options.seconds);
      options.seconds *= 60;
    } else if (name == "--seconds") {
      good = readNumber(value, options.seconds);
    } else if (name == "--seed") {
      good = readNumber(value, options.seed);
    } else if (name == "--kinds") {
      good = readKinds(value, options.kinds);
    } else if (name == "--log") {
      options.logFile = value, good = true;
    } else if (name == "--aims") {
      options.timesCount = value == "all";
      good = options.timesCount || value == "counts";
    }
    if (!good) return std::nullopt;
  }
  if (options.seconds < 1) return std::nullopt;
  return options;
}

/// False when not all regulars were polled in time, or the agent or the user has ended it.
/// A poll is kept a moment after the collector has answered it. Until then its node is told as one without.
bool haveRows(std::uint16_t port) {
  const ZOVTestAnswer answer = zovTestGet(port, "/v1/tables/ZOVREQUEST/rows");
  return answer.status == 200 &&
         answer.body.find(fmt::format("\"name\":\"{}", RegularPrefix)) == std::string::npos;
}

bool waitForRegulars(Agent& agent, const Service& service) {
  const Moment limit = Clock::now() + MostWaitForRegulars;
  while (service.regularsPolled < RegularCount || !haveRows(agent.httpPort())) {
    if (Clock::now() > limit || !agent.runs() || interrupted) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return true;
}

/// The three that ask by HTTP while the storm lasts.
class Probes {
 public:
  explicit Probes(std::uint16_t port)
      : _nodes(nodesOf(port, RegularPrefix)),
        _health(port, {[] { return "/healthz"; }, "ok", std::chrono::seconds(1)}),
        _regular(port, {[this] { return nextRegular(); }, "\"rows\":[{", std::chrono::milliseconds(500)}),
        _full(port, {[this] { return nextFull(); }, "\"rows\":[{", std::chrono::seconds(10)}) {}

  std::size_t nodes() const { return _nodes.size(); }
  void read(Reading& reading) {
    reading[Column::Health] = _health.takeSlowest();
    reading[Column::RegularQuery] = _regular.takeSlowest();
    reading[Column::FullQuery] = _full.takeSlowest();
  }
  const Probe& health() const { return _health; }
  const Probe& regular() const { return _regular; }
  const Probe& full() const { return _full; }

 private:
  std::string nextRegular() {
    static constexpr std::string_view Tables[] = {"ZOVREQUEST", "ZOVAPSST", "ZOVREQUEST", "ZOVAPSRV"};
    const std::size_t number = _regularNumber++;
    return fmt::format("/v1/tables/{}/rows?node={}", Tables[number % std::size(Tables)],
                       _nodes[number % _nodes.size()]);
  }
  std::string nextFull() {
    static constexpr std::string_view Tables[] = {"ZOVAPSST", "ZOVREQUEST"};
    return fmt::format("/v1/tables/{}/rows", Tables[_fullNumber++ % std::size(Tables)]);
  }

  const std::vector<std::string> _nodes;
  std::size_t _regularNumber = 0, _fullNumber = 0;  // of the probes' threads
  Probe _health, _regular, _full;
};

class Storm {
 public:
  explicit Storm(const Options& options)
      : _options(options), _agent(options.agent, options.logFile, PollIntervalSeconds) {}

  bool run();

 private:
  void measure(Probes& probes);
  Reading read(Probes& probes);
  void tellCounts(const Probes& probes) const;
  void judgeCounts(const Probes& probes);
  /// Why the storm is to end before its time; empty: it is not.
  std::string reasonToEnd(const Reading& reading);

  const Options& _options;
  Service _service;
  Weather _weather, _regularsWeather;
  Report _report;
  std::string _endedEarly;
  long _logLinesBefore = 0;
  double _processorBefore = 0;
  Agent _agent;
};

bool Storm::run() {
  fmt::print("seed {}, {} seconds, agent {} on ports {} and {}, its log in {}\n", _options.seed,
             _options.seconds, _agent.processId(), _agent.collectorPort(), _agent.httpPort(),
             _options.logFile);
  Regulars regulars(_service);
  Loop regularsLoop(_agent.collectorPort(), _regularsWeather, regulars);
  if (!waitForRegulars(_agent, _service)) {
    fmt::print("The regulars were not polled, before any storm began: {} of {}\n",
               _service.regularsPolled.load(), RegularCount);
    return false;
  }
  Probes probes(_agent.httpPort());
  if (probes.nodes() != RegularCount) {
    fmt::print("{} subnodes of {} regulars\n", probes.nodes(), RegularCount);
    return false;
  }
  Rabble rabble(_options.seed, _options.kinds);
  Loop rabbleLoop(_agent.collectorPort(), _weather, rabble);
  measure(probes);
  tellCounts(probes);
  _report.printTable();
  if (_options.timesCount) _report.judgeReadings();
  judgeCounts(probes);
  const Agent::Ending ending = _agent.stop();  // with all of them still at it
  _report.aim(fmt::format("end after SIGTERM, in the middle of the storm: within {} s", MostSecondsToStop),
              fmt::format("{:.2f} s", ending.seconds),
              ending.seconds <= MostSecondsToStop || !_options.timesCount);
  _report.aim("exit status of the agent: 0", fmt::format("{}", ending.status), ending.status == 0);
  return _report.allMet();
}

void Storm::measure(Probes& probes) {
  constexpr int LineSeconds = 10, HeadingLines = 30;
  _logLinesBefore = _agent.logLines();
  _processorBefore = _agent.usage().processorSeconds;
  Moment next = Clock::now();
  for (int second = 1; second <= _options.seconds && _endedEarly.empty(); ++second) {
    next += std::chrono::seconds(1);
    std::this_thread::sleep_until(next);
    const Reading reading = read(probes);
    _report.add(reading);
    if (second == 1 || second % (LineSeconds * HeadingLines) == 0) _report.printHeading();
    if (second % LineSeconds == 0) _report.printLine();
    _endedEarly = reasonToEnd(reading);
  }
}

Reading Storm::read(Probes& probes) {
  const Agent::Usage usage = _agent.usage();
  const long logLines = _agent.logLines();
  Reading reading;
  reading[Column::Connections] = static_cast<double>(_weather.connections + _regularsWeather.connections);
  reading[Column::Descriptors] = static_cast<double>(usage.descriptors);
  reading[Column::Threads] = static_cast<double>(usage.threads);
  reading[Column::Resident] = usage.residentMiB;
  reading[Column::Processor] =
      100 * (usage.processorSeconds - std::exchange(_processorBefore, usage.processorSeconds));
  reading[Column::LogLines] = 60 * static_cast<double>(logLines - std::exchange(_logLinesBefore, logLines));
  reading[Column::PollLateness] = _service.pollLateness.take();
  reading[Column::FirstPoll] = _service.firstPoll.take();
  probes.read(reading);
  return reading;
}

std::string Storm::reasonToEnd(const Reading& reading) {
  if (!_agent.runs()) return "the agent has ended";
  if (reading[Column::Resident] > MostMemoryMiB)
    return fmt::format("the agent holds over {} MiB", MostMemoryMiB);
  if (interrupted) return "interrupted";
  return "";
}

void Storm::tellCounts(const Probes& probes) const {
  fmt::print(
      "\nstorm: {} connections, of which {} were accepted, {} refused, {} went unanswered; {} MB of floods\n",
      _weather.opened.load(), _weather.accepted.load(), _weather.refused.load(), _weather.unanswered.load(),
      _weather.floodedBytes / 1'000'000);
  fmt::print("regulars: {} polls; newcomers: {} served\n", _service.polls.load(),
             _service.servedNewcomers.load());
  for (const auto& [name, probe] : {std::pair<const char*, const Probe&>("/healthz", probes.health()),
                                    {"a regular's node", probes.regular()},
                                    {"all nodes", probes.full()}}) {
    fmt::print("queries of {}: {} answers, {} failures", name, probe.answers(), probe.failures());
    fmt::print("{}{}\n", probe.failures() ? "; the last: " : "", probe.lastFailure());
  }
}

void Storm::judgeCounts(const Probes& probes) {
  const auto none = [this](std::string_view what, long count) {
    _report.aim(fmt::format("{}: none", what), fmt::format("{}", count), count == 0);
  };
  none("sessions of regulars that ended or were refused", _service.lostSessions);
  none("newcomers that were not served", _service.failedNewcomers);
  none("failed queries of /healthz", probes.health().failures());
  none("failed queries of regulars' nodes", probes.regular().failures());
  _report.aim("the storm ran its time", _endedEarly.empty() ? "yes" : _endedEarly, _endedEarly.empty());
}

int run(int argc, char** argv) {
  const auto options = readOptions({argv + 1, argv + argc});
  if (!options) {
    usage();
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, [](int) { interrupted = true; });
  try {
    const bool met = Storm(*options).run();
    fmt::print("\nseed {}: {}\n", options->seed, met ? "all aims were met" : "not all aims were met");
    return met ? 0 : 1;
  } catch (const std::exception& failure) {
    fmt::print(stderr, "storm: {}\n", failure.what());
    return 1;
  }
}

}  // namespace

}  // namespace zov::storm

int main(int argc, char** argv) {
  return zov::storm::run(argc, argv);
}
