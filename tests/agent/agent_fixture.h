#pragma once
// An agent inside the test's process: its own directory and port, no start delay, and servers from a context
// file.

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "agent/agent.h"
#include "collectors/product_event_collector.h"
#include "framework/tqbox.h"
#include "runtime/waits.h"
#include "support/test_paths.h"

class AgentFixture : public testing::Test {
 protected:
  /// Lines of the context file, and further configuration.
  void start(const std::string& context, const std::string& configuration = "") {
    const std::string prefix = directory.path() + "/" + shortHostName() + "_";
    std::ofstream(prefix + "ov.cfg") << configuration << "\n[Advanced_Agent_Config]\nZOV_PORT = " << port
                                     << "\n";
    std::ofstream(prefix + "zovapctx") << "\n" << context;
    ::setenv("ZOV_CONFIG_DIR", directory.path().c_str(), 1);
    ::setenv("ZOV_LOCAL_ADDRESS", "127.0.0.1", 1);
    zovWaits().contextStartDelaySeconds = 0;
    zovWaits().threadTableSeconds = 0;
    agent.reset(new ZOVAgent(nullptr));
    agent->applicationContext()->start();
    agent->applicationContext()->waitUntilRead();
  }
  /// The identifiers and texts of the agent's messages, oldest first.
  std::vector<std::string> messages() {
    std::vector<std::string> result;
    agent->productEventCollector().forEachSample([&](const ZOVProductEventSample& event) {
      char text[256] = {};
      event.copyMsgDesc(text, sizeof text - 1);
      std::string trimmed = text;
      trimmed.erase(trimmed.find_last_not_of(' ') + 1);
      result.push_back(trimmed);
    });
    return result;
  }

  TemporaryDirectory directory;
  const std::uint16_t port = freePort();
  std::unique_ptr<ZOVAgent> agent;
};

/// A request as the framework makes one for a command.
class CommandBox : public tqbox {
 public:
  explicit CommandBox(const std::string& origin) : tqbox(&_detail, nullptr, nullptr) { originText = origin; }
  void CommandCompleted(TqboxAutomationCapsule*) override { ++completed; }
  int completed = 0;

 private:
  RequestDetail _detail{"OV", TqboxActionTable};
};
