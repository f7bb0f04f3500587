// The servers' own statistics, as a person at the HTTP interface sees them, with the real agent and a
// scripted statistics JVM.

#include <gmock/gmock.h>

#include "support/agent_process.h"
#include "support/comes_true.h"
#include "support/fake_statistics_jvm.h"
#include "support/temporary_directory.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

namespace {

struct Server {
  Server(AgentProcess& agent, const std::string& name, const std::string& description)
      : collector(agent.collectorPort()) {
    collector.send(wirePing(7, name, "/srv/" + name, ::getpid()));
    EXPECT_TRUE(collector.receive());
    collector.serve();
    const auto asked = collector.waitForRequest(FakeStatisticsJVM::Initiate);
    EXPECT_TRUE(asked);
    EXPECT_EQ(asked->number(3), agent.collectorPort());
    jvm = std::make_unique<FakeStatisticsJVM>(agent.collectorPort(), asked->number(1400).value_or(0));
    EXPECT_TRUE(jvm->isAccepted());
    jvm->describe("instanceName=" + name + "\n" + description + "\n");
    jvm->script(FakeStatisticsJVM::GetAllData, [this](FakeStatisticsJVM& self, const WireMessage& request) {
      const std::string created = std::to_string(sets += 40);
      self.send(
          self.sampleFor(request, 7, "dbname=a data source with a long, long name\nnumCreates=" + created));
      self.send(self.sampleFor(request, 67, "cont_name=pages\n"));
      self.send(self.sampleFor(request, 1, "usedMemory=1234\n"));
      self.sendEnd(request);
    });
    jvm->serve();
  }
  FakeCollector collector;
  std::atomic<int> sets{0};
  std::unique_ptr<FakeStatisticsJVM> jvm;  // goes first, since its script counts the sets
};

/// Reads the events of a server's log, whose texts are numbers. A reader that is too slow for them is cut
/// off, and goes on with those that are still kept; their ids tell how many there were.
class LogReader {
 public:
  explicit LogReader(std::uint16_t port) : _port(port) { open(); }
  /// Reads until the record of this number has come.
  void readTo(int number) {
    while (_last < number) {
      const std::string event = _stream->receiveEvent();
      if (event.empty() && _reopened++ > 1000) FAIL() << "no events behind " << _last;
      if (event.empty()) {
        open();
        continue;
      }
      _id = event.substr(4, event.find('\n') - 4);
      static const std::string text = "\"err_msg\":\"";
      _last = std::atoi(event.c_str() + event.find(text) + text.size());
      _ranks.insert(std::atol(_id.c_str() + _id.find('-') + 1) - _last);
    }
  }
  /// How far ahead of the records' numbers those of the events are: one, if each arrived once and in order.
  const std::set<long>& ranks() const { return _ranks; }

 private:
  void open() {
    _stream.emplace(_port).openEvents("/v1/events?table=ZOVLOGANAL", "Last-Event-ID: " + _id + "\r\n");
  }
  std::uint16_t _port;
  std::optional<ZOVTestHttpClient> _stream;
  std::string _id = "0-0";
  int _last = -1, _reopened = 0;
  std::set<long> _ranks;
};

}  // namespace

TEST(Statistics, BecomeRowsWithTheirRates) {
  AgentProcess agent;
  agent.configure(
      "[Basic_Config]\nZOV_RESOURCE_SAMPLEMETHOD = FIXED\n[Advanced_Agent_Config]\nZOV_PORT = {port}\n"
      "[Advanced_J2EE_Config]\nZOV_RESOURCE_FIXEDINTERVAL_TIME = 1\n");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  Server server(agent, "shop", "tslCellName=cell");
  std::vector<TestRow> pools;
  ASSERT_TRUE(comesTrue([&] {
    pools = agent.rows("ZOVDBCONP");
    return pools.size() == 1 && pools[0]["num_create"] != "-1";
  }));
  EXPECT_EQ(pools[0]["dssh_name"], "a data source with a long,000000");
  const int created = std::stoi(pools[0]["num_create"]);
  EXPECT_EQ(created % 40, 0);
  EXPECT_EQ(std::stoi(pools[0]["rte_create"]), created * 1000 / std::stoi(pools[0]["int_time"]));
  EXPECT_THAT(agent.rows("ZOVCACHE"), ElementsAre(Contains(Pair("psi_enable", "1"))));
  EXPECT_THAT(agent.rows("ZOVAPSST"), ElementsAre(Contains(Pair("tsl_cnam", "cell"))));
  EXPECT_THAT(agent.rows("ZOVAPSRV"), ElementsAre(Contains(Pair("pid", std::to_string(::getpid())))));

  // Without its JVM the server keeps what it had.
  server.jvm->close();
  ASSERT_TRUE(comesTrue([&] {
    const auto caches = agent.rows("ZOVCACHE");
    return caches.size() == 1 && caches[0].at("psi_enable") == "0";
  }));
  EXPECT_EQ(agent.rows("ZOVDBCONP").size(), 1u);
  EXPECT_EQ(agent.rows("ZOVAPSRV").size(), 1u);
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}

TEST(ServerLog, RecordsArriveOnceEachWhileItIsRotated) {
  constexpr std::size_t Burst = 40'001;  // bytes, so that records are torn
  AgentProcess agent;
  agent.configure(
      "[Advanced_Agent_Config]\nZOV_PORT = {port}\n[Advanced_J2EE_Config]\nZOV_APPSRVR_LOGSCANINTERVAL = "
      "1\n");
  ASSERT_NO_FATAL_FAILURE(agent.start());
  TemporaryDirectory directory;
  const std::string log = directory.file("log");
  const auto write = [&](int from, int to) {
    std::string bytes;
    for (; from < to; ++from) {
      bytes += "[1/2/05 12:34:56:789 EST] 0000001a Foo I " + std::to_string(from) + "\n";
    }
    std::ofstream out(log, std::ios::binary | std::ios::app);
    for (std::size_t at = 0; at < bytes.size(); at += Burst) out << bytes.substr(at, Burst) << std::flush;
  };
  write(0, 1);
  LogReader reader(agent.httpPort());
  Server server(agent, "shop", "stdoutFileName=" + log);
  int written = 1;
  for (int records = 8000; records <= 12'000; records += 400) {  // more than the file before has in all
    if (written > 1) {
      ASSERT_EQ(std::rename(log.c_str(), directory.file("old").c_str()), 0);
    }
    write(written, written + records - 200);
    ASSERT_NO_FATAL_FAILURE(reader.readTo(written));  // or it would miss the next rotation
    write(written + records - 200, written + records);
    written += records;
  }
  ASSERT_NO_FATAL_FAILURE(reader.readTo(written - 1));
  EXPECT_EQ(reader.ranks().size(), 1U);
  EXPECT_EQ(agent.stop(SIGTERM), 0);
}
