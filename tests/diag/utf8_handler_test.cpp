#include "diag/utf8_handler.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace {

std::string shown(const std::string& text, std::size_t length = 0) {
  ZOVDebug_PrintUTF8::Buffer buffer;
  return ZOVDebug_PrintUTF8(buffer, text.c_str(), length).data();
}

TEST(DebugPrintUtf8, ShowsEveryByteAsSafeAsciiUpToItsLimit) {
  const std::pair<std::string, std::string> cases[] = {
      {"a b~", "a b~"},
      {"\x01\x1F\n\x7F", "<soh=01><us=1F><lf=0A><del=7F>"},
      {"\xC3\xA9", "<00E9>"},
      {"\xE2\x82\xAC", "<20AC>"},
      {"\xF0\x9F\x98\x80", "<0001F600>"},
      {"\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", "<00200000><7FFFFFFF>"},
      {"\xC0\x80", "<errC0><err80>"},             // overlong
      {"\xE0\x9F\xBF", "<errE0><err9F><errBF>"},  // overlong
      {"a\x80z", "a<err80>z"},
      {"\xE2\x82", "<errE2><err82>"},
      {"\xE2\x82z", "<errE2><err82>z"},
      {"\xFE\xFF", "<errFE><errFF>"},
      {std::string(2000, 'x'), std::string(1024, 'x')},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(shown(text), expected) << text;
  EXPECT_EQ(shown("\xE2\x82\xAC", 2), "<errE2><err82>");
  EXPECT_EQ(shown("a\0b"s, 3), "a<nul=00>b");
  // 146 renderings of seven bytes fit into 1,024; the next is not begun.
  EXPECT_EQ(shown(std::string(2000, '\x80')).size(), 146U * 7);
}

TEST(Utf8Handler, CountsAndTakesCharacters) {
  const RWCString text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";
  const ZOVUTF8Handler handler(text);
  EXPECT_TRUE(handler.containsDBCharacters());
  EXPECT_EQ(handler.getNumChars(), 5U);
  EXPECT_EQ(handler.substr(1, 2).str(), "\xC3\xA9\xE2\x82\xAC");
  EXPECT_EQ(handler.substr(4, 9).str(), "z");
  EXPECT_EQ(handler.substr(9, 1).str(), "");
  EXPECT_EQ(handler(1), '\xC3');
  // A character that its text ends inside of counts, and is taken as far as it goes.
  EXPECT_EQ(ZOVUTF8Handler("ab\xF0\x9F").getNumChars(), 3U);
  EXPECT_EQ(ZOVUTF8Handler("ab\xF0\x9F").substr(2, 4).str(), "\xF0\x9F");
}

TEST(Utf8Handler, TruncatesBetweenCharacters) {
  const auto cut = [](const std::string& text, unsigned int maximum, auto direction) {
    return ZOVUTF8Handler(text.c_str()).safelyTruncate(maximum, direction).str();
  };
  const auto end = ZOVUTF8Handler::TruncateEnd;
  const auto front = ZOVUTF8Handler::TruncateFront;
  EXPECT_EQ(cut("abcdef", 4, front), "cdef");
  // No UTF-8: cut as near to the maximum as a character could be long.
  EXPECT_EQ(cut(std::string(10, '\x80'), 8, end).size(), 8U);
  EXPECT_EQ(cut(std::string(10, '\x80'), 8, front).size(), 3U);

  const std::string text = "a\xC3\xA9*\xE2\x82\xAC\xF0\x9F\x98\x80\xE2\x82\xAC*";
  for (unsigned int maximum = 0; maximum <= text.size(); ++maximum) {
    for (const auto direction : {end, front}) {
      const std::string result = cut(text, maximum, direction);
      EXPECT_LE(result.size(), maximum);
      EXPECT_GT(result.size() + 4, maximum) << "more than one character was lost";
      EXPECT_EQ(shown(result).find("err"), std::string::npos) << maximum << ' ' << shown(result);
      EXPECT_TRUE(direction == end ? text.starts_with(result) : text.ends_with(result));
    }
  }
}

TEST(Utf8Handler, ConvertsAtTheEdges) {
  EXPECT_EQ(ZOVUTF8Handler::createFromLocalString(nullptr).str(), "");
  EXPECT_EQ(ZOVUTF8Handler(static_cast<const char*>(nullptr)).convertToLocalString().str(), "");
  if (ZOVUTF8Handler::getNativeLNG2CodePageConstant() != 1208) GTEST_SKIP() << "not a UTF-8 locale";
  EXPECT_EQ(ZOVUTF8Handler::createFromLocalString("caf\xE9!").str(), "caf\xEF\xBF\xBD!");
  EXPECT_EQ(ZOVUTF8Handler("caf\xC3\xA9").convertToLocalString().str(), "caf\xC3\xA9");
  EXPECT_EQ(ZOVUTF8Handler("caf\xC3\xA9\xE2\x82\xAC!").convertToSBLocalString("#").str(), "caf##!");
  EXPECT_EQ(ZOVUTF8Handler("caf\xC3\xA9").convertToSBLocalString(nullptr).str(), "caf");
}

}  // namespace
