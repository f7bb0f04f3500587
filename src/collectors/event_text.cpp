#include "collectors/event_text.h"

#include <algorithm>
#include <cstring>

#include "platform/trace.h"

void copyString(const RWCString* text, char* out, int size) {
  if (size <= 0) return;
  const auto room = static_cast<std::size_t>(size);
  std::memset(out, 0, room);
  if (text) std::memcpy(out, text->data(), std::min(room, text->length()));
}

RWCString zov::eventTimeStamp(const struct tm& when, int milliseconds) {
  return RWCString(DGT1_FormatText("%03d%02d%02d%02d%02d%02d%03d", when.tm_year, when.tm_mon + 1,
                                   when.tm_mday, when.tm_hour, when.tm_min, when.tm_sec, milliseconds));
}
