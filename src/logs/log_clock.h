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
  /// Takes a time off the text, as the Java logging libraries write it: "23-Nov-2026 10:08:28.123",
  /// "2026-11-23 10:08:28,123", "2026-11-23T10:08:28.123456Z" or with "+01:00", each with or without what is
  /// behind the seconds; or "10:08:28.123", which is the last such time that is not to come.
  LogMoment take(std::string_view& text);
  /// Milliseconds since 1970-01-01 UTC.
  static LogMoment fromEpoch(long long milliseconds);

 private:
  RWDate _date{0, 0, 0};
  unsigned int _minuteOfDay = 0;
  ZOVTime _minute;  // the null time: none is kept
};

}  // namespace zov
