#pragma once
// zov::ServerAnchors: the anchors of a server: how samples reach them, how they lapse, and how their samples
// are read; with the notes of recent requests, by which a flood of queries costs one collection.
//
// Ownership: a member of its server, whose own anchor (type 1) is the server itself. Owns all other anchors.
// Needs of the server its name, status and process id, and hands it to callbacks.
//
// Lock: "AppServerLock" guards all of it: shared for normal reads, exclusive for changes and for historical
// reads, which take the history away. It comes after the context's, the session's and the statistics' locks.
// saveSample takes it for each sample, so that a read can go between two. Callbacks run under it.
//
// Threads: any.

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>

#include "platform/clock.h"
#include "runtime/lock.h"
#include "runtime/return_code.h"
#include "samples/resource_anchor.h"
#include "server/resource_anchor_table.h"
#include "server/server_settings.h"

class ZOVAppServerSample;
class ZOVApplicationServerBase;

namespace zov {

class ServerAnchors final : public ZOVSampleKeeper {
 public:
  ServerAnchors(ZOVApplicationServerBase& server, const ServerSettings& settings)
      : _server(server), _settings(settings) {}

  int lock(_LockRequestType type, _WaitRequestType wait) const { return _lock.get(type, wait); }
  void release(_LockRequestType type) const { _lock.release(type); }

  /// Gives the sample to its anchor, which is made when there is none. A null sample is nothing; one that has
  /// no anchor is destroyed. So is one that would take the anchors over their budget of memory, which a
  /// message says once an hour: what is there stays, and goes on being updated by samples of its size.
  void saveSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId) override;
  bool keepsHistoryOf(ZOVSample::_SampleType type) const;

  /// Gives the server a sample of its name and status, unless it has a live one.
  void saveServerStandIn();

  // --- Recent requests.
  int getMinSamplingInterval(ZOVSample::_SampleType type) const;  ///< seconds
  /// True when samples that these would answer were taken within the minimum interval.
  bool findCachedRequest(const ZOVResourceAnchor& wanted);
  void defineCachedRequest(const ZOVResourceAnchor& wanted);

  // --- Anchors that no longer report. Marking hides them, and leaves them to a last historical read.
  void markLogicallyDeleted(ZOVSample::_DataSource source);
  void markLogicallyDeleted();  ///< all that a collector or the statistics deliver
  /// Marks what the wanted anchor selects and collection `collectionId` did not deliver.
  void markObsolete(const ZOVResourceAnchor& wanted, unsigned int collectionId);
  /// Marks what of a source the collection did not deliver, but for types that are polled on demand only.
  void markObsolete(ZOVSample::_DataSource source, unsigned int collectionId);
  /// Destroys anchors that have not reported for long, by the times of their samples.
  void removeObsoleteByTime(ZOVSample::_DataSource source);

  /// Hands each sample that the wanted anchor selects to the callback: 0, also while the server has nothing
  /// of that type, as before the first poll; 9 when it has, and none is selected; 41 when the server is not
  /// active (normal reads of its resources); 149 for a historical read of what is not kept as history. The
  /// server itself always has a sample: at worst one made here of its name and status.
  ZOVReturnCode returnSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                              const ZOVResourceAnchor& wanted, _SaveSampleType saveType);
  /// Visits the anchors of a type, also those that are logically deleted, with the lock held shared; of the
  /// server's own type the server.
  void forEachAnchor(ZOVSample::_SampleType type,
                     const std::function<void(const ZOVResourceAnchor&)>& visit) const;
  /// Adds the server-wide sums of the resources to a sample of the server.
  void rollUpTo(ZOVAppServerSample& serverSample);

 private:
  struct RecentRequest {
    ZOVClock::Steady time;
    std::unique_ptr<ZOVResourceAnchor> anchor;
  };

  // These answer null, or the budget that the sample did not fit in.
  const ZOVBudget* saveServerSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId)
      ZOV_REQUIRES(_lock);
  const ZOVBudget* saveResourceSample(ZOVSample* sample, _SaveSampleType type, unsigned int collectionId)
      ZOV_REQUIRES(_lock);
  const ZOVBudget* saveAt(ZOVResourceAnchor& anchor, ZOVSample* sample, _SaveSampleType type,
                          unsigned int collectionId) ZOV_REQUIRES(_lock);
  bool isRemovableByTime(const ZOVResourceAnchor& anchor) const;
  /// Of a type that has anchors at all.
  bool hasNothingOf(ZOVSample::_SampleType type, _SaveSampleType saveType) const ZOV_REQUIRES_SHARED(_lock);
  unsigned int returnServerSample(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                  _SaveSampleType saveType) ZOV_REQUIRES_SHARED(_lock);
  unsigned int returnResourceSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                     const ZOVResourceAnchor& wanted, _SaveSampleType saveType)
      ZOV_REQUIRES_SHARED(_lock);
  unsigned int returnSamplesOf(ZOVResourceAnchor& anchor, ZOVSampleCallback callback,
                               ZOVSampleCallbackParms* parms, _SaveSampleType saveType)
      ZOV_REQUIRES_SHARED(_lock);

  ZOVApplicationServerBase& _server;
  const ServerSettings& _settings;
  mutable ZOVLock _lock{"AppServerLock"};
  ZOVResourceAnchorTable _table ZOV_GUARDED_BY(_lock);
  std::list<RecentRequest> _recentRequests ZOV_GUARDED_BY(_lock);
  std::optional<ZOVClock::Steady> _toldFull ZOV_GUARDED_BY(_lock);  // none: never full yet
};

}  // namespace zov
