#pragma once
// How many exchanges of a kind may be under way at once.

#include <atomic>
#include <cstddef>

namespace zov::hub {

/// A number of places. Any thread.
class Places {
 public:
  explicit Places(std::size_t most) : _most(most) {}
  /// False when all are taken.
  bool take() {
    if (_taken.fetch_add(1) < _most) return true;
    --_taken;
    return false;
  }
  void giveBack() { --_taken; }

 private:
  const std::size_t _most;
  std::atomic<std::size_t> _taken{0};
};

}  // namespace zov::hub
