#include "runtime/memory_account.h"

#include "platform/own_metrics.h"

namespace zov {
namespace {

const OwnGauge ofServers("zov_agent_servers_memory_bytes",
                         "What is kept of all servers, as budgets count it.",
                         [] { return static_cast<double>(MemoryAccount::allServers().used()); });
const OwnGauge ofPolls("zov_agent_polls_memory_bytes", "Frames and polls in hand, as budgets count them.",
                       [] { return static_cast<double>(MemoryAccount::allPolls().used()); });

}  // namespace

MemoryAccount& MemoryAccount::allServers() {
  static auto* const account = new MemoryAccount(zovBudgets().allServers);
  return *account;
}

MemoryAccount& MemoryAccount::allPolls() {
  static auto* const account = new MemoryAccount(zovBudgets().allPolls);
  return *account;
}

const ZOVBudget* MemoryAccount::charge(std::size_t bytes) {
  std::size_t used = _used.load(std::memory_order_relaxed);
  do {
    if (used > _budget.bytes || bytes > _budget.bytes - used) return &_budget;
  } while (!_used.compare_exchange_weak(used, used + bytes, std::memory_order_relaxed));
  const ZOVBudget* const exceeded = _whole ? _whole->charge(bytes) : nullptr;
  if (exceeded) _used.fetch_sub(bytes, std::memory_order_relaxed);
  return exceeded;
}

void MemoryAccount::add(std::size_t bytes) {
  _used.fetch_add(bytes, std::memory_order_relaxed);
  if (_whole) _whole->add(bytes);
}

void MemoryAccount::release(std::size_t bytes) {
  _used.fetch_sub(bytes, std::memory_order_relaxed);
  if (_whole) _whole->release(bytes);
}

}  // namespace zov
