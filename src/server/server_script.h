#pragma once
// zov::ServerScript: a script that starts or stops a server, as it is queued to be run. All texts are plain:
// most come from a ping or from a command, and whoever makes a shell's line of them quotes them.

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "foundation/string.h"
#include "runtime/return_code.h"

namespace zov {

/// Is told what becomes of a script, on the thread that runs it.
class ScriptObserver {
 public:
  virtual ~ScriptObserver() = default;
  virtual void scriptBegins() = 0;
  /// The code is 0, or that of the failure; `reason` is a sentence, and `lines` the end of what the script
  /// wrote. Neither holds the secret.
  virtual void scriptEnded(const ZOVReturnCode& code, const RWCString& reason, const RWCString& lines) = 0;
};

struct ServerScript {
  RWCString directory;               ///< where the script is
  RWCString command;                 ///< its name there, such as "stopServer.sh"
  std::vector<RWCString> arguments;  ///< the first one names the server
  RWCString secret;                  ///< the argument that is shown to nobody; empty when there is none
  /// Whom the server belongs to, and as whom the script is to run. None: the configuration names the server,
  /// and the script runs as the agent's own user.
  std::optional<uid_t> owner;
  /// Called on the thread that has run the script, whatever came of it; waits for nothing. May be empty.
  std::function<void()> afterwards;
  std::shared_ptr<ScriptObserver> observer;  ///< null when nobody watches

  RWCString path() const { return directory + "/" + command; }
  RWCString server() const { return arguments.empty() ? RWCString() : arguments.front(); }
};

}  // namespace zov
