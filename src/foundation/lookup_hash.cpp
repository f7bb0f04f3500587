#include "foundation/lookup_hash.h"

#include <random>

const RWLookupHash::Secrets& RWLookupHash::secrets() {
  static const Secrets drawn = [] {
    std::random_device source;
    const auto word = [&] { return std::uint64_t{source()} << 32 | source(); };
    return Secrets{word(), word() | 1};
  }();
  return drawn;
}
