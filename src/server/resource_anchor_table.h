#pragma once
// ZOVResourceAnchorTable: the anchors of one server, a hash table per sample type 0 to 81. Owns its anchors.
// No lock of its own: all access is under the server's lock, exclusive for change, shared for reads, and no
// iterator outlives the lock. An anchor of a type outside the range finds nothing and is not stored.

#include <array>
#include <memory>

#include "foundation/collections.h"
#include "samples/resource_anchor.h"

class ZOVResourceAnchorTable {
 public:
  static constexpr int Types = 82;
  static constexpr std::size_t MaximumAnchors = 2'000'000;  ///< of all types; a peer's names have no end

  ZOVResourceAnchorTable() = default;
  ~ZOVResourceAnchorTable();
  ZOVResourceAnchorTable(const ZOVResourceAnchorTable&) = delete;
  ZOVResourceAnchorTable& operator=(const ZOVResourceAnchorTable&) = delete;

  ZOVResourceAnchor* find(const ZOVResourceAnchor* anchor) const;  ///< the equal anchor, or null
  /// Takes the anchor over. False, with nothing taken, for a type outside the range and in a full table.
  bool insert(ZOVResourceAnchor* anchor);
  void removeAndDestroy(const ZOVResourceAnchor* anchor);
  /// Walks one type; null for a type outside the range.
  std::unique_ptr<RWHashTableIterator> getIteratorForSampleType(int type) const;
  std::size_t entries(int type) const;

 private:
  friend class ZOVResourceAnchorTableIterator;
  std::array<RWHashTable, Types> _tables;
  std::size_t _entries = 0;  // of all of them
};

/// Walks all anchors, type by type. Taking the next anchor before removing the present one is safe.
class ZOVResourceAnchorTableIterator {
 public:
  explicit ZOVResourceAnchorTableIterator(const ZOVResourceAnchorTable& table) : _table(table) {}

  ZOVResourceAnchor* operator()();  ///< null at the end
  ZOVResourceAnchor* findNext(const ZOVResourceAnchor* target);
  ZOVResourceAnchor* key() const { return _current; }
  void reset();

 private:
  bool advance();

  const ZOVResourceAnchorTable& _table;
  int _typeIndex = -1;
  std::unique_ptr<RWHashTableIterator> _iterator;  // null between types
  ZOVResourceAnchor* _current = nullptr;
};
