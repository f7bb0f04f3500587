#pragma once
// ZOVDiagnostics: the log, the catalogue and the product events of one process, wired together for its
// environment. Any thread may call.

#include "collectors/product_event_collector.h"
#include "diag/agent_log.h"
#include "diag/messages.h"
#include "runtime/environment.h"

class ZOVDiagnostics : public ZOVDiagnosticServices {
 public:
  void logError(const char* file, const char* function, int line, int message,
                std::span<const DGT1_Arg> arguments) override;
  void retrieveString(char* result, char* localResult, int size, const char* const* table, const char* prefix,
                      int number) override;
  void open() override { _messages.open(); }
  void printMessages() override { _messages.print(); }
  RWCString fromLocal(const char* localText) override;
  ZOV_Agent_Log& log() override { return _log; }
  ZOV_Agent_Log_Messages& messages() override { return _messages; }
  ZOVProductEventCollector& productEvents() override { return _productEvents; }

 private:
  // In this order: the events go first, the log last.
  ZOV_Agent_Log _log{_messages, _productEvents};
  ZOV_Agent_Log_Messages _messages;
  ZOVProductEventCollector _productEvents;
};
