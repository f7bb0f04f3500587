#include "transport/statistics_requests.h"

std::span<const ZOVInitiateRemotePSIClientRequest::NumericField>
ZOVInitiateRemotePSIClientRequest::numericFields() {
  static constexpr NumericField fields[] = {
      numeric<&ZOVInitiateRemotePSIClientRequest::_port>(ListenerPortKey),
      numeric<&ZOVInitiateRemotePSIClientRequest::_token>(StatisticsTokenKey),
  };
  return fields;
}

std::span<const ZOVCreatePSIClientRequest::NumericField> ZOVCreatePSIClientRequest::numericFields() {
  static constexpr NumericField fields[] = {numeric<&ZOVCreatePSIClientRequest::_processId>(ProcessIdKey)};
  return fields;
}

std::span<const ZOVCreatePSIClientRequest::TextField> ZOVCreatePSIClientRequest::textFields() {
  static constexpr TextField fields[] = {
      {ServerRootDirectoryKey, &ZOVCreatePSIClientRequest::_root},
      {ClientVersionKey, &ZOVCreatePSIClientRequest::_version},
      {AppServerNameKey, &ZOVCreatePSIClientRequest::_serverName},
      {WorkingDirectoryKey, &ZOVCreatePSIClientRequest::_workingDirectory},
      {ExceptionClassKey, &ZOVCreatePSIClientRequest::_exceptionClass},
      {ClientTextKey, &ZOVCreatePSIClientRequest::_furtherText},
  };
  return fields;
}

std::span<const ZOVGetPSISamples::NumericField> ZOVGetPSISamples::numericFields() {
  static constexpr NumericField fields[] = {numeric<&ZOVGetPSISamples::_group>(StatisticsGroupKey)};
  return fields;
}

std::span<const ZOVGetPSISamples::TextField> ZOVGetPSISamples::textFields() {
  static constexpr TextField fields[] = {
      {AppServerNameKey, &ZOVGetPSISamples::_serverName},
      {ResourceNamesKey, &ZOVGetPSISamples::_names},
  };
  return fields;
}
