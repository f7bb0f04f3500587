#pragma once
// The query of a table's rows.

#include "hub/api/answer.h"

namespace zov::hub {

/// Reads the parameters `node`, `history`, `timeout`, `names`, `limit`, `offset`, `order`, `PARMA` and
/// filters by column, and asks the table: each subnode by a part of its own, where the table waits for
/// subnodes.
Reply queryRows(const Call& call);

}  // namespace zov::hub
