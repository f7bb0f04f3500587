// Names that a peer makes to meet in one place of a table's index: it knows the arithmetic, and not the seed.

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "samples/anchors.h"
#include "samples/string_abbreviation_table.h"

namespace {

using Pair = std::pair<std::string, std::string>;
constexpr int Pairs = 12;

/// All texts that take one block of each pair: 4,096 of one value, when the blocks of a pair are.
std::vector<std::string> productOf(const std::function<Pair(int)>& pairAt) {
  std::vector<std::string> names{""};
  for (int i = 0; i < Pairs; ++i) {
    const Pair pair = pairAt(i);
    std::vector<std::string> longer;
    for (const std::string& name : names) {
      longer.push_back(name + pair.first);
      longer.push_back(name + pair.second);
    }
    names.swap(longer);
  }
  return names;
}

std::string words(std::uint64_t first, std::uint64_t second) {
  std::string text(sizeof first + sizeof second, '\0');
  std::memcpy(text.data(), &first, sizeof first);
  std::memcpy(text.data() + sizeof first, &second, sizeof second);
  return text;
}

/// The highest bit goes through any odd factor as it is; folded once, the next word takes it back.
Pair throughAMultiplication(int i) {
  constexpr std::uint64_t top = UINT64_C(1) << 63;
  const auto word = static_cast<std::uint64_t>(i);
  return {words(word, word), words(word ^ top, word ^ top ^ (top >> 32))};
}

/// Two blocks that leave the hash of RWCString alike, behind the blocks before them.
class ThroughTheStringHash {
 public:
  Pair operator()(int) {
    std::unordered_map<unsigned int, std::string> seen;
    for (;;) {
      const std::string block = words(_random(), _random()).substr(4, 8);
      const unsigned int hash = RWCString(_before + block).hash();
      const auto [known, fresh] = seen.emplace(hash, block);
      if (fresh) continue;
      _before += block;
      return {known->second, block};
    }
  }

 private:
  std::string _before;
  std::mt19937_64 _random;
};

TEST(LookupHash, NobodyOutsideMakesNamesThatMeet) {
  const std::vector<std::string> attacks[] = {productOf(throughAMultiplication),
                                              productOf(ThroughTheStringHash())};
  for (const auto& names : attacks) {
    std::set<unsigned int> anchors, abbreviations;
    for (const std::string& name : names) {
      anchors.insert(ZOVAppServerAnchor(RWCString(name)).lookupHash());
      abbreviations.insert(ZOVStringAbbreviationTable::Entry("", name).lookupHash());
    }
    EXPECT_GT(anchors.size(), names.size() - 10);
    EXPECT_GT(abbreviations.size(), names.size() - 10);
  }
}

}  // namespace
