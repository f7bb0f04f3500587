#pragma once
// CollectProfilerSampleRequest: work that a thread hands to a server's collector monitor thread and waits
// for. Shared between the two, and with an anchor of its own, so that neither needs the other: a waiter may
// give up, and leaves a request that is not begun any more.

#include <atomic>
#include <functional>
#include <memory>

#include "runtime/event.h"
#include "runtime/return_code.h"
#include "samples/resource_anchor.h"

class ZOVApplicationServerBase;

/// Whether no one wants the result of a wait any more; empty for a wait to the end.
using ZOVGivenUp = std::function<bool()>;

class CollectProfilerSampleRequest {
 public:
  /// Keeps a copy of the anchor, which may be null.
  explicit CollectProfilerSampleRequest(const ZOVResourceAnchor* anchor)
      : _anchor(anchor ? anchor->clone() : nullptr) {}
  virtual ~CollectProfilerSampleRequest() = default;
  CollectProfilerSampleRequest(const CollectProfilerSampleRequest&) = delete;
  CollectProfilerSampleRequest& operator=(const CollectProfilerSampleRequest&) = delete;

  /// Does the work, on the monitor thread with no lock held; the thread posts the answer.
  virtual ZOVReturnCode process(ZOVApplicationServerBase* server);
  /// Waits until the request was posted; answers its result, or ZOV_SOCKET_TIMED_OUT when it was given up.
  ZOVReturnCode wait(const ZOVGivenUp& givenUp = {});
  void post(const ZOVReturnCode& result);
  bool isAbandoned() const { return _abandoned; }
  /// Whether it is processed without a collector too.
  virtual bool beginsSession() const { return false; }

 protected:
  const ZOVResourceAnchor& anchor() const { return *_anchor; }

 private:
  const std::unique_ptr<const ZOVResourceAnchor> _anchor;
  ZOVEvent _completed;
  std::atomic<bool> _abandoned{false};
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
