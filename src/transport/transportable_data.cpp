#include "transport/transportable_data.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <new>
#include <vector>

#include "platform/trace.h"
#include "runtime/recovery.h"
#include "runtime/trace_scope.h"
#include "transport/buffer.h"
#include "transport/key_value_set.h"
#include "transport/request.h"

static DGT1_Unit traceUnit("ZOVCTRDT");

namespace {

std::atomic<ZOVTransportableData::SampleFactory> sampleFactory{nullptr};

/// Room for the keys of any class of today on the stack; larger ones allocate.
class KeyArray {
 public:
  explicit KeyArray(int count) : _large(count > Small ? static_cast<std::size_t>(count) : 0) {}
  int* data() { return _large.empty() ? _small.data() : _large.data(); }

 private:
  static constexpr int Small = 256;
  std::array<int, Small> _small;
  std::vector<int> _large;
};

/// Null for a count of 0. Out of storage: raises code 3, after a trace line that names what `kind` it was
/// for.
template <class T>
std::unique_ptr<T[]> newArray(int count, const char* kind) {
  if (count <= 0) return nullptr;
  if (T* array = new (std::nothrow) T[static_cast<std::size_t>(count)]()) return std::unique_ptr<T[]>(array);
  DGT1_Printf(traceUnit, DGT1_ERROR, "Unable to allocate storage for an array of %d %s", count, kind);
  zovRaise(ZOVException(ZOV_OUT_OF_STORAGE));
  throw std::bad_alloc();
}

}  // namespace

ZOVTransportableData::ZOVTransportableData() = default;
ZOVTransportableData::~ZOVTransportableData() = default;

ZOVTransportableData::ZOVTransportableData(const ZOVTransportableData& other) : ZOVCollectable(other) {
  *this = other;
}

ZOVTransportableData& ZOVTransportableData::operator=(const ZOVTransportableData& other) {
  if (this == &other) return *this;
  _receivedFormat = other._receivedFormat;
  _sendFormat = other._sendFormat;
  _extraPairs = other._extraPairs ? std::make_unique<ZOVKeyValueSet>(*other._extraPairs) : nullptr;
  return *this;
}

const RWCString& ZOVTransportableData::emptyText() {
  static const RWCString* const empty = new RWCString;
  return *empty;
}

void ZOVTransportableData::save(const ZOVKeyValueSet& pairs) {
  _extraPairs = std::make_unique<ZOVKeyValueSet>(pairs);
}

void ZOVTransportableData::streamID(ZOVBuffer& buffer) const {
  ZOV_TRACE(Restricted);
  DGT1_Printf(traceUnit, DGT1_DETAIL, "Data to be sent in %i format", _sendFormat);
  buffer.streamShortInt(static_cast<unsigned short>(_sendFormat));
  buffer.streamShortInt(static_cast<unsigned short>(getDataType()));
}

void ZOVTransportableData::streamData(ZOVBuffer& buffer) const {
  ZOV_TRACE(Restricted);
  const int numericCount = getNumNumericKeys();
  const int stringCount = getNumStringKeys();
  KeyArray keys(std::max(numericCount, stringCount));
  numericKeys(keys.data());
  for (int i = 0; i < numericCount; ++i) {
    const int key = keys.data()[i];
    const long long value = getNumericValueForStream(static_cast<unsigned int>(key));
    if (!valueIsNull(value)) buffer.streamIntField(key, value);
  }
  stringKeys(keys.data());
  for (int i = 0; i < stringCount; ++i) {
    const int key = keys.data()[i];
    const RWCString& text = getStringData(key);
    if (!valueIsNull(text)) buffer.streamStringField(key, text.data());
  }
  streamExtraPairs(buffer);
}

void ZOVTransportableData::streamExtraPairs(ZOVBuffer& buffer) const {
  if (!_extraPairs) return;
  const std::unique_ptr<RWIterator> iterator = _extraPairs->createIterator();
  while (const RWCollectable* member = (*iterator)()) {
    const auto& pair = static_cast<const ZOVKeyValueSet::ZOVKeyValuePair&>(*member);
    if (pair.getKeyType() == ZOVKeyValueSet::StringKey) {
      buffer.streamStringField(pair.getKey(), pair.getStringValue());
    } else if (pair.getKeyType() == ZOVKeyValueSet::NumericKey) {
      buffer.streamIntField(pair.getKey(), pair.getIntValue());
    }
  }
}

void ZOVTransportableData::stream(ZOVBuffer& buffer) const {
  streamID(buffer);
  streamData(buffer);
}

void ZOVTransportableData::getDataArrays(int& numericCount, int& stringCount,
                                         std::unique_ptr<int[]>& numericKeyArray,
                                         std::unique_ptr<long long[]>& numericValues,
                                         std::unique_ptr<int[]>& stringKeyArray,
                                         std::unique_ptr<RWCString[]>& stringValues) const {
  ZOV_TRACE(Restricted);
  numericCount = getNumNumericKeys();
  stringCount = getNumStringKeys();
  numericKeyArray = newArray<int>(numericCount, "int keys");
  numericValues = newArray<long long>(numericCount, "int values");
  stringKeyArray = newArray<int>(stringCount, "string keys");
  stringValues = newArray<RWCString>(stringCount, "string values");
  if (numericCount > 0) numericKeys(numericKeyArray.get());
  if (stringCount > 0) stringKeys(stringKeyArray.get());
  for (int i = 0; i < numericCount; ++i) {
    numericValues[i] = getNumericValueForStream(static_cast<unsigned int>(numericKeyArray[i]));
  }
  for (int i = 0; i < stringCount; ++i) stringValues[i] = getStringData(stringKeyArray[i]);
}

ZOVReturnCode ZOVTransportableData::send(ZOVSocketConnection& socket) const {
  ZOV_TRACE(Public);
  ZOVBuffer buffer(socket);
  buffer.reserve(512);  // most messages fit
  stream(buffer);
  return buffer.send();
}

void ZOVTransportableData::saveData(ZOVBuffer& buffer) {
  while (const int type = buffer.getNextFieldType()) {
    const int key = buffer.getNextKey();
    if (type == ZOVBuffer::NumericField) {
      const long long value = buffer.getNextLongField();
      if (!buffer.isDamaged()) saveNumericData(key, value);
    } else {
      const std::string_view text = buffer.getNextTextField();
      if (!buffer.isDamaged()) saveStringData(key, text.substr(0, text.find('\0')));
    }
  }
}

void ZOVTransportableData::dumpToLog() const {
  ZOVBuffer buffer;
  stream(buffer);
  SnapHex(traceUnit, buffer.data(), buffer.length(),
          DGT1_FormatText("Contents of ZOVTransportableData at %X", static_cast<const void*>(this)).c_str());
}

std::unique_ptr<ZOVTransportableData> ZOVTransportableData::buildFromBuffer(ZOVBuffer& buffer) {
  ZOV_TRACE(Public);
  const int format = buffer.getNextShortIntField();
  const int dataType = buffer.getNextShortIntField();
  std::unique_ptr<ZOVTransportableData> object;
  if (buffer.isDamaged()) return object;
  if (dataType == RequestDataType) {
    object = ZOVRequest::buildFromBuffer(buffer);
  } else if (dataType == SampleDataType) {
    if (const SampleFactory factory = sampleFactory.load()) object.reset(factory(buffer));
  }
  if (!object) return object;
  object->_receivedFormat = format;
  object->saveData(buffer);
  if (buffer.isDamaged()) {
    DGT1_Printf(traceUnit, DGT1_DETAIL, "A body of %u bytes that ends within a field is dropped",
                buffer.length());
    object.reset();
  }
  return object;
}

void ZOVTransportableData::registerSampleFactory(SampleFactory factory) {
  sampleFactory = factory;
}
