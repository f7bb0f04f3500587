#pragma once
// ZOVTransportableData: what crosses a socket (requests, responses, samples). An object flattens itself into
// a ZOVBuffer field by field and is rebuilt from one; docs/wire-format.md shows the bytes.
//
// A class that travels tells its keys (getNum...Keys, ...Keys) and answers for them (get...Data,
// save...Data); a derived class puts its keys behind those of its base and hands keys that it does not know
// to its base. A field with a null value is not sent, and the reader leaves its own default in place.
//
// An object is used by one thread at a time and has no lock.

#include <memory>
#include <string_view>

#include "runtime/collectable.h"
#include "runtime/return_code.h"

class ZOVBuffer;
class ZOVKeyValueSet;
class ZOVSocketConnection;

class ZOVTransportableData : public ZOVCollectable {
 public:
  enum _DataType { NoDataType = 0, RequestDataType = 1, SampleDataType = 2 };
  static constexpr int WireFormat = 2;

  ZOVTransportableData();
  ZOVTransportableData(const ZOVTransportableData& other);  ///< deep, also the extra pairs
  ZOVTransportableData& operator=(const ZOVTransportableData& other);
  ~ZOVTransportableData() override;
  RWClassID isA() const override { return 32757; }  // of the whole family
  RWCollectable* copy() const override { return clone(); }

  virtual int getNumNumericKeys() const { return 0; }
  virtual int getNumStringKeys() const { return 0; }
  virtual void numericKeys(int*) const {}  ///< fills getNumNumericKeys() places
  virtual void stringKeys(int*) const {}   ///< fills getNumStringKeys() places
  /// Writes format and data type; a derived class appends its subtype.
  virtual void streamID(ZOVBuffer& buffer) const;
  /// Writes all fields that are not null, then the extra pairs. Allocates nothing per field.
  virtual void streamData(ZOVBuffer& buffer) const;
  virtual void buildFromDataString(const char*) {}
  virtual long long getNumericValueForStream(unsigned int key) const {
    return getNumericData(static_cast<int>(key));
  }
  virtual bool valueIsNull(long long value) const { return value == 0; }
  virtual bool valueIsNull(const RWCString& text) const { return text.isNull(); }
  virtual void stream(ZOVBuffer& buffer) const;
  virtual int getDataType() const { return NoDataType; }
  virtual void saveNumericData(int /*key*/, long long /*value*/) {}
  virtual long long getNumericData(int /*key*/) const { return 0; }
  /// All keys and values, null ones too, in arrays of the counts given. For users that want them at once; the
  /// arrays release themselves. A count of 0 leaves its arrays null.
  virtual void getDataArrays(int& numericCount, int& stringCount, std::unique_ptr<int[]>& numericKeyArray,
                             std::unique_ptr<long long[]>& numericValues,
                             std::unique_ptr<int[]>& stringKeyArray,
                             std::unique_ptr<RWCString[]>& stringValues) const;
  /// Sends one frame; answers the socket's return code.
  virtual ZOVReturnCode send(ZOVSocketConnection& socket) const;
  /// The text is good for the call only. One that was received ends at its first NUL.
  virtual void saveStringData(int /*key*/, std::string_view /*text*/) {}
  /// The reference is good while the object is and the key is not saved again.
  virtual const RWCString& getStringData(int /*key*/) const { return emptyText(); }
  virtual ZOVTransportableData* clone() const { return new ZOVTransportableData(*this); }
  /// Replaces the extra pairs by a deep copy.
  virtual void save(const ZOVKeyValueSet& pairs);

  /// Reads fields up to the end of the body, or to where it is damaged.
  virtual void saveData(ZOVBuffer& buffer);
  void dumpToLog() const;
  /// A new object from a received body; null for a data type or subtype that is not known, and for a body
  /// that is damaged.
  static std::unique_ptr<ZOVTransportableData> buildFromBuffer(ZOVBuffer& buffer);

  /// Samples live in a room above; their factory is told here once, at static initialisation. It reads the
  /// 4-byte subtype and gives a new object with default values, or null.
  using SampleFactory = ZOVTransportableData* (*)(ZOVBuffer& buffer);
  static void registerSampleFactory(SampleFactory factory);

  int getReceivedFormat() const { return _receivedFormat; }
  const ZOVKeyValueSet* getExtraPairs() const { return _extraPairs.get(); }  ///< null when there are none
  static const RWCString& emptyText();

 protected:
  void streamExtraPairs(ZOVBuffer& buffer) const;

 private:
  int _receivedFormat = WireFormat;
  int _sendFormat = WireFormat;
  std::unique_ptr<ZOVKeyValueSet> _extraPairs;
};
