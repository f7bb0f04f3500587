#pragma once
// Take Action commands, and the record of them.

#include "hub/api/answer.h"

namespace zov::hub {

/// Reads {"node", "command"} from the body, and gives the command to the agent's callback: work for a thread
/// that may wait, one of a node at a time.
/// When the command is queued, the answer's location is its record.
Reply runCommand(const Call& call);

/// The last commands, and those that run or wait.
Reply listActions(const Call& call);
/// One of them.
Reply describeAction(const Call& call);

}  // namespace zov::hub
