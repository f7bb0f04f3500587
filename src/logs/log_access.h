#pragma once
// Whether a user could read a file that the agent has opened: an agent with more rights than the user shows
// him no file of another's. Goes by owners, groups and modes, of the file and of each directory above it;
// lists of access rights (ACLs) beyond these are not looked at. Looks up the user's groups where they decide.

#include <sys/types.h>

namespace zov {
bool userMayRead(int descriptor, uid_t user);
}  // namespace zov
