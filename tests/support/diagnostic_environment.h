#pragma once
// An agent environment for tests of rooms that issue messages: its log, catalogue and product events are the
// real ones.
//
//   DiagnosticEnvironment environment;
//   ... provoke a message ...
//   EXPECT_EQ(environment.issued(), std::vector<std::string>{"ZOVA0017I Application server shop is now
//   active."});

#include <memory>
#include <string>
#include <vector>

#include "collectors/diagnostics.h"
#include "platform/frames.h"
#include "runtime/environment.h"

class DiagnosticEnvironment : public ZOVAgentEnvironment {
 public:
  DiagnosticEnvironment() : ZOVAgentEnvironment(prepare()) { productEventCollector().setMaxSamples(1000); }
  using ZOVAgentEnvironment::setInternalTrace;

  /// The messages issued so far, the oldest first.
  std::vector<std::string> issued() {
    std::vector<std::string> messages;
    productEventCollector().forEachSample([&](const ZOVProductEventSample& sample) {
      char id[16] = {};
      char description[2048] = {};
      sample.copyMsgId(id, sizeof id - 1);
      sample.copyMsgDesc(description, sizeof description - 1);
      messages.push_back(std::string(id) + ' ' + description);
    });
    return messages;
  }

 private:
  static std::unique_ptr<ZOVDiagnosticServices> prepare() {
    XFR1_InstallFaultHandlers();
    ZOVLock::init();
    return std::make_unique<ZOVDiagnostics>();
  }
};
