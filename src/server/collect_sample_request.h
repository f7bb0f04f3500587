#pragma once
// CollectProfilerSampleRequest: work that a thread hands to a server's collector monitor thread and waits
// for. Shared between the two, so that neither can free it under the other. The anchor belongs to the waiter,
// who outlives the wait.

#include "runtime/event.h"
#include "runtime/return_code.h"

class ZOVApplicationServerBase;
class ZOVResourceAnchor;

class CollectProfilerSampleRequest {
 public:
  explicit CollectProfilerSampleRequest(const ZOVResourceAnchor* anchor) : _anchor(anchor) {}
  virtual ~CollectProfilerSampleRequest() = default;
  CollectProfilerSampleRequest(const CollectProfilerSampleRequest&) = delete;
  CollectProfilerSampleRequest& operator=(const CollectProfilerSampleRequest&) = delete;

  /// Does the work, on the monitor thread with no lock held; the thread posts the answer.
  virtual ZOVReturnCode process(ZOVApplicationServerBase* server);
  /// Waits until the request was posted; answers its result.
  ZOVReturnCode wait();
  void post(const ZOVReturnCode& result);
  /// Whether it is processed without a collector too.
  virtual bool beginsSession() const { return false; }

 protected:
  const ZOVResourceAnchor& anchor() const { return *_anchor; }

 private:
  const ZOVResourceAnchor* _anchor;
  ZOVEvent _completed;
  ZOVReturnCode _result;  // written before the post, read after the wait
};

/// As the base, unless a recent request has brought what is wanted by the time that the thread comes to it:
/// those who ask at once cost one poll.
class CollectUnlessRecentRequest : public CollectProfilerSampleRequest {
 public:
  using CollectProfilerSampleRequest::CollectProfilerSampleRequest;
  ZOVReturnCode process(ZOVApplicationServerBase* server) override;
};

/// Asks whether the present collector still answers.
class TestConnectionRequest : public CollectProfilerSampleRequest {
 public:
  TestConnectionRequest() : CollectProfilerSampleRequest(nullptr) {}
  ZOVReturnCode process(ZOVApplicationServerBase* server) override;
};
