#pragma once
// Take Action commands.

#include "hub/api/answer.h"

namespace zov::hub {

/// Reads {"node", "command"} from the body, and gives the command to the agent's callback: work for a thread
/// that may wait, one of a node at a time.
Reply runCommand(const Call& call);

}  // namespace zov::hub
