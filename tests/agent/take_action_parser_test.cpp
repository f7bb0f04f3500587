#include "agent/take_action_parser.h"

#include <gtest/gtest.h>

#include <climits>

namespace {
constexpr _TakeActionKeywordTableEntry Keywords[] = {{"LEVEL", 3, 10}, {"LEVELTEXT", 6, 11}, {"NAME", 1, 12}};

struct Expected {
  int id;
  const char* value;
  bool isNumeric;
  int numericValue;
};
struct Case {
  const char* text;
  std::vector<Expected> arguments;
  unsigned int returnCode;
};
}  // namespace

TEST(TakeActionParser, ReadsNamedArguments) {
  const Case cases[] = {
      {"LEVEL=2 name=shop", {{10, "2", 1, 2}, {12, "shop", 0, 0}}, 0},
      {"lev=7 LEVELT=7x n=", {{10, "7", 1, 7}, {11, "7x", 0, 0}, {12, "", 0, 0}}, 0},
      {"level", {{10, "", 0, 0}}, 0},
      {"'name=a b' '' =x name=a=b", {{12, "a b", 0, 0}, {12, "a=b", 0, 0}}, 0},
      {"name=99999999999999999999", {{12, "99999999999999999999", 1, INT_MAX}}, 0},
      {"le=2 name=x", {}, 52},                    // shorter than the shortest
      {"name=x names=y", {{12, "x", 0, 0}}, 52},  // longer than the keyword
      {"", {}, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const RWCString text = c.text;
    ZOVQuotedStringParser tokens(text, '\'');
    zov::TakeActionParser parser(Keywords, tokens);
    for (const Expected& expected : c.arguments) {
      const auto argument = parser.parseNext();
      ASSERT_TRUE(argument);
      EXPECT_EQ(argument->id, expected.id);
      EXPECT_EQ(argument->value, expected.value);
      EXPECT_EQ(argument->isNumeric, expected.isNumeric);
      EXPECT_EQ(argument->numericValue, expected.numericValue);
    }
    EXPECT_FALSE(parser.parseNext());
    EXPECT_FALSE(parser.parseNext());
    EXPECT_EQ(parser.getReturnCode(), c.returnCode);
  }
}
