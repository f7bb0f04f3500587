#pragma once
// The agent's own node, and its subnodes.

#include "hub/api/answer.h"

namespace zov::hub {

Reply listNodes(const Call& call);

}  // namespace zov::hub
