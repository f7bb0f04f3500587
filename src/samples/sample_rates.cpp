// Rating and merging.

#include <sched.h>

#include <algorithm>

#include "runtime/trace_scope.h"
#include "samples/arithmetic.h"
#include "samples/sample.h"

static DGT1_Unit traceUnit("ZOVCSRAT");

namespace {

/// Works out the difference to the base count. False when there is none to show: no value, no base, or a
/// count that has begun again.
bool takeDelta(_NumericValue& entry, long long base) {
  entry.rateValid = 0;
  if (!entry.isSet || base == ZOVSample::NullValue) return false;
  entry.delta = zovSubtract(entry.total, base);
  if (entry.delta < 0) {
    entry.delta = 0;
    return false;
  }
  entry.rateValid = 1;
  return true;
}

/// The rate keeps what it held when there is nothing to divide by.
void takeRate(_NumericValue& entry, const zov::KeyRow& row, long long divisor) {
  if (divisor == 0) return;
  const long long multiplier = ZOVSample::getScaleFactorMultiplier(row.scaleFactor);
  entry.rate = zovDivide(zovMultiply(entry.delta, multiplier), divisor);
}

void takeAverage(_NumericValue& entry, const zov::KeyRow& row, long long baseCount, double baseTotal,
                 bool interval) {
  if (!entry.isSet || baseCount == ZOVSample::NullValue) return;
  const long long count = zovToInteger(entry.statNumSamples);
  if (count <= baseCount || entry.statTotal < baseTotal) {
    entry.average = 0;
    entry.rateValid = interval ? 1 : 0;
    return;
  }
  const auto observations = static_cast<double>(static_cast<std::uint64_t>(zovSubtract(count, baseCount)));
  const auto multiplier = static_cast<double>(ZOVSample::getScaleFactorMultiplier(row.scaleFactor));
  entry.average = zovToInteger((entry.statTotal - baseTotal) * multiplier / observations);
  entry.rateValid = 1;
}

}  // namespace

long long ZOVSample::getScaleFactorMultiplier(unsigned int digits) {
  static constexpr long long ScaleFactors[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
  return digits < std::size(ScaleFactors) ? ScaleFactors[digits] : 1;
}

void ZOVSample::calculateRates(const ZOVSample* previous) {
  ZOV_TRACE(Restricted);
  std::uint32_t state = Unrated;
  if (ratesCalculated.compare_exchange_strong(state, BeingRated, std::memory_order_acquire)) {
    rate(previous);
    ratesCalculated.store(Rated, std::memory_order_release);
    return;
  }
  while (ratesCalculated.load(std::memory_order_acquire) == BeingRated) sched_yield();
}

std::uint32_t ZOVSample::secondsSince(const ZOVSample& previous) const {
  if (!_timeTold && !previous._timeTold) {
    const auto seconds = std::chrono::round<std::chrono::seconds>(_takenAt - previous._takenAt).count();
    return static_cast<std::uint32_t>(std::max<std::int64_t>(seconds, 0));
  }
  return sampleTime > previous.sampleTime ? sampleTime - previous.sampleTime : duration;
}

void ZOVSample::rate(const ZOVSample* previous) {
  const bool interval = isIntervalSample();
  const ZOVSample* base = interval ? nullptr : previous;
  if (!interval) duration = base ? secondsSince(*base) : 0;
  for (std::size_t i = 0; i < _class.numericKeys.size(); ++i) {
    const int key = _class.numericKeys[i];
    const zov::KeyRow& row = _class.rows[i];
    _NumericValue& entry = numericValues[i];
    switch (row.kind) {
      case KeyKindCounter:
      case KeyKindCounterFromZero: {
        const bool fromZero = interval || row.kind == KeyKindCounterFromZero;
        const long long first = fromZero ? 0 : NullValue;
        if (!takeDelta(entry, base ? base->getTotalCount(key) : first)) break;
        if (base && duration == 0) entry.rate = NullValue;
        takeRate(entry, row, duration);
        break;
      }
      case KeyKindPercent:
        // The denominators stand ahead of their percentages, so they have been rated by now.
        if (takeDelta(entry, base ? base->getTotalCount(key) : 0)) {
          takeRate(entry, row, getNumericData(static_cast<int>(row.relatedKey)));
        }
        break;
      case KeyKindStatInfo:
      case KeyKindPerfLoad:
        entry.rateValid = 0;
        if (!interval && !base) break;
        takeAverage(entry, row, base ? base->getTotalNumSamplesForStatinfo(key) : 0,
                    base ? base->getTotalForStatinfo(key) : 0.0, interval);
        break;
      default:
        break;
    }
  }
}

void ZOVSample::resetRates() {
  ZOV_TRACE(Restricted);
  if (!isRated()) return;
  if (!isIntervalSample()) duration = 0;
  for (std::size_t i = 0; i < _class.numericKeys.size(); ++i) {
    const _KeyKind kind = _class.rows[i].kind;
    if (kind >= KeyKindCounter && kind <= KeyKindPerfLoad) numericValues[i].rateValid = 0;
  }
  ratesCalculated.store(Unrated, std::memory_order_release);
}

void ZOVSample::sumNumericData(int key, long long value) {
  const int place = placeOf(key);
  if (place < 0) return;
  _NumericValue& entry = numericValues[place];
  switch (kindAt(place)) {
    case KeyKindNumeric:
      entry.value = value;
      break;
    case KeyKindCounter:
    case KeyKindCounterFromZero:
    case KeyKindPercent:
      entry.total = entry.isSet ? zovAdd(entry.total, value) : value;
      break;
    case KeyKindMaximum:
      if (!entry.isSet || entry.value < value) entry.value = value;
      break;
    case KeyKindMinimum:
      if (!entry.isSet || value < entry.value) entry.value = value;
      break;
    default:
      return;
  }
  entry.isSet = 1;
}

void ZOVSample::sumStatInfoData(int key, double total, double numSamples) {
  const int place = placeOf(key);
  if (place < 0) return;
  const _KeyKind kind = kindAt(place);
  if (kind != KeyKindStatInfo && kind != KeyKindPerfLoad) return;
  _NumericValue& entry = numericValues[place];
  entry.statTotal = entry.isSet ? entry.statTotal + total : total;
  entry.statNumSamples = entry.isSet ? entry.statNumSamples + numSamples : numSamples;
  entry.isSet = 1;
}

void ZOVSample::mergeNumericData(const ZOVSample* other, int key, _NumericValue*) {
  const int place = placeOf(key);
  if (place < 0) return;
  const _KeyKind kind = kindAt(place);
  if (kind == KeyKindStatInfo || kind == KeyKindPerfLoad) {
    const long long count = other->getTotalNumSamplesForStatinfo(key);
    if (count == NullValue) return;
    sumStatInfoData(key, other->getTotalForStatinfo(key), static_cast<double>(count));
    return;
  }
  const long long total = other->getTotalCount(key);
  if (total != NullValue) sumNumericData(key, total);
}

/// Requests were counted, and nobody tells their time.
static bool lacksRequestTime(const ZOVSample& sample) {
  return sample.getTotalCount(zov::key::request_count) > 0 &&
         sample.getTotalCount(zov::key::request_time) == ZOVSample::NullValue;
}

void ZOVSample::mergeSampleData(const ZOVSample* other) {
  ZOV_TRACE(Restricted);
  if (other == nullptr) return;
  const bool timeIsUnknown = lacksRequestTime(*this) || lacksRequestTime(*other);
  for (std::size_t i = 0; i < _class.numericKeys.size(); ++i) {
    mergeNumericData(other, _class.numericKeys[i], &numericValues[i]);
  }
  // Or the mean would be of one part's requests and another's time.
  if (timeIsUnknown) saveNumericData(zov::key::request_time, NullValue);
  for (const zov::StringKey& string : _class.strings) {
    const RWCString& theirs = other->getStringData(string.key);
    if ((this->*string.field).isNull() && !theirs.isNull()) saveStringData(string.key, theirs.view());
  }
}

void ZOVSample::mergeIntoHistoricalSample(const ZOVSample* other) {
  ZOV_TRACE(Restricted);
  if (other == nullptr) return;
  sampleTime = other->sampleTime;
  duration += other->duration;
  mergeSampleData(other);
}
