#include "logs/log_clock.h"

namespace zov {

namespace {

bool areSame(const RWDate& a, const RWDate& b) {
  return a.dayOfMonth() == b.dayOfMonth() && a.month() == b.month() && a.year() == b.year();
}

}  // namespace

LogMoment LogClock::moment(const RWDate& date, unsigned int hour, unsigned int minute, unsigned int second,
                           unsigned int milliseconds) {
  if (minute > 59 || second > 60 || milliseconds > 999) return {};
  const unsigned int minuteOfDay = hour * 60 + minute;
  if (_minute == ZOVTime() || minuteOfDay != _minuteOfDay || !areSame(date, _date)) {
    _minute = RWTime::buildFrom(date, hour, minute, 0, RWZone::local());
    if (_minute == ZOVTime()) return {};
    _date = date;
    _minuteOfDay = minuteOfDay;
  }
  return {ZOVTime(_minute.seconds() + second), static_cast<int>(milliseconds)};
}

}  // namespace zov
