#include "platform/frames.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <thread>

namespace {

template <class Body>
XFR1_Outcome run(Body body) {
  return XFR1_Run([](void* context) { (*static_cast<Body*>(context))(); }, &body);
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

using FramesDeathTest = Frames;

TEST_F(FramesDeathTest, WithoutAFrameTheDefaultActionStands) {
  EXPECT_EXIT(storeTo(SIGSEGV), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT((run([] {}), storeTo(SIGBUS)), testing::KilledBySignal(SIGBUS), "");
  EXPECT_EXIT(raise(SIGFPE), testing::KilledBySignal(SIGFPE), "");
  EXPECT_EXIT(XFR1__Raise(XFR1_Thread(), 1), testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
