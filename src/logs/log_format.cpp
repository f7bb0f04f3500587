#include "logs/log_format.h"

#include <unicode/utf8.h>

#include <algorithm>

#include "diag/utf8_handler.h"
#include "logs/activity_log.h"
#include "logs/json_log.h"
#include "logs/pattern_log.h"
#include "platform/language.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVCLFMT");

namespace zov {

namespace {

struct Severity {
  char letter;
  int value;
};
constexpr Severity SeverityTable_V5[] = {{'A', 20}, {'I', 1}, {'W', 21}, {'E', 22}, {'F', 24}, {'O', 4},
                                         {'R', 5},  {'U', 6}, {'Z', 99}, {'>', 10}, {'<', 11}, {'e', 12},
                                         {'d', 13}, {'m', 3}, {'u', 2},  {'Z', 99}};
/// What the letters meant to servers before that; kept for reference.
[[maybe_unused]] constexpr Severity SeverityTable_preV5[] = {{'>', 10}, {'<', 11}, {'A', 20}, {'W', 21},
                                                             {'X', 22}, {'E', 12}, {'D', 13}, {'T', 23},
                                                             {'F', 24}, {'I', 1},  {'U', 2}};

/// Of Tomcat's OneLineFormatter, and of what the libraries do when nothing is configured.
constexpr struct {
  std::string_view name, pattern;
} Patterns[] = {
    {"TOMCAT", "%d %p [%t] %c %m"}, {"LOGBACK", "%d [%t] %p %c %i %m"}, {"LOG4J", "%d [%t] %p %c - %m"}};

constexpr struct {
  std::string_view level;
  char letter;
} Levels[] = {{"INFO", 'I'},   {"WARN", 'W'},  {"ERROR", 'E'}, {"WARNING", 'W'},
              {"SEVERE", 'E'}, {"DEBUG", 'd'}, {"TRACE", 'd'}, {"FATAL", 'F'},
              {"CONFIG", 'I'}, {"FINE", 'd'},  {"FINER", 'd'}, {"FINEST", 'd'}};

bool isUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  for (std::size_t i = 0; i < text.size();) {
    UChar32 character = 0;
    U8_NEXT(bytes, i, text.size(), character);
    if (character < 0) return false;
  }
  return true;
}

}  // namespace

std::unique_ptr<LogFormat> LogFormat::find(const RWCString& name) {
  if (name.isNull() || name == "ACTIVITY") return std::make_unique<ActivityLog>();
  if (name == "JSON") return std::make_unique<JsonLog>();
  std::string_view pattern = name.view();
  for (const auto& known : Patterns) {
    if (known.name == name.view()) pattern = known.pattern;
  }
  return PatternLog::make(pattern);
}

std::unique_ptr<LogFormat> LogFormat::make(const RWCString& name) {
  if (auto log = find(name)) return log;
  DGT1_Printf(traceUnit, DGT1_MESSAGE, "ZOV_LOG_FORMAT = %s is not used; %s", name.data(), Accepted);
  return std::make_unique<ActivityLog>();
}

std::string_view LogFormat::fromLocal(std::string_view text) {
  const bool ascii = std::ranges::none_of(text, [](char c) { return (c & 0x80) != 0; });
  if (ascii || (ZOVUTF8Handler::getNativeLNG2CodePageConstant() == LNG2_UTF8 && isUtf8(text))) return text;
  _converted = ZOVUTF8Handler::createFromLocalString(RWCString(text).data());
  return _converted.view();
}

int logSeverity(char letter) {
  for (const Severity& row : SeverityTable_V5) {
    if (row.letter == letter) return row.value;
  }
  return 0;
}

std::optional<int> logSeverityOfLevel(std::string_view level) {
  for (const auto& row : Levels) {
    if (row.level == level) return logSeverity(row.letter);
  }
  return std::nullopt;
}

std::string_view withoutLeadingBlanks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(LogBlanks), text.size()));
}

std::string_view withoutTrailingBlanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(LogBlanks) + 1);
}

std::string_view takeWord(std::string_view& text, std::size_t most) {
  text = withoutLeadingBlanks(text);
  const std::string_view word = text.substr(0, std::min(text.find_first_of(LogBlanks), most));
  text.remove_prefix(word.size());
  return word;
}

}  // namespace zov
