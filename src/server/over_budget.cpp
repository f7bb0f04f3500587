#include "server/over_budget.h"

#include "diag/agent_log.h"

namespace zov {

OwnCounter droppedOverBudget(DroppedFrames, DroppedFramesHelp, "reason=\"over_budget\"");

void tellOverBudget(const char* tag, const char* function, int line, const RWCString& server,
                    const char* dropped, const ZOVBudget& budget) {
  zov_detail::logMessage(tag, function, line, ZOVA0178W, server, dropped, budget.bytes, budget.what);
}

}  // namespace zov
