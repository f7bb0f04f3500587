// How scripts of servers are run: with what, as whom, and which are refused.

#include <gmock/gmock.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>

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
    script.command = "stopServer.sh";
    ZOVSystemCommandManager::SystemCommand command(script);
    const ZOVReturnCode rc = command.start(manager);
    command.getOutput(&output);
    command.getError(&error);
    ending = command.ending();
    return rc;
  }
  zov::ServerScript scriptOf(const std::string& root, std::vector<RWCString> arguments,
                             std::optional<uid_t> owner = ::geteuid()) {
    return {.directory = RWCString(root + "/bin"),
            .command = {},
            .arguments = std::move(arguments),
            .secret = {},
            .owner = owner,
            .afterwards = {},
            .observer = nullptr};
  }

  TemporaryDirectory directory;
  DiagnosticEnvironment environment;
  RWCString output, error, ending;
};

TEST_F(SystemCommandTest, NamesRunNothingButTheScriptAndReachItAsTheyAre) {
  const std::string marker = directory.file("marker");
  for (const std::string name :
       {"shop", "my shop", "it's", "a; touch MARKER #", "$(touch MARKER)", "`touch MARKER`",
        "a\ntouch MARKER\n", "a\" & touch MARKER & \"", "*", "~", "\\", "a -b", ""}) {
    std::string hostile = name;
    if (const auto at = hostile.find("MARKER"); at != std::string::npos) hostile.replace(at, 6, marker);
    std::string folder = hostile;
    std::replace(folder.begin(), folder.end(), '/', ' ');
    const std::string root = directory.file("r" + folder);
    writeScript(root, "printf '<%s>' \"$0\" \"$@\"\n");
    const RWCString word(hostile);
    EXPECT_EQ(run(scriptOf(root, {word, "-user", word, "-password", word})), ZOVReturnCode(0))
        << ending.data();
    const std::string shown = "<" + hostile + ">";
    EXPECT_EQ(output.str(),
              "<" + root + "/bin/stopServer.sh>" + shown + "<-user>" + shown + "<-password>" + shown);
    EXPECT_FALSE(std::filesystem::exists(marker)) << name;
  }
  EXPECT_EQ(zov::shellLine({"/srv/bin/x.sh", "a@b:c=%d+,-_", "a b", "it's", ""}),
            "/srv/bin/x.sh a@b:c=%d+,-_ 'a b' 'it'\\''s' ''");
}

TEST_F(SystemCommandTest, NoScriptIsGivenAnOptionForANameOrTakenFromSomewhere) {
  const std::string root = directory.file("shop");
  writeScript(root, "touch " + root + "/ran\n");
  const struct {
    std::string root;
    RWCString name;
    std::optional<uid_t> owner;
    const char* refusal;
  } cases[] = {{root, "-f", ::geteuid(), "the name -f would be an option"},
               {"shop", "shop", ::geteuid(), "no absolute path"},
               {directory.file("none"), "shop", std::nullopt, "No such file"},
               {root, "shop", 424242, ::geteuid() == 0 ? "user 424242, is no user of this host" : ""}};
  for (const auto& c : cases) {
    if (*c.refusal == '\0') continue;
    EXPECT_EQ(run(scriptOf(c.root, {c.name}, c.owner)), ZOVReturnCode(43));
    EXPECT_THAT(ending.str(), testing::HasSubstr(c.refusal));
  }
  EXPECT_FALSE(std::filesystem::exists(root + "/ran"));
}

TEST_F(SystemCommandTest, TheScriptIsItsOwnersAndHasNothingOfTheAgents) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can run a script as another user";
  const passwd* const games = ::getpwnam("games");
  ASSERT_NE(games, nullptr);
  const std::string root = directory.file("shop");
  writeScript(root, "id -u; id -G; umask; echo $HOME $USER; env | cut -d= -f1 | sort | tr '\\n' ' '\n");
  const EnvironmentVariable secret("ZOV_HUB_TOKEN", "secret");
  const std::string names = "HOME LANG LOGNAME PATH PWD SHELL USER ";
  EXPECT_EQ(run(scriptOf(root, {"shop"}, games->pw_uid)), ZOVReturnCode(0)) << ending.data() << error.data();
  EXPECT_EQ(output.str(), "5\n60\n0022\n/usr/games games\n" + names);
  ::chown((root + "/bin").c_str(), 0, 0);
  EXPECT_EQ(run(scriptOf(root, {"shop"}, 0)), ZOVReturnCode(0)) << ending.data();
  EXPECT_THAT(output.str(), testing::StartsWith("0\n"));
  ::chown((root + "/bin").c_str(), games->pw_uid, 0);
  for (const auto owner : {std::optional<uid_t>(0), std::optional<uid_t>()}) {
    EXPECT_EQ(run(scriptOf(root, {"shop"}, owner)), ZOVReturnCode(43)) << "root runs nobody else's";
    EXPECT_THAT(ending.str(), testing::HasSubstr(root + "/bin belongs to user 5"));
  }
}

TEST_F(SystemCommandTest, WhoElseCouldChangeAScriptIsFoundOnAllOfItsWay) {
  const std::string bin = directory.file("shop/bin"), script = bin + "/stopServer.sh";
  const std::string link = directory.file("link"), open = directory.file("open");
  const struct {
    const char* what;
    std::function<void()> prepare;
    const char* path;
    std::string found;
  } cases[] = {
      {"none", [] {}, "shop/bin/stopServer.sh", ""},
      {"the group writes it", [&] { ::chmod(script.c_str(), 0775); }, "shop/bin/stopServer.sh",
       script + " can be"},
      {"others write its folder", [&] { ::chmod(bin.c_str(), 0757); }, "shop/bin/stopServer.sh",
       bin + " can be"},
      {"they cannot replace it", [&] { ::chmod(bin.c_str(), 01777); }, "shop/bin/stopServer.sh", ""},
      {"a link", [&] { std::filesystem::create_symlink("shop", link); }, "link/bin/../bin/stopServer.sh", ""},
      {"a link in an open folder",
       [&] {
         std::filesystem::create_directory(open);
         ::chmod(open.c_str(), 0777);
         std::filesystem::create_symlink("../shop", open + "/inner");
         std::filesystem::create_symlink("open/inner", link);
       },
       "link/bin/stopServer.sh", open + " can be"},
      {"a link to itself", [&] { std::filesystem::create_symlink("link", link); }, "link",
       link + " leads nowhere"},
      {"a folder", [] {}, "shop/bin", bin + " is no regular file"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    for (const std::string& old : {link, open, directory.file("shop")}) std::filesystem::remove_all(old);
    writeScript(directory.file("shop"), "");
    ::chmod(bin.c_str(), 0755);
    c.prepare();
    const RWCString found = zov::findForeignHand(RWCString(directory.file(c.path)), ::geteuid());
    EXPECT_THAT(found.str(), testing::StartsWith(c.found));
    EXPECT_EQ(found.isNull(), c.found.empty()) << found.data();
  }
}

TEST_F(SystemCommandTest, OfAFailureTheLastLinesAreToldAndThePasswordNowhere) {
  const std::string root = directory.file("shop");
  writeScript(root,
              "i=0; while [ $i -lt 9000 ]; do echo \"first $5\"; i=$((i + 1)); done\n"
              "set -x; : \"$@\"; sleep 5 & echo last; exit 3\n");
  for (const RWCString password : {"secret", "it's a secret"}) {
    const TraceCapture trace("ALL");
    zov::ServerScript script = scriptOf(root, {"shop", "-user", "me", "-password", password});
    script.secret = password;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(run(script), ZOVReturnCode(43));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(4))
        << "what it left behind has its streams";
    EXPECT_EQ(ending, "stopServer.sh has ended with status 3");
    EXPECT_THAT(output.str(),
                testing::AllOf(testing::StartsWith("first ***\n"), testing::EndsWith("\nlast\n")));
    EXPECT_LE(output.length(), 2048u);
    EXPECT_THAT(error.str(), testing::HasSubstr("-password ***"));
    EXPECT_TRUE(trace.has("WEXITSTATUS=3"));
    EXPECT_TRUE(trace.has("The script wrote: last"));
    EXPECT_TRUE(trace.has("Executable = " + root + "/bin/stopServer.sh shop -user me -password ***"));
    EXPECT_FALSE(trace.has("secret")) << "in " << output.data() << error.data();
  }
}

TEST(Pipe, IsReadAsFarAsItGoesAndClosedOnce) {
  const DiagnosticEnvironment environment;
  ZOVPipe pipe;
  EXPECT_GE(std::min(pipe.readEnd(), pipe.writeEnd()), ZOVPipe::LowestDescriptor);
  RWCString text;
  const RWCString written("some text");
  EXPECT_EQ(pipe.Read(&text), ZOVReturnCode(0)) << "waits for nothing";
  EXPECT_EQ(pipe.Write(&written), ZOVReturnCode(0));
  EXPECT_EQ(pipe.Read(&text), ZOVReturnCode(0));
  EXPECT_EQ(text, "some text");
  EXPECT_EQ(pipe.closeWriteEnd(), ZOVReturnCode(0));
  EXPECT_EQ(pipe.Write(&written), ZOVReturnCode(44));
  EXPECT_EQ(pipe.Read(&text), ZOVReturnCode(0));
  EXPECT_EQ(pipe.readEnd(), 0) << "at the end of the stream";
  int none = 0, wrong = 999999;
  EXPECT_EQ(pipe.destroy(&none), ZOVReturnCode(0));
  EXPECT_EQ(pipe.destroy(&wrong), ZOVReturnCode(44));
  EXPECT_EQ(wrong, 0);
}

}  // namespace
