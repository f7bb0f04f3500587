#pragma once
// A wait for tests, without sleeping.

#include <chrono>
#include <thread>

/// Waits for what another thread is about to bring about; gives up after 30 seconds.
template <class Condition>
bool comesTrue(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}
