#pragma once
// zov::ServerDescription: who a server is, as a collector's ping or a line of the context file tells it. All
// that a new server is made from. Texts are UTF-8; what is not told is empty.

#include <sys/types.h>

#include <optional>

#include "foundation/string.h"

enum _AppServerStatus { ServerDisconnected = 0, ServerConnected = 1 };
enum _AppServerType { MonitoredServer = 1 };  ///< any other type is excluded from monitoring

namespace zov {

struct ServerDescription {
  RWCString name{};  ///< the one text that a server cannot be without
  RWCString rootDirectory{};
  RWCString workingDirectory{};
  RWCString platform{};  ///< the kind of server
  RWCString locale{};
  RWCString encoding{};
  RWCString subnode{};           ///< the subnode name of an earlier run; empty: one is made
  RWCString subnodeAlias{};      ///< the alias that `subnode` was made from
  std::optional<uid_t> owner{};  ///< the user of this host who first brought it
  int type = MonitoredServer;
  int occurrence = 0;  ///< tells servers of one name and root directory apart
  _AppServerStatus status = ServerDisconnected;
};

}  // namespace zov
