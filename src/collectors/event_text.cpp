#include "collectors/event_text.h"

#include <algorithm>
#include <cstring>

#include "diag/utf8_handler.h"

namespace {

constexpr std::size_t MillisecondsAt = 13;  // in a time stamp

/// The last `width` digits of the number.
void writeDigits(char* out, std::size_t width, int number) {
  for (std::size_t i = width; i-- > 0; number /= 10) out[i] = static_cast<char>('0' + number % 10);
}

}  // namespace

void copyString(const RWCString* text, char* out, int size) {
  if (size <= 0) return;
  const auto room = static_cast<std::size_t>(size);
  std::memset(out, 0, room);
  if (text) std::memcpy(out, text->data(), std::min(room, text->length()));
}

void zov::setEventText(RWCString& field, std::string_view text) {
  field.clear();
  field.append(ZOVUTF8Handler::truncated(text, MaximumEventText, ZOVUTF8Handler::TruncateEnd));
}

void zov::setEventTimeStamp(RWCString& field, const struct tm& when, int milliseconds) {
  char stamp[16];
  writeDigits(stamp, 3, when.tm_year);
  const int fields[] = {when.tm_mon + 1, when.tm_mday, when.tm_hour, when.tm_min, when.tm_sec};
  for (std::size_t i = 0; i < std::size(fields); ++i) writeDigits(stamp + 3 + 2 * i, 2, fields[i]);
  writeDigits(stamp + MillisecondsAt, 3, milliseconds);
  setEventText(field, std::string_view(stamp, sizeof stamp));
}

void zov::setEventMilliseconds(RWCString& field, int milliseconds) {
  char digits[3];
  writeDigits(digits, sizeof digits, milliseconds);
  field.replace(MillisecondsAt, sizeof digits, digits, sizeof digits);
}
