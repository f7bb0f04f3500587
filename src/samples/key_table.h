#pragma once
// What the keys of samples are: the one table of kinds, and the record that describes a sample class. Both
// are worked out by the compiler from samples/keys/*.def and live for the whole process; any thread may read
// them.

#include <array>
#include <cstdint>
#include <span>

#include "foundation/string.h"

class ZOVSample;

/// The kind of value that a key holds.
enum _KeyKind : std::uint32_t {
  KeyKindNumeric = 0,
  KeyKindString = 1,
  KeyKindCounter = 2,          ///< running count; its first sample gives no rate
  KeyKindCounterFromZero = 3,  ///< running count that began at zero with its first sample
  KeyKindPercent = 4,          ///< running count shown as a share of the related key
  KeyKindStatInfo = 5,         ///< total and number of observations, shown as an average
  KeyKindPerfLoad = 6,         ///< as KeyKindStatInfo
  KeyKindMaximum = 7,
  KeyKindMinimum = 8,
};

struct ZOVKeyRow {
  _KeyKind kind = KeyKindNumeric;
  std::uint32_t scaleFactor = 0;  ///< decimal digits of a rate, percentage or average
  std::uint32_t relatedKey = 0;   ///< of a percent key: the denominator
};

/// Keys are 0 to KeyTableSize - 1; any other number is no key.
constexpr int KeyTableSize = 1491;
/// By key number. Keys that are told nowhere read as numeric with scale 0.
extern const std::array<ZOVKeyRow, KeyTableSize> pKeyTable;

constexpr bool zovIsKey(int key) {
  return key >= 0 && key < KeyTableSize;
}

/// placement[keys[i]] = i + 1 for each i; touches nothing else. Keys out of range are left out.
constexpr void createKeyPlacementArray(int* placement, const int* keys, int count) {
  for (int i = 0; i < count; ++i) {
    if (zovIsKey(keys[i])) placement[keys[i]] = i + 1;
  }
}

/// A keyword of the statistics interface's text and the key that it delivers. Lists end in a null keyword.
struct ZOVRPXKeyword {
  const char* keyword;
  int key;
};

/// A string key and the field of the class that holds it.
struct ZOVStringKey {
  int key;
  RWCString ZOVSample::*field;
};

/// All that the sample core knows of one sample class.
struct ZOVSampleClass {
  const char* name;
  int type;
  bool interval;                     ///< reports its own duration's counts, not running totals
  std::span<const int> numericKeys;  ///< without keys 20 and 21
  std::span<const ZOVKeyRow> rows;   ///< of numericKeys, one each
  const int* placement;              ///< by key: its 1-based place in numericKeys, or 0
  std::span<const ZOVStringKey> strings;
  const ZOVRPXKeyword* keywords;  ///< null when the class has none
};
