#include "collectors/string_mask.h"

#include <cstring>

namespace {
constexpr const char* MaskCharacters = "*?";
}

ZOVStringMask::ZOVStringMask(const char* mask, _CaseSensitivity caseSensitivity)
    : _caseSensitivity(caseSensitivity), _mask(mask) {
  buildMaskSegments();
}

ZOVStringMask& ZOVStringMask::operator=(const char* mask) {
  _mask = mask;
  buildMaskSegments();
  return *this;
}

bool ZOVStringMask::operator==(const char* text) const {
  return !_segments.empty() && text && matchesSegments(text, 0);
}

bool ZOVStringMask::containsGenericMaskChars(const char* text) {
  return text[std::strcspn(text, MaskCharacters)] != '\0';
}

void ZOVStringMask::buildMaskSegments() {
  _segments.clear();
  const char* rest = _mask.data();
  while (*rest) {
    const std::size_t literal = std::strcspn(rest, MaskCharacters);
    const std::size_t length = literal > 0 ? literal : 1;
    _segments.emplace_back(rest, length);
    rest += length;
  }
}

/// Matches the text with the segments from `index`. After a mismatch only the last "*" needs to take more:
/// what stands before it has matched as early as it can.
bool ZOVStringMask::matchesSegments(std::string_view text, std::size_t index) const {
  const auto how = _caseSensitivity == CaseInsensitive ? RWCString::ignoreCase : RWCString::exact;
  bool starSeen = false;
  std::size_t starIndex = 0;  // the segment behind the last "*"
  std::string_view starText;  // the text that it was tried on
  while (index < _segments.size() || !text.empty()) {
    if (index < _segments.size()) {
      const std::string_view segment = _segments[index].view();
      if (segment == "*") {
        starSeen = true;
        starIndex = ++index;
        starText = text;
        continue;
      }
      const std::string_view head = text.substr(0, segment.size());
      if (segment == "?" ? !text.empty() : _segments[index].equals(head, how)) {
        text.remove_prefix(head.size());
        ++index;
        continue;
      }
    }
    if (!starSeen || starText.empty()) return false;
    starText.remove_prefix(1);
    text = starText;
    index = starIndex;
  }
  return true;
}
