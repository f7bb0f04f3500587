#pragma once
// ZOVEvent: an auto-reset event. A post with no waiter stays until the next wait; one post releases one
// waiter. Waits are counted on the steady clock, so a step of the wall clock neither cuts nor stretches them.

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
  /// Non-zero when posted, 0 for a time-out. Clears the post. Below one second it only looks.
  virtual int waitWithTimeout(long seconds);
  /// The same in milliseconds, for waits of less than a second. The milliseconds are added to the
  /// microseconds of the wall clock, and the sum carries one second only: a longer wait may end at once.
  virtual int waitWithMillisecondTimeout(long milliseconds);

  bool isValid() const { return _valid; }
  int getErrorCode() const { return _errorNumber; }

 private:
  int waitUntil(const struct timespec& deadline);  // on the steady clock
  int take();                                      // with _mutex held

  pthread_cond_t _condition;
  pthread_mutex_t _mutex;
  int _errorNumber = 0;
  bool _posted = false;  // guarded by _mutex
  bool _valid;
};
