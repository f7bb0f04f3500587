// The context file and the list of servers: what survives a restart, and what a person or a crash may have
// left in the file.

#include "context/application_context.h"

#include <sys/stat.h>

#include <functional>

#include "support/server_rig.h"
#include "support/trace_capture.h"

namespace {

class ContextTest : public testing::Test {
 protected:
  void write(const std::string& text) { std::ofstream(rig.contextFile()) << text; }
  std::vector<std::string> names() {
    std::vector<std::string> all;
    rig.context->waitUntilRead();
    for (const auto& server : rig.context->getAppServers()) all.push_back(server->getName().str());
    return all;
  }
  static std::string line(const std::string& name, const std::string& subnode, const std::string& rest = "") {
    return "appServerName=" + name +
           "\tworkingDirectory=/w\tserverRootDirectory=/srv\toccurrence=2\tplatform=tsl6" +
           "\tsubnodeName=" + subnode + "\taliasName=al\tlocaleName=de_DE\tencoding=UTF-8\townerUid=7" +
           rest + "\n";
  }

  ServerRig rig;
};

TEST_F(ContextTest, ServersComeBackAsTheyWereInTheirOrder) {
  rig.services.serverParms.setSubnodeAliasName("al");
  const std::string text = "\n" + line("b", "b1:host:ZOVS") + line("a", "a1:host:ZOVS");
  write(text);
  rig.start();
  EXPECT_EQ(names(), (std::vector<std::string>{"b", "a"}));
  const auto server = rig.server("a");
  EXPECT_EQ(server->getStatus(), ServerDisconnected);
  EXPECT_EQ(server->getSubnodeName(), "a1:host:ZOVS");
  EXPECT_EQ(server->getOccurrence(), 2);
  EXPECT_EQ(server->getPlatform(), "tsl6");
  EXPECT_EQ(server->getEncoding(), "UTF-8");
  EXPECT_EQ(server->getOwner(), uid_t{7});
  EXPECT_EQ(rig.contextText(), text);
  EXPECT_TRUE(rig.issued("ZOVA0007I Application server a discovered.  Status = Disconnected."));
  EXPECT_EQ(rig.context->findAppServerMatchingSubnode("A1:HOST:zovs"), server);
  EXPECT_EQ(rig.context->findAppServerMatchingSubnode("a"), nullptr);
  EXPECT_FALSE(rig.context->isSubNodeNameUnique("a1:host:ZOVS"));
  EXPECT_TRUE(rig.context->isSubNodeNameUnique("A1:host:ZOVS"));
}

TEST_F(ContextTest, DamagedLinesCostTheirServerOnly) {
  write("\n" + line("first", "1:h:ZOVS") + "\n\t\t\t\n=\n" + std::string("\0\x01\xff\tappServerName\n", 17) +
        "serverRootDirectory=/only\n" + "appServerName=crlf\tbogus=1\tserverRootDirectory=/x\r\n" +
        "appServerName=a\tappServerName=twice\n" + "junk " + std::string(5000, 'x') + "\n" +
        "appServerName=unterminated\toccurrence=zz");
  rig.start();
  EXPECT_EQ(names(), (std::vector<std::string>{"first", "crlf", "twice", "unterminated"}));
  EXPECT_EQ(rig.server("crlf")->getServerRootDirectory(), "/x");
  const std::string tidied = rig.contextText();
  EXPECT_EQ(std::count(tidied.begin(), tidied.end(), '\n'), 5);
}

TEST_F(ContextTest, ValuesCannotBreakTheFile) {
  rig.start();
  FakeCollector collector(rig.port());
  const std::string most(1024, 'l');  // of each, and too much together
  collector.send(wirePing(7, "a\tb\nc\rd", "/srv\n\nappServerName=evil").text(31, most).text(41, most));
  ASSERT_TRUE(collector.receive());
  EXPECT_EQ(rig.contextText(), "\n");  // its line could not be read back
  collector.close();
  FakeCollector second(rig.port());
  second.send(wirePing(7, "a\tb\nc", "/srv\n\nappServerName"));
  ASSERT_TRUE(second.receive());
  EXPECT_EQ(rig.contextText().substr(1, rig.contextText().find("occurrence") - 1),
            "appServerName=a b c\tworkingDirectory=\tserverRootDirectory=/srv  appServerName\t");
}

TEST_F(ContextTest, WhatWasWrittenIsWhatIsRead) {
  const std::string values[] = {"/opt/a=b", "=",        "a==b=",    "tab\there",
                                "\r",       "cr\rcr\r", "lf\nlf\n", std::string("zero\0byte", 9)};
  for (const std::string& value : values) {
    ZOVReturnCode rc;
    const zov::ServerDescription description{
        .name = RWCString(value), .rootDirectory = RWCString(value), .encoding = RWCString(value)};
    const auto server = buildServer(description, rc);
    ASSERT_TRUE(server);
    const RWCString record = ZOVApplicationContext::writeContextRecord(*server);
    const auto read = ZOVApplicationContext::createAppServerFromContextRecord(record.data(), rc);
    ASSERT_TRUE(read) << record.str();
    EXPECT_EQ(ZOVApplicationContext::writeContextRecord(*read).str(), record.str());
    std::string expected = value;
    for (char& c : expected) c = c == '\t' || c == '\r' || c == '\n' || c == '\0' ? ' ' : c;
    EXPECT_EQ(read->getServerRootDirectory().str(), expected);
  }
}

TEST_F(ContextTest, AServerIsTheSameBehindARestart) {
  rig.start();
  for (int starts = 0; starts < 3; ++starts) {
    FakeCollector collector(rig.port());
    collector.send(wirePing(7, "shop", "/opt/a=b"));
    ASSERT_TRUE(collector.receive());
    EXPECT_EQ(names(), std::vector<std::string>{"shop"});
    rig.stop();
    rig.start();
  }
}

TEST_F(ContextTest, WhatCannotBeReadStays) {
  const std::string path = rig.contextFile();
  const struct {
    const char* what;
    std::function<int()> make;
    std::filesystem::file_type type;
  } cases[] = {
      {"directory", [&] { return ::mkdir(path.c_str(), 0755); }, std::filesystem::file_type::directory},
      {"FIFO", [&] { return ::mkfifo(path.c_str(), 0644); }, std::filesystem::file_type::fifo},
      {"link to itself", [&] { return ::symlink(path.c_str(), path.c_str()); },
       std::filesystem::file_type::symlink},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    TraceCapture trace;
    ASSERT_EQ(test.make(), 0);
    std::ofstream(path + ".new") << "left behind";
    rig.start();
    EXPECT_TRUE(rig.ping("shop")->receive());  // the file blocks nothing
    EXPECT_EQ(names(), std::vector<std::string>{"shop"});
    EXPECT_EQ(trace.count("cannot be read"), 1);
    EXPECT_EQ(std::filesystem::symlink_status(path).type(), test.type);
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    rig.stop();
    std::filesystem::remove(path);
  }
}

TEST_F(ContextTest, AFIFOInTheNewFilesPlaceBlocksNoWriter) {
  const std::string fresh = rig.contextFile().string() + ".new";
  rig.start();
  EXPECT_EQ(names().size(), 0U);
  ASSERT_EQ(::mkfifo(fresh.c_str(), 0644), 0);
  EXPECT_TRUE(rig.ping("shop")->receive());
  EXPECT_NE(rig.contextText().find("appServerName=shop"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(fresh));
}

TEST_F(ContextTest, RemovingAServer) {
  write("\n" + line("a", "1:h:ZOVS") + line("b", "2:h:ZOVS"));
  rig.start();
  auto server = rig.server("a");
  rig.services.refuseSubnodes = 36;
  EXPECT_EQ(rig.context->deleteAppServerContext(server), 36U);
  rig.services.refuseSubnodes = 0;
  server->setStatus(ServerConnected);
  EXPECT_EQ(rig.context->deleteAppServerContext(server), 53U);
  EXPECT_EQ(names().size(), 2U);
  server->setStatus(ServerDisconnected);
  EXPECT_EQ(rig.context->deleteAppServerContext(server), 0U);
  EXPECT_EQ(rig.context->deleteAppServerContext(nullptr), 7U);
  EXPECT_EQ(names(), std::vector<std::string>{"b"});
  EXPECT_EQ(rig.contextText().find("appServerName=a"), std::string::npos);
  EXPECT_EQ(server->getName(), "a");  // who still has it can use it
  EXPECT_TRUE(server->threadsHaveEnded());
  server->setStatus(ServerConnected);  // a collector that comes late
  EXPECT_FALSE(server->runningBackgroundProfilerCollection());
  EXPECT_TRUE(server->threadsHaveEnded());
}

TEST_F(ContextTest, InTheStartDelayAQueryIsAnsweredAndACollectorWaits) {
  zovWaits().contextStartDelaySeconds = 100'000;
  write("\n" + line("a", "1:h:ZOVS"));
  rig.start();
  EXPECT_TRUE(rig.context->getAppServers().empty());
  EXPECT_EQ(rig.context->findAppServerMatchingSubnode("1:h:ZOVS"), nullptr);
  rig.context->rewriteContextInfo();
  EXPECT_NE(rig.contextText().find("appServerName=a"), std::string::npos);
  FakeCollector collector(rig.port());
  collector.send(wirePing(7, "a", "/srv"));
  EXPECT_TRUE(comesTrue([&] {
    rig.context->start();  // again: ends the delay
    return !rig.context->getAppServers().empty();
  }));
  EXPECT_TRUE(collector.receive());
  EXPECT_EQ(names(), std::vector<std::string>{"a"}) << "the one of the file";
}

TEST_F(ContextTest, AStopEndsTheStartDelay) {
  zovWaits().contextStartDelaySeconds = 100'000;
  write("\n" + line("a", "1:h:ZOVS"));
  rig.start();
  std::thread waiter([&] { rig.context->waitUntilRead(); });
  rig.context->shutdown();
  waiter.join();
  rig.context->rewriteContextInfo();
  rig.stop();
  EXPECT_EQ(rig.contextText(), "\n" + line("a", "1:h:ZOVS"));  // nothing was read, so nothing is written
}

TEST_F(ContextTest, ACollectorThatComesWithAStopInTheStartDelayCostsNoLine) {
  zovWaits().contextStartDelaySeconds = 100'000;
  write("\n" + line("a", "1:h:ZOVS"));
  rig.start();
  const auto collector = rig.ping("shop");  // waits for the file
  rig.context->interrupt();
  EXPECT_TRUE(collector->receive());
  rig.stop();
  EXPECT_EQ(rig.contextText(), "\n" + line("a", "1:h:ZOVS"));
}

TEST_F(ContextTest, AStopWhileReadingLosesNoLine) {
  rig.services.serverParms.setSubnodeAliasName("al");
  std::string text = "\n";
  for (int i = 0; i < 1000; ++i) text += line("s" + std::to_string(i), std::to_string(i) + ":h:ZOVS");
  write(text);
  rig.start();
  EXPECT_TRUE(comesTrue([&] { return rig.issued("ZOVA0007I"); }));
  rig.context->shutdown();
  rig.context->rewriteContextInfo();  // as a command does that is late
  EXPECT_EQ(rig.contextText(), text);
}

TEST_F(ContextTest, AFileThatCannotBeWrittenStays) {
  rig.start();
  const auto path = rig.contextFile();
  EXPECT_EQ(names().size(), 0U);
  std::filesystem::create_directory(path.string() + ".new");
  const auto collector = rig.serve("shop");
  EXPECT_EQ(rig.contextText(), "\n");
  std::filesystem::remove(path.string() + ".new");
  rig.context->rewriteContextInfo();
  EXPECT_NE(rig.contextText().find("appServerName=shop"), std::string::npos);
}

TEST(RemoveCRandLFTest, EndsOrBlanks) {
  const struct {
    const char* text;
    char which;
    const char* result;
  } cases[] = {{"abc\r\n", 'B', "abc"}, {"abc\n", 'B', "abc"},      {"abc\r\n", 'F', "abc\r"},
               {"abc\r\n", 'R', "abc"}, {"a\rbcd\n", 'B', "a bcd"}, {"a\nbcd\n", 'F', "a bcd\n"},
               {"", 'B', ""},           {"abc", 'B', "abc"}};
  for (const auto& test : cases) {
    std::string text = test.text;
    removeCRandLF(text.data(), test.which);
    EXPECT_STREQ(text.c_str(), test.result) << test.which;
  }
}

}  // namespace
