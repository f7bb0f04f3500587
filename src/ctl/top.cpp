#include "ctl/commands.h"
namespace zov::ctl {
void top(AgentClient&, const TopOptions&) {}
}  // namespace zov::ctl
