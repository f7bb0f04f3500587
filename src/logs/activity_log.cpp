#include "logs/activity_log.h"

#include <algorithm>
#include <charconv>

#include "diag/utf8_handler.h"
#include "platform/services.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVCLACT");

namespace zov {

namespace {

constexpr std::size_t LeastStamp = 21, MostStamp = 39;  // bytes between the brackets
constexpr std::size_t MostRest = 1024;                  // bytes behind them
constexpr std::size_t MostThread = 8, MostComponent = 13;
constexpr std::string_view LongFormMark = "source=";

constexpr bool isCapitalOrDigit(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ',';
}
constexpr bool isNoSmallLetter(char c) {
  return c < 'a' || c > 'z';
}

/// Takes an identifier, of letters that `belongs` takes, with its colon off the text; empty when there is
/// none, or nothing behind it.
template <class Belongs>
std::string_view takeId(std::string_view& text, Belongs belongs) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return {};
  const std::string_view id = text.substr(0, colon);
  const std::string_view behind = withoutLeadingBlanks(text.substr(colon + 1));
  if (id.empty() || behind.empty() || !std::ranges::all_of(id, belongs)) return {};
  text = behind;
  return id;
}

}  // namespace

LogFormat::Line ActivityLog::classify(std::string_view line) {
  if (line.starts_with('[')) return Line::Begins;
  return line.starts_with('*') ? Line::Ends : Line::Continues;
}

bool ActivityLog::isWhole(std::string_view record) const {
  return record.find('\n') + 1 < record.size() || record.find(LongFormMark) == std::string_view::npos;
}

bool ActivityLog::parse(std::string_view record, ZOVLogEventSample& event) {
  const std::size_t open = record.find('['), close = record.find(']');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) return false;
  const std::size_t length = close - open - 1;
  if (length < LeastStamp || length > MostStamp) return false;
  std::string_view stamp = record.substr(open + 1, length);
  const std::string_view date = takeWord(stamp), time = takeWord(stamp);
  const std::string_view rest = ZOVUTF8Handler::truncated(withoutLeadingBlanks(record.substr(close + 1)),
                                                          MostRest, ZOVUTF8Handler::TruncateEnd);
  if (withoutLeadingBlanks(stamp).empty() || rest.empty()) return false;

  const LogMoment moment = parseMoment(date, time);
  if (moment.second == ZOVTime()) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Invalid Date/Time.  Message ignored");
    return false;
  }
  event.setTimeStamp(&moment.second, moment.milliseconds);
  return rest.find(LongFormMark) == std::string_view::npos ? parsePlain(rest, event) : parseLong(rest, event);
}

bool ActivityLog::parsePlain(std::string_view rest, ZOVLogEventSample& event) {
  event.setThreadId(fromLocal(takeWord(rest, MostThread)));
  event.setComponent(fromLocal(takeWord(rest, MostComponent)));
  const std::string_view severity = takeWord(rest, 1);
  rest = withoutLeadingBlanks(rest);
  if (severity.empty() || rest.empty()) return false;
  event.setSeverity(logSeverity(severity.front()));
  const std::string_view id = takeId(rest, isCapitalOrDigit);
  setMessage(id, rest, event);
  return true;
}

bool ActivityLog::parseLong(std::string_view rest, ZOVLogEventSample& event) {
  event.setThreadId(fromLocal(takeWord(rest)));
  const std::string_view severity = takeWord(rest);
  takeWord(rest);
  rest = withoutLeadingBlanks(rest);
  const std::size_t equals = rest.find('=');
  if (severity.empty() || equals == std::string_view::npos) return false;
  rest.remove_prefix(equals + 1);
  const std::string_view source = takeWord(rest);
  event.setSeverity(logSeverity(severity.front()));
  event.setComponent(fromLocal(source.substr(source.rfind('.') + 1)));
  std::string_view line = rest.substr(std::min(rest.find('\n'), rest.size()));
  line = withoutLeadingBlanks(line);
  line = line.substr(0, line.find('\n'));
  const std::string_view id = takeId(line, isNoSmallLetter);
  setMessage(id, line, event);
  return true;
}

void ActivityLog::setMessage(std::string_view id, std::string_view text, ZOVLogEventSample& event) {
  event.setMsgId(fromLocal(id));
  event.setMessage(fromLocal(withoutTrailingBlanks(text)));
}

LogMoment ActivityLog::parseMoment(std::string_view date, std::string_view time) {
  unsigned int fields[4] = {};  // hour, minute, second, milliseconds
  const char* at = time.data();
  const char* const end = at + time.size();
  for (unsigned int& field : fields) {
    if (&field != fields && (at == end || *at++ != ':')) return {};
    const auto [next, error] = std::from_chars(at, end, field);
    if (error != std::errc()) return {};
    at = next;
  }
  const std::optional<RWDate> day = parseDate(date);
  return day ? _clock.moment(*day, fields[0], fields[1], fields[2], fields[3]) : LogMoment();
}

std::optional<RWDate> ActivityLog::parseDate(std::string_view date) {
  if (date == _dateText && !date.empty()) return _date;
  UErrorCode status = U_ZERO_ERROR;
  if (!_dateFormat) {
    _dateFormat.reset(
        icu::DateFormat::createDateInstance(icu::DateFormat::kShort, icu::Locale::getDefault()));
    if (!_dateFormat) return std::nullopt;
  }
  const std::string text(date);
  const UDate parsed = _dateFormat->parse(icu::UnicodeString(text.c_str()), status);
  if (U_FAILURE(status)) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "DateFormat::parse error: Date=<%s>, stat=<%i>", text.c_str(),
                static_cast<int>(status));
    return std::nullopt;
  }
  const auto seconds = static_cast<std::time_t>(parsed / U_MILLIS_PER_SECOND);
  struct tm fields = {};
  if (ARK_localtime(&seconds, &fields) != 0) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "ARK_localtime error: Date = <%s>, secs = <%ul>", text.c_str(),
                static_cast<unsigned long>(seconds));
    return std::nullopt;
  }
  _date = RWDate(static_cast<unsigned int>(fields.tm_mday), static_cast<unsigned int>(fields.tm_mon + 1),
                 static_cast<unsigned int>(fields.tm_year + 1900));
  _dateText = text;
  return _date;
}

}  // namespace zov
