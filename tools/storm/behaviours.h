#pragma once
// The ways in which peers behave, good and bad; each draws its particulars from the generator that it is
// given.

#include <array>
#include <memory>
#include <random>
#include <string_view>

#include "peer.h"

namespace zov::storm {

using Random = std::mt19937;

/// Evenly drawn, both ends included.
inline int draw(Random& random, int least, int most) {
  return least + static_cast<int>(random() % static_cast<unsigned>(most - least + 1));
}

struct Behaviour {
  std::string_view name;
  std::string_view what;
  int weight;   ///< how often it is drawn, beside the others
  bool floods;  ///< kept to a few names, so that what it leaves behind has an end
  std::unique_ptr<Peer> (*make)(Field& field, Random& random, Collector::Identity identity);
};
extern const std::array<Behaviour, 8> Behaviours;

}  // namespace zov::storm
