#include "logs/json_log.h"

#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <charconv>

#include "logs/pattern_log.h"

namespace zov {

namespace {

constexpr int MostDepth = 32;
constexpr std::string_view Seconds = "epochSecond",
                           Nanoseconds = "nanoOfSecond";  // of a time that is an object

enum class Member { Time, Thread, Logger, Level, Message };
struct MemberName {
  std::string_view key;
  Member member;
};
constexpr MemberName Members[] = {{"@timestamp", Member::Time},
                                  {"timestamp", Member::Time},
                                  {"time", Member::Time},
                                  {"thread", Member::Thread},
                                  {"thread_name", Member::Thread},
                                  {"threadName", Member::Thread},
                                  {"process.thread.name", Member::Thread},
                                  {"logger", Member::Logger},
                                  {"logger_name", Member::Logger},
                                  {"loggerName", Member::Logger},
                                  {"log.logger", Member::Logger},
                                  {"level", Member::Level},
                                  {"log.level", Member::Level},
                                  {"severity", Member::Level},
                                  {"message", Member::Message},
                                  {"msg", Member::Message},
                                  {"formattedMessage", Member::Message}};

/// Takes a character off the text, behind blanks.
bool takeCharacter(std::string_view& text, char wanted) {
  text = withoutLeadingBlanks(text);
  if (!text.starts_with(wanted)) return false;
  text.remove_prefix(1);
  return true;
}

/// 0 for what is no number, or a negative one.
long long numberOf(std::string_view digits) {
  long long number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return std::max(number, 0LL);
}

/// Takes four hexadecimal digits off the text; -1 when they are not there.
UChar32 takeUnit(std::string_view& text) {
  UChar32 unit = -1;
  const std::string_view digits = text.substr(0, 4);
  const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16).ptr;
  if (digits.size() < 4 || end != digits.data() + 4) return -1;
  text.remove_prefix(4);
  return unit;
}

/// Takes what stands behind "\u" off the text, also of a pair; what is no character is replaced.
bool takeEscapedCharacter(std::string_view& text, std::string& out) {
  constexpr UChar32 Replacement = 0xFFFD;
  UChar32 character = takeUnit(text);
  if (character < 0) return false;
  if (U16_IS_LEAD(character) && text.starts_with("\\u")) {
    std::string_view behind = text.substr(2);
    const UChar32 trail = takeUnit(behind);
    if (trail >= 0 && U16_IS_TRAIL(trail)) {
      character = U16_GET_SUPPLEMENTARY(character, trail);
      text = behind;
    }
  }
  if (U_IS_SURROGATE(character)) character = Replacement;
  char bytes[U8_MAX_LENGTH];
  std::size_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, character);
  out.append(bytes, length);
  return true;
}

}  // namespace

bool JsonLog::parse(std::string_view record, ZOVLogEventSample& event) {
  _event = &event;
  _moment = {};
  _hasMessage = false;
  event.setThreadId({});
  event.setComponent({});
  event.setSeverity(0);
  takeMembers(record, 0);  // of an object that was cut what is there counts
  if (_moment.second == ZOVTime() || !_hasMessage) return false;
  event.setTimeStamp(&_moment.second, _moment.milliseconds);
  return true;
}

bool JsonLog::takeMembers(std::string_view& text, int depth) {
  if (!takeCharacter(text, '{')) return false;
  if (takeCharacter(text, '}')) return true;
  do {
    if (!takeCharacter(text, '"') || !takeString(text, _key)) return false;
    if (!takeCharacter(text, ':') || !takeValue(text, depth)) return false;
  } while (takeCharacter(text, ','));
  return takeCharacter(text, '}');
}

bool JsonLog::takeValue(std::string_view& text, int depth) {
  if (depth > MostDepth) return false;
  text = withoutLeadingBlanks(text);
  if (text.starts_with('{')) return takeMembers(text, depth + 1);
  if (takeCharacter(text, '[')) {
    if (takeCharacter(text, ']')) return true;
    do {
      if (!takeValue(text, depth + 2)) return false;  // deeper than what is read
    } while (takeCharacter(text, ','));
    return takeCharacter(text, ']');
  }
  const bool isText = takeCharacter(text, '"');
  if (isText && !takeString(text, _value)) return false;
  if (!isText) {
    _value.assign(text.substr(0, text.find_first_of(",]} \t\r\n")));
    text.remove_prefix(_value.size());
    if (_value.empty()) return false;
  }
  setMember(depth, isText);
  return true;
}

/// Takes a string, from behind its first quote, off the text.
bool JsonLog::takeString(std::string_view& text, std::string& out) {
  constexpr std::string_view Escapes = "\"\\/bfnrt", Meanings = "\"\\/\b\f\n\r\t";
  out.clear();
  for (;;) {
    const std::size_t length = text.find_first_of("\"\\");
    if (length == std::string_view::npos) return false;
    out.append(text.substr(0, length));
    text.remove_prefix(length);
    if (takeCharacter(text, '"')) return true;
    const char escape = text.size() > 1 ? text[1] : '\0';
    text.remove_prefix(std::min<std::size_t>(text.size(), 2));
    if (escape == 'u') {
      if (!takeEscapedCharacter(text, out)) return false;
      continue;
    }
    const std::size_t known = Escapes.find(escape);
    if (known == std::string_view::npos) return false;
    out += Meanings[known];
  }
}

void JsonLog::setMember(int depth, bool isText) {
  if (depth == 1 && _key == Seconds) {
    const long long seconds = numberOf(_value);
    _moment.second = ZOVTime(seconds <= UINT32_MAX ? static_cast<std::uint32_t>(seconds) : 0);
  }
  if (depth == 1 && _key == Nanoseconds) {
    _moment.milliseconds = static_cast<int>(numberOf(_value) / 1'000'000 % 1000);
  }
  const auto* const known = std::ranges::find(Members, _key, &MemberName::key);
  if (depth > 0 || known == std::end(Members)) return;
  std::string_view value = _value;
  switch (known->member) {
    case Member::Time:
      _moment = isText ? _clock.take(value) : LogClock::fromEpoch(numberOf(value));
      break;
    case Member::Thread:
      _event->setThreadId(value);
      break;
    case Member::Logger:
      setLogComponent(value, *_event);
      break;
    case Member::Level:
      _event->setSeverity(logSeverityOfLevel(value).value_or(0));
      break;
    case Member::Message:
      _event->setMessage(withoutTrailingBlanks(value));
      _hasMessage = true;
      break;
  }
}

}  // namespace zov
