#pragma once
// The keys of samples by name (keys.def), and what is known of each. All of it is worked out by the compiler.
// A key's number is also the number of its field on the wire.

#include <string_view>

namespace zov {

/// The enumerators are ints, for wherever a key is a number.
namespace key {
enum Number : int {
#define ZOV_KEY(number, name, unit, meaning) name = number,
#include "samples/keys.def"
};
}  // namespace key

/// What one stands for in a value whose decimals have been taken off.
enum class Unit { None, Milliseconds, Seconds, Bytes, Kibibytes, Count, Percent, Time };

struct KeyInfo {
  int number;
  std::string_view name;
  Unit unit;
  std::string_view meaning;  ///< a sentence
};

inline constexpr KeyInfo allKeys[] = {
#define ZOV_KEY(number, name, unit, meaning) {number, #name, Unit::unit, meaning},
#include "samples/keys.def"
};

inline constexpr KeyInfo unknownKey{0, "", Unit::None, ""};

/// `unknownKey` for a number that no key has. A walk through all of them: for documents and tests, not for
/// samples.
constexpr const KeyInfo& keyInfo(int number) {
  for (const KeyInfo& key : allKeys) {
    if (key.number == number) return key;
  }
  return unknownKey;
}

/// "ms", "s", "bytes", "KiB", "count", "percent", "time"; empty for None.
constexpr std::string_view nameOf(Unit unit) {
  constexpr std::string_view names[] = {"", "ms", "s", "bytes", "KiB", "count", "percent", "time"};
  return names[static_cast<int>(unit)];
}

}  // namespace zov
