#include "hub/api/metrics_text.h"

#include <charconv>

#include "hub/api/json.h"

namespace zov::hub {
namespace {

/// With a backslash before what ends a text, and as UTF-8.
std::string escaped(std::string_view text, bool quotesToo) {
  std::string result;
  appendUtf8(result, text);
  for (std::size_t i = 0; i < result.size(); ++i) {
    const char c = result[i];
    if (c != '\\' && c != '\n' && !(quotesToo && c == '"')) continue;
    result.insert(i++, 1, '\\');
    if (c == '\n') result[i] = 'n';
  }
  return result;
}

}  // namespace

const char* MetricsText::contentType(Format format) {
  return format == Format::OpenMetrics ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                                       : "text/plain; version=0.0.4; charset=utf-8";
}

std::string MetricsText::label(std::string_view name, std::string_view value) {
  return std::string(name).append("=\"").append(escaped(value, true)).append("\"");
}

void MetricsText::line(std::string_view keyword, std::string_view name, std::string_view rest) {
  _text.append("# ").append(keyword).append(" ").append(name).append(" ").append(rest).append("\n");
}

void MetricsText::family(const MetricFamily& family) {
  using Type = MetricFamily::Type;
  const bool isOpen = _format == Format::OpenMetrics;
  const bool isCounter = family.type == Type::Counter;
  _suffix = isCounter ? "_total" : "";
  _name = family.name;
  // The older format knows a counter by the name of its samples.
  const std::string shown = isCounter && !isOpen ? _name + "_total" : _name;
  line("HELP", shown, escaped(family.help, isOpen));
  line("TYPE", shown, isCounter ? "counter" : family.type == Type::Summary ? "summary" : "gauge");
  if (isOpen && !family.unit.empty()) line("UNIT", shown, family.unit);
}

void MetricsText::summary(std::string_view labels, double sum, double count) {
  sample("_count", labels, count);
  sample("_sum", labels, sum);
}

void MetricsText::targetInfo(std::string_view labels) {
  const bool isOpen = _format == Format::OpenMetrics;
  _name = isOpen ? "target" : "target_info";
  line("HELP", _name, "What this agent is.");
  line("TYPE", _name, isOpen ? "info" : "gauge");
  sample(isOpen ? "_info" : "", labels, 1);
}

void MetricsText::end() {
  if (_format == Format::OpenMetrics) _text += "# EOF\n";
}

void MetricsText::sample(std::string_view suffix, std::string_view labels, double value) {
  _text.append(_name).append(suffix);
  if (!labels.empty()) _text.append("{").append(labels).append("}");
  char number[32];
  const auto end = std::to_chars(number, number + sizeof number, value).ptr;
  _text.append(" ").append(number, end).append("\n");
}

}  // namespace zov::hub
