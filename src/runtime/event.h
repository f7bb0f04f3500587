#pragma once
// ZOVEvent: an auto-reset event. A post with no waiter stays until the next wait; one post releases one
// waiter.

#include <pthread.h>

#include "runtime/collectable.h"

class ZOVEvent : public ZOVCollectable {
 public:
  ZOVEvent();
  ~ZOVEvent() override;
  ZOVEvent(const ZOVEvent&) = delete;
  ZOVEvent& operator=(const ZOVEvent&) = delete;
  RWClassID isA() const override { return 32702; }
  bool isEqual(const RWCollectable* other) const override { return this == other; }

  virtual void wait();  ///< until posted; clears the post
  virtual void post();
  virtual void reset();  ///< forgets a post
  /// Non-zero when posted, 0 for a time-out. Clears the post.
  virtual int waitWithTimeout(long seconds);
  virtual int waitWithMillisecondTimeout(long milliseconds);

 private:
  int waitUntil(const struct timespec& deadline);

  pthread_cond_t _condition;
  pthread_mutex_t _mutex;
  int _errorNumber = 0;
  int _posted = 0;  // guarded by _mutex
  int _valid = 0;
};
