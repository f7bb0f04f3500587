#pragma once
// RWTime, RWDate, RWZone: seconds since 1970-01-01 UTC in unsigned 32 bits, calendar dates, and the two zones
// in use. 0 is the null time.

#include <cstdint>
#include <ctime>

class RWZone {
 public:
  static const RWZone& local();
  static const RWZone& utc();
  bool isUtc() const { return _utc; }

 private:
  explicit RWZone(bool isUtcZone) : _utc(isUtcZone) {}
  bool _utc;
};

class RWDate {
 public:
  RWDate(unsigned int day, unsigned int month, unsigned int year) : _day(day), _month(month), _year(year) {}
  unsigned int dayOfMonth() const { return _day; }
  unsigned int month() const { return _month; }  ///< 1 to 12
  unsigned int year() const { return _year; }    ///< with the century

 private:
  unsigned int _day, _month, _year;
};

class RWTime {
 public:
  RWTime() = default;
  explicit RWTime(std::uint32_t secondsSince1970) : _seconds(secondsSince1970) {}
  RWTime(const struct tm& fields, const RWZone& zone);
  /// 0 when the date is before 1970 or past the range.
  static RWTime buildFrom(const RWDate& date, unsigned int hour, unsigned int minute, unsigned int second,
                          const RWZone& zone);
  static RWTime currentTime();  ///< through ZOVClock
  std::uint32_t seconds() const { return _seconds; }
  void extract(struct tm* out, const RWZone& zone = RWZone::local()) const;

 private:
  std::uint32_t _seconds = 0;
};
