#include "samples/sample_totals.h"

#include <array>
#include <atomic>

#include "runtime/memory_account.h"
#include "samples/arithmetic.h"

namespace zov {
namespace {

std::array<std::atomic<bool>, ZOVSample::SampleTypeEnd> kept;

}  // namespace

void SampleTotals::keep(ZOVSample::_SampleType type) {
  if (type >= 0 && static_cast<std::size_t>(type) < kept.size()) kept[static_cast<std::size_t>(type)] = true;
}

bool SampleTotals::areKept(ZOVSample::_SampleType type) {
  return type >= 0 && static_cast<std::size_t>(type) < kept.size() &&
         kept[static_cast<std::size_t>(type)].load(std::memory_order_relaxed);
}

void SampleTotals::add(const ZOVSample& sample) {
  if (_class == nullptr) {
    _class = &sample.sampleClass();
    _totals.assign(_class->numericKeys.size(), ZOVSample::NullValue);
  }
  for (std::size_t i = 0; i < _totals.size(); ++i) {
    const long long count = sample.getTotalCount(_class->numericKeys[i]);
    if (count < 0) continue;
    _totals[i] = _totals[i] < 0 ? count : zovAdd(_totals[i], count);
  }
}

long long SampleTotals::of(int key) const {
  const int place = _class != nullptr && isKey(key) ? _class->placement[key] : 0;
  return place == 0 ? ZOVSample::NullValue : _totals[static_cast<std::size_t>(place - 1)];
}

std::size_t SampleTotals::memoryBytes() const {
  return sizeof(*this) + _totals.capacity() * sizeof(long long) + 2 * BlockBytes;
}

}  // namespace zov
