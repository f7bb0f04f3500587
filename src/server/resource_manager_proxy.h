#pragma once
// ZOVResourceManagerProxy: the task that gets the servers' own statistics, as servers, listener and agent see
// it. A concrete manager overrides what it can do; the defaults do nothing. Owned by the agent and shared
// with those who are in a call.

#include <memory>

#include "foundation/string.h"
#include "runtime/return_code.h"
#include "runtime/task.h"
#include "server/rpx_collection_request.h"

class ZOVApplicationServerBase;
class ZOVPingRequest;
class ZOVSocketConnection;

class ZOVResourceManagerProxy : public ZOVAsynchronousTask {
 public:
  static constexpr int DataCollectionMethods = 22;

  /// What a JVM tells of a server, one keyword=value a line.
  struct AppServerDescription {
    RWCString serverName, nodeName, cellName, logFile, errorLogFile, verboseGCLogFile, cluster;
    RWCString shortCellName, genericShortName, specificShortName;
    unsigned int processId = 0;
    long long startTime = 0;  ///< Java milliseconds
    int type = 1;             ///< _AppServerType
  };

  ZOVResourceManagerProxy() : ZOVAsynchronousTask("ResourceManager") {}

  /// Hands a request to the task's thread: 0, or 34 (given to the request too) while the manager is not
  /// ready.
  virtual ZOVReturnCode startProcessing(RPXCollectionRequest& request) = 0;
  virtual ZOVReturnCode createPSIClient(ZOVApplicationServerBase* /*server*/) { return 0; }
  virtual int isThisPingExpected(const ZOVPingRequest& /*ping*/) { return 0; }
  virtual int takeRemotePSISocket(const std::shared_ptr<ZOVSocketConnection>& /*socket*/,
                                  const ZOVPingRequest& /*ping*/) {
    return 0;
  }
  virtual ZOVReturnCode suspendCollectingResourceData(ZOVApplicationServerBase* /*server*/) { return 0; }
  virtual ZOVReturnCode resumeCollectingResourceData(ZOVApplicationServerBase* /*server*/) { return 0; }

  /// Name, number of parameters and JNI-style descriptor of a data collection method, by kind 0 to 21; null
  /// or 0 outside. Kinds 18 to 21 count one parameter beside a descriptor of two.
  static const char* getDataCollectionMethodName(int kind);
  static int getDataCollectionMethodNumParms(int kind);
  static const char* getDataCollectionMethodSignature(int kind);
  static const char* getExceptionClassName();
  static RWCString createLogFileName();
  /// Unknown keywords are traced and skipped; an empty line ends the text.
  static AppServerDescription parseAppServerSample(const char* text);
};
