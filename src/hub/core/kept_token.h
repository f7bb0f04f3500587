#pragma once
// The token that the hub makes for itself, so that actions need one also where nobody has set any.

#include <string>

#include "hub/core/settings.h"

namespace zov::hub {

inline constexpr const char* keptTokenFile = "hub.token";

/// Reads the token from keptTokenFile in `directory` (empty: the working directory). When there is no such
/// file it is made, for its owner to write and its group to read, with 256 random bits as 64 hexadecimal
/// digits. A file that others could have written or can read is no secret, and is not used: it must be a
/// regular file, not a link, of the process's own user, closed to others and to the group's writing, with one
/// line of 16 to 256 characters without blanks. The token is never traced.
KeptToken keepToken(const std::string& directory);

}  // namespace zov::hub
