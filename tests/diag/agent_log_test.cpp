#include "diag/agent_log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

static DGT1_Unit traceUnit("ZOVTALOG");

namespace {

struct Issued {
  std::string file, function, message;
  int line;
  int severity;
};

class Receiver : public ZOVMessageReceiver {
 public:
  int postProductEvent(const char* file, const char* function, int line, const struct tm* when, int severity,
                       const char* message) override {
    EXPECT_GE(when->tm_year, 70);
    issued.push_back({file, function, message, line, severity});
    return 0;
  }
  std::vector<Issued> issued;
};

class AgentLogTest : public testing::Test {
 protected:
  void SetUp() override { messages.open(); }
  void TearDown() override { DGT1_SetSink(nullptr, nullptr); }

  template <class... A>
  std::string logged(int message, const A&... a) {
    receiver.issued.clear();
    log.LogMessage("ZOVTALOG", "AgentLogTest::logged", 42, message, a...);
    return receiver.issued.size() == 1 ? receiver.issued[0].message : "not one message";
  }

  ZOV_Agent_Log_Messages messages;
  Receiver receiver;
  ZOV_Agent_Log log{messages, receiver};
};

TEST_F(AgentLogTest, FormatsEachKindOfParameter) {
  EXPECT_EQ(logged(ZOVA0001I), "ZOVA0001I Vantor for Tessaly monitoring agent startup complete.");
  EXPECT_EQ(
      logged(ZOVA0034W, -5, RWCString("shop"), 0L),
      "ZOVA0034W Invalid StatisticInterval configuration value -5 for application server shop.  Default "
      "value 0 used.");
  EXPECT_EQ(logged(ZOVA0005E, 0xBEEF), "ZOVA0005E Exception address BEEF.");
  EXPECT_EQ(logged(ZOVA0005E, -1), "ZOVA0005E Exception address FFFFFFFF.");
}

TEST_F(AgentLogTest, StandsArgumentsThatDoNotFit) {
  const char* none = nullptr;
  EXPECT_EQ(logged(ZOVA0017I, none), "ZOVA0017I Application server (null) is now active.");
  EXPECT_EQ(logged(ZOVA0017I), "ZOVA0017I Application server (null) is now active.");
  EXPECT_EQ(logged(ZOVA0017I, 7, "unused"), "ZOVA0017I Application server 7 is now active.");
  EXPECT_EQ(logged(ZOVA0005E, "text"), "ZOVA0005E Exception address text.");
  EXPECT_EQ(logged(4, "x"), "not one message");
  EXPECT_EQ(logged(-1), "not one message");
  EXPECT_EQ(logged(1 << 20), "not one message");
}

TEST_F(AgentLogTest, PassesOriginAndSeverityOn) {
  log.LogError("ZOVCSOCK", "ZOVSocket::send", 123, ZOVA0138W, "shop");
  ASSERT_EQ(receiver.issued.size(), 1U);
  EXPECT_EQ(receiver.issued[0].file, "ZOVCSOCK");
  EXPECT_EQ(receiver.issued[0].function, "ZOVSocket::send");
  EXPECT_EQ(receiver.issued[0].line, 123);
  EXPECT_EQ(receiver.issued[0].severity, 2);
}

TEST_F(AgentLogTest, TracesAMessageUnderItsCaller) {
  std::vector<std::string> lines;
  DGT1_SetSink(
      [](const char* tag, int line, std::string_view text, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(
            std::string(tag) + ' ' + std::to_string(line) + ' ' + std::string(text));
      },
      &lines);
  ASSERT_TRUE(DGT1_Configure("MESSAGE"));
  log.LogMessage("ZOVCSOCK", "f", 123, ZOVA0017I, "caf\xC3\xA9");
  ASSERT_TRUE(DGT1_Configure("ERROR"));
  log.LogMessage("ZOVCSOCK", "f", 123, ZOVA0017I, "caf\xC3\xA9");
  ASSERT_TRUE(DGT1_Configure("ERROR MESSAGE"));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with("ZOVCSOCK 123 "));
  EXPECT_TRUE(lines[0].ends_with(" ZOVA0017I Application server caf\xC3\xA9 is now active."));
  EXPECT_TRUE(lines[1].ends_with(" ZOVA0017I Application server caf<00E9> is now active."));
}

TEST_F(AgentLogTest, WithoutAnEnvironmentMessagesAreDropped) {
  ASSERT_EQ(ZOVAgentEnvironment::pEnvironment.load(), nullptr);
  ZOV_LOG_MESSAGE(ZOVA0017I, "f", "shop");
  ZOV_LOG_ERROR(ZOVA0001I, "f");
}

}  // namespace
