#include "collectors/product_event_collector.h"

#include <atomic>

#include "diag/utf8_handler.h"
#include "platform/trace.h"
#include "runtime/return_code.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCPEVC");

namespace {

constexpr std::size_t UsualIdLength = 9;  // "ZOVA0001I"
constexpr std::size_t MaximumIdLength = 15;

std::atomic<ZOVProductEventCollector::Emitter> currentEmitter{nullptr};

unsigned int emit(const ZOVProductEventSample* sample) {
  const ZOVProductEventCollector::Emitter emitter = currentEmitter.load();
  return emitter ? emitter(sample, nullptr) : static_cast<unsigned int>(ZOV_EVENT_ERROR);
}

/// The length of the identifier that a message begins with: to the first blank behind its first character.
std::size_t identifierLength(std::string_view message) {
  if (message.size() > UsualIdLength && message[UsualIdLength] == ' ') return UsualIdLength;
  const std::size_t blank = std::min(message.find(' ', 1), message.size());
  return std::min(blank, MaximumIdLength);
}

RWCString cut(std::string_view text) {
  return RWCString(
      ZOVUTF8Handler::truncated(text, ZOVProductEventCollector::MaximumText, ZOVUTF8Handler::TruncateEnd));
}

}  // namespace

void ZOVProductEventSample::setTimeStamp(const struct tm* when) {
  if (when) _timeStamp = zov::eventTimeStamp(*when, 0);
}

ZOVProductEventCollector::~ZOVProductEventCollector() {
  _samples.clearAndDestroy();
  _pendingSamples.clearAndDestroy();
}

void ZOVProductEventCollector::setEmitter(Emitter emitter) {
  currentEmitter.store(emitter);
}

int ZOVProductEventCollector::postProductEvent(const char* file, const char* function, int line,
                                               const struct tm* when, int severity, const char* message) {
  ZOV_TRACE(Public);
  const std::string_view text = message ? message : "";
  const std::size_t idLength = identifierLength(text);
  std::string_view description = text.substr(idLength);
  if (description.starts_with(' ')) description.remove_prefix(1);

  auto* sample = new ZOVProductEventSample;
  sample->setTimeStamp(when);
  sample->setFile(cut(ZOVUTF8Handler::createFromLocalString(file).view()));
  sample->setFunction(cut(ZOVUTF8Handler::createFromLocalString(function).view()));
  sample->setSeverity(severity);
  sample->setMsgId(RWCString(text.substr(0, idLength)));
  sample->setLine(line);
  sample->setMsgDesc(cut(description));
  insertSample(sample);
  return 0;
}

unsigned int ZOVProductEventCollector::insertSample(ZOVProductEventSample* sample) {
  ZOV_TRACE(Public);
  return holding(_lock, Exclusive, [&]() -> unsigned int {
    unsigned int code = _pendingSamples.isEmpty() ? ZOV_OK : releasePendingSamples();
    if (code == ZOV_OK) code = emit(sample);
    if (code != ZOV_OK) {
      while (_pendingSamples.entries() >= MaximumPending) delete _pendingSamples.get();
      _pendingSamples.append(sample->clone());
    }
    retain(sample);
    return code;
  });
}

/// With the lock held: keeps the sample as the newest.
void ZOVProductEventCollector::retain(ZOVProductEventSample* sample) {
  if (_maxSamples < 1) {
    delete sample;
    return;
  }
  while (_samples.entries() >= static_cast<std::size_t>(_maxSamples)) delete _samples.get();
  _samples.append(sample);
}

unsigned int ZOVProductEventCollector::releasePendingSamples() {
  ZOV_TRACE(Public);
  return holding(_lock, Exclusive, [&]() -> unsigned int {
    unsigned int code = ZOV_OK;
    while (!_pendingSamples.isEmpty() && code == ZOV_OK) {
      code = emit(static_cast<ZOVProductEventSample*>(_pendingSamples.first()));
      if (code == ZOV_OK) delete _pendingSamples.get();
    }
    return code;
  });
}

void ZOVProductEventCollector::setMaxSamples(int maximum) {
  ZOV_TRACE(Public);
  holding(_lock, Exclusive, [&] {
    _maxSamples = maximum;
    while (!_samples.isEmpty() && static_cast<long>(_samples.entries()) >= maximum) delete _samples.get();
  });
}
