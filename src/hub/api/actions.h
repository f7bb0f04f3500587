#pragma once
// Take Action commands.

#include "hub/api/answer.h"

namespace zov::hub {

/// Reads {"node", "command"} from the body, and gives the command to the agent's callback: work for a thread
/// that may wait. One command at a time may be at work.
Reply runCommand(const Call& call);

}  // namespace zov::hub
