#pragma once
// The tables that the agent has registered.

#include <string>

#include "hub/api/answer.h"

namespace zov::hub {

/// All tables with their columns.
Reply listTables(const Call& call);

/// One table with its columns.
Reply describeTable(const Call& call);

/// The refusal of a table that there is not; names those that there are.
Answer noSuchTable(const std::string& name);

}  // namespace zov::hub
