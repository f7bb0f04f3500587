#pragma once
// The requests for a server's own statistics, each for the sample kinds of a mask. They hand their samples
// back as runtime/asynchronous_request.h says: the resource manager's thread inserts and completes, the
// creator takes samples until null and then destroys the request, unless it is marked to be destroyed by its
// processor.

#include "foundation/string.h"
#include "runtime/asynchronous_request.h"

class ZOVApplicationServerBase;

/// A request for the sample kinds of a mask (the bits of ZOVPollRequest::getPollType).
class RPXCollectionRequest : public RPXAsynchronousCollectionRequest {
 public:
  /// The server outlives the request's processing: its threads and its takers of samples wait for the end.
  RPXCollectionRequest(unsigned long long mask, ZOVApplicationServerBase* server, const char* parm)
      : _mask(mask), _parm1(parm), _server(server) {}

  unsigned long long getMask() const { return _mask; }
  const RWCString& getParm1() const { return _parm1; }
  const RWCString& getParm2() const { return _parm2; }
  ZOVApplicationServerBase* getServer() const { return _server; }
  int deleteWhenDone() const { return _deleteWhenDone; }
  void setDeleteWhenDone() { _deleteWhenDone = 1; }

 protected:
  unsigned long long _mask;
  RWCString _parm1;
  RWCString _parm2;

 private:
  ZOVApplicationServerBase* _server;
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
