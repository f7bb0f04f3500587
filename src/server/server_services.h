#pragma once
// ZOVServerServices: what a monitored server needs of the agent around it. ZOVAgent registers the one object
// for its lifetime; tests register a small stand-in; with none registered the defaults below hold. Any thread
// may call any operation, with no lock of a server held.

#include <memory>

#include "foundation/string.h"
#include "runtime/return_code.h"
#include "server/server_script.h"

class ZOVAgentConfigParms;
class ZOVAppServerConfigParms;
class ZOVApplicationServerBase;
class ZOVLogFileCollector;
class ZOVResourceManagerProxy;

class ZOVServerServices {
 public:
  virtual ~ZOVServerServices() = default;

  /// The object that is registered, or one that answers the defaults.
  static ZOVServerServices& current();
  /// Registers `services`, which must outlive its registration; null takes it back.
  static void setCurrent(ZOVServerServices* services);

  /// The parameters of a server, never freed while the agent lives; null when there is no configuration.
  virtual ZOVAppServerConfigParms* getConfigParms(const char* /*name*/, const char* /*root*/) {
    return nullptr;
  }
  virtual ZOVAgentConfigParms* getConfigParms() { return nullptr; }
  virtual RWCString getSubsystemId() { return {}; }  ///< the framework's; empty when none is set
  virtual RWCString getCurrentSystemName();          ///< the host's short name, UTF-8
  /// 1 when no known server has this subnode name (local form, compared exactly).
  virtual int isSubNodeNameUnique(const char* /*subnode*/) { return 1; }
  /// Tells the framework of a subnode: 0, or 36.
  virtual ZOVReturnCode registerSubnode(const char* /*subnode*/, const char* /*affinity*/) { return 0; }
  virtual ZOVReturnCode deregisterSubnode(const char* /*subnode*/) { return 0; }
  /// Writes the context file again. Takes the context lock shared.
  virtual void rewriteContextInfo() {}
  /// The known server of this name and root directory, compared exactly; null when there is none.
  virtual std::shared_ptr<ZOVApplicationServerBase> findServer(const RWCString& /*name*/,
                                                               const RWCString& /*root*/) {
    return nullptr;
  }
  /// Null while there is none.
  virtual std::shared_ptr<ZOVResourceManagerProxy> resourceManager() { return nullptr; }
  /// Runs the script on the system command thread: 176 when it is queued. Who watches it is the agent's to
  /// say: on a thread that carries out a command it is that command's record.
  virtual ZOVReturnCode queueSystemCommand(const zov::ServerScript& /*script*/) { return 176; }
  /// The task that scans log files; null when logs are not followed.
  virtual std::shared_ptr<ZOVLogFileCollector> logFileCollector() { return nullptr; }
};
