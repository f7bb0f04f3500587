#include "diag/agent_log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/step_clock.h"
#include "support/trace_capture.h"

static DGT1_Unit traceUnit("ZOVTALOG");

namespace {

class Receiver : public ZOVMessageReceiver {
 public:
  int postProductEvent(const char* file, const char* function, int line, const struct tm*, int severity,
                       const char* message) override {
    issued.emplace_back(message);
    origin = DGT1_FormatText("%s %s %d %d", file, function, line, severity);
    return 0;
  }
  std::vector<std::string> issued;
  std::string origin;
};

class AgentLogTest : public testing::Test {
 protected:
  void SetUp() override { messages.open(); }

  template <class... A>
  std::string logged(int message, const A&... a) {
    receiver.issued.clear();
    log.LogMessage("ZOVTALOG", "AgentLogTest::logged", 42, message, a...);
    return receiver.issued.size() == 1 ? receiver.issued[0] : "not one message";
  }

  ZOV_Agent_Log_Messages messages;
  Receiver receiver;
  ZOV_Agent_Log log{messages, receiver};
};

TEST_F(AgentLogTest, FormatsEachKindOfParameterAndStandsThoseThatDoNotFit) {
  EXPECT_EQ(
      logged(ZOVA0034W, -5, RWCString("shop"), 0L),
      "ZOVA0034W Invalid StatisticInterval configuration value -5 for application server shop.  Default "
      "value 0 used.");
  EXPECT_EQ(logged(ZOVA0005E, -1), "ZOVA0005E Exception address FFFFFFFF.");
  EXPECT_EQ(receiver.origin, "ZOVTALOG AgentLogTest::logged 42 2");
  const char* none = nullptr;
  EXPECT_EQ(logged(ZOVA0017I, none), "ZOVA0017I Application server (null) is now active.");
  EXPECT_EQ(logged(ZOVA0017I), "ZOVA0017I Application server (null) is now active.");
  EXPECT_EQ(logged(ZOVA0017I, 7, "unused"), "ZOVA0017I Application server 7 is now active.");
  EXPECT_EQ(logged(ZOVA0005E, "text"), "ZOVA0005E Exception address text.");
  for (const int number : {4, -1, 1 << 20}) EXPECT_EQ(logged(number, "x"), "not one message");
}

TEST_F(AgentLogTest, TracesAMessageOnOneLineAsItsFlagShowsIt) {
  for (const auto& [setting, name] : {std::pair{"MESSAGE", "caf\xC3\xA9"}, {"ERROR", "caf<00E9>"}}) {
    const TraceCapture trace(setting);
    log.LogMessage("ZOVCSOCK", "f", 123, ZOVA0017I, "caf\xC3\xA9\nZOVA0001I forged\x1B[2J");
    ASSERT_EQ(trace.lines().size(), 1U) << setting;
    EXPECT_TRUE(trace.has(std::string(" ZOVA0017I Application server ") + name)) << trace.lines()[0];
    EXPECT_TRUE(trace.has("forged")) << setting;
    EXPECT_EQ(trace.lines()[0].find_first_of("\n\x1B"), std::string::npos) << trace.lines()[0];
  }
}

TEST_F(AgentLogTest, CutsTextsAndLosesNoMessageByThem) {
  const std::string name(5'000'000, 'x');
  EXPECT_EQ(logged(ZOVA0017I, name.c_str()),
            "ZOVA0017I Application server " + std::string(509, 'x') + "... is now active.");
  // Four of them, and bytes that are no UTF-8, each of which takes three as it is shown.
  for (const std::string& text : {name, std::string(5000, '\xFF')}) {
    const std::string message = logged(ZOVA0079E, text.c_str(), text.c_str(), text.c_str(), text.c_str());
    EXPECT_TRUE(message.starts_with("ZOVA0079E Socket error detected.  Function=")) << message;
    EXPECT_TRUE(message.ends_with("...."));
  }
}

TEST_F(AgentLogTest, TenOfANumberAreIssuedInASecond) {
  const StepClock clock;
  const TraceCapture trace;
  const auto flood = [&](int number, int count) {
    receiver.issued.clear();
    for (int i = 0; i < count; ++i) log.LogMessage("ZOVTALOG", "f", 1, number, "x");
    return receiver.issued.size();
  };
  EXPECT_EQ(flood(ZOVA0017I, 100), 10U);
  EXPECT_EQ(flood(ZOVA0018I, 5), 5U);
  StepClock::step(1);
  EXPECT_EQ(flood(ZOVA0018I, 1), 2U);
  EXPECT_EQ(receiver.issued[0],
            "ZOVA0017I 90 further messages of this kind were left out: 10 a second are issued.");
  EXPECT_EQ(flood(ZOVA0017I, 1), 1U) << "told once";
}

}  // namespace
