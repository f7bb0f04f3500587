#pragma once
// ZOVKeyValueSet: a bag of extra fields that travel behind an object's own. It owns its pairs; a second pair
// of an equal key may stand beside the first. No lock: it belongs to the object that carries it.

#include "foundation/collections.h"
#include "runtime/collectable.h"

class ZOVKeyValueSet : public RWHashTable {
 public:
  enum _KeyType { StringKey = 0, NumericKey = 1, NoKeyType = 2 };

  /// A bare key: what find looks up by.
  class ZOVKeyValuePair : public ZOVCollectable {
   public:
    explicit ZOVKeyValuePair(int key) : _key(key) {}
    RWClassID isA() const override { return 32675; }
    unsigned int hash() const override { return static_cast<unsigned int>(_key); }
    bool isEqual(const RWCollectable* other) const override;

    virtual int getKeyType() const { return NoKeyType; }
    virtual long long getIntValue() const { return -1; }
    virtual const char* getStringValue() const { return nullptr; }
    virtual ZOVKeyValuePair* clone() const { return nullptr; }
    int getKey() const { return _key; }

   private:
    int _key;
  };

  class KeyValuePairString : public ZOVKeyValuePair {
   public:
    KeyValuePairString(int key, const char* text) : ZOVKeyValuePair(key), _value(text) {}
    int getKeyType() const override { return StringKey; }
    const char* getStringValue() const override { return _value.data(); }
    ZOVKeyValuePair* clone() const override { return new KeyValuePairString(*this); }

   private:
    RWCString _value;
  };

  class KeyValuePairNumeric : public ZOVKeyValuePair {
   public:
    KeyValuePairNumeric(int key, long long value) : ZOVKeyValuePair(key), _value(value) {}
    int getKeyType() const override { return NumericKey; }
    long long getIntValue() const override { return _value; }
    ZOVKeyValuePair* clone() const override { return new KeyValuePairNumeric(*this); }

   private:
    long long _value;
  };

  ZOVKeyValueSet() = default;
  ZOVKeyValueSet(const ZOVKeyValueSet& other);  ///< deep
  ZOVKeyValueSet& operator=(const ZOVKeyValueSet&) = delete;
  ~ZOVKeyValueSet() override { clearAndDestroy(); }

  void defineKeyValuePair(int key, const char* text);
  void defineKeyValuePair(int key, long long value);
  using RWHashTable::find;
  ZOVKeyValuePair* find(int key) const;  ///< null when there is none
  std::unique_ptr<RWIterator> createIterator() const { return newIterator(); }
};
