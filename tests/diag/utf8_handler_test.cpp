#include "diag/utf8_handler.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;

namespace {

std::string shown(const std::string& text, std::size_t length = 0) {
  ZOVDebug_PrintUTF8::Buffer buffer;
  return ZOVDebug_PrintUTF8(buffer, text.c_str(), length).data();
}

TEST(DebugPrintUtf8, ShowsEveryByteAsSafeAscii) {
  const struct {
    const char* what;
    std::string text;
    std::string expected;
  } cases[] = {
      {"ascii", "a b~", "a b~"},
      {"control", "\x01\x1F\n\x7F", "<soh=01><us=1F><lf=0A><del=7F>"},
      {"two bytes", "\xC3\xA9", "<00E9>"},
      {"three bytes", "\xE2\x82\xAC", "<20AC>"},
      {"four bytes", "\xF0\x9F\x98\x80", "<0001F600>"},
      {"five and six bytes", "\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", "<00200000><7FFFFFFF>"},
      {"overlong", "\xC0\x80", "<errC0><err80>"},
      {"overlong three", "\xE0\x9F\xBF", "<errE0><err9F><errBF>"},
      {"lone continuation", "a\x80z", "a<err80>z"},
      {"cut off", "\xE2\x82", "<errE2><err82>"},
      {"broken by ascii", "\xE2\x82z", "<errE2><err82>z"},
      {"no lead at all", "\xFE\xFF", "<errFE><errFF>"},
  };
  for (const auto& c : cases) EXPECT_EQ(shown(c.text), c.expected) << c.what;
}

TEST(DebugPrintUtf8, HonoursLengthAndItsOwnLimit) {
  EXPECT_EQ(shown("\xE2\x82\xAC", 2), "<errE2><err82>");
  EXPECT_EQ(shown("a\0b"s, 3), "a<nul=00>b");
  // 146 renderings of seven bytes fit into 1,024; the next is not begun.
  EXPECT_EQ(shown(std::string(2000, '\x80')).size(), 146U * 7);
  EXPECT_EQ(shown(std::string(2000, 'x')).size(), 1024U);
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
  const auto cut = [](const char* text, unsigned int maximum, ZOVUTF8Handler::_truncateDirection direction) {
    return ZOVUTF8Handler(text).safelyTruncate(maximum, direction).str();
  };
  const auto end = ZOVUTF8Handler::TruncateEnd;
  const auto front = ZOVUTF8Handler::TruncateFront;
  EXPECT_EQ(cut("abcdef", 4, end), "abcd");
  EXPECT_EQ(cut("abcdef", 4, front), "cdef");
  // No UTF-8: cut as near to the maximum as a character could be long.
  EXPECT_EQ(cut("\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80", 8, end).size(), 8U);
  EXPECT_EQ(cut("\x80\x80\x80\x80\x80\x80\x80\x80\x80\x80", 8, front).size(), 3U);

  const std::string text =
      "a\xC3\xA9"
      "b\xE2\x82\xAC\xF0\x9F\x98\x80\xE2\x82\xAC"
      "c";
  for (unsigned int maximum = 0; maximum <= text.size(); ++maximum) {
    for (const auto direction : {end, front}) {
      const std::string result = cut(text.c_str(), maximum, direction);
      EXPECT_LE(result.size(), maximum);
      EXPECT_GT(result.size() + 4, maximum) << "more than one character was lost";
      EXPECT_EQ(shown(result).find("err"), std::string::npos) << maximum << ' ' << shown(result);
      EXPECT_TRUE(direction == end ? text.starts_with(result) : text.ends_with(result));
    }
  }
}

// The tests run with a native code page of UTF-8, whatever the locale: plain ASCII counts as UTF-8.
TEST(Utf8Handler, ConvertsAtTheEdges) {
  EXPECT_EQ(ZOVUTF8Handler::createFromLocalString(nullptr).str(), "");
  EXPECT_EQ(ZOVUTF8Handler::createFromLocalString("").str(), "");
  EXPECT_EQ(ZOVUTF8Handler::createFromLocalString("/opt/tessaly").str(), "/opt/tessaly");
  EXPECT_EQ(ZOVUTF8Handler(static_cast<const char*>(nullptr)).convertToLocalString().str(), "");
  if (ZOVUTF8Handler::getNativeLNG2CodePageConstant() != 1208) GTEST_SKIP() << "not a UTF-8 locale";
  EXPECT_EQ(ZOVUTF8Handler::createFromLocalString("caf\xC3\xA9").str(), "caf\xC3\xA9");
  EXPECT_EQ(ZOVUTF8Handler::createFromLocalString("caf\xE9!").str(), "caf\xEF\xBF\xBD!");
  EXPECT_EQ(ZOVUTF8Handler("caf\xC3\xA9").convertToLocalString().str(), "caf\xC3\xA9");
  EXPECT_EQ(ZOVUTF8Handler("caf\xC3\xA9\xE2\x82\xAC!").convertToSBLocalString("#").str(), "caf##!");
  EXPECT_EQ(ZOVUTF8Handler("caf\xC3\xA9").convertToSBLocalString(nullptr).str(), "caf");
}

TEST(Utf8Handler, TranslatesBetweenNamedCodePages) {
  constexpr long latin1 = 819;
  const auto translate = [](const char* text, int length, long from, long to, int maximum) {
    return ZOVUTF8Handler::translateString(text, length, from, to, "Source", "Target", maximum).str();
  };
  EXPECT_EQ(translate("caf\xC3\xA9", 5, 1208, latin1, 20), "caf\xE9");
  EXPECT_EQ(translate("caf\xE9", 4, latin1, 1208, 20), "caf\xC3\xA9");
  EXPECT_EQ(translate("\xE2\x82\xAC", 3, 1208, latin1, 20), "?");
  EXPECT_EQ(translate(nullptr, 3, 1208, latin1, 20), "");
  EXPECT_EQ(translate("abc", -1, 1208, latin1, 20), "");
  EXPECT_EQ(translate("abc", 3, 0, latin1, 20), "");
  EXPECT_EQ(translate("abc", 3, 1208, latin1, 0), "");
}

}  // namespace
