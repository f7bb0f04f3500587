#pragma once
// Basic services: environment variables, plain locks, sleep, local time.

#include <pthread.h>

#include <ctime>

#include "platform/thread_annotations.h"

/// The value of an environment variable, or `defaultValue` when it is unset. The text is good until the
/// variable is changed.
const char* OSL1_GetEnv(const char* name, const char* defaultValue);

/// A plain mutual exclusion of the service family; not recursive.
struct ZOV_CAPABILITY("mutex") OSL1_Lock {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};
void OSL1_GetLock(OSL1_Lock* lock) ZOV_ACQUIRE(*lock);
void OSL1_ReleaseLock(OSL1_Lock* lock) ZOV_RELEASE(*lock);
void OSL1_DestroyLock(OSL1_Lock* lock);

/// Blocks the thread for whole seconds; a signal does not cut it short.
void OSL1_Sleep(unsigned int seconds);

/// As localtime_r; non-zero on failure.
int ARK_localtime(const std::time_t* time, struct tm* out);
