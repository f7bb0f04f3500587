#pragma once
// What makes ThreadCreationFails work in an executable: included by one of its source files.

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>

#include "support/thread_creation.h"

constinit thread_local bool ThreadCreationFails::active = false;

// Stands before the system's, which it finds behind itself.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) noexcept {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  return ThreadCreationFails::active ? EAGAIN : create(thread, attributes, start, argument);
}
