#include "collectors/log_event_sample.h"

void ZOVLogEventSample::setTimeStamp(const ZOVTime* when, int milliseconds) {
  if (*when == _second && !_timeStamp.isNull()) return zov::setEventMilliseconds(_timeStamp, milliseconds);
  struct tm fields = {};
  when->extract(&fields);
  zov::setEventTimeStamp(_timeStamp, fields, milliseconds);
  _second = *when;
}
