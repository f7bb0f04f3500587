#include "runtime/mutex.h"

ZOVMutex::~ZOVMutex() {
  if (_valid) pthread_mutex_destroy(&_mutex);
}
