#include "runtime/shutdown_probe.h"

#include <gtest/gtest.h>
#include <unistd.h>

TEST(ShutdownProbe, TellsWhetherADescriptorCanBeRead) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(isready(ends[0]), 0);
  ASSERT_EQ(write(ends[1], "x", 1), 1);
  EXPECT_EQ(isready(ends[0]), 1);
  close(ends[0]);
  EXPECT_EQ(isready(ends[0]), -1);
  close(ends[1]);
}
