#include "remote/script_helper.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "remote/local_scripts.h"
#include "support/temporary_directory.h"

namespace {

/// A helper at a socket, for one script after the other, and a server's root.
class ScriptHelper : public testing::Test {
 protected:
  ScriptHelper() {
    // Not in /tmp, which everybody may write.
    root = std::filesystem::current_path().string() + "/script-helper-test";
    std::filesystem::create_directories(root + "/bin");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(_listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(_listener, 8), 0);
    _thread = std::thread([this] {
      zov::LocalScripts scripts;
      for (int one; (one = ::accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        zov::serveScript(one, agent, mayBeRoots, scripts);
      }
    });
  }
  ~ScriptHelper() override {
    ::shutdown(_listener, SHUT_RDWR);
    _thread.join();
    ::close(_listener);
    std::filesystem::remove_all(root);
  }

  void write(const std::string& command, const std::string& text, mode_t mode = 0755) {
    const std::string file = root + "/bin/" + command;
    std::ofstream(file) << "#!/bin/sh\n" << text;
    ASSERT_EQ(::chmod(file.c_str(), mode), 0);
  }
  zov::ServerScript script(const std::string& command) {
    return {.directory = RWCString(root + "/bin"),
            .command = RWCString(command),
            .arguments = {"shop", "it's $(id); a b", ""},
            .secret = {},
            .owner = ::geteuid(),
            .afterwards = {},
            .observer = nullptr};
  }
  std::string refusalOf(const zov::ServerScript& asked) {
    RWCString refusal;
    EXPECT_EQ(zov::HelperScripts(path).start(asked, refusal), nullptr);
    return refusal.str();
  }

  const TemporaryDirectory directory;
  const std::string path = directory.file("helper");
  std::string root;
  const uid_t agent = ::geteuid();
  std::atomic<bool> mayBeRoots = true;

 private:
  const int _listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  std::thread _thread;
};

}  // namespace

TEST_F(ScriptHelper, RunsAScriptAndTellsHowItEnded) {
  write("stopServer.sh", "printf '%s|' \"$@\"; echo wrong >&2; umask; exit 3\n");
  for (const bool owned : {true, false}) {
    zov::ServerScript asked = script("stopServer.sh");
    if (!owned) asked.owner.reset();  // then it is the one who asks
    RWCString refusal;
    const auto run = zov::HelperScripts(path).start(asked, refusal);
    ASSERT_TRUE(run) << refusal.data();
    const int status = run->wait();
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(run->output().str(), "shop|it's $(id); a b||0022\n");
    EXPECT_EQ(run->error().str(), "wrong\n");
  }
  write("startServer.sh", "sleep 0.2; echo done >" + directory.file("done"));
  RWCString refusal;
  zov::HelperScripts(path).start(script("startServer.sh"), refusal).reset();  // the agent has gone
  for (int i = 0; i < 300 && !std::filesystem::exists(directory.file("done")); ++i) ::usleep(100'000);
  EXPECT_TRUE(std::filesystem::exists(directory.file("done")));
}

TEST_F(ScriptHelper, LooksItselfAtWhatItRuns) {
  write("startServer.sh", "");
  write("stopServer.sh", "", 0757);
  write("other.sh", "");
  const auto with = [&](auto change) {
    zov::ServerScript changed = script("startServer.sh");
    change(changed);
    return changed;
  };
  const struct {
    zov::ServerScript script;
    const char* reason;
  } cases[] = {
      {script("other.sh"), "accepted are startServer.sh and stopServer.sh"},
      {script("../bin/startServer.sh"), "accepted are startServer.sh and stopServer.sh"},
      {with([&](auto& s) { s.directory = RWCString(root); }), "accepted is a script in bin"},
      {with([](auto& s) { s.directory = "bin"; }), "is no absolute path"},
      {with([](auto& s) {
         s.arguments = {"-f", "x"};
       }),
       "the name -f would be an option"},
      {with([](auto& s) { s.directory.append(std::string_view("\0/bin", 5)); }), "a zero byte"},
      {with([](auto& s) { s.arguments.emplace_back(std::string_view("\0", 1)); }), "a zero byte"},
      {script("stopServer.sh"), "can be written by others"},
      {with([](auto& s) { s.owner = 54321; }), "belongs to user"},
  };
  for (const auto& c : cases) {
    if (c.script.owner == 54321U && ::geteuid() == 0) continue;  // of root's nobody can say that
    EXPECT_NE(refusalOf(c.script).find(c.reason), std::string::npos) << c.script.path().data();
  }
  EXPECT_NE(
      refusalOf(with([](auto& s) { s.arguments.emplace_back(std::string(200'000, 'x')); })).find("too long"),
      std::string::npos);
  mayBeRoots = false;
  EXPECT_NE(refusalOf(with([](auto& s) { s.owner = 0; })).find("is not run as root"), std::string::npos);
  if (::geteuid() != 0) GTEST_SKIP() << "only root can come as another user";
  ASSERT_EQ(::chmod(path.c_str(), 0777), 0);
  ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
  ASSERT_EQ(::seteuid(65534), 0);
  const std::string refusal = refusalOf(script("startServer.sh"));
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_NE(refusal.find("user 65534 may have no script run"), std::string::npos) << refusal;
}

TEST(ScriptPackets, AreTakenApartAsTheyWerePutTogether) {
  const std::vector<std::string> texts{"run", "", std::string("a\0:1:b", 6), "7:x"};
  EXPECT_EQ(zov::unpacked(zov::packed(texts)), texts);
  for (const char* broken : {"x", "5:abc", "-1:", "99999999999999999999:", ":abc", "3:abc4"}) {
    EXPECT_TRUE(zov::unpacked(broken).empty()) << broken;
  }
}
