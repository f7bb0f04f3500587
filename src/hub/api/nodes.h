#pragma once
// The agent's own node, and its subnodes.

#include "hub/api/answer.h"

namespace zov::hub {

Reply listNodes(const Call& call);

/// One subnode with all that is known of it; of the agent's own node the list.
Reply describeNode(const Call& call);

/// The refusal of a node that there is not.
Answer noSuchNode(const std::string& name);

/// The name of a node as it is registered, in whatever case it is given; "" when there is none.
std::string registeredNode(const std::string& name);

}  // namespace zov::hub
