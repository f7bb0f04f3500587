#pragma once
// RWCollectable: the root of every object that is kept in a collection. Collections hold pointers and own
// nothing unless told to (clearAndDestroy, removeAndDestroy).

#include <cstdint>

using RWClassID = std::uint16_t;

class RWCollectable {
 public:
  RWCollectable() = default;
  RWCollectable(const RWCollectable&) = default;
  RWCollectable& operator=(const RWCollectable&) = default;
  virtual ~RWCollectable() = default;

  /// A fresh object of the same class with default values, or null for classes that are never copied so.
  virtual RWCollectable* newSpecies() const { return nullptr; }
  /// A copy of this object, owned by the caller, or null for classes that cannot be copied.
  virtual RWCollectable* copy() const { return nullptr; }
  /// The class's number; unique per class where isEqual relies on it.
  virtual RWClassID isA() const { return 0; }
  /// Below, equal to or above 0, as strcmp. Default: by address.
  virtual int compareTo(const RWCollectable* other) const;
  /// The number that orders a hash table's iteration. Equal objects have equal hashes.
  virtual unsigned int hash() const;
  /// What a hash table's look-up is indexed by. A class whose hash() is coarse, or made of names from
  /// outside, makes it with RWLookupHash, to keep look-ups flat.
  virtual unsigned int lookupHash() const { return hash(); }
  /// Default: identity.
  virtual bool isEqual(const RWCollectable* other) const { return this == other; }
};
