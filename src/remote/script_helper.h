#pragma once
// Scripts of servers, run by a helper for an agent that may not change users: HelperScripts is the agent's
// side, serveScript the helper's. Between them is a connection of SOCK_SEQPACKET, one for each script. Over
// it go
//
//   run, owner or nothing, directory, command, arguments ...     to the helper
//   refused, reason                                              from it: the end
//   started                                                      from it, and then
//   ended, status, errno, output, error                          when the script has ended
//
// a packet each, whose texts stand as LENGTH:TEXT, so that any byte may be in them. An agent that goes leaves
// the script and the helper that waits for it.
//
// The helper has the rights of root. Who calls, the kernel names; what is to be run, which comes from a ping,
// it looks at itself. Whose the server is, it is told by the agent, and cannot know: so it runs nothing as
// root that it is not allowed to by its command line, and else what its owner could have put there alone.

#include <sys/types.h>

#include <string>
#include <vector>

#include "remote/script_runner.h"

namespace zov {

/// The agent's side. The manager's thread.
class HelperScripts : public ScriptRunner {
 public:
  explicit HelperScripts(std::string socket) : _socket(std::move(socket)) {}
  std::unique_ptr<ScriptRun> start(const ServerScript& script, RWCString& refusal) override;

 private:
  const std::string _socket;
};

/// The helper's side: serves the one request that comes over the connection, and returns when its script has
/// ended. `agent` and root may ask, and for scripts that run as root only where that `mayBeRoots`. Traces
/// what was run as whom, without its arguments. True when a script has been run.
bool serveScript(int connection, uid_t agent, bool mayBeRoots, ScriptRunner& runner);

/// Why the helper runs no such script as this user; empty when it does. A script starts or stops a server,
/// from bin of the server's root, and nobody but the user and root could have put it there.
RWCString refusalOfHelper(const ServerScript& script, uid_t user);

/// The texts as a packet; and back, nothing for what is none.
std::string packed(const std::vector<std::string>& texts);
std::vector<std::string> unpacked(std::string_view packet);

}  // namespace zov
