#pragma once
// ZOVNodeNames: how names of nodes and subnodes are built within the framework's 32 bytes and its restricted
// character set, and how the agent shortens a text for display. No state and no lock; any thread may call.

#include "foundation/string.h"

class ZOVNodeNames {
 public:
  static constexpr std::size_t MaximumLength = 32;  ///< bytes of a node or subnode name
  static constexpr const char* AgentSuffix = "ZOVA";
  static constexpr const char* SubnodeSuffix = "ZOVS";

  /// 1 keeps the end of the text and marks its start; any other value keeps the start.
  enum _StringTruncationType { TruncateEnd = 0, TruncateStart = 1 };

  static char getSysSepChar() { return ':'; }
  /// The host's short name in UTF-8, "$UNKNOWN$" when the system does not tell. Asks the system each time.
  static RWCString readSystemName();
  /// The agent's node name: "ID:host:ZOVA", or "host:ZOVA" without an id. The host part is cut so that the
  /// whole fits.
  static RWCString getHostName(const RWCString& agentId, const RWCString& systemName);
  /// Replaces, in place, every byte that no name part may hold with "_"; answers a copy.
  static RWCString editSubNodeComponent(RWCString& component);
  /// "server:host:ZOVS", at most 32 bytes: first the host is cut to 8 characters, then the server name's
  /// beginning goes.
  static RWCString assembleSubnodeName(RWCString serverName, RWCString hostName);
  /// The text, or when it is longer than `maximum` bytes, what is left of it with "..." at the cut end; a
  /// character is never cut in two.
  static RWCString getTruncatedString(const char* text, unsigned int maximum, _StringTruncationType type);
};
