#pragma once
// What a sample class is: the kinds of value, the one table of them by key, and the record of a class. All of
// it is worked out by the compiler from sample_classes.def and lives for the whole process; any thread may
// read it.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "foundation/string.h"
#include "samples/keys.h"
#include "samples/sample_types.h"

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

/// Keys are 0 to KeyTableSize - 1; any other number is no key.
constexpr int KeyTableSize = 1491;

namespace zov {
constexpr bool isKey(int key) {
  return key >= 0 && key < KeyTableSize;
}
}  // namespace zov

/// placement[keys[i]] = i + 1 for each i; touches nothing else. Keys out of range are left out.
constexpr void createKeyPlacementArray(int* placement, const int* keys, int count) {
  for (int i = 0; i < count; ++i) {
    if (zov::isKey(keys[i])) placement[keys[i]] = i + 1;
  }
}

namespace zov {

struct KeyRow {
  _KeyKind kind = KeyKindNumeric;
  std::uint32_t scaleFactor = 0;  ///< decimal digits of a rate, percentage or average
  std::uint32_t relatedKey = 0;   ///< of a percent key: the denominator
};

/// A keyword of the statistics interface's text and the key that it delivers. Lists end in a null keyword.
struct Keyword {
  const char* keyword;
  int key;
};

/// A string key and the field of the class that holds it.
struct StringKey {
  int key;
  RWCString ZOVSample::*field;
};

/// No class has more numeric keys.
constexpr std::size_t MostNumericKeys = 64;

/// All that the sample core knows of one sample class.
struct SampleClass {
  const char* name;
  _SampleType type;
  bool interval;                     ///< reports its own duration's counts, not running totals
  std::span<const int> numericKeys;  ///< without the sample's time and duration
  std::span<const KeyRow> rows;      ///< of numericKeys, one each
  const int* placement;              ///< by key: its 1-based place in numericKeys, or 0
  std::span<const StringKey> strings;
  const Keyword* keywords;  ///< null when the class has none
};

}  // namespace zov

/// By key number. Keys that are told nowhere read as numeric with scale 0.
extern const std::array<zov::KeyRow, KeyTableSize> pKeyTable;
