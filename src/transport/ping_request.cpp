#include "transport/ping_request.h"

std::span<const ZOVPingRequest::NumericField> ZOVPingRequest::numericFields() {
  static constexpr NumericField fields[] = {
      notKept(3),
      numeric<&ZOVPingRequest::_processId>(4),
      notKept(22),
      numeric<&ZOVPingRequest::_profilerBuildLevel>(24),
      numeric<&ZOVPingRequest::_workloadAnalysisBuildLevel>(25),
      numeric<&ZOVPingRequest::_pingFlags>(27),
      numeric<&ZOVPingRequest::_pingType>(1340),
      numeric<&ZOVPingRequest::_remoteToken>(1341),
  };
  return fields;
}

std::span<const ZOVPingRequest::TextField> ZOVPingRequest::textFields() {
  static constexpr TextField fields[] = {
      {655, &ZOVPingRequest::_pingText2},   {657, &ZOVPingRequest::_pingText3},
      {26, &ZOVPingRequest::_pingText1},    {29, &ZOVPingRequest::_pingText4},
      {850, &ZOVPingRequest::_pingText5},   {31, &ZOVPingRequest::_workingDirectory},
      {5, &ZOVPingRequest::_appServerName}, {38, &ZOVPingRequest::_serverRootDirectory},
      {39, &ZOVPingRequest::_aliasName},    {41, &ZOVPingRequest::_localeName},
  };
  return fields;
}

ZOVPingRequest::ZOVPingRequest(const ZOVPingRequest& other) : ZOVPingRequest() {
  *this = other;
}

ZOVPingRequest& ZOVPingRequest::operator=(const ZOVPingRequest& other) {
  ZOVRequest::operator=(other);
  _processId = other._processId;
  _profilerBuildLevel = other._profilerBuildLevel;
  _workloadAnalysisBuildLevel = other._workloadAnalysisBuildLevel;
  _pingText1 = other._pingText1;
  _pingText2 = other._pingText2;
  _pingText3 = other._pingText3;
  _pingText4 = other._pingText4;
  _pingText5 = other._pingText5;
  return *this;
}
