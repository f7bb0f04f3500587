#pragma once
// ZOVProductEventCollector: takes the messages of the agent and of its data collectors as product events,
// which its queue pushes to the framework and retains. Any thread may post.

#include "collectors/event_queue.h"
#include "collectors/product_event_sample.h"
#include "diag/agent_log.h"
#include "runtime/memory_manager.h"

class ZOVProductEventCollector : public ZOVMemoryManager,
                                 public ZOVMessageReceiver,
                                 public zov::EventQueue<ZOVProductEventSample> {
 public:
  ZOVProductEventCollector() : EventQueue("ProductEventCollector", 20, nullptr) {}

  /// Makes an event of a message, which begins with its identifier, and inserts it. Answers 0.
  int postProductEvent(const char* file, const char* function, int line, const struct tm* when, int severity,
                       const char* message) override;
};
