#pragma once
// ZOVProductEventCollector: takes the messages of the agent and of its data collectors, pushes each to the
// framework as an event, and retains the latest few for queries. An event that is refused waits (at most 100
// do, the oldest being dropped) and is offered again before the next one, so that order holds.
//
// Any thread may post. One lock, held exclusively, guards both queues; it nests, and is held while an event
// is emitted.

#include "collectors/product_event_sample.h"
#include "diag/agent_log.h"
#include "foundation/collections.h"
#include "runtime/lock.h"
#include "runtime/memory_manager.h"
#include "runtime/recovery.h"

class ZOVApplicationServer;

class ZOVProductEventCollector : public ZOVMemoryManager, public ZOVMessageReceiver {
 public:
  static constexpr std::size_t MaximumPending = 100;
  static constexpr std::size_t MaximumText =
      256;  ///< bytes of a text, as many as its column holds; the rest is cut
  /// Pushes an event; answers 0, or the return code of its refusal.
  using Emitter = unsigned int (*)(const ZOVProductEventSample* sample, const ZOVApplicationServer* server);

  ~ZOVProductEventCollector() override;

  /// Installs the way to the framework, for all collectors; null takes it away. While there is none every
  /// event waits.
  static void setEmitter(Emitter emitter);

  /// Makes an event of a message, which begins with its identifier, and inserts it. Answers 0.
  int postProductEvent(const char* file, const char* function, int line, const struct tm* when, int severity,
                       const char* message) override;
  /// Takes over the sample: offers it to the framework, and retains it. The answer is the framework's.
  unsigned int insertSample(ZOVProductEventSample* sample);
  /// Offers the waiting events, the oldest first, until one is refused, whose code is the answer.
  unsigned int releasePendingSamples();
  /// Sets how many events are retained, and drops the oldest so that one more has room; below 1 retains none.
  void setMaxSamples(int maximum);

  /// Calls visitor(const ZOVProductEventSample&) for each retained event, the oldest first, with the lock
  /// held.
  template <class Visitor>
  void forEachSample(Visitor&& visitor) {
    holding(_lock, Exclusive, [&] {
      RWSlistCollectablesIterator next(_samples);
      while (RWCollectable* sample = next()) visitor(static_cast<const ZOVProductEventSample&>(*sample));
    });
  }

 private:
  void retain(ZOVProductEventSample* sample);

  RWSlistCollectablesQueue _samples;
  RWSlistCollectablesQueue _pendingSamples;
  ZOVLock _lock{"ProductEventCollector"};
  int _maxSamples = 20;
};
