#include "platform/trace.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "support/environment_variable.h"
#include "support/temporary_directory.h"
#include "support/trace_capture.h"

static DGT1_Unit traceUnit("ZOVTTRC1");
static DGT1_Unit otherUnit("ZOVTTRC2");

namespace {

std::vector<std::string> linesOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

class TraceFile : public testing::Test {
 protected:
  void SetUp() override { DGT1_Open(); }
  void TearDown() override {
    const EnvironmentVariable noFile("ZOV_TRACE_FILE", nullptr), noSetting("ZOV_TRACE", nullptr);
    DGT1_Open();
    EXPECT_EQ(traceUnit.flags(), DGT1_ERROR | DGT1_MESSAGE);
  }

  const TemporaryDirectory directory;
  const std::string path = directory.file("trace.log");
  const EnvironmentVariable file{"ZOV_TRACE_FILE", path.c_str()}, setting{"ZOV_TRACE", "DETAIL(ZOVTTRC1)"};
};

TEST(TraceFormat, FollowsPrintfAndKeepsWhatDoesNotFit) {
  const char* const none = nullptr;
  EXPECT_EQ(DGT1_FormatText("%s %04d|%-4i|%u", "a", 42, 7, 8U), "a 0042|7   |8");
  EXPECT_EQ(DGT1_FormatText("%08X %x %lX", -1, 255U, -1L), "FFFFFFFF ff FFFFFFFFFFFFFFFF");
  EXPECT_EQ(DGT1_FormatText("%i %ld %llu", std::size_t{5'000'000'000}, -5'000'000'000L, ~0ULL),
            "5000000000 -5000000000 18446744073709551615");
  EXPECT_EQ(DGT1_FormatText("%s|%.2s|%c|%5.1f%%", none, "abc", 'x', 2.25), "(null)|ab|x|  2.2%");
  EXPECT_EQ(DGT1_FormatText("%.3s", std::string("abcd").c_str()), "abc");
  EXPECT_EQ(DGT1_FormatText("%p", reinterpret_cast<const void*>(0xBEEF)), "0xbeef");
  EXPECT_EQ(DGT1_FormatText("%d %s", "text", 5), "%d %s [text] [5]");
  EXPECT_EQ(DGT1_FormatText("%d %d", 1), "%d %d [1]");
  EXPECT_EQ(DGT1_FormatText("%y", 1.5), "%y [1.5]");
  EXPECT_EQ(DGT1_FormatText("%"), "%");
}

TEST(TraceSetting, TurnsFlagsOnForUnits) {
  constexpr std::uint32_t state = DGT1_STATE | DGT1_STATE_ENTER;
  const struct {
    const char* setting;
    std::uint32_t first, second;
  } cases[] = {
      {"", 0, 0},
      {"ERROR MESSAGE", DGT1_ERROR | DGT1_MESSAGE, DGT1_ERROR | DGT1_MESSAGE},
      {"error  FLOW(ZOVTTRC2)", DGT1_ERROR, DGT1_ERROR | DGT1_FLOW},
      {"STATE(ZOVTTRC1, ZOVTTRC2) DETAIL(zovttrc1)", state | DGT1_DETAIL, state},
      {"FLOW(ZOVNOUNI)", 0, 0},
      {"ALL", 0xDD, 0xDD},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(DGT1_Configure(c.setting)) << c.setting;
    EXPECT_EQ(traceUnit.flags(), c.first) << c.setting;
    EXPECT_EQ(otherUnit.flags(), c.second) << c.setting;
    EXPECT_EQ(DGT1_PreambleMask.load() & DGT1_FLOW, (c.first | c.second) & DGT1_FLOW) << c.setting;
  }
  DGT1_Configure("ERROR MESSAGE");
}

TEST(TraceSetting, SkipsBadWordsAndNamesThem) {
  for (const char* setting : {"DETAIL LOUD", "DETAIL LOUD(ZOVTTRC1)", "DETAIL LOUD(ZOVTTRC1"}) {
    std::string error;
    EXPECT_FALSE(DGT1_Configure(setting, &error)) << setting;
    EXPECT_THAT(error, testing::AllOf(testing::HasSubstr("LOUD"), testing::HasSubstr("MESSAGE, STATE")));
    EXPECT_EQ(traceUnit.flags(), DGT1_DETAIL) << setting;
  }
  DGT1_Configure("ERROR MESSAGE");
}

TEST(TraceSetting, AppliesToUnitsMadeLater) {
  DGT1_Configure("FLOW(ZOVTLATE)");
  EXPECT_EQ(DGT1_PreambleMask.load(), 0U);
  static DGT1_Unit late("ZOVTLATE");
  EXPECT_TRUE(late.on(DGT1_FLOW));
  EXPECT_EQ(DGT1_PreambleMask.load(), DGT1_FLOW);
  DGT1_PreambleMask.fetch_or(0x600);
  DGT1_Configure("ERROR MESSAGE");
  EXPECT_EQ(DGT1_PreambleMask.exchange(0), 0x600U);
}

TEST_F(TraceFile, NothingFromOutsideMakesALineOrReachesATerminal) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "name=%s!\n",
              "a\n2026-01-01 00:00:00 1 ZOVX 1 forged\r\t\x1B[2J\x7F\b");
  DGT1_Printf(traceUnit, DGT1_DETAIL, "\nfirst %.4s\n\tsecond %c %s\r\n", "ab\ncd", '\n',
              "\xC2\x9B \xC3\x9B\n");
  DGT1_Printf(traceUnit, DGT1_DETAIL, "%d does not fit", "x\ny");
  DGT1_Write("ZOVTTRC1", 1, "title\nline\x1B\n");
  DGT1_Write("ZOVTTRC1", 1, "");
  std::vector<std::string> texts;
  for (const std::string& line : linesOf(path)) {
    const std::size_t tag = line.find(" ZOVTTRC1 ");
    ASSERT_NE(tag, std::string::npos) << line;
    texts.push_back(line.substr(line.find(' ', tag + 10) + 1));
  }
  EXPECT_THAT(texts,
              testing::ElementsAre("name=a\\n2026-01-01 00:00:00 1 ZOVX 1 forged\\r\\t\\x1B[2J\\x7F\\x08!",
                                   "first ab\\nc", "\tsecond \\n \\xC2\\x9B \xC3\x9B\\n",
                                   "%d does not fit [x\\ny]", "title", "line\\x1B", ""));
}

TEST(Trace, GivesEachLineItsPriorityWhereStandardErrorIsTheJournal) {
  const TemporaryDirectory directory;
  const std::string journal = directory.write("journal", ""), file = directory.file("trace.log");
  const int former = ::dup(STDERR_FILENO), ours = ::open(journal.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  struct stat status {};
  ::fstat(ours, &status);
  const std::string stream = std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
  const auto print = [](const char* journalStream, const char* path) {
    const EnvironmentVariable named("JOURNAL_STREAM", journalStream), to("ZOV_TRACE_FILE", path);
    DGT1_Open();
    DGT1_Printf(traceUnit, DGT1_ERROR, "two\nlines");
    DGT1_Printf(traceUnit, DGT1_MESSAGE, "x");
    DGT1_Write("ZOVTTRC1", {1, DGT1_Line::Error}, "x");
  };
  ::dup2(ours, STDERR_FILENO);
  print(stream.c_str(), nullptr);
  print("1:2", nullptr);  // inherited, of a parent's
  print(stream.c_str(), file.c_str());
  ::dup2(former, STDERR_FILENO);
  ::close(former), ::close(ours);
  DGT1_Open();
  std::string priorities;
  for (const std::string& path : {journal, file}) {
    for (const std::string& line : linesOf(path))
      priorities += line.starts_with("<") ? line.substr(0, 3) : "-";
  }
  EXPECT_EQ(priorities, "<4><4><5><3>--------");
}

TEST(Trace, DumpsBytesAndStopsAt4096) {
  const TraceCapture capture("ALL");
  SnapHex(traceUnit, "0123456789ABCDEF\x01~\xFF", 19, "Record");
  SnapHex(traceUnit, std::string(5000, 'x').data(), 5000, "Large");
  SnapHex(traceUnit, nullptr, 10, "Nothing");
  const auto lines = capture.lines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0],
            "ZOVTTRC1: Record (19 bytes)\n"
            "0000  30313233 34353637 38394142 43444546  *0123456789ABCDEF*\n"
            "0010  017EFF                               *.~.*");
  EXPECT_EQ(std::count(lines[1].begin(), lines[1].end(), '\n'), 4096 / 16);
  EXPECT_EQ(lines[2], "ZOVTTRC1: Nothing (10 bytes)");
}

TEST_F(TraceFile, IsWrittenInWholeLinesAndReopenedAfterARename) {
  constexpr int threads = 4, each = 100;
  std::vector<std::thread> writers;
  for (int t = 0; t < threads; ++t) {
    writers.emplace_back([] {
      for (int i = 0; i < each; ++i) {
        DGT1_Printf(traceUnit, DGT1_DETAIL, "line %d ends here\r\n", i);
        DGT1_Printf(otherUnit, DGT1_DETAIL, "never shown");
      }
    });
  }
  for (std::thread& writer : writers) writer.join();
  const std::string renamed = directory.file("trace.old");
  std::filesystem::rename(path, renamed);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "after the rename");

  const char* const form = "[-0-9]{10} [:0-9]{8}[.][0-9]{6} [0-9]+ ZOVTTRC1 [0-9]+ line [0-9]+ ends here";
  const auto before = linesOf(renamed);
  EXPECT_EQ(before.size(), std::size_t{threads * each});
  EXPECT_THAT(before, testing::Each(testing::MatchesRegex(form)));
  EXPECT_THAT(linesOf(path), testing::ElementsAre(testing::EndsWith(" after the rename")));
}

TEST(Trace, TextsAreCutBetweenTwoCharacters) {
  const std::tuple<std::string, std::size_t, std::string> cases[] = {
      {"fits", 4, "fits"},
      {"longer", 5, "lo..."},
      {"", 0, ""},
      {"a\xC3\xA9*cd", 5, "a..."},
      {"abcd\xC3\xA9z", 6, "abc..."},
      {"\x80\x80\x80\x80\x80\x80\x80\x80", 7, "\x80..."},
      {"abc", 2, "..."},
  };
  for (const auto& [text, most, shown] : cases) EXPECT_EQ(DGT1_Cut(text, most), shown) << text;

  const TraceCapture trace;
  DGT1_Printf(traceUnit, DGT1_ERROR, "name %s of %i, %s", std::string(5'000'000, 'x').c_str(), 7, "short");
  EXPECT_TRUE(trace.has("name " + std::string(DGT1_MostText - 3, 'x') + "... of 7, short"));
}

}  // namespace
