#include "platform/language.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/utypes.h>

#include <memory>

#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace {

using Locale = std::unique_ptr<LNG2_Locale, decltype(&LNG2_ReleaseLocale)>;
using Bundle = std::unique_ptr<LNG2_Bundle, decltype(&LNG2_ResourceClose)>;

constexpr long german = 1031, latin1 = 819, ascii = 367;

Locale getLocale(long language, long codepage, int* status = nullptr) {
  return {LNG2_GetLocale(language, codepage, 0, status), &LNG2_ReleaseLocale};
}

TEST(Locales, CarryTheirIdsAndAreNullWhenNotAvailable) {
  const Locale locale = getLocale(german, latin1), standard = getLocale(0, 0);
  ASSERT_TRUE(locale && standard);
  EXPECT_STREQ(LNG2_GetLocaleName(locale.get()), "de_DE");
  EXPECT_EQ(LNG2_GetLocaleNumInfo(locale.get(), 1), german);
  EXPECT_EQ(LNG2_GetLocaleCodepageId(locale.get(), nullptr), latin1);
  EXPECT_EQ(LNG2_GetLocaleCodepageId(standard.get(), nullptr), LNG2_NativeCodepageId());
  for (const auto& [language, codepage] : {std::pair{-1L, 0L}, {0x7FFFL, 0L}, {german, 99999L}, {0L, -4L}}) {
    int status = 0;
    EXPECT_EQ(getLocale(language, codepage, &status), nullptr) << language << " " << codepage;
    EXPECT_GT(status, 0) << language << " " << codepage;
  }
  char name[80] = "unchanged";
  LNG2_GetLanguageName(-1, name, sizeof name);
  EXPECT_STREQ(name, "");
  LNG2_GetLanguageName(german, name, 4);
  EXPECT_STREQ(name, "Ger");
}

std::u16string text(const Bundle& bundle, const char* key) {
  int length = -1, status = 99;
  const char16_t* found = LNG2_GetStringByKey(bundle.get(), key, &length, &status);
  EXPECT_EQ(found == nullptr, status > 0);
  return found ? std::u16string(found, static_cast<std::size_t>(length)) : u"(none)";
}

TEST(Bundles, NarrowerFilesGoOverWiderOnes) {
  const TemporaryDirectory directory;
  const Locale locale = getLocale(german, 0);
  int status = 0;
  const auto open = [&] {
    return Bundle(LNG2_ResourceOpen(directory.path().c_str(), locale.get(), &status), &LNG2_ResourceClose);
  };
  EXPECT_EQ(open(), nullptr);
  EXPECT_EQ(status, U_MISSING_RESOURCE_ERROR);

  directory.write("root.txt", "# comment\nZOVA0001 = English = 1\nZOVA0002=second\n");
  EXPECT_EQ(text(open(), "ZOVA0001"), u"English = 1");
  EXPECT_EQ(status, U_USING_DEFAULT_WARNING);

  directory.write("de.txt", "\xEF\xBB\xBFZOVA0001=\xC3\xBC\xF0\x9F\x98\x80\r\n");
  EXPECT_EQ(text(open(), "ZOVA0001"), u"\u00FC\U0001F600");
  EXPECT_EQ(status, U_USING_FALLBACK_WARNING);

  directory.write("de_DE.txt", "ZOVA0003=drei");
  const Bundle exact = open();
  EXPECT_EQ(status, U_ZERO_ERROR);
  EXPECT_EQ(text(exact, "ZOVA0001"), u"\u00FC\U0001F600");
  EXPECT_EQ(text(exact, "ZOVA0002"), u"second");
  EXPECT_EQ(text(exact, "ZOVA0003"), u"drei");
  EXPECT_EQ(text(exact, "ZOVA0004"), u"(none)");

  const TraceCapture trace("ERROR");
  directory.write("de.txt", "ZOVA0001=good\nno message\n");
  EXPECT_EQ(open(), nullptr);
  EXPECT_EQ(status, U_INVALID_FORMAT_ERROR);
  EXPECT_TRUE(trace.has("de.txt, line 2"));
}

TEST(Translation, BetweenCodePages) {
  const struct {
    long from, to;
    std::string source, expected;
    const char* substitute = nullptr;
    std::size_t maximum = 100;
    int status = 0;
  } cases[] = {
      {LNG2_UTF8, latin1, "na\xC3\xAFve", "na\xEFve"},
      {latin1, LNG2_UTF8, "na\xEFve", "na\xC3\xAFve"},
      {LNG2_UTF8, ascii, "\xE2\x82\xAC\xE2\x82\xAC", "..", "."},
      {LNG2_UTF8, LNG2_UTF8, "bad \xFF", "bad \xEF\xBF\xBD"},
      {LNG2_UTF8, 37, "A", "\xC1"},
      {LNG2_UTF8, latin1, "", ""},
      {latin1, LNG2_UTF8, "\xE9\xE9", "", nullptr, 3, U_BUFFER_OVERFLOW_ERROR},
      {99999, LNG2_UTF8, "\xE9", "", nullptr, 100, U_FILE_ACCESS_ERROR},
  };
  for (const auto& c : cases) {
    int status = 99;
    const std::string_view source = c.source;
    EXPECT_EQ(
        LNG2_TranslateString(c.to, source.data(), source.size(), c.from, c.substitute, c.maximum, &status),
        c.expected);
    EXPECT_EQ(status, c.status) << c.source;
  }
}

}  // namespace
