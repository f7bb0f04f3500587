#include "transport/ping_request.h"

std::span<const ZOVPingRequest::NumericField> ZOVPingRequest::numericFields() {
  static constexpr NumericField fields[] = {
      notKept(ListenerPortKey),
      numeric<&ZOVPingRequest::_processId>(ProcessIdKey),
      notKept(PingReserved2Key),
      numeric<&ZOVPingRequest::_profilerBuildLevel>(ProfilerBuildLevelKey),
      numeric<&ZOVPingRequest::_workloadAnalysisBuildLevel>(WorkloadBuildLevelKey),
      numeric<&ZOVPingRequest::_pingFlags>(PingFlagsKey, NotCopied),
      numeric<&ZOVPingRequest::_pingType>(PingTypeKey, NotCopied),
      numeric<&ZOVPingRequest::_remoteToken>(RemoteTokenKey, NotCopied),
  };
  return fields;
}

std::span<const ZOVPingRequest::TextField> ZOVPingRequest::textFields() {
  static constexpr TextField fields[] = {
      {PingText2Key, &ZOVPingRequest::_pingText2},
      {PingText3Key, &ZOVPingRequest::_pingText3},
      {PingText1Key, &ZOVPingRequest::_pingText1},
      {PingText4Key, &ZOVPingRequest::_pingText4},
      {PingText5Key, &ZOVPingRequest::_pingText5},
      {WorkingDirectoryKey, &ZOVPingRequest::_workingDirectory, NotCopied},
      {AppServerNameKey, &ZOVPingRequest::_appServerName, NotCopied},
      {ServerRootDirectoryKey, &ZOVPingRequest::_serverRootDirectory, NotCopied},
      {AliasNameKey, &ZOVPingRequest::_aliasName, NotCopied},
      {LocaleNameKey, &ZOVPingRequest::_localeName, NotCopied},
  };
  return fields;
}
