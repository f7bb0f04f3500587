#include "collectors/log_event_sample.h"

void ZOVLogEventSample::setTimeStamp(const ZOVTime* when, int milliseconds) {
  struct tm fields = {};
  when->extract(&fields);
  _timeStamp = zov::eventTimeStamp(fields, milliseconds);
}
