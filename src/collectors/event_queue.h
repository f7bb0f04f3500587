#pragma once
// zov::EventQueue: events of one kind on their way to the framework, and the latest of them for queries. An
// event that is refused waits (at most 100 do, the oldest being dropped) and is offered again before the next
// one, so that order holds. What is retained is overwritten in place, so that a full queue takes no storage.
//
// Any thread may call. One lock guards both lists; it nests, is held exclusively for changes, and while an
// event is emitted.

#include <atomic>
#include <list>

#include "runtime/lock.h"
#include "runtime/recovery.h"
#include "runtime/return_code.h"

class ZOVApplicationServerBase;

namespace zov {

template <class Sample>
class EventQueue {
 public:
  static constexpr std::size_t MaximumPending = 100;
  /// Pushes an event of a server, or of none; answers 0, or the return code of its refusal.
  using Emitter = unsigned int (*)(const Sample* sample, const ZOVApplicationServerBase* server);

  /// Retains at most `maximum` events; below 1 none. `server` is handed to the emitter.
  EventQueue(const char* lockName, int maximum, const ZOVApplicationServerBase* server)
      : _lock(lockName), _maxSamples(maximum), _server(server) {}
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;

  /// Installs the way to the framework, for all queues of the kind; null takes it away. While there is none
  /// every event waits.
  static void setEmitter(Emitter emitter) { currentEmitter.store(emitter); }

  /// Offers the event to the framework, and retains it. The answer is the framework's.
  unsigned int insertSample(const Sample& sample) {
    return holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) -> unsigned int {
      unsigned int code = release();
      if (code == ZOV_OK) code = emit(sample);
      if (code != ZOV_OK) append(_pendingSamples, MaximumPending, sample);
      if (_maxSamples > 0) append(_samples, static_cast<std::size_t>(_maxSamples), sample);
      return code;
    });
  }
  /// Offers the waiting events, the oldest first, until one is refused, whose code is the answer.
  unsigned int releasePendingSamples() {
    return holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) { return release(); });
  }
  /// Sets how many events are retained, and drops the oldest so that one more has room; below 1 retains none.
  void setMaxSamples(int maximum) {
    holding(_lock, Exclusive, [&]() ZOV_REQUIRES(_lock) {
      _maxSamples = maximum;
      while (!_samples.empty() && static_cast<long>(_samples.size()) >= maximum) _samples.pop_front();
    });
  }
  /// Calls visitor(const Sample&) for each retained event, the oldest first, with the lock held.
  template <class Visitor>
  void forEachSample(Visitor&& visitor) {
    holding(_lock, Shared, [&]() ZOV_REQUIRES_SHARED(_lock) {
      for (const Sample& sample : _samples) visitor(sample);
    });
  }

 private:
  unsigned int emit(const Sample& sample) const {
    const Emitter emitter = currentEmitter.load();
    return emitter ? emitter(&sample, _server) : static_cast<unsigned int>(ZOV_EVENT_ERROR);
  }
  unsigned int release() ZOV_REQUIRES(_lock) {
    while (!_pendingSamples.empty()) {
      if (const unsigned int code = emit(_pendingSamples.front())) return code;
      _pendingSamples.pop_front();
    }
    return ZOV_OK;
  }
  /// Keeps the sample as the newest, in the place of the oldest when there are `most`.
  static void append(std::list<Sample>& samples, std::size_t most, const Sample& sample) {
    if (samples.size() < most) {
      samples.push_back(sample);
      return;
    }
    samples.splice(samples.end(), samples, samples.begin());
    samples.back() = sample;
  }

  static inline std::atomic<Emitter> currentEmitter{nullptr};

  ZOVLock _lock;
  std::list<Sample> _samples ZOV_GUARDED_BY(_lock);         // the oldest first
  std::list<Sample> _pendingSamples ZOV_GUARDED_BY(_lock);  // likewise
  int _maxSamples ZOV_GUARDED_BY(_lock);
  const ZOVApplicationServerBase* const _server;
};

}  // namespace zov
