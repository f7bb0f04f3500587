#include "logs/pattern_log.h"

#include <algorithm>

namespace zov {

namespace {
constexpr std::string_view Letters = "dptcim";
constexpr std::size_t ComponentWidth = 32;
}  // namespace

void setLogComponent(std::string_view logger, ZOVLogEventSample& event) {
  while (logger.size() > ComponentWidth && logger.find('.') != std::string_view::npos) {
    logger.remove_prefix(logger.find('.') + 1);
  }
  event.setComponent(logger);
}

std::unique_ptr<PatternLog> PatternLog::make(std::string_view pattern) {
  std::unique_ptr<PatternLog> log(new PatternLog);
  std::vector<Element>& elements = log->_elements;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == ' ') {
      if (elements.empty() || elements.back().kind != ' ') elements.push_back({' ', {}});
    } else if (pattern[i] == '%') {
      if (++i == pattern.size() || Letters.find(pattern[i]) == std::string_view::npos) return nullptr;
      elements.push_back({pattern[i], {}});
    } else if (!elements.empty() && elements.back().kind == '=') {
      elements.back().text += pattern[i];
    } else {
      elements.push_back({'=', {pattern[i]}});
    }
  }
  const bool hasTime = std::ranges::find(elements, 'd', &Element::kind) != elements.end();
  if (!hasTime || elements.back().kind != 'm') return nullptr;
  return log;
}

LogFormat::Line PatternLog::classify(std::string_view line) {
  return match(line, _scratch, true) ? Line::Begins : Line::Continues;
}

bool PatternLog::parse(std::string_view record, ZOVLogEventSample& event) {
  return match(record, event, false);
}

bool PatternLog::match(std::string_view text, ZOVLogEventSample& event, bool upToTime) {
  for (std::size_t i = 0; i < _elements.size(); ++i) {
    if (!take(i, text, event)) return false;
    if (upToTime && _elements[i].kind == 'd') return true;
  }
  return true;
}

bool PatternLog::take(std::size_t element, std::string_view& text, ZOVLogEventSample& event) {
  const Element& wanted = _elements[element];
  if (wanted.kind == ' ') {
    const std::size_t before = text.size();
    text = withoutLeadingBlanks(text);
    return text.size() < before;
  }
  if (wanted.kind == '=') {
    if (!text.starts_with(wanted.text)) return false;
    text.remove_prefix(wanted.text.size());
    return true;
  }
  if (wanted.kind == 'd') {
    const LogMoment moment = _clock.take(text);
    if (moment.second == ZOVTime()) return false;
    event.setTimeStamp(&moment.second, moment.milliseconds);
    return true;
  }
  const std::string_view field = takeField(element, text);
  if (wanted.kind == 'p') {
    const std::optional<int> severity = logSeverityOfLevel(field);
    if (severity) event.setSeverity(*severity);
    return severity.has_value();
  }
  if (wanted.kind == 't') event.setThreadId(fromLocal(field));
  if (wanted.kind == 'c') setLogComponent(fromLocal(field), event);
  if (wanted.kind == 'm') event.setMessage(fromLocal(field));
  return !field.empty() || wanted.kind == 'm' || wanted.kind == 't';
}

/// Without blanks around it, which pad fields to a width.
std::string_view PatternLog::takeField(std::size_t element, std::string_view& text) const {
  const Element* const behind = element + 1 < _elements.size() ? &_elements[element + 1] : nullptr;
  std::size_t end = text.size();
  if (behind && behind->kind == '=') end = text.find(behind->text);
  if (behind && behind->kind != '=') end = text.find_first_of(LogBlanks);
  const std::string_view field = text.substr(0, end);
  text.remove_prefix(field.size());
  return withoutLeadingBlanks(withoutTrailingBlanks(field));
}

}  // namespace zov
