// Who a server is: its subnode name, its configuration, its status, its commands.

#include "config/node_names.h"
#include "support/server_rig.h"

namespace {

class IdentityTest : public testing::Test {
 protected:
  std::shared_ptr<ZOVApplicationServer> build(const zov::ServerDescription& description) {
    return buildServer(description, rc);
  }
  std::shared_ptr<ZOVApplicationServer> build(const char* name) {
    return build({.name = name, .rootDirectory = "/srv", .owner = 7});
  }

  DiagnosticEnvironment environment;
  RecordingServerServices services;
  ZOVReturnCode rc;
};

TEST_F(IdentityTest, SubnodeNames) {
  EXPECT_EQ(build("shop")->getSubnodeName(), "shop:host:ZOVS");
  EXPECT_EQ(build("a b.c")->getSubnodeName(), "a_b_c:host:ZOVS");
  EXPECT_EQ(build({.name = "l\xC3\xA4"
                           "den",
                   .platform = "tsl6"})
                ->getSubnodeName(),
            "tsl6:host:ZOVS");
  EXPECT_EQ(build({.name = "shop", .subnode = "kept:host:ZOVS"})->getSubnodeName(), "kept:host:ZOVS");
  // An alias names the subnode, and a change of it names it anew.
  services.serverParms.setSubnodeAliasName("store");
  EXPECT_EQ(build({.name = "shop", .subnode = "old:host:ZOVS", .subnodeAlias = "old"})->getSubnodeName(),
            "store:host:ZOVS");
  EXPECT_EQ(build({.name = "shop", .subnode = "kept:host:ZOVS", .subnodeAlias = "store"})->getSubnodeName(),
            "kept:host:ZOVS");
  EXPECT_EQ(build({.name = "shop", .subnode = "kept:host:ZOVS", .subnodeAlias = "store"})->getAliasName(),
            "store");
  EXPECT_EQ(services.registered.back(), "kept:host:ZOVS 0000000000000000000000000000002000000000000");
  build({.name = "shop", .platform = "lbsMail"});
  EXPECT_EQ(services.registered.back(), "store:host:ZOVS 000000000000000000000000000000G000000000000");
}

TEST_F(IdentityTest, TwentyEightNamesAreTried) {
  std::vector<std::string> names;
  for (int i = 0; i < 28; ++i) {
    const auto server = build("shop");
    ASSERT_TRUE(server) << i;
    names.push_back(server->getSubnodeName().str());
    services.takenNames.insert(names.back());
  }
  EXPECT_EQ(names[1], "shop_A:host:ZOVS");
  EXPECT_EQ(names[26], "shop_Z:host:ZOVS");
  EXPECT_EQ(names[27], "shop_:host:ZOVS");
  EXPECT_EQ(build("shop"), nullptr);
  EXPECT_EQ(rc, ZOVReturnCode(175));
  EXPECT_EQ(build(""), nullptr);
  EXPECT_EQ(rc, ZOVReturnCode(7));
}

TEST_F(IdentityTest, NodeNames) {
  EXPECT_EQ(ZOVNodeNames::getHostName("", "host"), "host:ZOVA");
  EXPECT_EQ(ZOVNodeNames::getHostName("ALTID", "host"), "ALTID:host:ZOVA");
  EXPECT_EQ(ZOVNodeNames::getHostName("12345678901234567890", "longhostname"),
            "12345678901234567890:longho:ZOVA");
  EXPECT_EQ(ZOVNodeNames::getHostName(std::string(40, 'x').c_str(), "host"),
            (std::string(40, 'x') + "::ZOVA").c_str());
  EXPECT_EQ(ZOVNodeNames::assembleSubnodeName(std::string(22, 'a').append(18, 'b').c_str(), "host567890ab"),
            (std::string(18, 'b') + ":host5678:ZOVS").c_str());
  EXPECT_EQ(ZOVNodeNames::getTruncatedString("abcdefgh", 6, ZOVNodeNames::TruncateEnd), "abc...");
  EXPECT_EQ(ZOVNodeNames::getTruncatedString("abcdefgh", 6, ZOVNodeNames::TruncateStart), "...fgh");
  EXPECT_EQ(ZOVNodeNames::getTruncatedString("abcdefgh", 8, ZOVNodeNames::TruncateEnd), "abcdefgh");
  EXPECT_EQ(ZOVNodeNames::readSystemName().first('.'), RW_NPOS);
}

TEST_F(IdentityTest, EqualityIsNameRootAndOccurrence) {
  const auto server = build("shop");
  EXPECT_TRUE(server->isEqual(build({.name = "shop", .rootDirectory = "/srv", .subnode = "x"}).get()));
  EXPECT_FALSE(server->isEqual(build({.name = "shop", .rootDirectory = "/srv", .occurrence = 1}).get()));
  EXPECT_FALSE(server->isEqual(build("store").get()));
  const ZOVAppServerAnchor anchor("shop");
  EXPECT_FALSE(server->isEqual(&anchor));
}

TEST_F(IdentityTest, ValuesOutOfRangeGiveTheirMessageAndTheirDefault) {
  auto& parms = services.serverParms;
  parms.setRequestCollectAgeMax(601);
  parms.setResourceCollectAgeMax(600);
  parms.setRequestCollectPollFrequency(1000000);
  parms.setLogScanInterval(0);
  parms.setRetainLogFileEvents(1001);
  const auto server = build("shop");
  EXPECT_EQ(server->getMinSamplingInterval(ZOVSample::SampleTypeWorkloadSummary), 0);
  EXPECT_EQ(server->getMinSamplingInterval(ZOVSample::SampleTypeContainer), 600);
  EXPECT_EQ(server->getPollInterval(), 0);
  const std::vector<std::string> expected = {
      "ZOVA0039E Invalid RetainLogFileEvents configuration value 601 for application server shop.  Default "
      "value 0 "
      "used.",
      "ZOVA0036W Invalid CollectorSessionSampleInterval configuration value 1000000 for application server "
      "shop.  "
      "Default value 0 used.",
      "ZOVA0039E Invalid RetainLogFileEvents configuration value 1001 for application server shop.  Default "
      "value "
      "10 used.",
      "ZOVA0038W Invalid LogScanInterval configuration value 0 for application server shop.  Default value "
      "60 "
      "used."};
  EXPECT_EQ(environment.issued(), expected);
}

TEST_F(IdentityTest, StatusAndStartTime) {
  const auto server = build("shop");
  EXPECT_EQ(server->setStatus(ServerDisconnected), 0);
  EXPECT_TRUE(environment.issued().empty());
  server->setAppServerStartTime(1'700'000'000'000);
  char text[20];
  server->getFormattedAppServerStartTime(text, sizeof text);
  EXPECT_EQ(std::string(text).size(), 19U);
  server->setAppServerStartTime(0);
  EXPECT_EQ(server->getAppServerStartTime(), -1);
  server->getFormattedAppServerStartTime(text, sizeof text);
  EXPECT_STREQ(text, " ");

  EXPECT_EQ(server->setStatus(ServerConnected), 1);
  EXPECT_EQ(server->getStatusText(), "Connected");
  EXPECT_EQ(server->deRegisterSubNode(), ZOVReturnCode(53));
  EXPECT_EQ(server->setStatus(ServerDisconnected), 1);
  services.refuseSubnodes = 36;
  EXPECT_EQ(server->deRegisterSubNode(), ZOVReturnCode(36));
  EXPECT_TRUE(server->isSubnodeRegistered());
  services.refuseSubnodes = 0;
  EXPECT_EQ(server->deRegisterSubNode(), ZOVReturnCode(0));
  EXPECT_FALSE(server->isSubnodeRegistered());
}

TEST_F(IdentityTest, ProcessIdsOfZeroChangeNothing) {
  const auto server = build("shop");
  server->setDCProbeManagerProcessId(5);
  server->setDCProbeManagerProcessId(0);
  server->setDCResourceManagerProcessId(6);
  server->setDCResourceManagerProcessId(0);
  EXPECT_EQ(server->getProcessId(), 5U);
  EXPECT_EQ(server->getCurrentDCInstanceId(), 5U);
  EXPECT_EQ(server->getDCResourceManagerProcessId(), 6U);
  EXPECT_FALSE(server->isDCInstancePending());
}

TEST_F(IdentityTest, Commands) {
  EXPECT_EQ(build("shop")->startAppServer(""), ZOVReturnCode(176));
  build({.name = "shop(2)", .rootDirectory = "/srv", .platform = "tsl61", .owner = 7})->startAppServer("");
  build("shop(2)")->stopAppServer(" me");
  build("shop")->stopAppServer(" me 'my secret'");
  build("a; reboot #'")->startAppServer("");
  EXPECT_EQ(services.commands,
            (std::vector<std::string>{"/srv/bin/startServer.sh|shop", "/srv/bin/startServer.sh|shop",
                                      "/srv/bin/stopServer.sh|shop(2)",
                                      "/srv/bin/stopServer.sh|shop|-user|me|-password|my secret",
                                      "/srv/bin/startServer.sh|a; reboot #'"}));
}

}  // namespace
