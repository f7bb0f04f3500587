// What it costs the agent that Prometheus scrapes it: 50 servers, each with 20 requests, polled each second.

#include <gtest/gtest.h>

#include <deque>

#include "support/agent_process.h"
#include "support/fake_collector.h"

namespace {

constexpr int servers = 50, requests = 20;
constexpr int process = 4711, formerProcess = 4710;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool measures = false;
#else
constexpr bool measures = true;
#endif

std::vector<WireFrame> samples() {
  std::vector<WireFrame> frames;
  for (int i = 0; i <= requests; ++i) {  // the last is of a process that the server was before
    WireFrame& frame = frames.emplace_back(wireSample(31));
    frame.number(20, 1'700'000'000)
        .number(21, 1)
        .number(4, i == requests ? formerProcess : process)
        .number(314, 1000)
        .number(700, 1);
    frame.text(701, "shop").text(702, "/page" + std::to_string(i));
    for (int key = 703; key <= 725; ++key) frame.number(key, 2);
  }
  return frames;
}

double valueOf(const std::string& metrics, const std::string& name) {
  const std::size_t at = metrics.find("\n" + name + " ");
  return at == std::string::npos ? -1 : std::stod(metrics.substr(at + name.size() + 2));
}

}  // namespace

TEST(ScrapeCost, OfFiftyServersStaysWithinItsBounds) {
  AgentProcess agent;
  agent.configureMore("[Advanced_J2EE_Config]\nZOV_REQ_FIXEDINTERVAL_TIME = 1\n");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  const auto scrape = [&] { return zovTestGet(agent.httpPort(), "/metrics").body; };
  scrape();  // totals are kept from here on
  std::deque<FakeCollector> collectors;
  for (int i = 0; i < servers; ++i) {
    FakeCollector& collector = collectors.emplace_back(agent.collectorPort());
    ASSERT_TRUE(
        collector.send(wirePing(7, "server" + std::to_string(i), "/srv/" + std::to_string(i), process)));
    collector.serve(samples());
  }
  const auto count = [](const std::string& text, const std::string& word) {
    int found = 0;
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += word.size()) ++found;
    return found;
  };
  ASSERT_TRUE(comesTrue([&] { return count(scrape(), "\nzov_request_total{") == servers * requests; }));

  constexpr int scrapes = 40;
  const double before = valueOf(scrape(), "process_cpu_seconds_total");
  std::string last;
  for (int i = 0; i < scrapes; ++i) last = scrape();
  const double each = (valueOf(last, "process_cpu_seconds_total") - before) / scrapes;
  std::printf("%d series, %.2f ms of processor time a scrape, %ld KiB resident\n", count(last, "\nzov_"),
              each * 1e3, agent.residentMemory());
  EXPECT_EQ(valueOf(last, "zov_agent_metrics_left_out_series"), 0);
  if (measures) {
    EXPECT_LT(agent.residentMemory(), 30'000);
  }
}
