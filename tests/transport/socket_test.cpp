// Frames and connections over real sockets.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <memory>
#include <thread>

#include "platform/trace.h"
#include "support/diagnostic_environment.h"
#include "support/fake_collector.h"
#include "transport/buffer.h"
#include "transport/client_socket.h"
#include "transport/exchange.h"
#include "transport/poll_request.h"
#include "transport/server_socket.h"

namespace {

constexpr long NoWait = -1;  // a time that has passed already
constexpr long Patience = 30;

std::atomic<int> signalsSeen{0};

long peakKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    long value = 0;
    if (word == "VmPeak:" && status >> value) return value;
  }
  return 0;
}

class SocketTest : public ::testing::Test {
 protected:
  void SetUp() override {
    server = std::make_unique<ZOVServerSocket>("127.0.0.1", 0, "Server Socket", 100);
    ASSERT_TRUE(server->isValid());
    connectAnew();
  }
  void connectAnew() {
    peer = std::make_unique<FakeCollector>(server->getPort());
    connection = server->clientAccept(rc, Patience);
    ASSERT_TRUE(connection);
  }
  std::unique_ptr<ZOVBuffer> receive() { return connection->receive(rc, 0, LogEveryFailure); }

  DiagnosticEnvironment environment;
  std::unique_ptr<ZOVServerSocket> server;
  std::unique_ptr<FakeCollector> peer;
  std::shared_ptr<ZOVSocketConnection> connection;
  ZOVReturnCode rc;
};

TEST_F(SocketTest, APeerThatClosesWithinAFrameEndsIt) {
  for (const std::string& sent : {std::string(), wireBytes("0000"), wireBytes("00000009"),
                                  wireBytes("00000009 0102"), wireBytes("00010000 0102")}) {
    SCOPED_TRACE(wireHex(sent));
    peer->sendBytes(sent);
    peer->close();
    const long before = peakKilobytes();
    EXPECT_EQ(receive(), nullptr);
    EXPECT_EQ(rc, 16u);
    EXPECT_EQ(environment.issued().back(),
              "ZOVA0079E Socket error detected.  Function=Receive  ConnectionName=**unknown**  "
              "Reason=The socket connection has been terminated  Details=errno=0 Success.");
    EXPECT_LT(peakKilobytes() - before, 1L << 20) << "a length that is announced takes no memory";
    EXPECT_EQ(connection->testConnection(), 0u) << "what is closed reads as ready";
    connectAnew();
  }
  EXPECT_EQ(environment.issued().size(), 5U);
}

TEST_F(SocketTest, WaitsEndInTimeAndASilentPeerIsProbed) {
  EXPECT_EQ(connection->testConnection(), 0u) << "idle is healthy";
  EXPECT_EQ(server->clientAccept(rc, NoWait), nullptr);
  EXPECT_EQ(rc, 30u);
  EXPECT_TRUE(environment.issued().empty()) << "a time that passes is logged nowhere";
  int probed = 0;
  socklen_t size = sizeof probed;
  ASSERT_EQ(::getsockopt(connection->getSocket(), SOL_SOCKET, SO_KEEPALIVE, &probed, &size), 0);
  EXPECT_EQ(probed, 1);
}

TEST_F(SocketTest, SignalsAreAbsorbed) {
  struct sigaction action {};
  struct sigaction former {};
  action.sa_handler = [](int) { ++signalsSeen; };  // without SA_RESTART: calls are interrupted
  ::sigaction(SIGUSR1, &action, &former);
  for (const long timeout : {0L, Patience}) {
    signalsSeen = 0;
    std::unique_ptr<ZOVBuffer> buffer;
    ZOVReturnCode code = 99;
    std::thread reader([&] { buffer = connection->receive(code, timeout, LogEveryFailure); });
    for (int sent = 0; signalsSeen < 20; ++sent) {
      ::pthread_kill(reader.native_handle(), SIGUSR1);
      while (signalsSeen <= sent && signalsSeen < 20) std::this_thread::yield();
    }
    peer->sendBytes(wireBytes("00000001 42"));
    reader.join();
    EXPECT_EQ(code, 0u) << timeout;
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->str(), "B");
  }
  ::sigaction(SIGUSR1, &former, nullptr);
}

TEST_F(SocketTest, WhatCannotBeOpenedTellsWhy) {
  const std::uint16_t port = server->getPort();
  const ZOVServerSocket second("127.0.0.1", port, "second", 1);
  EXPECT_FALSE(second.isValid());
  EXPECT_EQ(second.getLastRC(), 15u);
  EXPECT_EQ(ZOVSocketConnection::getLastError(), EADDRINUSE);
  EXPECT_FALSE(ZOVServerSocket("no address", 0, "third", 1).isValid());
  server.reset();
  EXPECT_EQ(ZOVClientSocket(port, nullptr, ::inet_addr("127.0.0.1")).getLastRC(), 15u);
}

TEST_F(SocketTest, APortWhoseLastConnectionsLingerIsTakenAgain) {
  const std::uint16_t port = server->getPort();
  server->deleteSocket(connection.get());
  connection.reset();
  EXPECT_TRUE(peer->closedByAgent());
  peer->close();  // the side that closed first lingers
  server.reset();
  const ZOVServerSocket again("127.0.0.1", port, "again", 1);
  EXPECT_TRUE(again.isValid());
  EXPECT_TRUE(FakeCollector(port).connected());
}

TEST_F(SocketTest, DeletingAConnectionWakesItsReaderAndLeavesTheDescriptorToIt) {
  const int descriptor = connection->getSocket();
  std::thread reader([this] { receive(); });
  server->deleteSocket(connection.get());
  reader.join();
  EXPECT_EQ(rc, 16u);
  EXPECT_TRUE(peer->closedByAgent());
  EXPECT_NE(::fcntl(descriptor, F_GETFD), -1) << "the last user closes";
  connection.reset();
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
  server->deleteSocket(connection.get());
}

TEST_F(SocketTest, ShutdownEndsWhatIsBlockedAndWhatComesLater) {
  std::thread reader([this] { receive(); });
  ZOVReturnCode acceptCode;
  std::thread acceptor([&] { EXPECT_EQ(server->clientAccept(acceptCode, 0), nullptr); });
  server->shutdownAll();
  reader.join();
  acceptor.join();
  EXPECT_EQ(rc, 16u);
  EXPECT_NE(acceptCode, 0u);
  EXPECT_TRUE(peer->closedByAgent());
  EXPECT_FALSE(FakeCollector(server->getPort()).connected());
}

TEST_F(SocketTest, OnlyTheRequestsOwnPositiveResponseIsSuccess) {
  const struct {
    WireFrame (*answer)(long long id);
    unsigned int code;
    long long value;
    const char* text;
  } cases[] = {
      {[](long long id) { return wireResponse(id, true, 7, "fine"); }, 0, 7, ""},
      {[](long long id) { return wireResponse(id, true); }, 0, 0, ""},
      {[](long long id) { return wireResponse(id, false, 117, "no file"); }, 18, 117, "no file"},
      {[](long long id) { return wireResponse(id + 1, true, 5); }, 18, 5, ""},
      {[](long long id) { return wireRequest(1, id); }, 19, 0, ""},
      {[](long long) { return wireSample(998); }, 19, 0, ""},
      {[](long long) { return WireFrame(3, 5); }, 19, 0, ""},
      {[](long long id) { return wireResponse(id, true).raw("cut"); }, 19, 0, ""},
  };
  long long value = 99;
  RWCString text("former");
  for (const auto& c : cases) {
    std::thread collector([&] { peer->send(c.answer(peer->receive()->correlator())); });
    EXPECT_EQ(zovExchange(connection.get(), ZOVPollRequest(), static_cast<int>(Patience), ResponseExpected,
                          &value, &text),
              c.code);
    collector.join();
    EXPECT_EQ(value, c.value) << &c - cases;
    EXPECT_EQ(text, c.text) << &c - cases;
  }
  EXPECT_EQ(zovExchange(nullptr, ZOVPollRequest(), 1, ResponseExpected, &value, nullptr), 33u);
  EXPECT_EQ(zovExchange(connection.get(), ZOVPollRequest(), 0, NoResponseExpected, nullptr, nullptr), 0u);
  peer->receive();
  peer->close();
  EXPECT_EQ(zovExchange(connection.get(), ZOVPollRequest(), 0, ResponseExpected, nullptr, &text), 16u);
}

TEST_F(SocketTest, FramesHaveBudgets) {
  const ZOVBudgets former = zovBudgets();
  const struct {
    std::size_t allPolls, length;
    unsigned int rc;
  } cases[] = {
      {1 << 20, 300'000, 0},
      {1 << 20, 300'001, 28},
      {200'000, 300'000, 3},
      {0, 65'536, 0},  // small ones always
  };
  zovBudgets().frame.bytes = 300'000;
  for (const auto& test : cases) {
    SCOPED_TRACE(test.length);
    zovBudgets().allPolls.bytes = test.allPolls;
    const std::size_t told = environment.issued().size();
    const std::string sent = WireFrame(0, 0).raw(std::string(test.length - 8, 'x')).framed();
    std::thread writer([&] { peer->sendBytes(sent); });
    const auto buffer = receive();
    EXPECT_EQ(buffer ? buffer->str() : "", test.rc == 0 ? sent.substr(4) : "");
    EXPECT_EQ(rc, test.rc);
    EXPECT_EQ(environment.issued().size(), told + (test.rc != 0));
    if (test.rc != 0) {
      EXPECT_NE(environment.issued().back().find(" bytes announced, over the limit of "), std::string::npos);
    }
    connection->shutdownSocket();
    writer.join();
    server->deleteSocket(connection.get());
    connectAnew();
  }
  EXPECT_EQ(zov::MemoryAccount::allPolls().used(), 0U);
  zovBudgets() = former;
}

}  // namespace
