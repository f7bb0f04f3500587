#pragma once
// The text formats in which monitoring systems take metrics. Written here: the client libraries keep a tree
// of all series to write it at once, which is what a streamed answer of rows that exist already shall not
// cost.

#include <string>
#include <string_view>

#include "framework/metrics.h"

namespace zov::hub {

/// Appends lines to a text. Not of several threads at once.
class MetricsText {
 public:
  enum class Format { Prometheus, OpenMetrics };

  MetricsText(Format format, std::string& text) : _format(format), _text(text) {}

  static const char* contentType(Format format);
  /// A label as it stands between braces; several are joined by commas.
  static std::string label(std::string_view name, std::string_view value);

  /// Opens a family; its samples follow, and no others.
  void family(const MetricFamily& family);
  /// A value of the family. The labels are as label() gives them, joined.
  void value(std::string_view labels, double value) { sample(_suffix, labels, value); }
  void summary(std::string_view labels, double sum, double count);
  /// What the agent is, as labels.
  void targetInfo(std::string_view labels);
  void end();

 private:
  void sample(std::string_view suffix, std::string_view labels, double value);
  void line(std::string_view keyword, std::string_view name, std::string_view rest);

  const Format _format;
  std::string& _text;
  std::string _name;         // of the open family
  std::string_view _suffix;  // of its values
};

}  // namespace zov::hub
