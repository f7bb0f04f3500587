#pragma once
// While one lives, pthread_create fails for the calling thread.

class ThreadCreationFails {
 public:
  ThreadCreationFails() { active = true; }
  ~ThreadCreationFails() { active = false; }
  ThreadCreationFails(const ThreadCreationFails&) = delete;
  ThreadCreationFails& operator=(const ThreadCreationFails&) = delete;
  static constinit thread_local bool active;
};
