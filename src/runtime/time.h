#pragma once
// ZOVTime: a point in time, in RWTime seconds (0 is the null time), with the conversions of the agent's two
// boundaries: the framework's 16-character form "CYYMMDDHHMMSSmmm" in local time, and Java's milliseconds.

#include "foundation/string.h"
#include "foundation/time.h"

class ZOVTime {
 public:
  ZOVTime() = default;
  explicit ZOVTime(std::uint32_t seconds) : _seconds(seconds) {}
  ZOVTime(const RWTime& time) : _seconds(time.seconds()) {}  // NOLINT: implicit on purpose
  static ZOVTime currentTime() { return ZOVTime(RWTime::currentTime()); }

  std::uint32_t seconds() const { return _seconds; }
  long operator-(const ZOVTime& other) const {
    return static_cast<long>(_seconds) - static_cast<long>(other._seconds);
  }
  bool operator==(const ZOVTime&) const = default;

  /// Writes at most size - 1 characters and a zero byte. A null time leaves the buffer untouched.
  void getCTTime(char* buffer, int size) const;
  /// With fewer than 16 characters, or digits that make no date, the time becomes 0.
  void convertFromCTTime(const char* text);
  void convertFromJavaTime(long long milliseconds);  ///< out of range: the null time
  void extract(struct tm* out) const;                ///< local zone
  RWCString asString() const;                        ///< "MM/DD/YYYY HH:MM:SS", local

 private:
  std::uint32_t _seconds = 0;
};
