// zovscripts USER: runs one script of a server for the agent that runs as USER, and whose connection is the
// standard input. A service manager starts it for each connection. The exit status is 0 when a script has
// been run, whatever became of it, and else 1; the trace tells.

#include <pwd.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "platform/trace.h"
#include "remote/local_scripts.h"
#include "remote/script_helper.h"

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  DGT1_Open();
  const passwd* const agent = argc == 2 ? ::getpwnam(argv[1]) : nullptr;
  if (agent == nullptr) {
    std::fprintf(
        stderr,
        "%s: no such user. Usage: zovscripts USER, with the connection of USER's agent as standard input.\n",
        argc == 2 ? argv[1] : "one argument is needed");
    return 1;
  }
  zov::LocalScripts scripts;
  return zov::serveScript(STDIN_FILENO, agent->pw_uid, scripts) ? 0 : 1;
}
