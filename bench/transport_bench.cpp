// Frames off a loopback connection, as a poll of a busy server brings them: many small ones, sent as fast as
// they are read. Beside it a plain loop over a big buffer that copies each body out, which is the least that
// a reader can do. Time is that of the reading thread.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <thread>

#include "support/fake_collector.h"
#include "transport/buffer.h"
#include "transport/server_socket.h"

namespace {

constexpr int FramesPerPoll = 50'000;
constexpr long ReceiveTimeout = 300;  // seconds, as a poll has it

std::string pollOfSamples() {
  const std::string frame = wireSample(31)
                                .number(21, 60)
                                .number(314, 60'000)
                                .number(703, 12)
                                .number(704, 340)
                                .number(705, 90)
                                .text(701, "shop")
                                .text(702, "/cart")
                                .framed();
  std::string poll;
  for (int i = 0; i < FramesPerPoll; ++i) poll += frame;
  return poll;
}

/// A connection of the agent, and the collector at its other end that sends a poll at a time.
struct Connected {
  Connected() {
    ZOVReturnCode rc;
    collector = std::make_unique<FakeCollector>(server.getPort());
    connection = server.clientAccept(rc, 0);
  }
  template <class Reader>
  void run(benchmark::State& state, Reader&& readPoll) {
    const std::string poll = pollOfSamples();
    for (auto _ : state) {
      std::thread sender([&] { collector->sendBytes(poll); });
      readPoll();
      sender.join();
    }
    state.SetItemsProcessed(state.iterations() * FramesPerPoll);
  }

  ZOVServerSocket server{"127.0.0.1", 0, "benchmark", 1};
  std::unique_ptr<FakeCollector> collector;
  std::shared_ptr<ZOVSocketConnection> connection;
};

void ReceiveFrames(benchmark::State& state) {
  Connected peers;
  peers.run(state, [&] {
    for (int i = 0; i < FramesPerPoll; ++i) {
      ZOVReturnCode rc;
      const auto frame = peers.connection->receive(rc, ReceiveTimeout, LogEveryFailure);
      if (!frame) return state.SkipWithError("no frame");
      benchmark::DoNotOptimize(frame->data());
    }
  });
}
BENCHMARK(ReceiveFrames)->Unit(benchmark::kMillisecond);

void PlainReadLoop(benchmark::State& state) {
  Connected peers;
  std::string buffer(65536, '\0');
  peers.run(state, [&] {
    std::size_t begin = 0, end = 0;
    for (int taken = 0; taken < FramesPerPoll;) {
      const ssize_t got = ::recv(peers.connection->getSocket(), buffer.data() + end, buffer.size() - end, 0);
      if (got <= 0) return state.SkipWithError("no bytes");
      end += static_cast<std::size_t>(got);
      for (std::uint32_t length; end - begin >= sizeof length; ++taken) {
        std::memcpy(&length, buffer.data() + begin, sizeof length);
        length = ntohl(length);
        if (end - begin < sizeof length + length) break;
        const auto body = std::make_unique<std::string>(buffer, begin + sizeof length, length);
        benchmark::DoNotOptimize(body->data());
        begin += sizeof length + length;
      }
      std::memmove(buffer.data(), buffer.data() + begin, end - begin);
      end -= begin;
      begin = 0;
    }
  });
}
BENCHMARK(PlainReadLoop)->Unit(benchmark::kMillisecond);

}  // namespace
