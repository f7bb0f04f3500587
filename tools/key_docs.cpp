// Writes docs/keys.md to standard output, from the lists of keys and sample classes.

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "samples/sample_classes.h"

namespace {

const zov::SampleClass* const classes[] = {
#define SAMPLE(type, name, sampleClass, english, source, counting) &sampleClass::sampleClassInfo,
#include "samples/sample_classes.def"
};

bool has(const zov::SampleClass& sampleClass, int key) {
  return sampleClass.placement[key] != 0 ||
         std::ranges::any_of(sampleClass.strings, [&](const auto& text) { return text.key == key; });
}

std::string classesOf(int key) {
  std::string list;
  for (const zov::SampleClass* sampleClass : classes) {
    if (has(*sampleClass, key)) list += (list.empty() ? "`" : ", `") + std::string(sampleClass->name) + "`";
  }
  return list.empty() ? "all" : list;  // only the keys that the sample core holds stand in no class's list
}

std::string kindOf(const zov::KeyRow& row) {
  switch (row.kind) {
    case KeyKindNumeric:
      return "value";
    case KeyKindString:
      return "text";
    case KeyKindCounter:
      return "counter";
    case KeyKindCounterFromZero:
      return "counter from zero";
    case KeyKindPercent:
      return "share of `" + std::string(zov::keyInfo(static_cast<int>(row.relatedKey)).name) + "`";
    case KeyKindStatInfo:
    case KeyKindPerfLoad:
      return "average";
    case KeyKindMaximum:
      return "maximum";
    case KeyKindMinimum:
      return "minimum";
  }
  return "";
}

/// Of rates, shares and averages; what comes as a value is shown as it came.
std::string decimalsOf(const zov::KeyRow& row) {
  const bool workedOut = row.kind >= KeyKindCounter && row.kind <= KeyKindPerfLoad;
  return workedOut ? std::to_string(row.scaleFactor) : "";
}

void print(const zov::KeyInfo& key) {
  const zov::KeyRow& row = pKeyTable[static_cast<std::size_t>(key.number)];
  const std::string name(key.name), unit(zov::nameOf(key.unit)), meaning(key.meaning);
  std::printf("| %d | `%s` | %s | %s | %s | %s | %s |\n", key.number, name.c_str(), unit.c_str(),
              kindOf(row).c_str(), decimalsOf(row).c_str(), meaning.c_str(), classesOf(key.number).c_str());
}

}  // namespace

int main() {
  std::puts(
      "# Keys of samples\n\n"
      "Made by `tools/key_docs` from `src/samples/keys.def` and `src/samples/sample_classes.def`; change "
      "those, and "
      "run\n"
      "`build/release/bin/key_docs > docs/keys.md`.\n\n"
      "A key is the number of a value on the wire and in the tables. A counter runs on, and is shown as what "
      "happened "
      "since\n"
      "the last sample, or as that per second; from zero means that its first sample counts, too. A share is "
      "a counter "
      "that is\n"
      "also shown divided by what happened to another key. An average is a total over a number of "
      "observations. Rates, "
      "shares\n"
      "and averages are whole numbers with so many decimals: 1500 with three is 1.5. Units are those of the "
      "value "
      "itself; where\n"
      "a cell is empty, it has none or nothing tells it.\n\n"
      "| Key | Name | Unit | Kind | Decimals | Meaning | Classes |\n|---|---|---|---|---|---|---|");
  std::vector<zov::KeyInfo> keys(std::begin(zov::allKeys), std::end(zov::allKeys));
  std::ranges::sort(keys, {}, &zov::KeyInfo::number);
  for (const zov::KeyInfo& key : keys) print(key);
}
