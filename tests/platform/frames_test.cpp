#include "platform/frames.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

template <class Body>
XFR1_Outcome run(Body body) {
  return XFR1_Run([](void* context) { (*static_cast<Body*>(context))(); }, &body);
}

void raiseCode(unsigned long code) {
  XFR1__Raise(XFR1_Thread(), code);
}

/// Stores to a page that nobody may touch, or (SIGBUS) to one behind the end of its file.
void storeTo(int signal) {
  int file = -1;
  if (signal == SIGBUS) {
    char name[] = "/tmp/zov-frames-XXXXXX";
    file = mkstemp(name);
    unlink(name);
  }
  const int flags = file < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
  static volatile char* page;
  page =
      static_cast<char*>(mmap(nullptr, 4096, file < 0 ? PROT_NONE : PROT_READ | PROT_WRITE, flags, file, 0));
  if (file >= 0) close(file);
  *page = 1;
}

[[gnu::noinline]] int overflowTheStack(int depth) {
  volatile char space[2 * 1024];  // below a page, so that the guard page is met and not passed over
  space[0] = static_cast<char>(depth);
  return depth < 0 ? 0 : overflowTheStack(depth + 1) + space[0];
}

class Frames : public testing::Test {
 protected:
  void SetUp() override { XFR1_InstallFaultHandlers(); }
  void TearDown() override { EXPECT_EQ(XFR1_Thread()->current, nullptr); }
};

TEST_F(Frames, RaisesReachTheInnermostFrameOnEachThread) {
  const auto raises = [] {
    for (unsigned long i = 0; i < 1000; ++i) {
      const XFR1_Outcome outer = run([i] {
        const XFR1_Outcome inner = run([i] { raiseCode(i); });
        EXPECT_FALSE(run([] {}).raised);
        raiseCode(inner.raiseCode + 1);
      });
      if (!outer.raised || outer.raiseCode != i + 1) return false;
    }
    return true;
  };
  auto other = std::async(std::launch::async, raises);
  EXPECT_TRUE(raises());
  EXPECT_TRUE(other.get());
}

TEST_F(Frames, FaultsArriveAsRaisesAgainAndAgain) {
  const auto faults = [] {
    for (int i = 0; i < 50; ++i) {
      for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
        const bool stored = signal == SIGSEGV || signal == SIGBUS;
        EXPECT_EQ(run([&] { stored ? storeTo(signal) : static_cast<void>(raise(signal)); }).raiseCode,
                  static_cast<unsigned long>(signal));
      }
    }
  };
  faults();
  std::thread(faults).join();
}

TEST_F(Frames, StackOverflowCostsTheBodyOnly) {
  std::thread([] { EXPECT_EQ(run([] { overflowTheStack(0); }).raiseCode, unsigned{SIGSEGV}); }).join();
}

TEST_F(Frames, ExceptionsPassThroughWithTheFramePopped) {
  run([] {
    const XFR1_Frame* const own = XFR1_Thread()->current;
    EXPECT_THROW(run([] { throw std::runtime_error("through"); }), std::runtime_error);
    EXPECT_EQ(XFR1_Thread()->current, own);
  });
}

TEST_F(Frames, CancellationPassesThroughWithTheFramePopped) {
  struct Seen {
    std::promise<void> started;
    bool popped = false;
  } seen;
  pthread_t thread{};
  const auto entry = [](void* context) -> void* {
    struct AtEnd {
      Seen& seen;
      ~AtEnd() { seen.popped = XFR1_Thread()->current == nullptr; }
    } const atEnd{*static_cast<Seen*>(context)};
    run([&] {
      atEnd.seen.started.set_value();
      for (;;) pause();
    });
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, nullptr, entry, &seen), 0);
  seen.started.get_future().wait();
  pthread_cancel(thread);
  pthread_join(thread, nullptr);
  EXPECT_TRUE(seen.popped);
}

using FramesDeathTest = Frames;

TEST_F(FramesDeathTest, WithoutAFrameTheDefaultActionStands) {
  EXPECT_EXIT(storeTo(SIGSEGV), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT((run([] {}), storeTo(SIGBUS)), testing::KilledBySignal(SIGBUS), "");
  EXPECT_EXIT(raise(SIGFPE), testing::KilledBySignal(SIGFPE), "");
  EXPECT_EXIT(raiseCode(1), testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
