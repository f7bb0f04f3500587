#pragma once
// zov::LocalScripts: runs a server's script as a process of this host, started by posix_spawn:
//
//   [systemd-run --scope] setpriv [user, group, groups] sh -c 'umask ...; exec SCRIPT ARGUMENTS'
//
// As whom. Where the agent may change users (CAP_SETUID and CAP_SETGID), as the server's owner. Else, and for
// a server without an owner that the configuration names, as the agent's own user, and then only a script
// that nobody else but root could have put there (see findForeignHand).
//
// Beside systemd. Under a unit of systemd root's scripts run in a scope of their own, or the unit's stop
// would end the server that they started. Others may start no scope, and their scripts run in the unit. The
// scope's name, which everybody can read, holds no argument.
//
// Whether it has begun the shell tells, by a pipe of its own: what fails before it is named as the one that
// has failed, and the script as not run.
//
// What it writes. Two pipes take it while the agent lives. A drain, a process beside the script, holds their
// read ends too, and reads from the moment on that the agent lets go of the run, by its end or its death: so
// no write of the script, or of a server that has inherited the pipes, ever fails or waits.

#include "remote/script_runner.h"

namespace zov {

class LocalScripts : public ScriptRunner {
 public:
  std::unique_ptr<ScriptRun> start(const ServerScript& script, RWCString& refusal) override;
};

/// The words as one line for a shell: a word that is more than letters, digits and _./:@%+=,- is quoted.
RWCString shellLine(const std::vector<RWCString>& words);

/// Why no script can be called with such texts, of which a ping may hold any; empty when it can.
RWCString refusalOfNames(const ServerScript& script);

/// Whether somebody else than root and `user` could change what is run as `path`: by writing the file or a
/// directory on the way to it (links are followed), or by owning one. A sticky directory is no way to
/// another's file in it. Answers a sentence, or nothing when only these two could.
RWCString findForeignHand(const RWCString& path, uid_t user);

}  // namespace zov
