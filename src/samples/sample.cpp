#include "samples/sample.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "runtime/memory_account.h"
#include "runtime/time.h"
#include "runtime/trace_scope.h"
#include "samples/arithmetic.h"
#include "samples/resource_anchor.h"
#include "samples/sample_classes.h"
#include "transport/buffer.h"

static DGT1_Unit traceUnit("ZOVCSMPL");

namespace {

[[maybe_unused]] const bool factoryRegistered = [] {
  ZOVTransportableData::registerSampleFactory(
      [](ZOVBuffer& buffer) -> ZOVTransportableData* { return ZOVSample::buildFromBuffer(buffer); });
  return true;
}();

constexpr bool among(_KeyKind kind, std::initializer_list<_KeyKind> kinds) {
  for (_KeyKind one : kinds) {
    if (one == kind) return true;
  }
  return false;
}
constexpr bool holdsValue(_KeyKind kind) {
  return among(kind, {KeyKindNumeric, KeyKindMaximum, KeyKindMinimum});
}
constexpr bool holdsTotal(_KeyKind kind) {
  return among(kind, {KeyKindCounter, KeyKindCounterFromZero, KeyKindPercent});
}
constexpr bool isStatistic(_KeyKind kind) {
  return among(kind, {KeyKindStatInfo, KeyKindPerfLoad});
}

}  // namespace

ZOVSample::ZOVSample(const zov::SampleClass& sampleClass)
    : numericValues(static_cast<_NumericValue*>(
          ZOVMemoryManager::operator new(sampleClass.numericKeys.size() * sizeof(_NumericValue)))),
      _class(sampleClass) {
  takeTime();
  std::uninitialized_value_construct_n(numericValues, _class.numericKeys.size());
}

ZOVSample::ZOVSample(const ZOVSample& other)
    : ZOVTransportableData(other),
      sampleTime(other.sampleTime),
      duration(other.duration),
      _takenAt(other._takenAt),
      _timeTold(other._timeTold),
      numericValues(static_cast<_NumericValue*>(ZOVMemoryManager::operator new(other.valueBytes()))),
      ratesCalculated(other.isRated() ? Rated : Unrated),
      _class(other._class) {
  std::memcpy(numericValues, other.numericValues, valueBytes());
}

void ZOVSample::takeTime() {
  sampleTime = RWTime::currentTime().seconds();
  if (!isIntervalSample()) _takenAt = ZOVClock::coarseSteady();
  _timeTold = false;
}

ZOVSample& ZOVSample::operator=(const ZOVSample& other) {
  if (this == &other) return *this;
  ZOVTransportableData::operator=(other);
  sampleTime = other.sampleTime;
  duration = other.duration;
  _takenAt = other._takenAt;
  _timeTold = other._timeTold;
  ratesCalculated.store(other.isRated() ? Rated : Unrated, std::memory_order_release);
  std::memcpy(numericValues, other.numericValues, valueBytes());
  return *this;
}

ZOVSample::~ZOVSample() {
  ZOVMemoryManager::release(numericValues, valueBytes());
}

ZOVSample* ZOVSample::buildFromType(_SampleType type) {
  switch (type) {
#define SAMPLE(value, name, sampleClass, english, source, counting) \
  case SampleType##name:                                            \
    return new sampleClass;
#define UNSENT_SAMPLE(value, name, sampleClass, english, source, counting)
#include "samples/sample_classes.def"
    default:
      return nullptr;
  }
}

ZOVSample* ZOVSample::buildFromBuffer(ZOVBuffer& buffer) {
  return buildFromType(static_cast<_SampleType>(buffer.getNextIntField()));
}

ZOVSample* ZOVSample::buildFromSampleString(_SampleType type, const char* text) {
  ZOVSample* sample = buildFromType(type);
  if (sample != nullptr) sample->buildFromSampleString(text);
  return sample;
}

namespace {
struct TypeFacts {
  const char* english = "";
  ZOVSample::_DataSource source = ZOVSample::DataSourceNone;
};
/// What sample_classes.def says of each type, by number.
constexpr auto typeFacts = [] {
  std::array<TypeFacts, ZOVSample::SampleTypeEnd + 1> facts{};
#define SAMPLE(value, name, sampleClass, english, source, counting) \
  SAMPLE_WITHOUT_CLASS(value, name, english, source)
#define SAMPLE_WITHOUT_CLASS(value, name, english, source) \
  facts[value] = {english, ZOVSample::DataSource##source};
#include "samples/sample_classes.def"
  return facts;
}();

TypeFacts factsOf(int type) {
  return type >= 0 && type <= ZOVSample::SampleTypeEnd ? typeFacts[static_cast<std::size_t>(type)]
                                                       : TypeFacts{};
}
}  // namespace

const char* ZOVSample::getSampleTypeInEnglish(_SampleType type) {
  const char* const name = factsOf(type).english;
  return *name != '\0' ? name : "Unknown";
}

ZOVSample::_DataSource ZOVSample::getDataSource(_SampleType type) {
  return factsOf(type).source;
}

const RWCString& ZOVSample::getResourceName() const {
  return emptyText();
}

void ZOVSample::createSummarizedSamples(RWCollection&) {}

void ZOVSample::saveNumericData(int key, long long value) {
  storeNumericData(key, value);
}

inline void ZOVSample::storeNumericData(int key, long long value) {
  if (key == zov::key::sample_time) {
    sampleTime = static_cast<std::uint32_t>(value);
    _timeTold = true;
    return;
  }
  if (key == zov::key::duration) {
    duration = static_cast<std::uint32_t>(value);
    return;
  }
  const int place = placeOf(key);
  if (place < 0) return;
  _NumericValue& entry = numericValues[place];
  entry.isSet = value == NullValue ? 0 : 1;
  // The place of `total` is that of `value`.
  if (entry.isSet && !isStatistic(kindAt(place))) entry.value = value;
}

long long ZOVSample::getNumericData(int key) const {
  if (key == zov::key::sample_time) return sampleTime;
  if (key == zov::key::duration) return duration;
  const int place = placeOf(key);
  if (place < 0) return 0;
  const _NumericValue& entry = numericValues[place];
  const _KeyKind kind = kindAt(place);
  if (holdsValue(kind)) return entry.isSet ? entry.value : NullValue;
  if (!entry.rateValid) return NullValue;
  return holdsTotal(kind) ? entry.delta : entry.average;
}

void ZOVSample::saveStringData(int key, std::string_view text) {
  for (const zov::StringKey& string : _class.strings) {
    if (string.key == key) {
      this->*string.field = RWCString(text);
      return;
    }
  }
}

const RWCString& ZOVSample::getStringData(int key) const {
  for (const zov::StringKey& string : _class.strings) {
    if (string.key == key) return this->*string.field;
  }
  return emptyText();
}

void ZOVSample::saveStatInfoData(int key, double total, double numSamples) {
  const int place = placeOf(key);
  if (place < 0 || !isStatistic(kindAt(place))) return;
  _NumericValue& entry = numericValues[place];
  entry.statTotal = total;
  entry.statNumSamples = numSamples;
  entry.isSet = 1;
}

long long ZOVSample::getTotalCount(int key) const {
  const int place = placeOf(key);
  if (place < 0) return 0;
  const _NumericValue& entry = numericValues[place];
  if (!entry.isSet) return NullValue;
  return isStatistic(kindAt(place)) ? 0 : entry.total;
}

long long ZOVSample::getRate(int key) const {
  const int place = placeOf(key);
  if (place < 0 || !among(kindAt(place), {KeyKindCounter, KeyKindCounterFromZero})) return 0;
  return numericValues[place].rateValid ? numericValues[place].rate : NullValue;
}

long long ZOVSample::getPercent(int key) const {
  const int place = placeOf(key);
  if (place < 0 || kindAt(place) != KeyKindPercent) return 0;
  return numericValues[place].rateValid ? numericValues[place].rate : NullValue;
}

double ZOVSample::getTotalForStatinfo(int key) const {
  const int place = placeOf(key);
  if (place < 0) return 0.0;
  if (!numericValues[place].isSet) return -1.0;
  return isStatistic(kindAt(place)) ? numericValues[place].statTotal : 0.0;
}

long long ZOVSample::getTotalNumSamplesForStatinfo(int key) const {
  const int place = placeOf(key);
  if (place < 0) return 0;
  if (!numericValues[place].isSet) return NullValue;
  return isStatistic(kindAt(place)) ? zovToInteger(numericValues[place].statNumSamples) : 0;
}

std::size_t ZOVSample::memoryBytes() const {
  std::size_t bytes = objectBytes() + valueBytes() + 2 * zov::BlockBytes;
  for (const zov::StringKey& string : _class.strings) bytes += zov::textBytes(this->*string.field);
  return bytes;
}

void ZOVSample::copySampleTimeAndDuration(char* out, long* durationOut) const {
  constexpr std::size_t width = 16;
  char text[width + 1] = {};
  ZOVTime(sampleTime).getCTTime(text, sizeof text);
  const std::string_view time(text);
  std::fill(time.copy(out, width) + out, out + width, ' ');
  *durationOut = duration;
}

void ZOVSample::numericKeys(int* out) const {
  *out++ = zov::key::sample_time;
  *out++ = zov::key::duration;
  std::copy(_class.numericKeys.begin(), _class.numericKeys.end(), out);
}

void ZOVSample::stringKeys(int* out) const {
  for (const zov::StringKey& string : _class.strings) *out++ = string.key;
}

void ZOVSample::streamID(ZOVBuffer& buffer) const {
  ZOVTransportableData::streamID(buffer);
  buffer.streamInt(static_cast<unsigned long>(_class.type));
}

void ZOVSample::streamData(ZOVBuffer& buffer) const {
  std::size_t bytes = static_cast<std::size_t>(getNumNumericKeys()) * sizeof(ZOVBuffer::NumericFieldBytes);
  for (const zov::StringKey& string : _class.strings) {
    bytes += ZOVBuffer::StringFieldHead + (this->*string.field).length();
  }
  buffer.reserve(buffer.length() + bytes);
  streamValues(buffer);
  for (const zov::StringKey& string : _class.strings) {
    const RWCString& text = this->*string.field;
    if (!text.isNull()) buffer.streamStringField(string.key, text.data());
  }
  streamExtraPairs(buffer);
}

/// Collected in one run: most of the cost of a sample is here.
void ZOVSample::streamValues(ZOVBuffer& buffer) const {
  ZOVBuffer::NumericFieldBytes fields[NumSampleIntKeys + zov::MostNumericKeys];
  fields[0] = ZOVBuffer::numericField(zov::key::sample_time, sampleTime);
  fields[1] = ZOVBuffer::numericField(zov::key::duration, duration);
  std::size_t count = NumSampleIntKeys;
  const auto keys = _class.numericKeys;
  const auto rows = _class.rows;
  const _NumericValue* const values = numericValues;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const _NumericValue& entry = values[i];
    const long long value = isStatistic(rows[i].kind) ? 0 : entry.value;
    fields[count] = ZOVBuffer::numericField(keys[i], value);
    count += entry.isSet && value != NullValue ? 1 : 0;
  }
  buffer.streamFields({fields, count});
}

void ZOVSample::saveData(ZOVBuffer& buffer) {
  int key = 0;
  for (long long value = 0; buffer.getNextNumericField(key, value);) storeNumericData(key, value);
  ZOVTransportableData::saveData(buffer);  // texts, and whatever is not in the usual order
}

long long ZOVSample::getNumericValueForStream(unsigned int key) const {
  const int place = placeOf(static_cast<int>(key));
  return place < 0 ? getNumericData(static_cast<int>(key)) : getTotalCount(static_cast<int>(key));
}

void saveSummarizedSamples(ZOVSampleKeeper& keeper, RWIterator& anchors, unsigned int collectionId) {
  ZOV_TRACE(Public);
  while (auto* anchor = static_cast<ZOVResourceAnchor*>(anchors())) {
    if (anchor->getLastSample() == nullptr) continue;
    ZOVSample* copy = anchor->getLastSample()->clone();
    copy->resetRates();
    keeper.saveSample(copy, SaveSampleInterval, collectionId);
  }
}
