#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <future>

#include "hub_fixture.h"

namespace {
std::atomic<int> loads{0};
}

TEST_F(HubTest, AShutdownBeforeTheStartCounts) {
  ARQ_RegisterAgentLoader([] { return ++loads; });
  loads = 0;
  ARQ_Shutdown(1);
  EXPECT_EQ(arkmain(0, nullptr), 0);
  EXPECT_EQ(loads, 1) << "the loader has run";
  EXPECT_EQ(zov::hub::servedPort(), 0);
  ARQ_RegisterAgentLoader(nullptr);
}

TEST_F(HubTest, ShutdownAnswersThoseWhoWaitAndLeavesTheStuckToThemselves) {
  zov::hub::limits().stopMilliseconds = 100;
  start();
  const Subnodes registered{"n"};
  Gate gate;
  std::promise<void> left;
  table.sample = [&](FakeBox& box) {
    gate.wait();
    EXPECT_NE(box.AddData(FakeRow(1)), 0) << "a request of a hub that ends takes no more rows";
    EXPECT_EQ(box.GetSubnode(), nullptr);
    left.set_value();
  };
  ZOVTestHttpClient stuck(port);
  ZOVTestHttpClient idle(port);
  ZOVTestHttpClient half(port);
  half.send("GET /v1/ta");
  stuck.send(ZOVTestHttpClient::request("GET", "/v1/tables/FAKE/rows?node=n"));
  ASSERT_TRUE(gate.awaitWaiting(1));
  stop();
  EXPECT_EQ(result, 0);
  EXPECT_EQ(stuck.receive().status, 503);
  EXPECT_TRUE(idle.closedByServer());
  EXPECT_FALSE(ZOVTestHttpClient(port).connected());
  EXPECT_EQ(ARQ_AwaitRequests(0), 1);
  gate.open();
  left.get_future().wait();
  EXPECT_EQ(ARQ_AwaitRequests(30000), 0);
  EXPECT_EQ(table.boxes, 0);
}

TEST_F(HubTest, APortInUseIsReportedAndTriedAgain) {
  zov::hub::limits().bindRetryMilliseconds = 10;
  const int taken = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(taken, reinterpret_cast<sockaddr*>(&address), length), 0);
  ASSERT_EQ(listen(taken, 1), 0);
  getsockname(taken, reinterpret_cast<sockaddr*>(&address), &length);
  const std::string wanted = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  setenv("ZOV_HUB_ADDRESS", wanted.c_str(), 1);
  startWithoutPort();
  EXPECT_TRUE(waitForLine("HTTP cannot be served: " + wanted + ": Address already in use"));
  close(taken);
  EXPECT_TRUE(waitForLine("HTTP is served at http://" + wanted));
}

TEST_F(HubTest, WithoutHttpTheProcessRunsOn) {
  for (const char* address : {"off", "127.0.0.1", "0.0.0.0:0", "no:1"}) {
    setenv("ZOV_HUB_ADDRESS", address, 1);
    startWithoutPort();
    stop();
    EXPECT_EQ(result, 0) << address;
  }
  EXPECT_TRUE(waitForLine("ZOV_HUB_ADDRESS is off"));
  EXPECT_TRUE(waitForLine("ZOV_HUB_ADDRESS is \"127.0.0.1\"; accepted is ADDRESS:PORT"));
  EXPECT_TRUE(waitForLine("needs a token in ZOV_HUB_TOKEN"));
  EXPECT_TRUE(waitForLine("names the host \"no\""));
}

TEST_F(HubTest, ATokenIsAskedForEverywhereButHealth) {
  setenv("ZOV_HUB_ADDRESS", "0.0.0.0:0", 1);
  setenv("ZOV_HUB_TOKEN", "secret", 1);
  start();
  unsetenv("ZOV_HUB_TOKEN");
  EXPECT_EQ(zovTestGet(port, "/healthz", "Host: 127.0.0.1\r\n").status, 200);
  const struct {
    const char* header;
    int status;
  } cases[] = {{"", 401},
               {"Authorization: Bearer secret\r\n", 200},
               {"Authorization: bearer  secret \r\n", 200},
               {"Authorization: Bearer secre\r\n", 401},
               {"Authorization: Bearer secrets\r\n", 401},
               {"Authorization: Bearer\r\n", 401},
               {"Authorization: Basic secret\r\n", 401}};
  for (const auto& [header, status] : cases) {
    const ZOVTestAnswer answer = zovTestGet(port, "/v1/nodes", header);
    EXPECT_EQ(answer.status, status) << header;
    EXPECT_EQ(answer.headers.contains("www-authenticate"), status == 401);
  }
}

TEST(HubSettings, AcceptTheHostsThatTheyNameOnly) {
  const struct {
    const char* address;
    std::vector<const char*> accepted;
    std::vector<const char*> refused;
  } cases[] = {
      {"127.0.0.1:80",
       {"127.0.0.1", "127.0.0.1:80", "localhost:81", "LocalHost"},
       {"", "127.0.0.2", "evil", "localhost.evil", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:99999", "[::1]",
        "::1"}},
      {"localhost:80", {"127.0.0.1", "localhost"}, {"evil"}},
      {"[::1]:80", {"[::1]:80", "[::1]", "localhost"}, {"[::1", "[::1]x", "[::2]", "127.0.0.1"}},
      {"0.0.0.0:80", {"10.1.2.3:80", "[fe80::1]", "localhost"}, {"evil", "1.2.3.4.5"}},
  };
  for (const auto& [address, accepted, refused] : cases) {
    const zov::hub::Settings settings = zov::hub::Settings::read(address, "token");
    ASSERT_TRUE(settings.serve) << address << settings.problem;
    for (const char* host : accepted) EXPECT_TRUE(settings.acceptsHost(host)) << address << " " << host;
    for (const char* host : refused) EXPECT_FALSE(settings.acceptsHost(host)) << address << " " << host;
  }
  for (const char* bad :
       {"", ":", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1", "[::1:80", "::1:80", "host:80"}) {
    EXPECT_FALSE(zov::hub::Settings::read(bad, "token").serve) << bad;
  }
  EXPECT_FALSE(zov::hub::Settings::read("192.0.2.1:80", "").serve);
  EXPECT_TRUE(zov::hub::Settings::read("127.8.8.8:80", "").serve);
}
