#pragma once
// The agent's numbers for monitoring systems.

#include "hub/api/answer.h"

namespace zov::hub {

/// All chosen metrics, in the format that the asker takes, as a body that is sent while it is written. Takes
/// no parameters, and asks no server.
Reply scrapeMetrics(const Call& call);

/// Says, once the tables are known, which words of the choice name none.
void checkMetricsChoice();

}  // namespace zov::hub
