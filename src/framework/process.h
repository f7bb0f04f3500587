#pragma once
// The framework's process: registration, the main loop, commands, subnodes.
//
// The ARQ_ calls may come from any thread at any time, also before arkmain; texts are copied.

#include <cstddef>
#include <string>

class TqboxAutomationCapsule;

namespace zov {

/// What the framework says of the agent that it serves, and cannot know by itself.
struct AgentIdentity {
  std::string version;            ///< of the product; what ARQ_SetVersionUsingProduct gives out
  std::string node;               ///< the name of the agent's own node
  std::string directory;          ///< where the framework keeps its own files; empty: the working directory
  std::size_t mostNodeBytes = 0;  ///< of a node's name
};
/// To be called before ARQ_SetVersionUsingProduct and arkmain; a later call replaces what was told.
void introduceAgent(AgentIdentity identity);

/// Called on arkmain's thread for each requestReload() before it: reads the configuration again.
void registerReload(void (*reload)());
/// Called on arkmain's thread: a line of what the agent does, for who looks at the service.
void registerStatus(std::string (*status)());
/// Safe in a signal handler. Before arkmain it counts when that has begun to serve.
void requestReload();

}  // namespace zov

/// Runs the framework on the calling thread: calls the registered loader once, serves queries, events and
/// commands, and returns 0 after ARQ_Shutdown. On return no new request enters the agent, event streams are
/// closed and the HTTP port is free. A request that is inside the agent at that moment and does not come back
/// within two seconds is left to run: see ARQ_AwaitRequests.
int arkmain(int argc, char** argv);

/// Tells arkmain to return. Safe in a signal handler; before arkmain it makes arkmain return at once after
/// its start. The value must not be 0 and means nothing more.
void ARQ_Shutdown(int how);

/// For the agent's own end, after arkmain: waits until no thread of the framework is inside the agent, at
/// most `milliseconds`, and returns how many still are. Call it once everything that a request may wait for
/// has been shut down, and before it is freed; with a result other than 0, leak instead of freeing.
int ARQ_AwaitRequests(int milliseconds);

/// The function that registers the tables; arkmain calls it once, on its own thread.
int ARQ_RegisterAgentLoader(int (*loader)());

/// The agent's node id, in the local single-byte code page; may be empty.
int ARQ_SetSubsystemId(const char* id);
/// The id last set, or "". The text is good for the process's life.
const char* ARQ_GetSubsystemId();

/// Names the product, and writes the version text of its AgentIdentity to `out`, cut to `size` with its
/// terminator.
int ARQ_SetVersionUsingProduct(const char* product, char* out, int size);

/// How current data must be; accepted, and without effect.
int ARQ_SetCurrency(int kind, int percent);
/// The agent's affinity or a feature name; kept.
int ARQ_SetAffinity(const char* affinity);

/// Commands go to `callback` on a framework thread, one at a time of each node; its result is the command's
/// status.
int ARQ_RegisterCommandCallback(const char* prefix, long (*callback)(TqboxAutomationCapsule*));

/// Queue a subnode's coming or going; non-zero for a name that is empty or longer than the AgentIdentity's
/// mostNodeBytes, or that is not registered. Registering a name again replaces what was known of it.
int ARQ_Subnode_Register_nAff(const char* name, const char* product, const char* version, int kind,
                              const char* affinity, const char* feature);
int ARQ_Subnode_Deregister(const char* name);
/// Carries out what is queued.
int ARQ_Subnode_SendRequest();
