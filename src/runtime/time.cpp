#include "runtime/time.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>

#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVCTIME");

namespace {

constexpr std::size_t frameworkTimeLength = 16;  // "CYYMMDDHHMMSSmmm"

/// The decimal number in `digits`, or nothing when a character is no digit.
std::optional<unsigned int> number(std::string_view digits) {
  unsigned int value = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + static_cast<unsigned int>(c - '0');
  }
  return value;
}

}  // namespace

void ZOVTime::getCTTime(char* buffer, int size) const {
  if (_seconds == 0 || !buffer || size <= 0) return;
  struct tm fields {};
  extract(&fields);
  char text[frameworkTimeLength + 1] = {};
  std::strftime(text, sizeof text, "0%y%m%d%H%M%S000", &fields);
  if (text[1] != '9') text[0] = '1';
  std::replace(text, text + frameworkTimeLength, ' ', '0');
  const std::size_t length = std::min(frameworkTimeLength, static_cast<std::size_t>(size) - 1);
  std::memcpy(buffer, text, length);
  buffer[length] = 0;
}

void ZOVTime::convertFromCTTime(const char* text) {
  _seconds = 0;
  if (!text || strnlen(text, frameworkTimeLength) < frameworkTimeLength) return;
  const std::string_view fields(text, frameworkTimeLength);
  const auto year = number(fields.substr(0, 3));
  const auto month = number(fields.substr(3, 2));
  const auto day = number(fields.substr(5, 2));
  const auto hour = number(fields.substr(7, 2));
  const auto minute = number(fields.substr(9, 2));
  const auto second = number(fields.substr(11, 2));
  if (!year || !month || !day || !hour || !minute || !second) return;
  const RWDate date(*day, *month, *year + 1900);
  _seconds = RWTime::buildFrom(date, *hour, *minute, *second, RWZone::local()).seconds();
}

void ZOVTime::convertFromJavaTime(long long milliseconds) {
  const long long seconds = milliseconds / 1000;
  _seconds = seconds >= 0 && seconds <= UINT32_MAX ? static_cast<std::uint32_t>(seconds) : 0;
}

void ZOVTime::extract(struct tm* out) const {
  RWTime(_seconds).extract(out);
  if (traceUnit.on(DGT1_DETAIL)) SnapHex(traceUnit, out, sizeof *out, "struct tm:");
}

RWCString ZOVTime::asString() const {
  struct tm fields {};
  extract(&fields);
  return RWCString(DGT1_FormatText("%02d/%02d/%04d %02d:%02d:%02d", fields.tm_mon + 1, fields.tm_mday,
                                   fields.tm_year + 1900, fields.tm_hour, fields.tm_min, fields.tm_sec));
}
