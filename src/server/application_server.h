#pragma once
// ZOVApplicationServer: the concrete server. To the parts that its base is the face of it adds the beginning
// of a collector's session, the log file, and the commands that start and stop the server.
//
// Locks: "LogFileLock" guards which log file there is. A log file is made before it is taken, and destroyed
// after it was given back.

#include <memory>

#include "logs/log_file.h"
#include "logs/log_file_owner.h"
#include "server/application_server_base.h"

namespace zov {
class Greeting;
struct Peer;
}  // namespace zov

class ZOVApplicationServer final : public ZOVApplicationServerBase, private zov::LogFileOwner {
 public:
  using ZOVApplicationServerBase::ZOVApplicationServerBase;
  ~ZOVApplicationServer() override;

  /// A new server after its init, or null with the reason in `rc`: 7 for an empty name, or what init answers.
  /// Whoever lets go of it last must find its threads ended (stopThreads): a server of which one runs, or was
  /// killed, is leaked rather than freed.
  static std::shared_ptr<ZOVApplicationServer> buildNew(const zov::ServerDescription& description,
                                                        ZOVReturnCode& rc);
  using ZOVApplicationServerBase::init;
  ZOVReturnCode init(_AppServerStatus status, unsigned int processId, std::string_view logFile,
                     std::string_view errLogFile, long long startTime);

  const char* getSubnodeAffinity() const override;

  // --- Collector sessions.
  /// Hands the greeting to the collector monitor's thread, which answers it, and waits for nothing: 0, or why
  /// it cannot be taken now (see CollectorMonitor::submitSession). With no lock held.
  ZOVReturnCode greet(const std::shared_ptr<zov::Greeting>& greeting);
  /// On that thread: 0, or 174 for a greeting that it has refused, since the present collector lives or the
  /// peer may not bring this server. With no lock held.
  ZOVReturnCode testFormerSession(zov::Greeting& greeting);
  /// On that thread, behind the test: begins a session with the greeting's collector and polls. With no lock
  /// held.
  ZOVReturnCode beginSession(zov::Greeting& greeting);

  // --- Log files.
  /// Follows this file from now on, and no other; without a name, and of an excluded server, none is followed
  /// anew.
  void setLogFile(std::string_view text) override;
  /// True when the file in force has changed by it. On a connected server the collection then moves to that
  /// file, or starts if it waited for one; so with no lock held.
  bool setVerboseGCLogFile(std::string_view text) override;
  void returnLogFileSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms);

  // --- Commands: 176; 166 when no script may be run for this server, told by message ZOVA0175E; or 43 when
  // too many wait.
  ZOVReturnCode startAppServer(const RWCString& arguments);
  ZOVReturnCode stopAppServer(const RWCString& arguments);

 private:
  // What the log file asks.
  RWCString instanceName() const override { return getName(); }
  unsigned int collectorProcessId() const override { return getProcessId(); }
  std::optional<uid_t> user() const override { return getOwner(); }
  const ZOVApplicationServerBase* server() const override { return this; }

  void followLog(std::unique_ptr<ZOVLogFile> log);
  RWCString nameForScripts() const;
  ZOVReturnCode queueCommand(const char* script, std::vector<RWCString> options, const RWCString& secret);

  mutable ZOVLock _logFileLock{"LogFileLock"};
  std::unique_ptr<ZOVLogFile> _followedLog ZOV_GUARDED_BY(_logFileLock);
};
