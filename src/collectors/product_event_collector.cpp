#include "collectors/product_event_collector.h"

#include <algorithm>
#include <string_view>

#include "diag/utf8_handler.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCPEVC");

namespace {

constexpr std::size_t UsualIdLength = 9;  // "ZOVA0001I"
constexpr std::size_t MaximumIdLength = 15;

/// The length of the identifier that a message begins with: to the first blank behind its first character.
std::size_t identifierLength(std::string_view message) {
  if (message.size() > UsualIdLength && message[UsualIdLength] == ' ') return UsualIdLength;
  const std::size_t blank = std::min(message.find(' ', 1), message.size());
  return std::min(blank, MaximumIdLength);
}

}  // namespace

void ZOVProductEventSample::setTimeStamp(const struct tm* when) {
  if (when) zov::setEventTimeStamp(_timeStamp, *when, 0);
}

int ZOVProductEventCollector::postProductEvent(const char* file, const char* function, int line,
                                               const struct tm* when, int severity, const char* message) {
  ZOV_TRACE(Public);
  const std::string_view text = message ? message : "";
  const std::size_t idLength = identifierLength(text);
  std::string_view description = text.substr(idLength);
  if (description.starts_with(' ')) description.remove_prefix(1);

  ZOVProductEventSample sample;
  sample.setTimeStamp(when);
  sample.setFile(ZOVUTF8Handler::createFromLocalString(file).view());
  sample.setFunction(ZOVUTF8Handler::createFromLocalString(function).view());
  sample.setSeverity(severity);
  sample.setMsgId(text.substr(0, idLength));
  sample.setLine(line);
  sample.setMsgDesc(description);
  insertSample(sample);
  return 0;
}
