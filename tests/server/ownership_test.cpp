// Whom a server belongs to, who else may bring it, and whose scripts are run.

#include <optional>

#include "config/collector_users.h"
#include "server/server_owner.h"
#include "support/acting_user.h"
#include "support/environment_variable.h"
#include "support/server_rig.h"

namespace {

constexpr uid_t Tom = 4242;
constexpr uid_t Eve = 4243;

class OwnershipTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!ActingUser::isPossible()) GTEST_SKIP() << "only root can act as another user";
  }
  /// What a user's ping for the server is answered with; an accepted collector goes away again.
  long long answerTo(uid_t user, const std::string& name = "shop") {
    const ActingUser acting(user);
    const auto collector = rig.ping(name);
    const auto answer = collector->receive();
    return answer ? answer->number(15).value_or(0) : -1;
  }
  bool ownerIsKept(const std::string& owner) {
    return comesTrue(
        [&] { return rig.contextText().find("\townerUid=" + owner + "\n") != std::string::npos; });
  }

  static constexpr long long Accepted = ZOVProfilerSocketMonitor::ProductBuildLevel;
  ServerRig rig;
};

TEST_F(OwnershipTest, AServerBelongsToWhoFirstBroughtItAlsoAfterARestart) {
  rig.start();
  EXPECT_EQ(answerTo(Tom), Accepted);
  EXPECT_TRUE(ownerIsKept("4242"));
  for (int start = 1; start <= 2; ++start) {
    EXPECT_EQ(answerTo(Eve), 174) << start;
    EXPECT_EQ(answerTo(Tom), Accepted) << start;
    EXPECT_EQ(answerTo(0), Accepted) << start;
    EXPECT_EQ(answerTo(Eve, "her\town"), Accepted);
    EXPECT_TRUE(rig.server("her own")) << "named as it will be read again";
    rig.stop();
    rig.start();
  }
  EXPECT_TRUE(rig.issued(
      "ZOVA0170E A collector of application server shop was refused: it comes from user 4243, and the server "
      "belongs to user 4242."));
  EXPECT_TRUE(ownerIsKept("4242"));
}

TEST_F(OwnershipTest, ALineWithoutAnOwnerIsHisWhoConnectsFirst) {
  for (const std::string field :
       {"", "\townerUid=", "\townerUid=x", "\townerUid=-1", "\townerUid=99999999999"}) {
    SCOPED_TRACE(field);
    std::ofstream(rig.contextFile()) << "\nappServerName=shop\tserverRootDirectory=/srv/shop" << field
                                     << "\n";
    rig.start();
    auto server = rig.server("shop");
    EXPECT_EQ(server->startAppServer(""), ZOVReturnCode(166));
    EXPECT_EQ(server->stopAppServer(""), ZOVReturnCode(166));
    EXPECT_TRUE(rig.services.commands.empty());
    EXPECT_TRUE(rig.issued("ZOVA0175E No script is run for application server shop"));
    EXPECT_EQ(answerTo(Tom), Accepted);
    EXPECT_TRUE(ownerIsKept("4242"));
    EXPECT_EQ(answerTo(Eve), 174);
    EXPECT_EQ(server->startAppServer(""), ZOVReturnCode(176));
    EXPECT_EQ(std::exchange(rig.services.commands, {}),
              std::vector<std::string>{"/srv/shop/bin/startServer.sh|shop"});
    server.reset();
    rig.stop();
  }
}

TEST_F(OwnershipTest, AListOfUsersNarrowsWhoMayCome) {
  const struct {
    const char* list;
    bool tom, eve;
  } cases[] = {{"4242", true, false},   {" nosuchuser,4243\t", false, true},
               {"", false, false},      {"4242,4243", true, true},
               {"42424", false, false}, {"root", false, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.list);
    const EnvironmentVariable list("ZOV_COLLECTOR_USERS", c.list);
    rig.start();
    EXPECT_EQ(answerTo(Tom, "toms"), c.tom ? Accepted : 174);
    EXPECT_EQ(answerTo(Eve, "hers"), c.eve ? Accepted : 174);
    EXPECT_EQ(answerTo(0, "roots"), Accepted);
    rig.stop();
  }
  EXPECT_TRUE(
      rig.issued("ZOVA0171E A collector of application server toms was refused: it comes from user 4242,"));
}

TEST(ServerOwner, OtherHostsAndUnknownUsersOwnNothing) {
  const zov::Peer remote{.onThisHost = false, .user = {}, .address = "192.0.2.7"};
  const zov::Peer unknown;
  EXPECT_EQ(remote.text(), "host 192.0.2.7");
  zov::ServerOwner owner{std::nullopt};
  for (const zov::Peer& peer : {remote, unknown}) {
    EXPECT_TRUE(owner.admits(peer));
    EXPECT_FALSE(owner.claim(peer));
  }
  EXPECT_TRUE(owner.claim({.user = Tom, .address = {}}));
  EXPECT_FALSE(owner.claim({.user = Eve, .address = {}}));
  EXPECT_EQ(owner.get(), Tom);
  for (const zov::Peer& peer : {remote, unknown}) EXPECT_FALSE(owner.admits(peer));
}

TEST(ServerOwner, AServerThatTheConfigurationNamesNeedsNoOwner) {
  const DiagnosticEnvironment environment;
  RecordingServerServices services;
  ZOVReturnCode rc;
  const struct {
    const char* name;
    const char* root;
    unsigned int code;
  } cases[] = {{"shop", "/srv", 176}, {"shop", "/else", 166}, {"other", "/srv", 166}, {"shop", "", 166}};
  for (const auto& c : cases) {
    services.serverParms.setName(c.name);
    services.serverParms.setServerRoot(c.root);
    EXPECT_EQ(buildServer({.name = "shop", .rootDirectory = "/srv"}, rc)->startAppServer(""), c.code)
        << c.root;
  }
  services.serverParms.setServerRoot("");
  EXPECT_EQ(buildServer({.name = "shop", .rootDirectory = ""}, rc)->startAppServer(""), ZOVReturnCode(166))
      << "the defaults name nobody";
}

}  // namespace
