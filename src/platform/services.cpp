#include "platform/services.h"

#include <cstdlib>

#include "platform/clock.h"

const char* OSL1_GetEnv(const char* name, const char* defaultValue) {
  const char* value = std::getenv(name);
  return value ? value : defaultValue;
}

void OSL1_GetLock(OSL1_Lock* lock) ZOV_NO_THREAD_SAFETY_ANALYSIS {
  pthread_mutex_lock(&lock->mutex);
}
void OSL1_ReleaseLock(OSL1_Lock* lock) ZOV_NO_THREAD_SAFETY_ANALYSIS {
  pthread_mutex_unlock(&lock->mutex);
}
void OSL1_DestroyLock(OSL1_Lock* lock) {
  pthread_mutex_destroy(&lock->mutex);
}

void OSL1_Sleep(unsigned int seconds) {
  ZOVClock::sleepFor(std::chrono::seconds(seconds));
}

int ARK_localtime(const std::time_t* time, struct tm* out) {
  return time && out && localtime_r(time, out) ? 0 : -1;
}
