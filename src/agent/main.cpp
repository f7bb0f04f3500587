// The process's entry. The exit status of an agent is always 0, also when the start failed; the trace tells.

#include <malloc.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <memory>
#include <optional>
#include <string_view>

#include "agent/agent.h"
#include "framework/process.h"
#include "platform/frames.h"
#include "platform/trace.h"
#include "platform/version.h"
#include "runtime/budgets.h"
#include "runtime/waits.h"

static DGT1_Unit traceUnit("ZOVCMAIN");

/// The last signal that came; 0 before.
static std::atomic<int> receivedSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may not lock");

/// All that is done of a stop here; the rest happens on the main thread, once arkmain has returned.
static void ZOVShutdownSignalHandler(int signal) {
  receivedSignal = signal;
  if (signal == SIGQUIT || signal == SIGTERM || signal == SIGINT) ARQ_Shutdown(1);
}

/// A shell starts what it puts into the background with SIGINT ignored: the Ctrl-C is then for others.
static void takeInterrupts() {
  struct sigaction present {};
  ::sigaction(SIGINT, nullptr, &present);
  if (present.sa_handler != SIG_IGN) std::signal(SIGINT, ZOVShutdownSignalHandler);
}

/// A hangup has the configuration read again. Where the agent runs in a terminal it ends with that, and what
/// was ignored at its start stays so.
static void takeHangups() {
  struct sigaction present {};
  ::sigaction(SIGHUP, nullptr, &present);
  if (present.sa_handler == SIG_IGN || ::isatty(STDIN_FILENO) == 1) return;
  std::signal(SIGHUP, [](int) { zov::requestReload(); });
}

/// By default hundreds of threads that are seldom busy get an arena each, which keeps the most that its
/// thread ever used.
static void shareArenas() {
  constexpr int Arenas = 4;
  mallopt(M_ARENA_MAX, Arenas);
}

/// The exit status of an option; none for what starts an agent.
static std::optional<int> answerOption(std::string_view given) {
  if (given == "--version") return std::printf("zovagent %s\n", zov::ProductVersion), 0;
  if (given == "--help" || given == "-h") {
    std::printf(
        "zovagent starts the agent, which runs until it is told to end. A configuration file and the\n"
        "environment say what differs from the defaults: see zovagent(8). --version tells its version.\n");
    return 0;
  }
  if (!given.starts_with('-')) return std::nullopt;
  std::fprintf(stderr,
               "zovagent: The option is '%.*s'; accepted are --help and --version. No agent was started.\n",
               static_cast<int>(given.size()), given.data());
  return 2;
}

int main(int argc, char** argv) {
  if (const auto status = answerOption(argc > 1 ? argv[1] : "")) return *status;
  std::signal(SIGPIPE, SIG_IGN);
  shareArenas();
  DGT1_Open();
  zovReadWaits();
  zovReadBudgets();
  XFR1_InstallFaultHandlers();
  ZOVLock::init();

  const std::unique_ptr<ZOVAgent> agent(new ZOVAgent(argc > 1 ? argv[1] : nullptr));
  if (!agent->isInitialised()) {
    DGT1_Printf(traceUnit, DGT1_ERROR, "Agent initialization failed");
    return 0;
  }
  // Only now: a signal during construction takes its default action.
  std::signal(SIGQUIT, ZOVShutdownSignalHandler);
  std::signal(SIGTERM, ZOVShutdownSignalHandler);
  takeInterrupts();
  takeHangups();
  agent->Process(argc, argv);
  // Here, since a line of trace takes a lock, which the handler may not.
  if (const int signal = receivedSignal; signal != 0) {
    DGT1_Printf(traceUnit, DGT1_FLOW, "Receive Signal = %d\n", signal);
  }
  DGT1_Printf(traceUnit, DGT1_ERROR, "Agent shutdown occurred");
  return 0;
}
