#pragma once
// The name of a request as one text: the major name (of type 1 it stands alone), a separator, the minor name,
// cut to a width. Of two names that do not fit the minor has half of the room, and either leaves to the other
// what it does not need. The major name is cut at its left and the minor at its right, each with "..." in
// place of what was cut; no character is split.

#include <cstddef>
#include <string_view>

namespace zov {

inline constexpr char WorkloadNameSeparator = ':';
inline constexpr int WorkloadNameMajorOnly = 1;
inline constexpr int WorkloadNameOfBoth = 0;

/// Writes at most `width` bytes to `out` and answers their number. Allocates nothing.
std::size_t writeWorkloadName(std::string_view major, std::string_view minor, int type, char* out,
                              std::size_t width);

}  // namespace zov
