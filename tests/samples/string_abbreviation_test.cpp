#include <gtest/gtest.h>

#include "samples/sample_classes.h"
#include "samples/string_abbreviation_table.h"

namespace {

void define(ZOVStringAbbreviationTable& table, const char* abbreviation, const char* text) {
  ZOVStringAbbreviationSample sample;
  sample.fullString = text;
  sample.abbreviation = abbreviation;
  table.createAbbreviation(sample);
}

std::string lookUp(const ZOVStringAbbreviationTable& table, const char* abbreviation) {
  const auto found = table.getFullStringForAbbreviation(abbreviation);
  return found ? found->str() : "unknown";
}

TEST(StringAbbreviation, Escape) {
  struct {
    const char* text;
    bool abbreviated;
    const char* converted;
  } const cases[] = {
      {"#17", true, "#17"}, {"##17", false, "#17"},  {"#", false, "#"},    {"", false, ""},
      {"17", false, "17"},  {"a##b", false, "a##b"}, {"###", false, "##"}, {"#x", true, "#x"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ZOVStringAbbreviationTable::isAbbreviatedString(c.text), c.abbreviated) << c.text;
    RWCString text(c.text);
    ZOVStringAbbreviationTable::convertNonAbbreviatedString(text);
    EXPECT_EQ(text, c.converted) << c.text;
  }
}

TEST(StringAbbreviation, TheNewestDefinitionStands) {
  ZOVStringAbbreviationTable table(8);
  define(table, "#1", "first");
  define(table, "#2", "second");
  define(table, "#1", "third");
  EXPECT_EQ(table.entries(), 2U);
  EXPECT_EQ(lookUp(table, "#1"), "third");
  EXPECT_EQ(lookUp(table, "#2"), "second");
  EXPECT_EQ(lookUp(table, "#02"), "unknown") << "the same number, another text";
  table.clearAndDestroy();
  EXPECT_EQ(lookUp(table, "#2"), "unknown");
}

}  // namespace
