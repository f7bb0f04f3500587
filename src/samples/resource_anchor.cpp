#include "samples/resource_anchor.h"

#include <utility>

#include "foundation/lookup_hash.h"
#include "runtime/memory_account.h"
#include "runtime/trace_scope.h"

static DGT1_Unit traceUnit("ZOVCANCH");

namespace {

std::uint32_t wordAt(std::string_view text, std::size_t position) {
  const auto byte = [&](std::size_t i) {
    return position + i < text.size() ? static_cast<unsigned char>(text[position + i]) : 0U;
  };
  return byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24;
}

/// What a table keeps for a member of its own.
constexpr std::size_t PlaceBytes = 64;

std::size_t bytesOf(const ZOVSample* sample) {
  return sample != nullptr ? sample->memoryBytes() : 0;
}

/// Whether a field agrees with a filter's, an empty text or the wildcard there agreeing with all.
bool agrees(const RWCString& mine, const RWCString& wanted) {
  return wanted.isNull() || mine == wanted;
}
bool agrees(int mine, int wanted, int wildcard) {
  return wanted == wildcard || mine == wanted;
}

}  // namespace

ZOVResourceAnchor::ZOVResourceAnchor(ZOVSample::_SampleType type, const RWCString& name)
    : sampleType(type), resourceName(name) {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "ZOVResourceAnchor constructor 2 called for 0X%X", this);
}

ZOVResourceAnchor::ZOVResourceAnchor(const ZOVResourceAnchor& other)
    : ZOVCollectable(other),
      sampleType(other.sampleType),
      resourceName(other.resourceName),
      lastSample(other.lastSample ? other.lastSample->clone() : nullptr),
      lastHistoricalSample(other.lastHistoricalSample ? other.lastHistoricalSample->clone() : nullptr),
      collectHistory(other.collectHistory),
      hashComputed(other.hashComputed),
      lookupHashComputed(other.lookupHashComputed),
      hashValue(other.hashValue),
      lookupHashValue(other.lookupHashValue) {}

ZOVResourceAnchor::~ZOVResourceAnchor() {
  DGT1_Printf(traceUnit, DGT1_DETAIL, "ZOVResourceAnchor destructor called for 0X%X", this);
  delete lastSample;
  delete lastHistoricalSample;
}

void ZOVResourceAnchor::setSampleType(ZOVSample::_SampleType type) {
  sampleType = type;
  lookupHashComputed = false;
}

void ZOVResourceAnchor::setResourceName(const RWCString& name) {
  resourceName = name;
  hashComputed = lookupHashComputed = false;
}

unsigned int ZOVResourceAnchor::createHashKey(std::string_view text) {
  if (text.size() < 5) return wordAt(text, 0);
  return wordAt(text, 0) ^ wordAt(text, text.size() - 4);
}

unsigned int ZOVResourceAnchor::hash() const {
  if (!hashComputed) {
    hashValue = getHashKey();
    hashComputed = true;
  }
  return hashValue;
}

unsigned int ZOVResourceAnchor::lookupHash() const {
  if (lookupHashComputed) return lookupHashValue;
  RWLookupHash result;
  result.add(isA()).add(static_cast<std::uint64_t>(sampleType)).add(resourceName.view());
  for (const zov::AnchorField& field : anchorClass().fields) {
    if (field.text) {
      result.add((this->*field.text).view());
    } else {
      result.add(static_cast<std::uint64_t>(this->*field.number));
    }
  }
  lookupHashValue = result.value();
  lookupHashComputed = true;
  return lookupHashValue;
}

bool ZOVResourceAnchor::isEqual(const RWCollectable* other) const {
  if (this == other) return true;
  if (other == nullptr || other->isA() != isA()) return false;
  const auto& that = *static_cast<const ZOVResourceAnchor*>(other);
  if (sampleType != that.sampleType || resourceName != that.resourceName) return false;
  for (const zov::AnchorField& field : anchorClass().fields) {
    const bool same =
        field.text ? this->*field.text == that.*field.text : this->*field.number == that.*field.number;
    if (!same) return false;
  }
  return true;
}

bool ZOVResourceAnchor::doesItMatch(const ZOVResourceAnchor* filter) const {
  const zov::AnchorClass& rules = anchorClass();
  if (filter == nullptr || filter->isA() != isA()) return false;
  const bool anyType =
      rules.typeRule == zov::AnchorClass::TypeIgnored ||
      (rules.typeRule == zov::AnchorClass::TypeWildcard && filter->sampleType == ZOVSample::SampleTypeNone);
  if (!anyType && filter->sampleType != sampleType) return false;
  if ((rules.nameUses & zov::AnchorField::Match) && !agrees(resourceName, filter->resourceName)) return false;
  for (const zov::AnchorField& field : rules.fields) {
    if (!(field.uses & zov::AnchorField::Match)) continue;
    const bool agreed = field.text ? agrees(this->*field.text, filter->*field.text)
                                   : agrees(this->*field.number, filter->*field.number, field.wildcard);
    if (!agreed) return false;
  }
  return true;
}

bool ZOVResourceAnchor::isSpecific() const {
  const zov::AnchorClass& rules = anchorClass();
  if ((rules.nameUses & zov::AnchorField::Specific) && resourceName.isNull()) return false;
  for (const zov::AnchorField& field : rules.fields) {
    if (!(field.uses & zov::AnchorField::Specific)) continue;
    const bool open = field.text ? (this->*field.text).isNull() : this->*field.number == field.wildcard;
    if (open) return false;
  }
  return true;
}

ZOVSample* ZOVResourceAnchor::getLastHistoricalSample() const {
  ZOVSample* const history = isOneEvent() && collectHistory ? lastSample : lastHistoricalSample;
  if (history != nullptr) history->calculateRates(nullptr);
  return history;
}

std::size_t ZOVResourceAnchor::ownBytes() const {
  std::size_t bytes = objectBytes() + PlaceBytes + zov::BlockBytes + zov::textBytes(resourceName);
  for (const zov::AnchorField& field : anchorClass().fields) {
    if (field.text) bytes += zov::textBytes(this->*field.text);
  }
  return bytes;
}

std::size_t ZOVResourceAnchor::memoryBytes() const {
  const std::size_t totalsBytes = sampleTotals != nullptr ? sampleTotals->memoryBytes() : 0;
  return ownBytes() + totalsBytes + bytesOf(lastSample) + bytesOf(lastHistoricalSample);
}

std::size_t ZOVResourceAnchor::memoryBytesWith(const ZOVSample& sample) const {
  const std::size_t bytes = sample.memoryBytes();
  const bool beginsHistory = lastHistoricalSample == nullptr && addsUp(sample);
  return ownBytes() + bytes + (beginsHistory ? bytes : bytesOf(lastHistoricalSample));
}

void ZOVResourceAnchor::saveNewSample(ZOVSample* sample, unsigned int collectionId) {
  ZOV_TRACE(Public);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "ZOVResourceAnchor::saveNewSample called with this 0X%X sample at 0X%X",
              this, sample);
  if (sample == nullptr) return;
  reportedAt = ZOVClock::coarseSteady();
  addToTotals(*sample);
  if (collectionId != 0 && collectionId == lastCollectionId && lastSample != nullptr) {
    mergeLaterPart(sample);
    return;
  }
  const bool interval = sample->isIntervalSample();
  const bool returned = logicallyDeleted || historyOnly;
  // A cumulative sample of a resource that has come back has nothing to be compared with.
  if (interval || !returned) sample->calculateRates(lastSample);
  delete std::exchange(lastSample, sample);
  if (collectionId != 0) lastCollectionId = collectionId;
  if (addsUp(*sample)) addToHistory(*sample);
  if (!returned) return;
  if (!interval) delete std::exchange(lastHistoricalSample, nullptr);
  logicallyDeleted = historyOnly = false;
}

void ZOVResourceAnchor::addToTotals(const ZOVSample& sample) {
  if (!sample.isIntervalSample() || !zov::SampleTotals::areKept(sampleType)) return;
  if (sampleTotals == nullptr) sampleTotals = std::make_unique<zov::SampleTotals>();
  sampleTotals->add(sample);
}

void ZOVResourceAnchor::mergeLaterPart(ZOVSample* part) {
  lastSample->mergeSampleData(part);
  lastSample->resetRates();
  if (addsUp(*part)) {
    if (lastHistoricalSample != nullptr) {
      lastHistoricalSample->mergeSampleData(part);
    } else {
      lastHistoricalSample = part->clone();
    }
  }
  delete part;
}

void ZOVResourceAnchor::addToHistory(const ZOVSample& sample) {
  if (lastHistoricalSample != nullptr) {
    lastHistoricalSample->mergeIntoHistoricalSample(&sample);
    lastHistoricalSample->resetRates();  // a read that failed midway has rated it
    return;
  }
  lastHistoricalSample = sample.clone();
  lastHistoricalSample->resetRates();
}

void ZOVResourceAnchor::saveNewHistoricalSample(ZOVSample* sample) {
  ZOV_TRACE(Public);
  if (lastSample == nullptr) reportedAt = ZOVClock::coarseSteady();
  if (!historyOnly && collectHistory && sample != nullptr) {
    sample->calculateRates(lastHistoricalSample);
    delete std::exchange(lastHistoricalSample, sample);
  } else {
    delete sample;
  }
  if (!logicallyDeleted) {
    historyOnly = false;
    return;
  }
  delete std::exchange(lastSample, nullptr);
  logicallyDeleted = false;
  historyOnly = true;
}

void ZOVResourceAnchor::resetHistoricalSample() {
  delete std::exchange(lastHistoricalSample, nullptr);
  if (isOneEvent()) collectHistory = false;  // it does not happen again
  if (!logicallyDeleted) return;
  logicallyDeleted = false;
  historyOnly = true;
}

unsigned int ZOVResourceAnchor::returnSamples(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                              _SaveSampleType type, const ZOVApplicationServerBase* server) {
  ZOV_TRACE(Public);
  if (lastSample == nullptr) return 0;
  if (type == SaveSampleHistorical) {
    DGT1_Printf(traceUnit, DGT1_DETAIL,
                "ZOVResourceAnchor::returnSamples returning historical sample of type %i", sampleType);
    returnHistory(callback, parms, server);
    return 1;
  }
  if (logicallyDeleted || historyOnly) return 0;
  if (lastSample->isIntervalSample()) lastSample->calculateRates(nullptr);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "ZOVResourceAnchor::returnSamples returning normal sample of type %i",
              sampleType);
  callback(parms, lastSample, server);
  return 1;
}

void ZOVResourceAnchor::returnHistory(ZOVSampleCallback callback, ZOVSampleCallbackParms* parms,
                                      const ZOVApplicationServerBase* server) {
  if (lastSample->isIntervalSample()) {
    const ZOVSample* history = getLastHistoricalSample();
    if (history == nullptr) return;
    callback(parms, history, server);
    resetHistoricalSample();
    return;
  }
  ZOVSample* copy = lastSample->clone();
  copy->resetRates();
  const bool kept = !historyOnly && collectHistory;
  saveNewHistoricalSample(copy);
  if (kept) callback(parms, copy, server);
}
