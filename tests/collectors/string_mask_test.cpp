#include "collectors/string_mask.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(StringMask, Matches) {
  const struct {
    const char* mask;
    const char* text;
    bool expected;
  } cases[] = {
      {"*", "", true},          {"*", "abc", true},        {"", "", false},
      {"", "a", false},         {"a*", "a", true},         {"a*", "abc", true},
      {"a*", "ba", false},      {"a*c", "ac", true},       {"a*c", "abc", true},
      {"a*c", "acd", false},    {"*c", "c", true},         {"*c", "abc", true},
      {"*c", "ccb", false},     {"a?c", "abc", true},      {"a?c", "ac", false},
      {"?", "", false},         {"?", "ab", false},        {"??", "ab", true},
      {"a*b*c", "axbxc", true}, {"a*b*c", "axcxb", false}, {"*ab", "aab", true},
      {"**", "", true},         {"a**", "a", true},        {"*?", "", false},
      {"*?", "a", true},        {"?*", "a", true},         {"*a?", "aaab", true},
      {"a*?b", "ab", false},    {"abc", "abc", true},      {"abc", "ab", false},
      {"abc", "abcd", false},   {"abc", "ABC", false},     {"*bc*bd", "abcbcbd", true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ZOVStringMask(c.mask, CaseSensitive) == c.text, c.expected) << c.mask << " on " << c.text;
  }
  EXPECT_TRUE(ZOVStringMask("abC*", CaseInsensitive) == "ABcd");
  EXPECT_FALSE(ZOVStringMask("*", CaseSensitive) == static_cast<const char*>(nullptr));
}

TEST(StringMask, StaysCheapOnHostilePatterns) {
  std::string mask;
  for (int i = 0; i < 200; ++i) mask += "*a";
  const std::string text(2000, 'a');
  EXPECT_FALSE(ZOVStringMask((mask + "b").c_str(), CaseSensitive) == text.c_str());
  EXPECT_TRUE(ZOVStringMask(mask.c_str(), CaseSensitive) == text.c_str());
  // No stack for each segment.
  EXPECT_TRUE(ZOVStringMask(std::string(100'000, '?').c_str(), CaseSensitive) ==
              std::string(100'000, 'x').c_str());
}

}  // namespace
