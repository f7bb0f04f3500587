#pragma once
// The requests for a server's own statistics: one request for samples, which hands the samples back as they
// arrive, from the resource manager's thread to the thread that waits. A request is shared between the two
// (std::shared_ptr), so that neither can free it under the other.

#include <deque>
#include <memory>

#include "runtime/event.h"
#include "runtime/foundation/string.h"
#include "runtime/lock.h"
#include "runtime/return_code.h"
#include "samples/sample.h"

class ZOVApplicationServerBase;

class RPXAsynchronousCollectionRequest {
 public:
  RPXAsynchronousCollectionRequest() = default;
  virtual ~RPXAsynchronousCollectionRequest() = default;
  RPXAsynchronousCollectionRequest(const RPXAsynchronousCollectionRequest&) = delete;
  RPXAsynchronousCollectionRequest& operator=(const RPXAsynchronousCollectionRequest&) = delete;

  void insert(std::unique_ptr<ZOVSample> sample);
  /// Ends the request with a code. The first code stands.
  void setComplete(const ZOVReturnCode& result);
  /// The next sample, waiting for it; null once the request is complete and all samples were handed out.
  std::unique_ptr<ZOVSample> get();
  ZOVReturnCode getResult() const;

 private:
  mutable ZOVLock _lock{"RPXCollectionRequest"};  // guards the fields below; never held in a wait
  ZOVEvent _arrival;
  std::deque<std::unique_ptr<ZOVSample>> _samples;
  ZOVReturnCode _result;
  bool _complete = false;
};

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

 protected:
  unsigned long long _mask;
  RWCString _parm1;
  RWCString _parm2;

 private:
  ZOVApplicationServerBase* _server;
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
