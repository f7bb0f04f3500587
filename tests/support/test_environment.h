#pragma once
// An agent environment for tests: everything of the runtime is real, and what would go to the log is
// recorded.
//
//   TestEnvironment environment;
//   ... provoke a failure ...
//   EXPECT_EQ(environment.recorded().loggedNumbers(), std::vector<int>{2});

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/frames.h"
#include "runtime/environment.h"
#include "runtime/return_code.h"

/// Faults, whatever the build checks for.
__attribute__((noinline, no_sanitize("undefined", "thread", "address"))) inline void storeToNull() {
  volatile int* volatile null = nullptr;
  *null = 1;
}

/// A message as it was given to the log: its number, and the arguments as text.
struct LoggedMessage {
  int number;
  std::vector<std::string> arguments;
};

class RecordingServices : public ZOVDiagnosticServices {
 public:
  std::vector<LoggedMessage> logged() const {
    const std::scoped_lock lock(_mutex);
    return _logged;
  }
  std::vector<int> loggedNumbers() const {
    std::vector<int> numbers;
    for (const LoggedMessage& message : logged()) numbers.push_back(message.number);
    return numbers;
  }

  void logError(const char*, const char*, int, int message, std::span<const DGT1_Arg> arguments) override {
    LoggedMessage entry{message, {}};
    for (const DGT1_Arg& argument : arguments) {
      entry.arguments.push_back(
          DGT1_Format(argument.kind == DGT1_Arg::Kind::Text ? "%s" : "%i", &argument, 1));
    }
    const std::scoped_lock lock(_mutex);
    _logged.push_back(std::move(entry));
  }
  void retrieveString(char* result, char* localResult, int size, const char* const* table, const char*,
                      int number) override {
    std::snprintf(result, static_cast<std::size_t>(size), "%s", table[number]);
    std::snprintf(localResult, static_cast<std::size_t>(size), "%s", table[number]);
  }
  void open() override {}
  void printMessages() override {}
  RWCString fromLocal(const char* localText) override { return RWCString(localText); }
  ZOV_Agent_Log& log() override { std::abort(); }  // the rooms above bring their own
  ZOV_Agent_Log_Messages& messages() override { std::abort(); }
  ZOVProductEventCollector& productEvents() override { std::abort(); }

 private:
  mutable std::mutex _mutex;
  std::vector<LoggedMessage> _logged;
};

class TestEnvironment : public ZOVAgentEnvironment {
 public:
  explicit TestEnvironment(
      std::unique_ptr<RecordingServices> services = std::make_unique<RecordingServices>())
      : ZOVAgentEnvironment(prepare(services)) {}
  using ZOVAgentEnvironment::setInternalTrace;
  RecordingServices& recorded() { return static_cast<RecordingServices&>(services()); }

 private:
  static std::unique_ptr<ZOVDiagnosticServices> prepare(std::unique_ptr<RecordingServices>& services) {
    XFR1_InstallFaultHandlers();
    return std::move(services);
  }
};
