#pragma once
// zov::MemoryAccount: how many bytes are held under a budget, and within a larger account that is shared.
// What is charged is what objects say that they take; nothing is allocated here. Any thread may charge and
// give back, without a lock.

#include <atomic>
#include <cstddef>

#include "foundation/string.h"
#include "runtime/budgets.h"

namespace zov {

/// What a block of storage costs beyond its bytes.
constexpr std::size_t BlockBytes = 16;
/// What a text takes outside of its object.
inline std::size_t textBytes(const RWCString& text) {
  const std::size_t inside = std::string().capacity();
  const std::size_t capacity = text.str().capacity();
  return capacity <= inside ? 0 : capacity + BlockBytes;
}

class MemoryAccount {
 public:
  /// The budget is read at each charge. It and `whole` (null: none) outlive the account.
  explicit MemoryAccount(const ZOVBudget& budget, MemoryAccount* whole = nullptr)
      : _budget(budget), _whole(whole) {}
  ~MemoryAccount() { clear(); }
  MemoryAccount(const MemoryAccount&) = delete;
  MemoryAccount& operator=(const MemoryAccount&) = delete;

  /// What is kept of all servers, and what is in hand for all of them.
  static MemoryAccount& allServers();
  static MemoryAccount& allPolls();

  /// Null when the bytes are charged, here and in the whole. Else the budget that they do not fit in, with
  /// nothing charged.
  const ZOVBudget* charge(std::size_t bytes);
  /// Charges beyond the budget too: for what is there already.
  void add(std::size_t bytes);
  void release(std::size_t bytes);
  void clear() { release(used()); }
  std::size_t used() const { return _used.load(std::memory_order_relaxed); }

 private:
  const ZOVBudget& _budget;
  MemoryAccount* const _whole;
  std::atomic<std::size_t> _used{0};
};

}  // namespace zov
