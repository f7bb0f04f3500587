#pragma once
// The query of a table's rows.

#include "hub/api/answer.h"

namespace zov::hub {

/// Reads the parameters `node`, `history`, `PARMA` and filters by column, and asks the table: work for a
/// thread that may wait.
Reply queryRows(const Call& call);

}  // namespace zov::hub
