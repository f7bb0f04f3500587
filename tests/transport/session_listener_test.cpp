// The listener before a directory of the test's own: who is answered what, what stays open, and that hostile
// peers and faults cost their own connection only.

#include "transport/session_listener.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <map>
#include <mutex>

#include "runtime/recovery.h"
#include "runtime/waits.h"
#include "support/comes_true.h"
#include "support/diagnostic_environment.h"
#include "support/environment_variable.h"
#include "support/fake_collector.h"
#include "support/step_clock.h"

namespace {

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// Servers by name; the listener knows them only as opaque objects.
class FakeDirectory : public ZOVSessionDirectory {
 public:
  struct Server {
    std::shared_ptr<ZOVSocketConnection> connection;
  };

  ZOVReturnCode admit(const zov::Greeting& greeting) override {
    return greeting.ping().getAppServerName() == "forbidden" ? ZOV_PING_NOT_EXPECTED : ZOV_OK;
  }
  ZOVReturnCode findServer(const zov::Greeting& greeting,
                           std::shared_ptr<ZOVApplicationServer>& server) override {
    const ZOVPingRequest& ping = greeting.ping();
    if (ping.getAppServerName() == "raise") zovRaise(ZOVException(ZOV_EXCEPTION_CAUGHT));
    const std::scoped_lock lock(_mutex);
    const auto found = _servers.find(nameOf(ping));
    if (found == _servers.end()) return ZOV_NOT_MATCHING_PING;
    if (found->second->connection) return ZOV_PING_NOT_EXPECTED;
    server = opaque(found->second);
    return ZOV_OK;
  }
  ZOVReturnCode defineNewServer(const zov::Greeting& greeting,
                                std::shared_ptr<ZOVApplicationServer>& server) override {
    const ZOVPingRequest& ping = greeting.ping();
    if (ping.getAppServerName().isNull()) return ZOV_NO_SUCH_SERVER;
    const std::scoped_lock lock(_mutex);
    server = opaque(_servers[nameOf(ping)] = std::make_shared<Server>());
    return ZOV_OK;
  }
  ZOVReturnCode beginSession(ZOVApplicationServer& server,
                             const std::shared_ptr<zov::Greeting>& greeting) override {
    const RWCString& name = greeting->ping().getAppServerName();
    if (name == "no thread") return ZOV_NO_SUBTASK;
    const std::scoped_lock lock(_mutex);
    if (name == "late") {
      waiting = greeting;
      return ZOV_OK;
    }
    greeting->accept(ZOVProfilerSocketMonitor::ProductBuildLevel);
    if (name == "excluded") return ZOV_OK;
    reinterpret_cast<Server&>(server).connection = greeting->connection();
    greeting->handOver();
    return ZOV_OK;
  }
  int isThisPingExpected(const zov::Greeting& greeting) override {
    return greeting.ping().getRemoteToken() < 10;
  }
  bool takeRemotePSISocket(const std::shared_ptr<ZOVSocketConnection>& connection,
                           const ZOVPingRequest& ping) override {
    const std::scoped_lock lock(_mutex);
    if (ping.getRemoteToken() == 9) return false;
    _statistics = connection;
    return true;
  }
  void stopProfilerMonitorThreads() override { stopped = true; }
  void shutDownServerSockets() override { shutDown = true; }
  void writeProductEvent(const char*, const char*, int, const char* text) override {
    const std::scoped_lock lock(_mutex);
    _events.push_back(text);
  }

  /// Until a connection is bound to "name root".
  bool waitForConnection(const std::string& name) {
    return comesTrue([&] {
      const std::scoped_lock lock(_mutex);
      return _servers.contains(name) && _servers[name]->connection;
    });
  }
  /// Ends every session.
  void unbindAll(ZOVProfilerSocketMonitor& monitor) {
    const std::scoped_lock lock(_mutex);
    for (auto& [name, server] : _servers) {
      monitor.deleteSocket(server->connection.get());
      server->connection.reset();
    }
  }
  std::vector<std::string> events() {
    const std::scoped_lock lock(_mutex);
    return _events;
  }

  /// The greeting of "late", which is then the test's to answer.
  std::shared_ptr<zov::Greeting> takeWaiting() {
    std::shared_ptr<zov::Greeting> taken;
    comesTrue([&] {
      const std::scoped_lock lock(_mutex);
      taken.swap(waiting);
      return taken != nullptr;
    });
    return taken;
  }

  std::atomic<bool> stopped{false};
  std::atomic<bool> shutDown{false};

 private:
  static std::string nameOf(const ZOVPingRequest& ping) {
    return (ping.getAppServerName() + " " + ping.getServerRootDirectory()).str();
  }
  static std::shared_ptr<ZOVApplicationServer> opaque(const std::shared_ptr<Server>& server) {
    return {server, reinterpret_cast<ZOVApplicationServer*>(server.get())};
  }

  std::mutex _mutex;  // guards what follows
  std::shared_ptr<zov::Greeting> waiting;
  std::map<std::string, std::shared_ptr<Server>> _servers;
  std::shared_ptr<ZOVSocketConnection> _statistics;
  std::vector<std::string> _events;
};

class SessionListenerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ::setenv("ZOV_LOCAL_ADDRESS", "127.0.0.1", 1);
    monitor = std::make_unique<ZOVProfilerSocketMonitor>(0, directory);
    ASSERT_EQ(monitor->startBackgroundThread(), 1);
    ASSERT_TRUE(comesTrue([&] { return (port = monitor->getPort()) != 0; }));
  }
  /// The response to a first frame, in hexadecimal; empty when the agent closes without one.
  static std::string answerTo(FakeCollector& collector, const WireFrame& frame) {
    collector.send(frame);
    return wireHex(collector.receiveBytes());
  }
  std::string answerTo(const WireFrame& frame) {
    FakeCollector collector(port);
    return answerTo(collector, frame);
  }
  static std::string positive(int correlator) {
    return wireHex(wireResponse(correlator, true, 6005164).framed());
  }
  static std::string refusal(int correlator, int reason) {
    return wireHex(wireResponse(correlator, false, reason).framed());
  }
  /// Opens a session and ends it; whatever was sent before has been dealt with then.
  void session(const char* name) {
    FakeCollector collector(port);
    ASSERT_TRUE(collector.send(wirePing(1, name, "/")));
    ASSERT_EQ(collector.receive()->number(15), 6005164);
    directory.waitForConnection(std::string(name) + " /");
    directory.unbindAll(*monitor);
    EXPECT_TRUE(collector.closedByAgent());
  }

  DiagnosticEnvironment environment;
  FakeDirectory directory;
  std::unique_ptr<ZOVProfilerSocketMonitor> monitor;
  std::uint16_t port = 0;
};

TEST_F(SessionListenerTest, PingsAreAnsweredBitForBit) {
  FakeCollector bound(port), second(port);
  EXPECT_EQ(answerTo(bound, wirePing(7, "server1", "/srv")), positive(7));
  ASSERT_TRUE(directory.waitForConnection("server1 /srv"));
  EXPECT_EQ(answerTo(second, wirePing(8, "server1", "/srv")), refusal(8, 174)) << "healthily connected";
  EXPECT_EQ(answerTo(wirePing(9, "server1", "/other")), positive(9)) << "another root is another server";
  EXPECT_EQ(answerTo(wirePing(10, "", "/srv")), refusal(10, 7));
  EXPECT_EQ(answerTo(wirePing(12, "forbidden", "/srv")), refusal(12, 174));
  EXPECT_EQ(answerTo(wirePing(13, "no thread", "/srv")), refusal(13, 156));
  FakeCollector excluded(port);
  EXPECT_EQ(answerTo(excluded, wirePing(11, "excluded", "/")), positive(11));
  EXPECT_TRUE(excluded.closedByAgent());
  EXPECT_TRUE(second.nothingReceived()) << "refused with 174, and left open for its peer to close";
}

TEST_F(SessionListenerTest, BuildLevelsDecide) {
  const struct {
    long long profiler, workload;
    int refused;
  } cases[] = {{6005159, 6005164, 0},   {6005159, 0, 0},   {6005160, 6005165, 0},
               {6005158, 6005164, 104}, {0, 6005164, 104}, {-1, 0, 104},
               {6005158, 1, 104},       {6005159, 1, 105}, {6005159, 6005163, 105}};
  for (int number = 1; const auto& c : cases) {
    FakeCollector collector(port);
    const std::string name = "server" + std::to_string(number);
    EXPECT_EQ(answerTo(collector, wirePing(number, name.c_str(), "/", 1, c.profiler, c.workload)),
              c.refused ? refusal(number, c.refused) : positive(number));
    EXPECT_TRUE(!c.refused || collector.closedByAgent()) << number;
    ++number;
  }
  const char* const native = "ZOVXXXXE Incompatible Data Collector Native Build Level Detected";
  const char* const java = "ZOVXXXXE Incompatible Data Collector Build Level Detected";
  EXPECT_EQ(directory.events(), (std::vector<std::string>{native, native, native, native, java, java}));
}

TEST_F(SessionListenerTest, AStatisticsProcessGoesToWhoWaitsForIt) {
  const auto ping = [](int token) { return wireRequest(1, 3).number(1340, 2).number(1341, token); };
  FakeCollector expected(port);
  EXPECT_EQ(answerTo(expected, ping(1)), wireHex(wireResponse(3, true).framed())) << "without a level";
  for (const int token : {10, 9}) {
    FakeCollector refused(port);
    refused.send(ping(token));
    EXPECT_EQ(refused.receive()->number(14), token == 9 ? 2 : 1);
    EXPECT_TRUE(refused.closedByAgent()) << token;
  }
  EXPECT_TRUE(expected.nothingReceived());
}

TEST_F(SessionListenerTest, AFirstFrameThatIsNoPingGetsNoByteBackAndStaysOpen) {
  const std::size_t before = openDescriptors();
  std::deque<FakeCollector> peers;
  for (const std::string& frame :
       {wireSample(998).framed(), wireBytes("00000003 000200"), wireBytes("00000004 00020001"),
        wirePing(1, "server1", "/").raw("cut").framed()}) {
    ASSERT_TRUE(peers.emplace_back(port).sendBytes(frame));
  }
  FakeCollector fault(port);
  fault.send(wirePing(1, "raise", "/"));
  EXPECT_TRUE(fault.closedByAgent()) << "a fault costs its connection only";
  session("first");
  for (FakeCollector& peer : peers) EXPECT_TRUE(peer.nothingReceived());
  peers.clear();
  fault.close();
  session("first");
  EXPECT_TRUE(comesTrue([&] { return openDescriptors() == before; })) << openDescriptors() << ' ' << before;
}

TEST_F(SessionListenerTest, ASilentPeerHoldsUpNoStop) {
  FakeCollector standing(port), silent(port), behind(port);
  EXPECT_EQ(answerTo(standing, wirePing(1, "server1", "/")), positive(1));
  directory.waitForConnection("server1 /");
  behind.send(wirePing(2, "server2", "/"));
  monitor->shutdown();
  EXPECT_TRUE(silent.closedByAgent());
  EXPECT_TRUE(directory.stopped && directory.shutDown);
  EXPECT_FALSE(FakeCollector(port).connected());
  monitor->shutdown();
  monitor->deleteSocket(nullptr);
  monitor.reset();
  EXPECT_TRUE(standing.closedByAgent());
  EXPECT_EQ(ZOVProfilerSocketMonitor::pMonitor.load(), nullptr);
}

// Whatever they do: nothing, half a length, half a frame, a length that is no frame's.
TEST_F(SessionListenerTest, NoPeerHoldsUpAnother) {
  const std::string whole = wirePing(1, "server1", "/").framed();
  std::deque<FakeCollector> peers;
  for (const std::size_t begun : {0, 2, 4, 50}) peers.emplace_back(port).sendBytes(whole.substr(0, begun));
  FakeCollector tooLong(port);
  tooLong.sendBytes(wireBytes("00010001 0002"));
  EXPECT_TRUE(tooLong.closedByAgent()) << "one byte more than a first frame may have";
  session("meanwhile");
  peers.back().sendBytes(whole.substr(50));
  EXPECT_EQ(wireHex(peers.back().receiveBytes()), positive(1)) << "begun before, ended after";
}

TEST_F(SessionListenerTest, AFirstFrameMustComeInTime) {
  StepClock clock;
  FakeCollector silent(port), half(port), left(port);
  half.sendBytes(wireBytes("0000"));
  left.send(wireSample(998));
  session("first");  // they have been accepted
  StepClock::step(29);
  session("second");
  EXPECT_TRUE(silent.nothingReceived() && half.nothingReceived());
  StepClock::step(1);
  session("third");
  EXPECT_TRUE(silent.closedByAgent());
  EXPECT_TRUE(half.closedByAgent());
  EXPECT_TRUE(left.nothingReceived()) << "its first frame has come";
}

TEST_F(SessionListenerTest, AnAnswerMayComeLater) {
  FakeCollector accepted(port), refused(port), forgotten(port);
  const auto late = [&](FakeCollector& collector, int correlator) {
    collector.send(wirePing(correlator, "late", "/"));
    return directory.takeWaiting();
  };
  const auto toAccept = late(accepted, 1), toRefuse = late(refused, 2);
  late(forgotten, 3).reset();
  EXPECT_TRUE(forgotten.closedByAgent());
  session("meanwhile");
  ASSERT_TRUE(toAccept && toRefuse);
  EXPECT_EQ(toAccept->accept(6005164), ZOV_OK);
  EXPECT_EQ(wireHex(accepted.receiveBytes()), positive(1));
  toRefuse->refuse(174);
  toRefuse->leaveToPeer();
  EXPECT_EQ(wireHex(refused.receiveBytes()), refusal(2, 174));
  session("first");
  EXPECT_TRUE(refused.nothingReceived());
}

TEST_F(SessionListenerTest, WithoutADescriptorAcceptingRestsAndGoesOn) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs a descriptor to look at an object, and here there is none left";
#endif
  const int extra = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  const rlimit former = limit;
  limit.rlim_cur = static_cast<rlim_t>(extra) + 1;  // the lowest free descriptor is out of reach
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(::connect(extra, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  const std::string message =
      "ZOVA0172W New collectors are not taken for 1 seconds, and then again: a connection cannot be "
      "accepted, errno=24 Too many open files.  Sessions go on.";
  EXPECT_TRUE(comesTrue([&] { return std::ranges::count(environment.issued(), message) == 1; }));
  ::setrlimit(RLIMIT_NOFILE, &former);
  session("later");
  EXPECT_EQ(std::ranges::count(environment.issued(), message), 1);
  ::close(extra);
}

TEST(SessionListener, ListensOnLoopbackUnlessToldOtherwise) {
  DiagnosticEnvironment environment;
  FakeDirectory directory;
  const struct {
    const char* setting;
    bool first, second;  // of two addresses of this host
  } cases[] = {{nullptr, true, false}, {"", true, true}, {"127.0.0.2", false, true}};
  for (const auto& c : cases) {
    const EnvironmentVariable address("ZOV_LOCAL_ADDRESS", c.setting);
    ZOVProfilerSocketMonitor monitor(0, directory);
    ASSERT_EQ(monitor.startBackgroundThread(), 1);
    ASSERT_TRUE(comesTrue([&] { return monitor.getPort() != 0; }));
    EXPECT_EQ(FakeCollector(monitor.getPort(), "127.0.0.1").connected(), c.first);
    EXPECT_EQ(FakeCollector(monitor.getPort(), "127.0.0.2").connected(), c.second);
    monitor.shutdown();
  }
}

TEST(SessionListener, APortInUseIsOpenedOnceItIsFree) {
  DiagnosticEnvironment environment;
  FakeDirectory directory;
  ::setenv("ZOV_LOCAL_ADDRESS", "127.0.0.1", 1);
  zovWaits().listenerRetrySeconds = 0;
  auto occupant = std::make_unique<ZOVServerSocket>("127.0.0.1", 0, "occupant", 1);
  const std::uint16_t port = occupant->getPort();
  ZOVProfilerSocketMonitor monitor(port, directory);
  EXPECT_EQ(monitor.startBackgroundThread(), 1);
  EXPECT_TRUE(comesTrue([&] { return environment.issued().size() >= 2; }));
  EXPECT_TRUE(environment.issued()[1].starts_with(
      "ZOVA0084E Unable to open server IP port 127.0.0.1:" + std::to_string(port) + ". "));
  occupant.reset();
  EXPECT_TRUE(comesTrue([&] { return FakeCollector(port).connected(); }));
  monitor.shutdown();
  zovWaits() = ZOVWaits();
}

TEST_F(SessionListenerTest, TextsOfAPingHaveABudget) {
  const std::string most(1024, 'x'), over(1025, 'x');
  EXPECT_EQ(answerTo(wirePing(1, most, most).text(31, most).text(39, most).text(41, most)), positive(1));
  const WireFrame shop = wirePing(2, "shop", "/");
  for (const WireFrame& ping :
       {wirePing(2, over, "/"), wirePing(2, "shop", over), WireFrame(shop).text(31, over),
        WireFrame(shop).text(39, over), WireFrame(shop).text(41, over)}) {
    FakeCollector collector(port);
    EXPECT_EQ(answerTo(collector, ping), refusal(2, 19));
    EXPECT_TRUE(collector.closedByAgent());
  }
  EXPECT_EQ(environment.issued().back(),
            "ZOVA0179W A ping of application server shop was refused: its locale is longer than 1024 bytes.");
}

}  // namespace
