#pragma once
// The budgets: how much of each kind peers can make the agent hold, and what happens beyond. Bytes are those
// of the agent's objects that come of what a peer sends, not those on the wire. SECURITY.md shows them all.
//
// Read by any thread, and changed only before threads start: by main through zovReadBudgets(), and by tests.

#include <cstddef>

struct ZOVBudget {
  const char* what;  ///< that is limited, as messages say it
  std::size_t bytes;
};

struct ZOVBudgets {
  static constexpr std::size_t KiB = 1024, MiB = 1024 * KiB;

  ZOVBudgets();  ///< with the machine's memory as it is

  // --- Frames and pings.
  ZOVBudget firstFrame{"the first frame of a connection", 64 * KiB};  ///< beyond: the connection ends
  ZOVBudget frame{"a frame", 64 * MiB};                               ///< beyond: the session ends
  ZOVBudget name{"a text of a ping", KiB};                            ///< beyond: the ping is refused

  // --- One server. Beyond them the poll, or the entry, is dropped, and the session goes on.
  ZOVBudget poll{"the samples of a poll", 256 * MiB};  ///< with their abbreviated texts expanded
  ZOVBudget abbreviation{"an abbreviation and its text", 32 * KiB};
  ZOVBudget abbreviations{"the abbreviations of a server", 64 * MiB};
  ZOVBudget properties{"the Java properties of a server", 4 * MiB};
  ZOVBudget environment{"the environment variables of a server", 4 * MiB};
  ZOVBudget anchors{"the anchors of a server", 512 * MiB};  ///< with their samples
  std::size_t events = 10'000;  ///< anchors of one type of events of a server; beyond: the oldest goes

  // --- All servers together. Beyond them as above; the one whose data come then is the one that goes
  // without.
  /// Anchors, abbreviations, properties and environment: a quarter of the machine's memory, or
  /// ZOV_MEMORY_LIMIT.
  ZOVBudget allServers{"what is kept of all servers (ZOV_MEMORY_LIMIT)", 0};
  /// Frames and polls until they are saved: half as much.
  ZOVBudget allPolls{"all polls in hand (half of ZOV_MEMORY_LIMIT)", 0};

  void setMemoryLimit(std::size_t bytes) { allServers.bytes = bytes, allPolls.bytes = bytes / 2; }

  // --- What a poll may take on the wire, so that it ends. Beyond: the session ends.
  std::size_t pollFrames = 4'000'000;
  std::size_t pollWireBytes = 1024 * MiB;
};

ZOVBudgets& zovBudgets();

/// Takes the memory limit from the environment variable ZOV_MEMORY_LIMIT: bytes, or a number with K, M or G
/// (powers of 1024) behind it; 1M at least. Any other value is traced, and leaves the limit as it is.
void zovReadBudgets();
