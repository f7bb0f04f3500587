#pragma once
// The hub's side of arkmain.

#include <cstdint>

namespace zov::hub {

/// The port that is served now, or 0. Any thread.
std::uint16_t servedPort();

}  // namespace zov::hub
