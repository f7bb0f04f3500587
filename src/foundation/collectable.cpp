#include "foundation/collectable.h"

#include <functional>

int RWCollectable::compareTo(const RWCollectable* other) const {
  if (this == other) return 0;
  return std::less<>{}(this, other) ? -1 : 1;
}

unsigned int RWCollectable::hash() const {
  const auto address = reinterpret_cast<std::uintptr_t>(this);
  return static_cast<unsigned int>((address >> 4) ^ (address >> 36));
}
