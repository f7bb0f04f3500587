#pragma once
// zov::MessageRate: keeps messages of one kind, which a peer can cause at will, from filling the log: so many
// go in a period, and the others are counted. Any thread may ask; a leaf mutex guards the counts. Runs on
// steady time.

#include "platform/clock.h"
#include "platform/mutex.h"
#include "platform/trace.h"

namespace zov {

class MessageRate {
 public:
  static constexpr unsigned PerSecond = 10;
  explicit MessageRate(unsigned most = PerSecond, std::chrono::seconds period = std::chrono::seconds(1))
      : _most(most), _period(period) {}

  /// True when the message may go; otherwise it is counted.
  bool admit();
  /// How many were left out and have not been told yet; 0 while more of them may still follow.
  unsigned takeLeftOut();

 private:
  bool periodIsOver() const ZOV_REQUIRES(_mutex);

  const unsigned _most;
  const std::chrono::seconds _period;
  Mutex _mutex;
  ZOVClock::Steady _begin ZOV_GUARDED_BY(_mutex){};  // of the present period
  unsigned _admitted ZOV_GUARDED_BY(_mutex) = 0;     // in it
  unsigned _leftOut ZOV_GUARDED_BY(_mutex) = 0;
};

}  // namespace zov

/// DGT1_Printf for a line that a peer can cause: ten a second from one place, with a count of the others.
#define DGT1_PrintfLimited(unit, flags, ...)                                                        \
  do {                                                                                              \
    static zov::MessageRate rate;                                                                   \
    if (!(unit).on(flags) || !rate.admit()) break;                                                  \
    const unsigned leftOut = rate.takeLeftOut();                                                    \
    if (leftOut > 0) DGT1_Print((unit), __LINE__, "%u lines like the next were left out", leftOut); \
    DGT1_Print((unit), DGT1_Line::of(__LINE__, flags), __VA_ARGS__);                                \
  } while (false)
