#pragma once
// zov::ScriptRunner: the way in which the script of a server is run. ZOVSystemCommandManager has one, and
// asks it for one script at a time, on its own thread. LocalScripts starts a process; an agent that may not
// change users can be given another one, that has a helper service do it.
//
// Whoever runs a script owes what the ZOVSystemCommandManager leaves to it:
// - Who: the script runs as `owner`, with his groups and home; as another user only what neither that owner
//   nor anybody else but root and the user himself could have changed. A helper asks for that itself: what it
//   is sent has passed through the agent, and the path comes from a ping.
// - How: the arguments reach the script as they are. It has a fresh environment, umask 022, default signals,
//   and no descriptor but the three standard ones.
// - How long: it, and what it starts, outlives the agent and whoever runs it (its systemd unit, too). Nobody
//   ever makes it wait or end over what it writes, whether that is still read or not.

#include <memory>

#include "server/server_script.h"

namespace zov {

/// A script under way. Letting go of it leaves the script to run on; what it writes is then thrown away.
class ScriptRun {
 public:
  virtual ~ScriptRun() = default;
  /// Waits, without a limit, for the script's end (not for that of what it has left behind), and answers its
  /// status in waitpid's form; -1 with errno when there is none. Once.
  virtual int wait() = 0;
  /// The last OutputBytes of what it has written until its end. After wait.
  virtual const RWCString& output() const = 0;
  virtual const RWCString& error() const = 0;

  static constexpr std::size_t OutputBytes = 8192;
};

class ScriptRunner {
 public:
  virtual ~ScriptRunner() = default;
  /// Starts the script; may wait, for files and users that are looked at. Touches nothing of the agent, whose
  /// end does not wait for it. Null when nothing was started, and then `refusal` says by name what is
  /// refused, and why.
  virtual std::unique_ptr<ScriptRun> start(const ServerScript& script, RWCString& refusal) = 0;
};

}  // namespace zov
