// Metrics of a source of the test's own: both formats, the choice, the bound, and who may ask.

#include "framework/metrics.h"

#include <cmath>

#include "hub_fixture.h"

namespace {

constexpr const char* openMetrics =
    "Accept: application/openmetrics-text;version=1.0.0,text/plain;version=0.0.4;q=0.5,*/*;q=0.1\r\n";

class FakeSource : public zov::MetricsSource {
 public:
  FakeSource() { zov::introduceMetrics(this); }
  ~FakeSource() override { zov::introduceMetrics(nullptr); }
  std::vector<std::string> groups() const override { return {"MANY", "FEW"}; }
  zov::MetricGroup collect(const std::string& group, std::size_t mostValues) override {
    using Type = zov::MetricFamily::Type;
    zov::MetricGroup result{{{"zov_x_seconds", "seconds", Type::Counter, "It \"counts\"."},
                             {"zov_y_seconds", "seconds", Type::Summary, "A\\B."},
                             {"zov_z", "", Type::Gauge, "Z."}},
                            {"node", "name"},
                            {{{"a", "q\"\\\n\xFF"}, {0.25, 3, 2, NAN}}, {{"a", ""}, {NAN, NAN, 5, -1e9}}},
                            0};
    if (group == "FEW") return result.series.push_back(result.series[0]), result;  // the first one twice
    result.series.assign(many, result.series[0]);
    for (std::size_t i = 0; i < many; ++i) result.series[i].labels[1] = std::to_string(i);
    lastRoom = mostValues;
    return result;
  }
  std::size_t many = 0;
  std::size_t lastRoom = 0;
};

std::string valueOf(const std::string& text, const std::string& series) {
  const std::size_t at = text.find("\n" + series + " ");
  return at == std::string::npos
             ? "none"
             : text.substr(at + series.size() + 2, text.find('\n', at + 1) - at - series.size() - 2);
}

}  // namespace

TEST_F(HubTest, GivesMetricsInTheFormatThatIsAskedFor) {
  FakeSource source;
  zov::introduceAgent(
      {.version = "1.2", .node = "ID:host", .directory = directory.path(), .mostNodeBytes = 32});
  start();
  const struct {
    const char* accept;
    const char* type;
    std::string expected;
  } cases[] = {
      {openMetrics, "application/openmetrics-text; version=1.0.0; charset=utf-8",
       "# HELP target What this agent is.\n# TYPE target info\ntarget_info{node=\"ID:host\",version=\"1.2\"} "
       "1\n"
       "# HELP zov_x_seconds It \\\"counts\\\".\n# TYPE zov_x_seconds counter\n# UNIT zov_x_seconds seconds\n"
       "zov_x_seconds_total{node=\"a\",name=\"q\\\"\\\\\\n\xEF\xBF\xBD\"} 0.25\n"
       "# HELP zov_y_seconds A\\\\B.\n# TYPE zov_y_seconds summary\n# UNIT zov_y_seconds seconds\n"
       "zov_y_seconds_count{node=\"a\",name=\"q\\\"\\\\\\n\xEF\xBF\xBD\"} 2\n"
       "zov_y_seconds_sum{node=\"a\",name=\"q\\\"\\\\\\n\xEF\xBF\xBD\"} 3\n"
       "# HELP zov_z Z.\n# TYPE zov_z gauge\nzov_z{node=\"a\",name=\"\"} -1e+09\n# HELP "
       "process_cpu_seconds "},
      {"", "text/plain; version=0.0.4; charset=utf-8",
       "# HELP target_info What this agent is.\n# TYPE target_info gauge\n"
       "target_info{node=\"ID:host\",version=\"1.2\"} 1\n"
       "# HELP zov_x_seconds_total It \"counts\".\n# TYPE zov_x_seconds_total counter\n"
       "zov_x_seconds_total{"},
  };
  for (const auto& [accept, type, expected] : cases) {
    const ZOVTestAnswer answer = zovTestGet(port, "/metrics", accept);
    EXPECT_EQ(answer.headers.at("content-type"), type);
    EXPECT_EQ(answer.body.substr(0, expected.size()), expected);
    EXPECT_EQ(answer.body.ends_with("\n# EOF\n"), accept == openMetrics);
    EXPECT_EQ(valueOf(answer.body, "zov_agent_metrics_left_out_series"), "3");
  }
  const std::string before = zovTestGet(port, "/metrics").body;
  rows();
  EXPECT_TRUE(comesTrue([&] {
    const std::string after = zovTestGet(port, "/metrics").body;
    return std::stoi(valueOf(after, "zov_agent_query_seconds_count")) ==
           std::stoi(valueOf(before, "zov_agent_query_seconds_count")) + 1;
  }));
  EXPECT_GT(std::stod(valueOf(before, "process_resident_memory_bytes")), 1e6);
}

TEST_F(HubTest, BoundsMetricsAndSaysWhatIsLeftOut) {
  FakeSource source;
  source.many = 1000;
  setenv("ZOV_METRICS_MAX_SERIES", "1000", 1);
  setenv("ZOV_METRICS_TABLES", "FEW,OTHER MANY", 1);
  start();
  EXPECT_TRUE(waitForLine("ZOV_METRICS_TABLES names \"OTHER\", which is left out; accepted are MANY FEW"));
  const std::string text = zovTestGet(port, "/metrics").body;
  EXPECT_EQ(source.lastRoom, 1000);
  EXPECT_NE(valueOf(text, "zov_x_seconds_total{node=\"a\",name=\"332\"}"), "none");
  EXPECT_EQ(valueOf(text, "zov_x_seconds_total{node=\"a\",name=\"333\"}"), "none");
  EXPECT_EQ(valueOf(text, "zov_agent_metrics_left_out_series"), "2009")
      << "of 3 * 1000 + 3 + 2 + 3, 999 go out";
  stop();

  setenv("ZOV_METRICS_TABLES", "", 1);
  setenv("ZOV_METRICS_MAX_SERIES", "many", 1);
  start();
  EXPECT_TRUE(hasLine("ZOV_METRICS_MAX_SERIES is \"many\"; accepted is a number from 0"));
  EXPECT_EQ(zovTestGet(port, "/metrics").body.find("zov_x"), std::string::npos);
  stop();

  setenv("ZOV_HUB_TOKEN", "a-token-of-the-test", 1);
  start();
  EXPECT_EQ(zovTestGet(port, "/metrics").status, 401);
  EXPECT_EQ(zovTestGet(port, "/metrics", "Authorization: Bearer a-token-of-the-test\r\n").status, 200);
  unsetenv("ZOV_METRICS_TABLES");
  unsetenv("ZOV_METRICS_MAX_SERIES");
}
