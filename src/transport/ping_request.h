#pragma once
// ZOVPingRequest: hello and liveness. The first message of every connection: with it a collector tells who it
// is, and at what build levels; a remote statistics process tells its token.

#include "transport/fielded_request.h"

class ZOVPingRequest : public zov::FieldedRequest<ZOVPingRequest, ZOVRequest::PingRequestType> {
 public:
  static constexpr int RemoteStatisticsPing = 2;  ///< a _pingType; any other is a data collector's

  ZOVPingRequest() = default;
  explicit ZOVPingRequest(int processId) : _processId(processId) {}
  ZOVPingRequest(const ZOVPingRequest& other) : ZOVPingRequest() { copyFields(other); }
  /// A reduced ping: process id, build levels and the five texts; not the names, the token, the type or
  /// flags.
  ZOVPingRequest& operator=(const ZOVPingRequest& other) { return copyFields(other); }

  long long getProcessId() const { return _processId; }
  long long getProfilerBuildLevel() const { return _profilerBuildLevel; }
  long long getWorkloadAnalysisBuildLevel() const { return _workloadAnalysisBuildLevel; }
  long long getRemoteToken() const { return _remoteToken; }
  int getPingType() const { return _pingType; }
  const RWCString& getWorkingDirectory() const { return _workingDirectory; }
  const RWCString& getAppServerName() const { return _appServerName; }
  const RWCString& getServerRootDirectory() const { return _serverRootDirectory; }
  const RWCString& getAliasName() const { return _aliasName; }
  const RWCString& getLocaleName() const { return _localeName; }

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields();

  long long _processId = 0;
  long long _profilerBuildLevel = 0;
  long long _workloadAnalysisBuildLevel = 0;  // 0: the part is not present
  long long _remoteToken = 0;
  int _pingType = 0;
  int _pingFlags = 0;
  RWCString _pingText1, _pingText2, _pingText3, _pingText4, _pingText5;  // kept, not read
  RWCString _workingDirectory;
  RWCString _appServerName;
  RWCString _serverRootDirectory;
  RWCString _aliasName;
  RWCString _localeName;
};
