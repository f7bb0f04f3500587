#include "logs/log_clock.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <optional>

#include "platform/clock.h"

namespace zov {

namespace {

bool areSame(const RWDate& a, const RWDate& b) {
  return a.dayOfMonth() == b.dayOfMonth() && a.month() == b.month() && a.year() == b.year();
}

constexpr std::string_view Months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr unsigned int SecondsOfDay = 86400;
/// How far ahead of the agent's clock a time without a date may be before it is of the day before.
constexpr unsigned int MostAhead = 3600;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Takes a form off the text: each "0" is a digit, "M" the name of a month, and all else stands for itself.
/// Answers the numbers in it, in order, or nothing with the text as it was.
template <std::size_t Count>
std::optional<std::array<unsigned int, Count>> takeForm(std::string_view& text, std::string_view form) {
  std::array<unsigned int, Count> numbers = {};
  std::size_t number = 0, at = 0;
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (at >= text.size()) return std::nullopt;
    if (form[i] == 'M') {
      const auto month = std::ranges::find(Months, text.substr(at, 3));
      if (month == std::end(Months)) return std::nullopt;
      numbers[number++] = static_cast<unsigned int>(month - std::begin(Months)) + 1;
      at += 3;
    } else if (form[i] == '0') {
      if (!isDigit(text[at])) return std::nullopt;
      numbers[number] = numbers[number] * 10 + static_cast<unsigned int>(text[at++] - '0');
      if (i + 1 == form.size() || form[i + 1] != '0') ++number;
    } else if (text[at++] != form[i]) {
      return std::nullopt;
    }
  }
  text.remove_prefix(at);
  return numbers;
}

/// Takes a point or a comma with the digits behind it off the text.
unsigned int takeMilliseconds(std::string_view& text) {
  if (text.size() < 2 || (text[0] != '.' && text[0] != ',') || !isDigit(text[1])) return 0;
  text.remove_prefix(1);
  unsigned int milliseconds = 0;
  std::size_t digits = 0;
  for (; digits < text.size() && isDigit(text[digits]); ++digits) {
    if (digits < 3) milliseconds = milliseconds * 10 + static_cast<unsigned int>(text[digits] - '0');
  }
  text.remove_prefix(digits);
  for (; digits < 3; ++digits) milliseconds *= 10;
  return milliseconds;
}

/// Takes a zone off the text: seconds ahead of UTC.
std::optional<int> takeZone(std::string_view& text) {
  if (takeForm<1>(text, "Z")) return 0;
  if (!text.starts_with('+') && !text.starts_with('-')) return std::nullopt;
  const int sign = text.front() == '+' ? 1 : -1;
  std::string_view behind = text.substr(1);
  auto offset = takeForm<2>(behind, "00:00");
  if (!offset) {
    const auto digits = takeForm<1>(behind, "0000");
    if (!digits) return std::nullopt;
    offset = {(*digits)[0] / 100, (*digits)[0] % 100};
  }
  text = behind;
  return sign * static_cast<int>((*offset)[0] * 3600 + (*offset)[1] * 60);
}

RWDate dateOf(const RWTime& time) {
  struct tm fields = {};
  time.extract(&fields);
  return {static_cast<unsigned int>(fields.tm_mday), static_cast<unsigned int>(fields.tm_mon + 1),
          static_cast<unsigned int>(fields.tm_year + 1900)};
}

/// Takes a date with what parts it from the time off the text.
std::optional<RWDate> takeDate(std::string_view& text) {
  if (const auto date = takeForm<3>(text, "00-M-0000 ")) return RWDate((*date)[0], (*date)[1], (*date)[2]);
  auto date = takeForm<3>(text, "0000-00-00 ");
  if (!date) date = takeForm<3>(text, "0000-00-00T");
  if (!date) return std::nullopt;
  return RWDate((*date)[2], (*date)[1], (*date)[0]);
}

}  // namespace

LogMoment LogClock::take(std::string_view& text) {
  std::string_view rest = text;
  const std::optional<RWDate> date = takeDate(rest);
  const auto time = takeForm<3>(rest, "00:00:00");
  if (!time) return {};
  const auto [hour, minute, second] = *time;
  const unsigned int milliseconds = takeMilliseconds(rest);
  LogMoment result;
  if (!date) {
    const RWTime now = RWTime::currentTime();
    result = moment(dateOf(now), hour, minute, second, milliseconds);
    if (result.second.seconds() > now.seconds() + MostAhead) {
      result = moment(dateOf(RWTime(now.seconds() - SecondsOfDay)), hour, minute, second, milliseconds);
    }
  } else if (const auto zone = takeZone(rest)) {
    const RWTime utc = RWTime::buildFrom(*date, hour, minute, second, RWZone::utc());
    if (utc.seconds() == 0) return {};
    result = {ZOVTime(utc.seconds() - static_cast<std::uint32_t>(*zone)), static_cast<int>(milliseconds)};
  } else {
    result = moment(*date, hour, minute, second, milliseconds);
  }
  if (result.second != ZOVTime()) text = rest;
  return result;
}

LogMoment LogClock::fromEpoch(long long milliseconds) {
  LogMoment result;
  result.second.convertFromJavaTime(milliseconds);
  result.milliseconds = static_cast<int>(milliseconds % 1000);
  return result;
}

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
