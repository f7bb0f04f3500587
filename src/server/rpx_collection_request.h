#pragma once
// The requests for a server's own statistics, each for the sample kinds of a mask. They hand their samples
// back as runtime/asynchronous_request.h says: the resource manager's threads insert and finish, the creator
// takes samples until null and then destroys the request. One that nobody waits for is marked, and is
// destroyed by finish.
//
// A request keeps no server alive: who works on it asks for the server, and finds none once it is gone.

#include <memory>

#include "foundation/string.h"
#include "runtime/asynchronous_request.h"

class ZOVApplicationServerBase;

/// A request for the sample kinds of a mask (the bits of ZOVPollRequest::getPollType).
class RPXCollectionRequest : public RPXAsynchronousCollectionRequest {
 public:
  RPXCollectionRequest(unsigned long long mask, ZOVApplicationServerBase* server, const char* parm);

  void finish(const ZOVReturnCode& code) override;
  unsigned long long getMask() const { return _mask; }
  const RWCString& getParm1() const { return _parm1; }
  const RWCString& getParm2() const { return _parm2; }
  bool hasServer() const { return _hasServer; }
  /// Null without a server, and when it is gone.
  std::shared_ptr<ZOVApplicationServerBase> getServer() const { return _server.lock(); }
  /// Seconds that each exchange for it may take; 0 leaves it to the manager.
  int getTimeout() const { return _timeout; }
  void setTimeout(long seconds) { _timeout = static_cast<int>(seconds); }
  int deleteWhenDone() const { return _deleteWhenDone; }
  void setDeleteWhenDone() { _deleteWhenDone = 1; }

 protected:
  unsigned long long _mask;
  RWCString _parm1;
  RWCString _parm2;

 private:
  const std::weak_ptr<ZOVApplicationServerBase> _server;
  const bool _hasServer;
  int _timeout = 0;
  int _deleteWhenDone = 0;
};

class RPXEJBCollectionRequest : public RPXCollectionRequest {
 public:
  RPXEJBCollectionRequest(ZOVApplicationServerBase* server, const char* container, const char* ejb)
      : RPXCollectionRequest(16, server, container) {
    _parm2 = ejb;
  }
};

class RPXApplicationCollectionRequest : public RPXCollectionRequest {
 public:
  RPXApplicationCollectionRequest(ZOVApplicationServerBase* server, const char* application)
      : RPXCollectionRequest(128, server, application) {}
};

class RPXServletCollectionRequest : public RPXApplicationCollectionRequest {
 public:
  RPXServletCollectionRequest(ZOVApplicationServerBase* server, const char* application, const char* servlet)
      : RPXApplicationCollectionRequest(server, application) {
    _mask = 256;
    _parm2 = servlet;
  }
};
