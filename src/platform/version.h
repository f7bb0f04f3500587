#pragma once
// The version that the agent registers with, and that its programs tell.

namespace zov {
inline constexpr const char* ProductVersion = "06.00.00";
}
