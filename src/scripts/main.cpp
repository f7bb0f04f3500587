// zovscripts [--root] USER: runs one script of a server for the agent that runs as USER, and whose connection
// is the standard input. A service manager starts it for each connection. With --root it runs scripts as
// root, too, for servers of root's. The exit status is 0 when a script has been run, whatever became of it,
// and else 1; the trace tells.

#include <pwd.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string_view>

#include "platform/trace.h"
#include "remote/local_scripts.h"
#include "remote/script_helper.h"

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);
  DGT1_Open();
  const bool mayBeRoots = argc == 3 && std::string_view(argv[1]) == "--root";
  const char* const name = argc == 2 || mayBeRoots ? argv[argc - 1] : nullptr;
  const passwd* const agent = name ? ::getpwnam(name) : nullptr;
  if (agent == nullptr) {
    std::fprintf(
        stderr,
        "%s: no such user. Usage: zovscripts [--root] USER, with the connection of USER's agent as standard "
        "input; --root runs scripts of root's servers, too.\n",
        name ? name : "the arguments name none");
    return 1;
  }
  zov::LocalScripts scripts;
  return zov::serveScript(STDIN_FILENO, agent->pw_uid, mayBeRoots, scripts) ? 0 : 1;
}
