#include "probes.h"

#include <fmt/format.h>
#include <rapidjson/document.h>

#include <condition_variable>

namespace zov::storm {

Probe::Probe(std::uint16_t port, Question question)
    : _port(port),
      _question(std::move(question)),
      _thread([this](const std::stop_token& stop) { run(stop); }) {}

double Probe::takeSlowest() {
  {
    const std::scoped_lock lock(_mutex);
    if (_asked != Moment{}) _slowest.raise(seconds(Clock::now() - _asked));
  }
  return _slowest.take();
}

std::string Probe::lastFailure() const {
  const std::scoped_lock lock(_mutex);
  return _lastFailure;
}

void Probe::run(const std::stop_token& stop) {
  std::mutex mutex;
  std::condition_variable_any ended;
  while (!stop.stop_requested()) {
    ask();
    std::unique_lock lock(mutex);
    ended.wait_for(lock, stop, _question.pause, [] { return false; });
  }
}

void Probe::ask() {
  const std::string target = _question.target();
  const Moment begun = Clock::now();
  {
    const std::scoped_lock lock(_mutex);
    _asked = begun;
  }
  const ZOVTestAnswer answer = zovTestGet(_port, target);
  _slowest.raise(seconds(Clock::now() - begun));
  const std::scoped_lock lock(_mutex);
  _asked = {};
  ++_answers;
  if (answer.status == 200 && answer.body.find(_question.mustHold) != std::string::npos) return;
  ++_failures;
  _lastFailure = fmt::format("{}: status {}, {}", target, answer.status, answer.body.substr(0, 200));
}

std::vector<std::string> nodesOf(std::uint16_t port, std::string_view prefix) {
  std::vector<std::string> names;
  rapidjson::Document document;
  document.Parse(zovTestGet(port, "/v1/nodes").body.c_str());
  if (!document.IsObject() || !document.HasMember("subnodes")) return names;
  for (const auto& subnode : document["subnodes"].GetArray()) {
    const std::string_view name = subnode["name"].GetString();
    if (name.starts_with(prefix)) names.emplace_back(name);
  }
  return names;
}

}  // namespace zov::storm
