// The records of the sample classes and the table of key kinds, worked out at compile time.

#include <algorithm>
#include <cstddef>

#include "samples/sample_classes.h"

namespace {

// --- The sections of sample_classes.def, one list at a time. Texts and keywords end in one more line, since
// a list may be empty and an array may not.

// clang-format off
template <class Sample> struct NumericKeys;
template <class Sample> struct KeyRows;
template <class Sample> struct StringKeys;
template <class Sample> struct Keywords;

#define LIST_BEGIN(List, Element, Sample) \
  template <> struct List<Sample> { using Class = Sample; static constexpr Element list[] = {
#define LIST_END };};

#define SAMPLE(type, name, Sample, english, source, counting) LIST_BEGIN(NumericKeys, int, Sample)
#define NUMERIC(name, kind, decimals) zov::key::name,
#define PERCENT(name, decimals, denominator) zov::key::name,
#define SAMPLE_END(Sample) LIST_END
#include "samples/sample_classes.def"

#define SAMPLE(type, name, Sample, english, source, counting) LIST_BEGIN(KeyRows, zov::KeyRow, Sample)
#define NUMERIC(name, kind, decimals) {KeyKind##kind, decimals, 0},
#define PERCENT(name, decimals, denominator) {KeyKindPercent, decimals, zov::key::denominator},
#define SAMPLE_END(Sample) LIST_END
#include "samples/sample_classes.def"

#define SAMPLE(type, name, Sample, english, source, counting) LIST_BEGIN(StringKeys, zov::StringKey, Sample)
#define TEXT(name, field) {zov::key::name, static_cast<RWCString ZOVSample::*>(&Class::field)},
#define SAMPLE_END(Sample) {-1, nullptr} LIST_END
#include "samples/sample_classes.def"

#define SAMPLE(type, name, Sample, english, source, counting) LIST_BEGIN(Keywords, zov::Keyword, Sample)
#define KEYWORD(keyword, name) {keyword, zov::key::name},
#define SAMPLE_END(Sample) {nullptr, 0} LIST_END
#include "samples/sample_classes.def"
// clang-format on

// --- The records.

constexpr bool Cumulative = false;
constexpr bool Interval = true;

template <class Sample>
constexpr std::array<int, KeyTableSize> placement = [] {
  std::array<int, KeyTableSize> made{};
  const auto& keys = NumericKeys<Sample>::list;
  createKeyPlacementArray(made.data(), keys, static_cast<int>(std::size(keys)));
  return made;
}();

template <class Sample>
constexpr zov::SampleClass recordOf(const char* name, _SampleType type, bool interval) {
  constexpr auto& strings = StringKeys<Sample>::list;
  constexpr auto& keywords = Keywords<Sample>::list;
  static_assert(std::size(NumericKeys<Sample>::list) <= zov::MostNumericKeys);
  return {name,
          type,
          interval,
          NumericKeys<Sample>::list,
          KeyRows<Sample>::list,
          placement<Sample>.data(),
          {strings, std::size(strings) - 1},
          std::size(keywords) == 1 ? nullptr : keywords};
}

}  // namespace

#define SAMPLE(type, name, Sample, english, source, counting) \
  constinit const zov::SampleClass Sample::sampleClassInfo =  \
      recordOf<Sample>(#Sample, SampleType##name, counting);
#include "samples/sample_classes.def"

namespace {

// --- The table by key. What throws here does not compile.

constexpr bool numbersAreUnique() {
  std::array<bool, KeyTableSize> told{};
  for (const zov::KeyInfo& key : zov::allKeys) {
    if (!zov::isKey(key.number) || told[static_cast<std::size_t>(key.number)]) return false;
    told[static_cast<std::size_t>(key.number)] = true;
  }
  return true;
}
static_assert(numbersAreUnique(), "keys.def gives a number twice, or one that is no key");

struct KeyTableBuilder {
  std::array<zov::KeyRow, KeyTableSize> table{};
  std::array<bool, KeyTableSize> told{};

  constexpr void add(int key, const zov::KeyRow& row) {
    const auto at = static_cast<std::size_t>(key);
    const zov::KeyRow& there = table[at];
    if (told[at] && (there.kind != row.kind || there.scaleFactor != row.scaleFactor ||
                     there.relatedKey != row.relatedKey)) {
      throw "two sample classes disagree about a key";
    }
    table[at] = row;
    told[at] = true;
  }
  template <class Sample>
  constexpr void addClass() {
    const auto& keys = NumericKeys<Sample>::list;
    for (std::size_t i = 0; i < std::size(keys); ++i) {
      const zov::KeyRow& row = KeyRows<Sample>::list[i];
      add(keys[i], row);
      if (row.kind == KeyKindPercent && std::count(keys, keys + i, static_cast<int>(row.relatedKey)) == 0) {
        throw "a denominator does not stand ahead of its percentage";
      }
    }
    for (const zov::StringKey& string : StringKeys<Sample>::list) {
      if (string.field != nullptr) add(string.key, {KeyKindString, 0, 0});
    }
  }
};

constexpr std::array<zov::KeyRow, KeyTableSize> buildKeyTable() {
  KeyTableBuilder builder;
#define SAMPLE(type, name, Sample, english, source, counting) builder.addClass<Sample>();
#include "samples/sample_classes.def"
  return builder.table;
}

}  // namespace

constinit const std::array<zov::KeyRow, KeyTableSize> pKeyTable = buildKeyTable();
