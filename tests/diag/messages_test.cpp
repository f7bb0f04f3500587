#include "diag/messages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/environment_variable.h"
#include "support/temporary_directory.h"

namespace {

/// A catalogue over a bundle directory of its own. What it retrieves is in `text` and `local`.
class MessagesTest : public testing::Test {
 protected:
  void retrieve(int number, std::vector<const char*> parameters) {
    messages.RetrieveMessage2(text, local, sizeof text, zovenu.data(), "ZOVA", number, parameters);
  }
  void retrieveString(const char* const* table, int number) {
    messages.RetrieveString2(text, local, sizeof text, table, "ZOVR", number);
  }
  void expect(const std::string& expectedText, const std::string& expectedLocal) const {
    EXPECT_EQ(text, expectedText);
    EXPECT_EQ(local, expectedLocal);
  }

  const TemporaryDirectory directory;
  const EnvironmentVariable bundles{"ZOV_RB_PATH", directory.path().c_str()};
  ZOV_Agent_Log_Messages messages;
  char text[ZOV_Agent_Log_Messages::ResultSize] = "old";
  char local[ZOV_Agent_Log_Messages::ResultSize] = "old";
};

TEST(MessageTable, TextsFitTheirRows) {
  for (int number = 0; number < ZOVMessageCount; ++number) {
    const std::string text = zovenu.at(static_cast<std::size_t>(number));
    const ZOVMessageRow* row = zovFindMessage(number);
    EXPECT_EQ(row != nullptr, !text.empty()) << number;
    if (!row) continue;
    EXPECT_EQ(zovMessageNumber(text), number);
    // Every parameter has its place in the text, and no place is without a parameter.
    for (std::size_t i = 0; i < 10; ++i) {
      const bool shown = text.find("{" + std::to_string(i) + "}") != std::string::npos;
      EXPECT_EQ(shown, i < row->parameters.size()) << text;
    }
    EXPECT_EQ(row->parameters.find_first_not_of("tnx"), std::string_view::npos);
  }
}

TEST_F(MessagesTest, SpeaksEnglishWithoutABundleOrADamagedOne) {
  const std::string expected = "ZOVA0003E Environmental error 1 caught in ZOVThread::start rc = 11.";
  retrieve(3, {"1", "ZOVThread::start", "11"});
  expect("", "");  // not open yet
  directory.write("root.txt", "ZOVA0003 = fine\nthis is no message\n");
  for (const bool there : {true, false}) {
    if (!there) std::filesystem::remove_all(directory.path());
    messages.open();
    retrieve(3, {"1", "ZOVThread::start", "11"});
    expect(expected, expected);
  }
  retrieve(4, {});
  expect("", "");
}

TEST_F(MessagesTest, TranslatesForTheReaderOnly) {
  directory.write("root.txt",
                  "ZOVA0003=ZOVA0003E L''erreur {0} dans {1}: {2} \xC3\xA9t\xC3\xA9\nZOVR0000=Bien\n");
  messages.open();
  retrieve(3, {"1", "f", "11"});
  expect("ZOVA0003E L'erreur 1 dans f: 11 \xC3\xA9t\xC3\xA9",
         "ZOVA0003E Environmental error 1 caught in f rc = 11.");
  retrieve(1, {});  // not in the bundle
  expect(zovenu[1], zovenu[1]);
  const char* const table[] = {"OK"};
  retrieveString(table, 0);
  expect("Bien", "OK");
}

TEST_F(MessagesTest, FillsInParametersInOrder) {
  messages.open();
  const struct {
    std::vector<const char*> parameters;
    const char* expected;
  } cases[] = {
      {{"a", "b", "c"}, "ZOVA0002E a exception caught in b c."},
      {{"", "b", "c"}, "ZOVA0002E  exception caught in b c."},
      {{nullptr, "b"}, "ZOVA0002E {0} exception caught in b {2}."},
      {{"<{2}>", "{0}", "c"}, "ZOVA0002E <c> exception caught in {0} c."},
      {{"\xFF", "\xC3\xA9", "''"}, "ZOVA0002E \xEF\xBF\xBD exception caught in \xC3\xA9 ''."},
  };
  for (const auto& c : cases) {
    retrieve(2, c.parameters);
    EXPECT_STREQ(text, c.expected);
  }
}

TEST_F(MessagesTest, GivesNothingRatherThanPartOfALongText) {
  messages.open();
  std::string euros;
  for (int i = 0; i < 300; ++i) euros += "\xE2\x82\xAC";
  retrieve(79, {euros.c_str(), euros.c_str(), "r", "d"});
  EXPECT_EQ(std::string(text).size(), 1800 + std::string(zovenu[79]).size() - 12 + 2);
  retrieve(79, {euros.c_str(), euros.c_str(), euros.c_str(), "d"});
  expect("", "");

  // Parameters that name each other would grow to 170 to the fourth.
  std::string names[4];
  for (int i = 0; i < 4; ++i) {
    for (int k = 0; k < 170; ++k) names[i] += "{" + std::to_string(i + 1) + "}";
  }
  retrieve(79, {names[0].c_str(), names[1].c_str(), names[2].c_str(), names[3].c_str()});
  expect("", "");

  // A parameter counts to its 512th unit.
  const std::string longText(600, 'x');
  retrieve(17, {longText.c_str()});
  EXPECT_EQ(std::string(text), "ZOVA0017I Application server " + std::string(512, 'x') + " is now active.");
}

}  // namespace
