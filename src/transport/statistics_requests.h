#pragma once
// The requests of the statistics: one asks a collector for a statistics process, the others go to that
// process, which answers with responses and samples. All but the first two carry the number of the client
// that is meant. A peer sends none of them.

#include "transport/fielded_request.h"

/// Asks the collector for a statistics process, which calls back at the port and shows the token.
class ZOVInitiateRemotePSIClientRequest
    : public zov::FieldedRequest<ZOVInitiateRemotePSIClientRequest, ZOVRequest::InitiateRemotePSIClientType> {
 public:
  ZOVInitiateRemotePSIClientRequest(int port, int token) : _port(port), _token(token) {}

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields() { return {}; }

  int _port;
  int _token;
};

/// Makes a client for the server; a positive answer tells its number in key 15, above 0.
class ZOVCreatePSIClientRequest
    : public zov::FieldedRequest<ZOVCreatePSIClientRequest, ZOVRequest::CreatePSIClientType> {
 public:
  static constexpr const char* Version = "5.0.2";

  ZOVCreatePSIClientRequest(const RWCString& root, const RWCString& serverName, unsigned int processId,
                            const RWCString& workingDirectory, const RWCString& exceptionClass)
      : _processId(processId),
        _root(root),
        _serverName(serverName),
        _workingDirectory(workingDirectory),
        _exceptionClass(exceptionClass) {}

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields();

  unsigned int _processId;
  RWCString _root;
  RWCString _version{Version};
  RWCString _serverName;
  RWCString _workingDirectory;
  RWCString _exceptionClass;
  RWCString _furtherText;
};

class ZOVPSIBaseRequest : public ZOVRequest {
 public:
  explicit ZOVPSIBaseRequest(int clientId) : _clientId(clientId) {}

  int getNumNumericKeys() const override { return ZOVRequest::getNumNumericKeys() + 1; }
  void numericKeys(int* out) const override {
    ZOVRequest::numericKeys(out);
    out[ZOVRequest::getNumNumericKeys()] = ClientIdKey;
  }
  void saveNumericData(int key, long long value) override {
    if (key == ClientIdKey) {
      _clientId = static_cast<int>(value);
    } else {
      ZOVRequest::saveNumericData(key, value);
    }
  }
  long long getNumericData(int key) const override {
    return key == ClientIdKey ? _clientId : ZOVRequest::getNumericData(key);
  }

 private:
  int _clientId;
};

namespace zov {

/// Tells the client alone.
template <ZOVRequest::_RequestType Type>
class PlainStatisticsRequest : public FieldedRequest<PlainStatisticsRequest<Type>, Type, ZOVPSIBaseRequest> {
  using Fielded = FieldedRequest<PlainStatisticsRequest<Type>, Type, ZOVPSIBaseRequest>;
  friend Fielded;

 public:
  using Fielded::Fielded;

 private:
  static std::span<const typename Fielded::NumericField> numericFields() { return {}; }
  static std::span<const typename Fielded::TextField> textFields() { return {}; }
};

/// Tells the client, and one text.
template <ZOVRequest::_RequestType Type, int Key>
class TextStatisticsRequest
    : public FieldedRequest<TextStatisticsRequest<Type, Key>, Type, ZOVPSIBaseRequest> {
  using Fielded = FieldedRequest<TextStatisticsRequest<Type, Key>, Type, ZOVPSIBaseRequest>;
  friend Fielded;

 public:
  TextStatisticsRequest(int clientId, const RWCString& text) : Fielded(clientId), _text(text) {}

 private:
  static std::span<const typename Fielded::NumericField> numericFields() { return {}; }
  static std::span<const typename Fielded::TextField> textFields() {
    static constexpr typename Fielded::TextField fields[] = {{Key, &TextStatisticsRequest::_text}};
    return fields;
  }

  RWCString _text;
};

}  // namespace zov

/// Asks for descriptions of the servers of the client's home.
using ZOVGetTSLInstances = zov::PlainStatisticsRequest<ZOVRequest::GetTSLInstancesType>;
/// Asks which of those servers live.
using ZOVPingTSLInstancesRequest = zov::PlainStatisticsRequest<ZOVRequest::PingTSLInstancesType>;
/// Asks whether the client is ready.
using ZOVTestPSIClientStatusRequest = zov::PlainStatisticsRequest<ZOVRequest::TestPSIClientStatusType>;
/// All statistics of the named server.
using ZOVGetAllPSIDataRequest =
    zov::TextStatisticsRequest<ZOVRequest::GetAllPSIDataType, ZOVRequest::AppServerNameKey>;
/// Has the client look again for the names of the named server's resources.
using ZOVGetPSINameSpacesRequest =
    zov::TextStatisticsRequest<ZOVRequest::GetPSINameSpacesType, ZOVRequest::AppServerNameKey>;
/// Tells what stands between the names of a resource.
using ZOVSetPSIDelimeter =
    zov::TextStatisticsRequest<ZOVRequest::SetPSIDelimeterType, ZOVRequest::DelimiterKey>;

/// One kind of a server's statistics, of the resource that is named, or of all.
class ZOVGetPSISamples
    : public zov::FieldedRequest<ZOVGetPSISamples, ZOVRequest::GetPSISamplesType, ZOVPSIBaseRequest> {
 public:
  ZOVGetPSISamples(int clientId, const RWCString& serverName, int group, const RWCString& names)
      : FieldedRequest(clientId), _group(group), _serverName(serverName), _names(names) {}

 private:
  friend FieldedRequest;
  static std::span<const NumericField> numericFields();
  static std::span<const TextField> textFields();

  int _group;
  RWCString _serverName;
  RWCString _names;
};
