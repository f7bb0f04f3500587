#include "tables/workload_name.h"

#include <algorithm>
#include <cstring>

#include "diag/utf8_handler.h"

namespace zov {

namespace {

constexpr std::string_view Mark = "...";

std::size_t put(char* out, std::string_view text) {
  std::memcpy(out, text.data(), text.size());
  return text.size();
}

/// Writes `text` in at most `width` bytes, cut at the named end.
std::size_t putTruncated(char* out, std::string_view text, std::size_t width,
                         ZOVUTF8Handler::_truncateDirection direction) {
  if (text.size() <= width) return put(out, text);
  if (width < Mark.size()) return put(out, ZOVUTF8Handler::truncated(text, width, direction));
  const std::string_view kept = ZOVUTF8Handler::truncated(text, width - Mark.size(), direction);
  std::size_t length = 0;
  if (direction == ZOVUTF8Handler::TruncateFront) length += put(out, Mark);
  length += put(out + length, kept);
  if (direction == ZOVUTF8Handler::TruncateEnd) length += put(out + length, Mark);
  return length;
}

}  // namespace

std::size_t writeWorkloadName(std::string_view major, std::string_view minor, int type, char* out,
                              std::size_t width) {
  if (width == 0) return 0;
  if (type == WorkloadNameMajorOnly) return putTruncated(out, major, width, ZOVUTF8Handler::TruncateFront);
  const std::size_t room = width - 1;
  std::size_t minorRoom = room / 2;
  std::size_t majorRoom = room - minorRoom;
  if (major.size() + minor.size() <= room) {
    majorRoom = major.size();
    minorRoom = minor.size();
  } else if (minor.size() < minorRoom) {
    majorRoom = room - minor.size();
  } else if (major.size() < majorRoom) {
    minorRoom = room - major.size();
  }
  std::size_t length = putTruncated(out, major, majorRoom, ZOVUTF8Handler::TruncateFront);
  out[length++] = WorkloadNameSeparator;
  return length + putTruncated(out + length, minor, minorRoom, ZOVUTF8Handler::TruncateEnd);
}

}  // namespace zov
