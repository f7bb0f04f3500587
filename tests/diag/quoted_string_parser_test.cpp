#include "diag/quoted_string_parser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(QuotedStringParser, CutsTokens) {
  const std::pair<const char*, std::vector<std::string>> cases[] = {
      {" \t\n ", {}},
      {"StartAppSvr a  b", {"StartAppSvr", "a", "b"}},
      {"  'a b' c", {"a b", "c"}},
      {"'a b'c d", {"a b", "c", "d"}},
      {"it's 'x", {"it's", ""}},
      {"'' x", {"", "x"}},
      {"'a\tb\n'", {"a\tb\n"}},
  };
  for (const auto& [line, expected] : cases) {
    const RWCString text(line);
    ZOVQuotedStringParser parser(text, '\'');
    std::vector<std::string> tokens;
    int done = 0;
    for (RWCString token = parser.next(done, " \t\n"); !done; token = parser.next(done, " \t\n")) {
      tokens.push_back(token.str());
    }
    EXPECT_EQ(tokens, expected) << line;
    EXPECT_TRUE(parser.next(done, " \t\n").isNull());
    EXPECT_EQ(done, 1) << "the end stays the end";
  }
}

}  // namespace
