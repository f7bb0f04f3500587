// Whose process is at the other end of a connection of this host.

#include "transport/peer.h"

#include <gtest/gtest.h>

#include <optional>

#include "support/acting_user.h"
#include "support/comes_true.h"
#include "support/diagnostic_environment.h"
#include "support/fake_collector.h"
#include "transport/server_socket.h"

namespace {

class PeerTest : public testing::Test {
 protected:
  zov::Peer accepted() {
    ZOVReturnCode rc;
    connection = server.clientAccept(rc, 30);
    return connection ? zov::findPeer(connection->getSocket()) : zov::Peer{};
  }

  DiagnosticEnvironment environment;
  ZOVServerSocket server{"127.0.0.1", 0, "Server Socket", 100};
  std::shared_ptr<ZOVSocketConnection> connection;
};

// As Java's are by default.
TEST_F(PeerTest, ASocketOfIPv6WithAMappedAddressIsFound) {
  std::optional<ActingUser> another;
  if (ActingUser::isPossible()) another.emplace(4242);
  const int client = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (client < 0) GTEST_SKIP() << "no IPv6 here";
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_port = htons(server.getPort());
  ::inet_pton(AF_INET6, "::ffff:127.0.0.1", &address.sin6_addr);
  ASSERT_EQ(::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(accepted().user, another ? uid_t{4242} : ::geteuid());
  ::close(client);
}

// Its socket is nobody's any more, and the kernel calls it root's.
TEST_F(PeerTest, AProcessThatHasLetGoHasNoUser) {
  std::optional<FakeCollector> client(server.getPort());
  const zov::Peer there = accepted();
  EXPECT_TRUE(there.onThisHost);
  EXPECT_EQ(there.user, ::geteuid());
  EXPECT_EQ(there.address, "127.0.0.1");
  client.reset();
  EXPECT_TRUE(comesTrue([&] { return !zov::findPeer(connection->getSocket()).user; }));
  const zov::Peer peer = zov::findPeer(-1);
  EXPECT_TRUE(peer.onThisHost);
  EXPECT_FALSE(peer.user);
}

}  // namespace
