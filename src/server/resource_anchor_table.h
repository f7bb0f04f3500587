#pragma once
// ZOVResourceAnchorTable: the anchors of one server, a hash table per sample type 0 to 81. Owns its anchors.
// No lock of its own: all access is under the server's lock, exclusive for change, shared for reads, and no
// iterator outlives the lock. An anchor of a type outside the range finds nothing and is not stored.
//
// Anchors of events would add up without end, so of each type the newest are kept, by their budget.

#include <array>
#include <deque>
#include <map>
#include <memory>

#include "foundation/collections.h"
#include "runtime/memory_account.h"
#include "samples/resource_anchor.h"

class ZOVResourceAnchorTable {
 public:
  static constexpr int Types = 82;
  ZOVResourceAnchorTable() = default;
  ~ZOVResourceAnchorTable();
  ZOVResourceAnchorTable(const ZOVResourceAnchorTable&) = delete;
  ZOVResourceAnchorTable& operator=(const ZOVResourceAnchorTable&) = delete;

  ZOVResourceAnchor* find(const ZOVResourceAnchor* anchor) const;  ///< the equal anchor, or null
  /// Takes the anchor over; one of an event drives the oldest of its type out when there are too many. False,
  /// with nothing taken, for a type outside the range.
  bool insert(ZOVResourceAnchor* anchor);
  /// Destroys the equal anchor, and gives its memory back.
  void removeAndDestroy(const ZOVResourceAnchor* anchor);

  // --- Memory of the anchors, and of the server's own, which stands elsewhere.
  /// Charges what the anchor will take with the sample: null. Or the budget that it does not fit in.
  const ZOVBudget* makeRoom(ZOVResourceAnchor& anchor, const ZOVSample& sample);
  /// Charges what the anchor takes now, be it more or less than before.
  void settle(ZOVResourceAnchor& anchor);
  std::size_t memoryBytes() const { return _memory.used(); }

  /// Walks one type; null for a type outside the range.
  std::unique_ptr<RWHashTableIterator> getIteratorForSampleType(int type) const;
  std::size_t entries(int type) const;

 private:
  friend class ZOVResourceAnchorTableIterator;
  std::array<RWHashTable, Types> _tables;
  std::map<int, std::deque<ZOVResourceAnchor*>> _events;  // by their type, the oldest first
  zov::MemoryAccount _memory{zovBudgets().anchors, &zov::MemoryAccount::allServers()};
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
