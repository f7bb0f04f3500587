// How scripts of servers are run: with what, as whom, and which are refused.

#include <gmock/gmock.h>
#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

#include "platform/descriptor_limit.h"
#include "remote/local_scripts.h"
#include "remote/pipe.h"
#include "remote/system_command_manager.h"
#include "support/diagnostic_environment.h"
#include "support/environment_variable.h"
#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace {

class SystemCommandTest : public testing::Test {
 protected:
  /// <root>/bin/stopServer.sh, which shows what it writes by failing.
  void writeScript(const std::string& root, const std::string& text) {
    std::filesystem::create_directories(root + "/bin");
    ::chmod(directory.path().c_str(), 0755);
    std::ofstream(root + "/bin/stopServer.sh") << "#!/bin/sh\n" << text;
    ::chmod((root + "/bin/stopServer.sh").c_str(), 0755);
  }
  ZOVReturnCode run(zov::ServerScript script) {
    ZOVSystemCommandManager manager(std::make_unique<zov::LocalScripts>());
    ZOVSystemCommandManager::SystemCommand command(std::move(script));
    const ZOVReturnCode rc = command.start(manager);
    command.getOutput(&output);
    command.getError(&error);
    ending = command.ending();
    return rc;
  }
  zov::ServerScript scriptOf(const std::string& root, std::vector<RWCString> arguments,
                             std::optional<uid_t> owner = ::geteuid()) {
    return {RWCString(root + "/bin"), "stopServer.sh", std::move(arguments), {}, owner, {}, nullptr};
  }

  TemporaryDirectory directory;
  DiagnosticEnvironment environment;
  RWCString output, error, ending;
};

TEST_F(SystemCommandTest, NamesRunNothingButTheScriptAndReachItAsTheyAre) {
  for (const std::string name : {"shop", "my shop", "it's", "a; touch X #", "$(touch X)", "`touch X`",
                                 "a\ntouch X\n", "a\" & touch X & \"", "*", "~", "\\", "a -b", ""}) {
    const std::string root = directory.file("r" + name);
    writeScript(root, "printf '<%s>' \"$0\" \"$@\"; ls X ../X\n");
    EXPECT_EQ(run(scriptOf(root, {RWCString(name), "-user", RWCString(name)})), ZOVReturnCode(43));
    EXPECT_EQ(output.str(), "<" + root + "/bin/stopServer.sh><" + name + "><-user><" + name + ">")
        << error.data();
  }
  EXPECT_EQ(zov::shellLine({"/srv/bin/x.sh", "a@b:c=%d+,-_", "a b", "it's", ""}),
            "/srv/bin/x.sh a@b:c=%d+,-_ 'a b' 'it'\\''s' ''");
}

TEST_F(SystemCommandTest, RefusesNamesThatAreOptionsAndScriptsThatAreNowhere) {
  const std::string root = directory.file("shop");
  writeScript(root, "touch " + root + "/ran\n");
  const struct {
    std::string root;
    RWCString name;
    const char* refusal;
  } cases[] = {{root, "-f", "the name -f would be an option"},
               {"shop", "shop", "no absolute path"},
               {directory.file("none"), "shop", "No such file"}};
  for (const auto& c : cases) {
    EXPECT_EQ(run(scriptOf(c.root, {c.name})), ZOVReturnCode(43));
    EXPECT_THAT(ending.str(), testing::HasSubstr(c.refusal));
  }
  EXPECT_FALSE(std::filesystem::exists(root + "/ran"));
}

TEST_F(SystemCommandTest, TheScriptIsItsOwnersAndHasNothingOfTheAgents) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can run a script as another user";
  const passwd* const games = ::getpwnam("games");
  ASSERT_NE(games, nullptr);
  const std::string root = directory.file("shop");
  writeScript(root,
              "id -u; id -G; umask; ulimit -n; echo $HOME $USER >/dev/stdout; echo wrong >/dev/stderr\n"
              "env | cut -d= -f1 | sort | tr '\\n' ' '\n");
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = 345;
  ::setrlimit(RLIMIT_NOFILE, &limit);
  ASSERT_GT(raiseDescriptorLimit(), 345);
  const EnvironmentVariable secret("ZOV_HUB_TOKEN", "secret");
  const gid_t group = 4;
  ASSERT_EQ(::setgroups(1, &group), 0) << "the agent's, which the script must not have";
  const std::string names = "HOME LANG LOGNAME PATH PWD SHELL USER ";
  EXPECT_EQ(run(scriptOf(root, {"shop"}, games->pw_uid)), ZOVReturnCode(0)) << ending.data() << error.data();
  EXPECT_EQ(output.str(), "5\n60\n0022\n345\n/usr/games games\n" + names);
  EXPECT_EQ(error, "wrong\n");
  ::setgroups(0, nullptr);
  ::chown((root + "/bin").c_str(), 0, 0);
  EXPECT_EQ(run(scriptOf(root, {"shop"}, 0)), ZOVReturnCode(0)) << ending.data();
  EXPECT_THAT(output.str(), testing::StartsWith("0\n"));
  ::chown((root + "/bin").c_str(), games->pw_uid, 0);
  for (const auto owner : {std::optional<uid_t>(0), std::optional<uid_t>()}) {
    EXPECT_EQ(run(scriptOf(root, {"shop"}, owner)), ZOVReturnCode(43)) << "root runs nobody else's";
    EXPECT_THAT(ending.str(), testing::HasSubstr(root + "/bin belongs to user 5"));
  }
  EXPECT_EQ(run(scriptOf(root, {"shop"}, 424242)), ZOVReturnCode(43));
  EXPECT_THAT(ending.str(), testing::HasSubstr("user 424242, is no user of this host"));
}

TEST_F(SystemCommandTest, WhoElseCouldChangeAScriptIsFoundOnAllOfItsWay) {
  const struct {
    const char* prepare;
    const char* path;
    const char* found;
  } cases[] = {
      {"", "shop/bin/stopServer.sh", ""},
      {"chmod 775 shop/bin/stopServer.sh", "shop/bin/stopServer.sh", "/shop/bin/stopServer.sh can be"},
      {"chmod 757 shop/bin", "shop/bin/stopServer.sh", "/shop/bin can be"},
      {"chmod 1777 shop/bin", "shop/bin/stopServer.sh", ""},
      {"ln -s shop link", "link/bin/../bin/stopServer.sh", ""},
      {"mkdir -m 777 open; ln -s ../shop open/in; ln -s open/in link", "link/bin/stopServer.sh",
       "/open can be"},
      {"ln -s link link", "link", "/link leads nowhere"},
      {"", "shop/bin", "/shop/bin is no regular file"},
  };
  for (const auto& c : cases) {
    const std::string within = "cd " + directory.path() + "; ";
    ASSERT_EQ(std::system((within + "rm -rf *").c_str()), 0);
    writeScript(directory.file("shop"), "");
    ASSERT_EQ(std::system((within + c.prepare).c_str()), 0);
    const std::string found = zov::findForeignHand(RWCString(directory.file(c.path)), ::geteuid()).str();
    EXPECT_THAT(found, testing::StartsWith(*c.found == '\0' ? "" : directory.path() + c.found)) << c.prepare;
    EXPECT_EQ(found.empty(), *c.found == '\0') << c.prepare;
  }
}

TEST_F(SystemCommandTest, OfAFailureTheLastLinesAreToldAndThePasswordNowhere) {
  const std::string root = directory.file("shop");
  writeScript(root,
              "i=0; while [ $i -lt 9000 ]; do printf %s \"$5\"; i=$((i + 1)); done\n"
              "set -x; echo; : \"$@\"; sleep 5 & echo last; exit 3\n");
  for (const RWCString password : {"secret", "it's a secret"}) {
    const TraceCapture trace("ALL");
    zov::ServerScript script = scriptOf(root, {"shop", "-user", "me", "-password", password});
    script.secret = password;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(run(script), ZOVReturnCode(43));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(4))
        << "what it left behind has its streams";
    EXPECT_EQ(ending, "stopServer.sh has ended with status 3");
    EXPECT_THAT(output.str(), testing::EndsWith("last\n"));
    EXPECT_EQ(output.index("cret"), RW_NPOS) << output.data();
    EXPECT_LE(output.length(), 2048u);
    EXPECT_THAT(error.str(), testing::HasSubstr("-password ***"));
    EXPECT_TRUE(trace.has("WEXITSTATUS=3"));
    EXPECT_TRUE(trace.has("The script wrote: last"));
    EXPECT_TRUE(trace.has("Executable = " + root + "/bin/stopServer.sh shop -user me -password ***"));
    EXPECT_FALSE(trace.has("secret")) << "in " << output.data() << error.data();
  }
  writeScript(root, "echo 'done: <shop>'\n");
  zov::ServerScript script = scriptOf(root, {"shop", "sword"});
  script.secret = "sword";
  EXPECT_EQ(run(script), ZOVReturnCode(0));
  EXPECT_EQ(output, "done: <shop>\n") << "only of what has been cut may the begin be a secret's";
}

TEST(Pipe, IsReadAsFarAsItGoesAndClosedOnce) {
  const DiagnosticEnvironment environment;
  ZOVPipe pipe;
  RWCString text;
  const RWCString written("some text");
  EXPECT_EQ(pipe.Read(&text), ZOVReturnCode(0)) << "waits for nothing";
  EXPECT_EQ(pipe.Write(&written), ZOVReturnCode(0));
  EXPECT_EQ(pipe.Read(&text), ZOVReturnCode(0));
  EXPECT_EQ(text, "some text");
  pipe.closeWriteEnd();
  EXPECT_EQ(pipe.Write(&written), ZOVReturnCode(44));
  EXPECT_EQ(pipe.Read(&text), ZOVReturnCode(0));
  EXPECT_EQ(pipe.readEnd(), 0) << "at the end of the stream";
  int none = 0, wrong = 999999;
  EXPECT_EQ(pipe.destroy(&none), ZOVReturnCode(0));
  EXPECT_EQ(pipe.destroy(&wrong), ZOVReturnCode(44));
}

}  // namespace
