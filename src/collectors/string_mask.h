#pragma once
// ZOVStringMask: a glob pattern with "*" (any text, also none) and "?" (one byte), cut into segments once and
// then matched without allocation. The cost of a match is at most the product of the two lengths, whatever
// the pattern. Matching changes nothing, so threads may share a mask that nobody assigns to.

#include <string_view>
#include <vector>

#include "runtime/collectable.h"

enum _CaseSensitivity { CaseSensitive = 0, CaseInsensitive = 1 };

class ZOVStringMask : public ZOVCollectable {
 public:
  ZOVStringMask(const char* mask, _CaseSensitivity caseSensitivity);
  /// The case sensitivity stays as it was.
  ZOVStringMask& operator=(const char* mask);
  ZOVStringMask& operator=(const RWCString& mask) { return *this = mask.data(); }
  ZOVStringMask(const ZOVStringMask&) = default;
  ZOVStringMask& operator=(const ZOVStringMask&) = default;

  /// Equal pattern texts, byte for byte.
  bool operator==(const ZOVStringMask& other) const { return _mask == other._mask; }
  /// Matches a text. An empty mask matches nothing, not even the empty text.
  bool operator==(const char* text) const;

  static bool containsGenericMaskChars(const char* text);  ///< "*" or "?" occurs

 private:
  void buildMaskSegments();
  bool matchesSegments(std::string_view text, std::size_t index) const;

  _CaseSensitivity _caseSensitivity;
  RWCString _mask;
  std::vector<RWCString> _segments;  // each "*", "?", or the text between two of them
};
