// What becomes of the bytes of a log: records, rotation, refusals.

#include "logs/log_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "logs/log_file_collector.h"
#include "support/comes_true.h"
#include "support/diagnostic_environment.h"
#include "support/step_clock.h"
#include "support/temporary_directory.h"

namespace {

template <class Copy>
std::string field(const ZOVLogEventSample& sample, Copy copy) {
  char out[300] = {};
  (sample.*copy)(out, sizeof out - 1);
  return out;
}

struct Owner : zov::LogFileOwner {
  RWCString instanceName() const override { return "server1"; }
  unsigned int collectorProcessId() const override { return processId; }
  std::optional<uid_t> user() const override { return uid; }
  const ZOVApplicationServerBase* server() const override { return nullptr; }
  unsigned int processId = 0;
  std::optional<uid_t> uid = ::geteuid();
};

std::string record(const std::string& text) {
  return "[1/2/05 12:34:56:789 EST] 0000001a Foo I ABCD0001I: " + text + "\n";
}

class LogFileTest : public testing::Test {
 protected:
  void SetUp() override {
    emitted.clear();
    answer = 0;
    ZOVLogFile::setEmitter([](const ZOVLogEventSample* sample, const ZOVApplicationServerBase*) {
      if (answer == 0) emitted.push_back(field(*sample, &ZOVLogEventSample::copyMessage));
      return answer;
    });
  }
  void TearDown() override { ZOVLogFile::setEmitter(nullptr); }

  void append(const std::string& bytes, const char* name = "log") {
    std::ofstream(directory.file(name), std::ios::binary | std::ios::app) << bytes;
  }
  /// The texts of the events of one scan.
  std::vector<std::string> scan() {
    emitted.clear();
    result = file.read();
    return emitted;
  }
  using Texts = std::vector<std::string>;

  static inline std::vector<std::string> emitted;
  static inline unsigned int answer;
  DiagnosticEnvironment environment;
  TemporaryDirectory directory;
  Owner owner;
  ZOVReturnCode result;
  ZOVLogFile file{directory.file("log").c_str(), 10, 3, "", &owner, nullptr};
};

TEST_F(LogFileTest, RecordsAreCutOutOfLines) {
  const std::string kilobyte(1000, 'x');
  const struct {
    const char* what;
    std::string bytes;
    Texts texts;
  } cases[] = {
      {"lines behind the head belong to it", record("a\n b\n c") + record("d"), {"a\n b\n c", "d"}},
      {"a banner ends a record", record("a") + "*** banner\nb\n" + record("c"), {"a", "c"}},
      {"a line that is longer than any buffer",
       record(std::string(200'000, 'y')) + record("z"),
       {std::string(256, 'y'), "z"}},
      {"what is no record costs itself alone",
       "[1/2/05 1:2:3:4 AB] 1 Foo I text\n" + record("a") + "[99/99/05 12:34:56:789 EST] 1 Foo\n" +
           record("b"),
       {"a", "b"}},
      {"an empty line, a zero byte and a carriage return",
       "\n" + std::string(1, '\0') + "\n" + record("a\r"),
       {"a"}},
  };
  append("");
  scan();
  for (const auto& c : cases) {
    append(c.bytes);
    EXPECT_EQ(scan(), c.texts) << c.what;
  }
}

TEST_F(LogFileTest, TheFirstScanBeginsNearTheEnd) {
  const std::string line = record(std::string(47, 'x'));  // 100 bytes
  ASSERT_EQ(line.size(), 100U);
  for (int i = 0; i < 100; ++i) append(line);
  EXPECT_EQ(scan().size(), 40U) << "of 10,000 bytes those from 6,000 on";
  append(line);
  EXPECT_EQ(scan().size(), 1U);
  EXPECT_EQ(scan().size(), 0U);
  std::ofstream(directory.file("log")) << line;
  EXPECT_EQ(scan().size(), 1U) << "a shrunk file is read from its start";
}

TEST_F(LogFileTest, ARecordThatIsNotWholeWaitsForOneScan) {
  append("");
  scan();
  append(record("a") + "[1/2/05 12:34");
  EXPECT_EQ(scan(), Texts{"a"});
  append(":56:789 EST] 0000001a Foo I b");
  EXPECT_EQ(scan(), Texts{});
  append("c\n[1/2/05 12:34:56:789 EST] 0000001a I UOW= source=x.Y org=z\n");
  EXPECT_EQ(scan(), Texts{"bc"});
  append("  d\n" + record("e").substr(0, 50));
  EXPECT_EQ(scan(), Texts{"d"});
  EXPECT_EQ(scan().size(), 1U) << "nothing more comes";
}

TEST_F(LogFileTest, NoRecordIsLostAcrossRotations) {
  append("");
  scan();
  Texts expected, seen;
  int number = 0;
  const auto write = [&](int records, const char* name) {
    std::string bytes;
    for (; records-- > 0; ++number) bytes += record(std::to_string(number));
    append(bytes, name);
  };
  const auto read = [&] {
    const Texts some = scan();
    seen.insert(seen.end(), some.begin(), some.end());
  };
  for (int rotation = 1; rotation <= 10; ++rotation) {
    write(rotation * 100, "log");
    if (rotation % 2) read();
    write(rotation * 10, "log");
    ASSERT_EQ(std::rename(directory.file("log").c_str(), directory.file("old").c_str()), 0);
    if (rotation % 3 == 0) read();  // the name is gone
    append("");
    if (rotation % 4 == 0) read();  // the writer has not come to the new file yet
    write(5, "old");
    write(rotation * 200, "log");
    read();
  }
  for (int i = 0; i < number; ++i) expected.push_back(std::to_string(i));
  EXPECT_EQ(seen, expected);
}

TEST_F(LogFileTest, AMillionRecordsArriveOnceEachWhileTheyAreWritten) {
  static int arrived, wrong;
  arrived = wrong = 0;
  ZOVLogFile::setEmitter([](const ZOVLogEventSample* sample, const ZOVApplicationServerBase*) {
    char text[16] = {};
    sample->copyMessage(text, sizeof text - 1);
    wrong += std::atoi(text) != arrived++;
    return 0U;
  });
  append("");
  file.read();
  constexpr int Files = 10, Records = 100'000, Burst = 40'001;  // bytes, so that records are torn
  std::atomic<int> scans{0};
  std::atomic<bool> rests{false};  // the writer, with whole records written
  std::thread writer([&] {
    for (int i = 0; i < Files; ++i) {
      std::string bytes;
      for (int r = 0; r < Records; ++r) bytes += record(std::to_string(i * Records + r));
      std::ofstream log(directory.file("log"), std::ios::binary | std::ios::app);
      for (std::size_t at = 0; at < bytes.size(); at += Burst) log << bytes.substr(at, Burst) << std::flush;
      rests = true;
      if (i + 1 == Files) break;
      const int before = scans;
      while (scans < before + 2) std::this_thread::yield();  // until it is open
      rests = false;
      std::rename(directory.file("log").c_str(), directory.file("old").c_str());
    }
  });
  std::uintmax_t size = 0;
  EXPECT_TRUE(comesTrue([&] {
    std::error_code gone;
    const std::string log = directory.file("log");
    // Where the file does not grow between two scans, a torn record is taken for a whole one.
    if (rests || std::filesystem::file_size(log, gone) != size) file.read();
    size = std::filesystem::file_size(log, gone);
    ++scans;
    return arrived == Files * Records;
  }));
  writer.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(LogFileTest, WhatIsNoReadableFileIsToldOnceAndHarmsNothing) {
  const std::string path = directory.file("log");
  const auto told = [&] { return environment.issued().size(); };
  const auto refuses = [&](const char* what, const char* reason) {
    const std::size_t before = told();
    scan(), scan();
    EXPECT_EQ(result, ZOV_UNABLE_TO_OPEN_FILE) << what;
    ASSERT_EQ(told(), before + 1) << what;
    EXPECT_NE(environment.issued().back().find("fopen " + path), std::string::npos) << what;
    EXPECT_NE(environment.issued().back().find(reason), std::string::npos) << environment.issued().back();
    ::remove(path.c_str());
    append("");
    scan();
    EXPECT_EQ(result, ZOV_OK) << what;
    append(record("a"));
    EXPECT_EQ(scan(), Texts{"a"}) << what;
    ::remove(path.c_str());
  };
  refuses("none", "No such file");
  ::mkdir(path.c_str(), 0700);
  refuses("a directory", "no regular file");
  ::mkfifo(path.c_str(), 0600);
  refuses("a FIFO", "no regular file");
  append(record("secret"));
  ::chmod(path.c_str(), 0600);
  owner.uid.reset();
  scan();
  owner.uid = 65534;
  EXPECT_TRUE(scan().empty());
  EXPECT_EQ(told(), 4U);
  EXPECT_NE(environment.issued().back().find("whom the server belongs to"), std::string::npos);
  ::chmod(path.c_str(), 0644);
  EXPECT_TRUE(scan().empty()) << "its directory is another's";
  ::chmod(directory.path().c_str(), 0755);
  EXPECT_EQ(scan(), Texts{"secret"});
}

TEST_F(LogFileTest, EventsWaitAndAreRetained) {
  append("");
  scan();
  answer = 45;
  for (int i = 0; i <= 100; ++i) append(record(std::to_string(i)));
  scan();
  answer = 0;
  owner.processId = 4711;
  append(record("last"));
  const Texts texts = scan();
  ASSERT_EQ(texts.size(), 101U);
  EXPECT_EQ(texts.front(), "1") << "of 101 refused events the oldest is dropped";
  EXPECT_EQ(texts.back(), "last");
  Texts retained;
  file.forEachSample([&](const ZOVLogEventSample& event) {
    retained.push_back(std::to_string(event.getLogEventSampleSeqNum()) + " " +
                       field(event, &ZOVLogEventSample::copyProcessId) + " " +
                       field(event, &ZOVLogEventSample::copyServerInstanceName));
  });
  EXPECT_EQ(retained, (Texts{"99  server1", "100  server1", "101 4711 server1"}));
}

TEST(LogFileName, IsMadeOneOfThisSystem) {
  RWCString name("!C:\\a!\\b");
  ZOVLogFile::getOSFileName(&name);
  EXPECT_EQ(name, "C:/a!/b");
}

TEST_F(LogFileTest, TheCollectorScansEachFileWhenItIsDue) {
  const StepClock clock;
  const auto collector = std::make_shared<ZOVLogFileCollector>(60);
  EXPECT_EQ(collector->scan(), 60);
  append(record("a"));
  append(record("b"), "slow");
  {
    const ZOVLogFile fast(directory.file("log").c_str(), 10, 0, "", nullptr, collector);
    const ZOVLogFile slow(directory.file("slow").c_str(), 25, 0, "", nullptr, collector);
    EXPECT_EQ(collector->scan(), 10);
    EXPECT_EQ(emitted, (Texts{"a", "b"}));
    append(record("c")), append(record("d"), "slow");
    StepClock::step(20);
    EXPECT_EQ(collector->scan(), 5);
    StepClock::step(5);
    EXPECT_EQ(collector->scan(), 5);
    EXPECT_EQ(emitted, (Texts{"a", "b", "c", "d"}));
    collector->startBackgroundThread();
  }
  StepClock::step(60);
  EXPECT_EQ(collector->scan(), 60) << "gone files are not scanned";
}

}  // namespace
