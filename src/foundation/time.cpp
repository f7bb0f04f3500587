#include "foundation/time.h"

#include "platform/clock.h"
#include "platform/services.h"

namespace {

/// Seconds of the fields; 0 outside the range of an RWTime.
std::uint32_t secondsOf(struct tm fields, const RWZone& zone) {
  fields.tm_isdst = -1;
  const std::time_t seconds = zone.isUtc() ? timegm(&fields) : mktime(&fields);
  return seconds >= 0 && seconds <= UINT32_MAX ? static_cast<std::uint32_t>(seconds) : 0;
}

unsigned int daysOf(unsigned int month, unsigned int year) {
  if (month == 2) return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

bool isDate(const RWDate& date) {
  return date.year() >= 1969 && date.year() <= 2107 && date.month() >= 1 && date.month() <= 12 &&
         date.dayOfMonth() >= 1 && date.dayOfMonth() <= daysOf(date.month(), date.year());
}

}  // namespace

const RWZone& RWZone::local() {
  static const RWZone zone(false);
  return zone;
}

const RWZone& RWZone::utc() {
  static const RWZone zone(true);
  return zone;
}

RWTime::RWTime(const struct tm& fields, const RWZone& zone) : _seconds(secondsOf(fields, zone)) {}

RWTime RWTime::buildFrom(const RWDate& date, unsigned int hour, unsigned int minute, unsigned int second,
                         const RWZone& zone) {
  if (!isDate(date) || hour > 23 || minute > 59 || second > 60) return {};
  struct tm fields {};
  fields.tm_year = static_cast<int>(date.year()) - 1900;
  fields.tm_mon = static_cast<int>(date.month()) - 1;
  fields.tm_mday = static_cast<int>(date.dayOfMonth());
  fields.tm_hour = static_cast<int>(hour);
  fields.tm_min = static_cast<int>(minute);
  fields.tm_sec = static_cast<int>(second);
  return RWTime(fields, zone);
}

RWTime RWTime::currentTime() {
  return RWTime(ZOVClock::seconds());
}

void RWTime::extract(struct tm* out, const RWZone& zone) const {
  const std::time_t seconds = _seconds;
  if (zone.isUtc()) {
    gmtime_r(&seconds, out);
  } else {
    ARK_localtime(&seconds, out);
  }
}
