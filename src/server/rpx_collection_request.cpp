#include "server/rpx_collection_request.h"

#include "server/application_server_base.h"

RPXCollectionRequest::RPXCollectionRequest(unsigned long long mask, ZOVApplicationServerBase* server,
                                           const char* parm)
    : _mask(mask),
      _parm1(parm),
      _server(server ? server->weak_from_this() : std::weak_ptr<ZOVApplicationServerBase>()),
      _hasServer(server != nullptr) {}

void RPXCollectionRequest::finish(const ZOVReturnCode& code) {
  const bool ownerless = _deleteWhenDone != 0;
  setComplete(code);  // its waiter may destroy it from here on
  if (ownerless) delete this;
}
