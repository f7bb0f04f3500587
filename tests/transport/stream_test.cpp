// What a stream reads ahead: frames come whole and in order wherever the bytes were cut, and a wait, a
// time-out and the peer's end see what is there.

#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "support/comes_true.h"
#include "support/diagnostic_environment.h"
#include "support/fake_collector.h"
#include "support/step_clock.h"
#include "transport/buffer.h"
#include "transport/socket_connection.h"
#include "transport/tcp_stream.h"

namespace {

constexpr long NoWait = -1;  // a time that has passed already
constexpr long Patience = 30;

std::string framed(const std::string& body) {
  return wireBytes(DGT1_FormatText("%08X", static_cast<unsigned int>(body.size()))) + body;
}

/// A stream whose other end is a plain descriptor.
struct Pair {
  Pair() {
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    stream = std::make_unique<zov::TcpStream>(ends[0]);
  }
  ~Pair() { closePeer(); }
  void peerSends(std::string_view bytes) const {
    EXPECT_EQ(::send(ends[1], bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  void closePeer() {
    if (ends[1] >= 0) ::close(std::exchange(ends[1], -1));
  }
  /// All that was sent has left the system: it has been delivered, or is read ahead.
  bool systemIsEmpty() const {
    int waiting = -1;
    return ::ioctl(ends[0], FIONREAD, &waiting) == 0 && waiting == 0;
  }

  int ends[2] = {-1, -1};
  std::unique_ptr<zov::Stream> stream;
};

/// The same with frames on it.
struct FramePair : Pair {
  std::string receive(long timeout) {
    const auto buffer = connection.receive(rc, timeout, LogEveryFailure);
    return buffer ? buffer->str() : "nothing";
  }

  ZOVSocketConnection connection{std::move(stream), 0, "pair"};
  ZOVReturnCode rc;
};

TEST(ReadAhead, FramesComeWholeWhereverTheyAreCut) {
  DiagnosticEnvironment environment;
  const std::string bodies[] = {"first", "", "x", "the last one"};
  std::string bytes;
  for (const std::string& body : bodies) bytes += framed(body);
  for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
    FramePair pair;
    std::thread sender([&] {
      pair.peerSends(bytes.substr(0, cut));
      EXPECT_TRUE(comesTrue([&] { return pair.systemIsEmpty(); }));
      pair.peerSends(bytes.substr(cut));
    });
    for (const std::string& body : bodies) EXPECT_EQ(pair.receive(cut % 2 ? Patience : 0), body) << cut;
    sender.join();
    EXPECT_EQ(pair.receive(NoWait), "nothing") << cut;
    EXPECT_EQ(pair.rc, ZOV_SOCKET_TIMED_OUT) << cut;
  }
  EXPECT_TRUE(environment.issued().empty());
}

TEST(ReadAhead, BytesOfTheNextFrameAreReadable) {
  FramePair pair;
  const std::string second = framed("second");
  for (const std::size_t cut : {std::size_t{1}, std::size_t{4}, second.size()}) {
    pair.peerSends(framed("first") + second.substr(0, cut));
    EXPECT_EQ(pair.receive(NoWait), "first");
    ASSERT_TRUE(pair.systemIsEmpty());
    EXPECT_EQ(pair.connection.waitForSocketOrTimeout(NoWait), ZOV_OK) << cut;
    EXPECT_EQ(pair.connection.testConnection(), ZOV_OK);
    pair.peerSends(second.substr(cut));
    EXPECT_EQ(pair.receive(NoWait), "second") << "a time that has passed ends no frame that has begun";
    EXPECT_EQ(pair.connection.waitForSocketOrTimeout(NoWait), ZOV_SOCKET_TIMED_OUT) << cut;
  }
}

TEST(ReadAhead, FramesAheadOfTheEndAreDelivered) {
  DiagnosticEnvironment environment;
  const std::string body(999, 'b');
  constexpr int Frames = 100;  // more than is read ahead
  static_assert(Frames * 999 > zov::TcpStream::ReadAheadSize);
  std::string all;
  for (int i = 0; i < Frames; ++i) all += framed(body);
  for (const bool byPeer : {true, false}) {
    FramePair pair;
    pair.peerSends(all);
    EXPECT_EQ(pair.receive(0), body);
    byPeer ? pair.closePeer() : pair.connection.shutdownSocket();
    for (int i = 1; i < Frames; ++i) ASSERT_EQ(pair.receive(i % 2 ? Patience : 0), body) << i;
    EXPECT_EQ(pair.receive(Patience), "nothing");
    EXPECT_EQ(pair.rc, ZOV_SOCKET_TERMINATED);
  }
  EXPECT_EQ(environment.issued().size(), 2u);
}

TEST(Streams, ADeadlineEndsATransferThatHasBegun) {
  const auto soon = [] { return ZOVClock::steady() + std::chrono::milliseconds(20); };
  Pair pair;
  char bytes[8];
  pair.peerSends("half");
  EXPECT_EQ(pair.stream->receive(bytes, sizeof bytes, soon()), ZOV_SOCKET_TIMED_OUT);
  pair.peerSends("whole..");
  EXPECT_EQ(pair.stream->receive(bytes, 7, soon()), ZOV_OK);
  const std::string much(4 << 20, 'm');
  EXPECT_EQ(pair.stream->send("head", much, soon()), ZOV_SOCKET_TIMED_OUT);
  std::thread reader([&] {
    char sink[65536];
    while (::recv(pair.ends[1], sink, sizeof sink, 0) > 0) {
    }
  });
  EXPECT_EQ(pair.stream->send("head", much, ZOVClock::steady() + std::chrono::seconds(Patience)), ZOV_OK);
  pair.stream->shutDown();
  reader.join();
  EXPECT_EQ(zov::TcpStream(-1).waitReadable({}), ZOV_SOCKET_CLOSED);
}

TEST(Progress, AFrameThatHasBegunAndASendEnd) {
  DiagnosticEnvironment environment;
  for (const std::string& begun :
       {std::string("\0", 1), std::string("\0\0\0\4", 4), framed("whole").substr(0, 8)}) {
    FramePair pair;
    pair.connection.setProgressLimit(1);
    pair.peerSends(begun);
    EXPECT_EQ(pair.receive(0), "nothing") << wireHex(begun);
    EXPECT_EQ(pair.rc, ZOV_SOCKET_TIMED_OUT) << wireHex(begun);
  }
  FramePair pair;
  pair.connection.setProgressLimit(1);
  const std::string much(4 << 20, 'm');
  EXPECT_EQ(pair.connection.sendFrom(much.data(), much.size()), ZOV_SOCKET_TIMED_OUT);
}

// However long the whole of it takes.
TEST(Progress, BytesThatComeKeepAFrameAlive) {
  StepClock clock;
  FramePair pair;
  pair.connection.setProgressLimit(100);
  const std::string bytes = framed("slow");
  std::thread sender([&] {
    for (const char byte : bytes) {
      pair.peerSends({&byte, 1});
      EXPECT_TRUE(comesTrue([&] { return pair.systemIsEmpty(); }));
      StepClock::step(60);
    }
  });
  EXPECT_EQ(pair.receive(0), "slow");
  sender.join();
}

}  // namespace
