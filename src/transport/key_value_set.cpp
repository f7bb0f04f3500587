#include "transport/key_value_set.h"

bool ZOVKeyValueSet::ZOVKeyValuePair::isEqual(const RWCollectable* other) const {
  return other->isA() == isA() && static_cast<const ZOVKeyValuePair*>(other)->_key == _key;
}

ZOVKeyValueSet::ZOVKeyValueSet(const ZOVKeyValueSet& other) : RWHashTable() {
  const std::unique_ptr<RWIterator> iterator = other.createIterator();
  while (const RWCollectable* pair = (*iterator)()) {
    insert(static_cast<const ZOVKeyValuePair*>(pair)->clone());
  }
}

void ZOVKeyValueSet::defineKeyValuePair(int key, const char* text) {
  insert(new KeyValuePairString(key, text));
}

void ZOVKeyValueSet::defineKeyValuePair(int key, long long value) {
  insert(new KeyValuePairNumeric(key, value));
}

ZOVKeyValueSet::ZOVKeyValuePair* ZOVKeyValueSet::find(int key) const {
  const ZOVKeyValuePair target(key);
  return static_cast<ZOVKeyValuePair*>(RWHashTable::find(&target));
}
