#pragma once
// ZOVResourceAnchor: the permanent place of one monitored resource in one server. It keeps the newest sample
// of the resource and a second one for historical collection, and identifies the resource in the server's
// table. Partly filled, the same classes are filters: an empty text or the field's wildcard number matches
// all. The classes, and which field takes part in what, are in anchors.h and anchors.cpp.
//
// An anchor owns its two samples. It has no lock: everything runs with the server's lock held, exclusive for
// saving, marking and historical reads, shared for normal reads, which change nothing but the rating of an
// interval sample (see sample.h). Anchors of one's own, such as filters, need no lock.
//
// Nothing here reports failure.

#include <memory>
#include <span>

#include "platform/clock.h"
#include "runtime/collectable.h"
#include "samples/sample.h"
#include "samples/sample_totals.h"

class ZOVApplicationServerBase;
struct ZOVSampleCallbackParms;  // the table query's own

/// Receives one sample of a walk (a const ZOVSample*), for the length of the call.
using ZOVSampleCallback = unsigned int (*)(ZOVSampleCallbackParms* parms, const void* sample,
                                           const ZOVApplicationServerBase* server);

class ZOVResourceAnchor;

namespace zov {

/// One identity field of an anchor class, and what it takes part in. All of them make up equality.
struct AnchorField {
  enum Use : unsigned int {
    Identity = 0,
    Match = 1,     ///< compared with a filter; the wildcard there matches all
    Specific = 2,  ///< must not be the wildcard for the anchor to be specific
  };
  RWCString ZOVResourceAnchor::*text;  ///< null for a number
  int ZOVResourceAnchor::*number;
  int wildcard;  ///< of a number; a text's is the empty text
  unsigned int uses;
};

/// All that the anchor core knows of one anchor class.
struct AnchorClass {
  enum TypeRule { TypeEqual, TypeWildcard, TypeIgnored };  ///< how a filter's sampleType is compared

  RWClassID id;
  const char* name;
  TypeRule typeRule;
  unsigned int nameUses;                ///< as AnchorField::uses, of resourceName
  std::span<const AnchorField> fields;  ///< those of the bases first; without sampleType, resourceName
};

}  // namespace zov

/// What an anchor class has beside its fields and constructors.
#define ZOV_ANCHOR_CLASS(Class)                          \
  static const zov::AnchorClass anchorClassInfo;         \
  static RWClassID classIsA() {                          \
    return anchorClassInfo.id;                           \
  }                                                      \
  const zov::AnchorClass& anchorClass() const override { \
    return anchorClassInfo;                              \
  }                                                      \
  ZOVResourceAnchor* clone() const override {            \
    return new Class(*this);                             \
  }                                                      \
  std::size_t objectBytes() const override {             \
    return sizeof(Class);                                \
  }

class ZOVResourceAnchor : public ZOVCollectable {
 public:
  explicit ZOVResourceAnchor(ZOVSample::_SampleType type, const RWCString& name = {});
  /// Copies identity and clones both samples; the copy is live.
  ZOVResourceAnchor(const ZOVResourceAnchor& other);
  ZOVResourceAnchor& operator=(const ZOVResourceAnchor&) = delete;
  ~ZOVResourceAnchor() override;

  static const zov::AnchorClass anchorClassInfo;
  static RWClassID classIsA() { return anchorClassInfo.id; }
  virtual const zov::AnchorClass& anchorClass() const { return anchorClassInfo; }
  /// A copy, owned by the caller.
  virtual ZOVResourceAnchor* clone() const { return new ZOVResourceAnchor(*this); }
  RWCollectable* copy() const override { return clone(); }
  RWClassID isA() const override { return anchorClass().id; }

  // --- Identity.
  /// Same class and the same sampleType, resourceName and fields, byte for byte.
  bool isEqual(const RWCollectable* other) const override;
  /// Orders the tables' iteration; computed once from the ends of the names, so coarse.
  unsigned int hash() const override;
  /// Over all of the identity; computed once. Look-ups go by it.
  unsigned int lookupHash() const override;
  /// First four bytes of the text XOR its last four, as little-endian words; shorter ones zero-filled.
  static unsigned int createHashKey(std::string_view text);
  /// Whether this anchor lies in the set that the filter describes.
  virtual bool doesItMatch(const ZOVResourceAnchor* filter) const;
  /// Whether this filter names exactly one resource, so that it can be looked up.
  virtual bool isSpecific() const;

  ZOVSample::_SampleType getSampleType() const { return sampleType; }
  void setSampleType(ZOVSample::_SampleType type);  ///< SampleTypeNone is a filter's wildcard
  const RWCString& getResourceName() const { return resourceName; }
  ZOVSample::_DataSource getDataSource() const { return ZOVSample::getDataSource(sampleType); }

  /// Stands for one event, and not for what goes on: a garbage collection.
  bool isOneEvent() const {
    return sampleType == ZOVSample::SampleTypeAllocationFailure || sampleType == ZOVSample::SampleTypeGCCycle;
  }

  // --- Samples.
  virtual ZOVSample* getLastSample() const { return lastSample; }  ///< null before the first
  /// Of interval samples; null while none are kept.
  const zov::SampleTotals* totals() const { return sampleTotals.get(); }
  /// Rated; null when there is none. That of an event is its last sample, until it has been read.
  virtual ZOVSample* getLastHistoricalSample() const;
  /// Takes the sample over. A further part of the collection `collectionId` merges into the last sample; any
  /// other (and every one with id 0) is rated against the last sample and replaces it. Brings a deleted
  /// resource back.
  virtual void saveNewSample(ZOVSample* sample, unsigned int collectionId);
  /// Takes a cumulative sample over into the history, rated against the historical sample before it.
  virtual void saveNewHistoricalSample(ZOVSample* sample);
  /// Drops the historical sample.
  virtual void resetHistoricalSample();
  /// Hands the last sample, or for a historical read the history, to the callback; a historical read of an
  /// interval resource takes the history away. Answers 1 when the anchor took part.
  virtual unsigned int returnSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                     _SaveSampleType type, const ZOVApplicationServerBase* server);
  /// Whether the collection `collectionId` brought nothing for this resource.
  virtual bool isObsolete(unsigned int collectionId) const { return collectionId != lastCollectionId; }
  /// Further fields for the poll that this anchor asks for; none.
  virtual const ZOVKeyValueSet* getAdditionalPollParameters() const { return nullptr; }

  // --- Memory, in bytes.
  /// What it takes with its texts, its samples and its place in a table.
  std::size_t memoryBytes() const;
  /// What it will take when it has taken the sample over.
  std::size_t memoryBytesWith(const ZOVSample& sample) const;
  /// What its keeper has charged for it; kept here for the keeper.
  std::size_t chargedBytes() const { return charged; }
  void setChargedBytes(std::size_t bytes) { charged = bytes; }

  // --- State: live, deleted (awaits the last historical read), or history taken (awaits removal).
  bool isLogicallyDeleted() const { return logicallyDeleted; }
  bool isHistoryOnly() const { return historyOnly; }
  bool isPinned() const { return pinned; }
  /// Since the last sample was saved, by the agent's clock and not by the time that the sample tells.
  std::int64_t secondsSinceReport() const { return ZOVClock::secondsSince(reportedAt); }
  /// The resource has left the server. Does nothing to an anchor that is pinned or history only.
  void markLogicallyDeleted() {
    if (!pinned && !historyOnly) logicallyDeleted = true;
  }
  bool getCollectHistory() const { return collectHistory; }
  void setCollectHistory(bool collect) { collectHistory = collect; }
  unsigned int getLastCollectionId() const { return lastCollectionId; }

 protected:
  virtual std::size_t objectBytes() const { return sizeof(ZOVResourceAnchor); }
  /// For the classes whose hash is not that of their resourceName.
  virtual unsigned int getHashKey() const { return createHashKey(resourceName.view()); }
  void setResourceName(const RWCString& name);

  ZOVSample::_SampleType sampleType;
  RWCString resourceName;

 private:
  std::size_t ownBytes() const;
  bool addsUp(const ZOVSample& sample) const {
    return collectHistory && sample.isIntervalSample() && !isOneEvent();
  }
  void mergeLaterPart(ZOVSample* part);
  void addToHistory(const ZOVSample& sample);
  void addToTotals(const ZOVSample& sample);
  void returnHistory(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                     const ZOVApplicationServerBase* server);

  ZOVSample* lastSample = nullptr;            // owned
  ZOVSample* lastHistoricalSample = nullptr;  // owned
  std::unique_ptr<zov::SampleTotals> sampleTotals;
  ZOVClock::Steady reportedAt{};  // of the last sample, when there is one
  std::size_t charged = 0;
  unsigned int lastCollectionId = 0;
  bool logicallyDeleted = false;
  bool historyOnly = false;
  bool pinned = false;  // exempts from marking and from removal; nothing sets it
  bool collectHistory = true;
  mutable bool hashComputed = false;
  mutable bool lookupHashComputed = false;
  mutable unsigned int hashValue = 0;
  mutable unsigned int lookupHashValue = 0;
};
