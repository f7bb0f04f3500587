#pragma once
// CPU figures of the host, as /proc and sysconf give them. Any thread may ask.

#include <cstdint>
#include <string_view>

/// Milliseconds of CPU that a process has used so far, without its children; -1 when that cannot be told (a
/// process id of 0, a process that has ended, text that does not fit), which is told in the agent log once
/// per call where the file cannot be opened or read.
std::int64_t zovProcessCPUUsage(unsigned int processId);

/// The figure of `processId` in the text of its /proc/<pid>/stat; -1 for another process's text or a damaged
/// one. Counts 100 clock ticks a second.
std::int64_t zovParseProcessStat(std::string_view text, unsigned int processId);

/// Configured processors of the host, at least 1; asked for once.
std::int64_t zovNumProcessors();
