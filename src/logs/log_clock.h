#pragma once
// zov::LogClock: the times of a log's records. Local time unless a zone is given. Used by one thread at a
// time; keeps the last minute, since a calendar is slow and most records share theirs with the one before.

#include <string_view>

#include "runtime/time.h"

namespace zov {

/// The null time where it is none.
struct LogMoment {
  ZOVTime second;
  int milliseconds = 0;
};

class LogClock {
 public:
  /// A local date and time.
  LogMoment moment(const RWDate& date, unsigned int hour, unsigned int minute, unsigned int second,
                   unsigned int milliseconds);

 private:
  RWDate _date{0, 0, 0};
  unsigned int _minuteOfDay = 0;
  ZOVTime _minute;  // the null time: none is kept
};

}  // namespace zov
