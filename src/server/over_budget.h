#pragma once
// What a server's collector sent beyond a budget is told here, with message ZOVA0178W. Any thread, with no
// lock of the server's anchors held.

#include "foundation/string.h"
#include "platform/own_metrics.h"
#include "runtime/budgets.h"

namespace zov {

constexpr const char* DroppedFrames = "zov_agent_frames_dropped";
constexpr const char* DroppedFramesHelp = "Frames of collectors' polls that were not kept.";
/// Of those, the ones for which a budget had no room.
extern OwnCounter droppedOverBudget;

/// Says that `dropped` ("samples", ...) of the server was dropped, and which limit it exceeded.
void tellOverBudget(const char* tag, const char* function, int line, const RWCString& server,
                    const char* dropped, const ZOVBudget& budget);

}  // namespace zov
