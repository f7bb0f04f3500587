#pragma once
// The hub's side of arkmain.

#include <cstdint>

/// The port that HTTP is served on now, or 0.
std::uint16_t zovHubPort();
