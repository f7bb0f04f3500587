#include "runtime/event.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "platform/clock.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCEVNT");

namespace {
constexpr long MicrosecondsPerSecond = 1'000'000;
constexpr long LongestWaitSeconds = 100L * 365 * 24 * 3600;

// A waiter that is cancelled owns the mutex when it unwinds.
class Locked {
 public:
  explicit Locked(pthread_mutex_t& mutex) : _mutex(mutex) { pthread_mutex_lock(&_mutex); }
  ~Locked() { pthread_mutex_unlock(&_mutex); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  pthread_mutex_t& _mutex;
};

int initialise(pthread_cond_t& condition, pthread_mutex_t& mutex) {
  pthread_condattr_t attributes;
  int error = pthread_condattr_init(&attributes);
  if (error != 0) return error;
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
  error = pthread_cond_init(&condition, &attributes);
  pthread_condattr_destroy(&attributes);
  if (error != 0) return error;
  error = pthread_mutex_init(&mutex, nullptr);
  if (error != 0) pthread_cond_destroy(&condition);
  return error;
}
}  // namespace

ZOVEvent::ZOVEvent() : _errorNumber(initialise(_condition, _mutex)), _valid(_errorNumber == 0) {}

ZOVEvent::~ZOVEvent() {
  if (!_valid) return;
  pthread_cond_destroy(&_condition);
  pthread_mutex_destroy(&_mutex);
}

int ZOVEvent::take() {
  return std::exchange(_posted, false);
}

void ZOVEvent::wait() {
  ZOV_TRACE(Minor);
  if (!_valid) return;
  Locked locked(_mutex);
  while (!_posted) pthread_cond_wait(&_condition, &_mutex);
  take();
}

void ZOVEvent::post() {
  ZOV_TRACE(Minor);
  if (!_valid) return;
  Locked locked(_mutex);
  _posted = true;
  pthread_cond_signal(&_condition);
}

void ZOVEvent::reset() {
  if (!_valid) return;
  Locked locked(_mutex);
  _posted = false;
}

int ZOVEvent::waitUntil(const struct timespec& deadline) {
  Locked locked(_mutex);
  int result = 0;
  while (result == 0 && !_posted) result = pthread_cond_timedwait(&_condition, &_mutex, &deadline);
  return take();
}

int ZOVEvent::waitWithTimeout(long seconds) {
  ZOV_TRACE(Minor);
  if (!_valid) return 0;
  return waitUntil(ZOVClock::deadlineIn(std::chrono::seconds(std::clamp(seconds, 0L, LongestWaitSeconds))));
}

int ZOVEvent::waitWithMillisecondTimeout(long milliseconds) {
  ZOV_TRACE(Minor);
  if (!_valid) return 0;
  const long wait = std::clamp(milliseconds, -1L, 10'000L) * 1000;
  long sum = ZOVClock::microseconds() % MicrosecondsPerSecond + wait;
  if (sum >= MicrosecondsPerSecond) sum -= MicrosecondsPerSecond;
  const bool rolledOver = sum < 0 || sum >= MicrosecondsPerSecond;
  return waitUntil(ZOVClock::deadlineIn(std::chrono::microseconds(rolledOver ? 0 : wait)));
}
