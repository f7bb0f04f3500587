#include "collectors/log_event_sample.h"

#include "platform/trace.h"

void ZOVLogEventSample::setTimeStamp(const ZOVTime* when, int milliseconds) {
  struct tm fields = {};
  when->extract(&fields);
  _timeStamp =
      RWCString(DGT1_FormatText("%03d%02d%02d%02d%02d%02d%03d", fields.tm_year, fields.tm_mon + 1,
                                fields.tm_mday, fields.tm_hour, fields.tm_min, fields.tm_sec, milliseconds));
}
