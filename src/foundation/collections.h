#pragma once
// The collections. All hold pointers to RWCollectables, have no locks (the owner of a collection guards it),
// and do not own their members except through clearAndDestroy and removeAndDestroy. Members are found by
// isEqual unless "reference" is in the name. A null is never inserted.
//
// An iterator gives the members in order and survives insertions; it does not survive the removal of its
// current member except through its own remove(). Removing any other member, also the one that would come
// next, is safe. Storage that cannot be had takes the error path: an insertion then answers null. A walk over
// a hash table or a tree that takes members out as it goes collects them first and removes them behind the
// walk.

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <set>
#include <vector>

#include "foundation/collectable.h"

/// Base of the collection iterators.
class RWIterator {
 public:
  virtual ~RWIterator() = default;
  virtual RWCollectable* operator()() = 0;  ///< the next member, or null at the end
  virtual void reset() = 0;                 ///< starts again
  virtual RWCollectable* key() const = 0;   ///< the member last returned, or null
  /// The next member that isEqual to target, or null.
  virtual RWCollectable* findNext(const RWCollectable* target);
};

class RWCollection {
 public:
  static constexpr std::size_t DEFAULT_CAPACITY = 64;
  virtual ~RWCollection() = default;
  virtual RWCollectable* insert(RWCollectable* member) = 0;
  virtual RWCollectable* find(const RWCollectable* target) const = 0;
  virtual RWCollectable* remove(const RWCollectable* target) = 0;  ///< answers the member removed, or null
  virtual std::size_t entries() const = 0;
  virtual void clear() = 0;  ///< forgets the members
  virtual std::unique_ptr<RWIterator> newIterator() const = 0;
  void clearAndDestroy();  ///< deletes each member once
  void removeAndDestroy(const RWCollectable* target);
  bool isEmpty() const { return entries() == 0; }

 protected:
  /// Takes a member out, from all its places, and answers it; null when empty. Takes no storage.
  virtual RWCollectable* takeOne() = 0;
  /// The members in order; std::bad_alloc where there is no storage.
  virtual std::vector<RWCollectable*> allMembers() const = 0;

 private:
  bool destroyAll();
};

/// Linked list in insertion order. The doubly linked name is the same type: both promise the same.
class RWSlistCollectables : public RWCollection {
 public:
  RWCollectable* append(RWCollectable* member);
  RWCollectable* prepend(RWCollectable* member);
  RWCollectable* insert(RWCollectable* member) override { return append(member); }
  RWCollectable* find(const RWCollectable* target) const override;
  RWCollectable* remove(const RWCollectable* target) override;
  RWCollectable* removeReference(const RWCollectable* member);  ///< by address
  RWCollectable* removeFirst();                                 ///< the first member, or null when empty
  RWCollectable* first() const { return _members.empty() ? nullptr : _members.front(); }
  std::size_t index(const RWCollectable* target) const;  ///< position from 0, or RW_NPOS
  RWCollectable* at(std::size_t position) const;         ///< out of range: error path, null
  std::size_t entries() const override { return _members.size(); }
  void clear() override { _members.clear(); }
  std::unique_ptr<RWIterator> newIterator() const override;

 protected:
  RWCollectable* takeOne() override;
  std::vector<RWCollectable*> allMembers() const override { return {_members.begin(), _members.end()}; }

 private:
  friend class RWSlistCollectablesIterator;
  mutable std::list<RWCollectable*> _members;
};
using RWDlistCollectables = RWSlistCollectables;

class RWSlistCollectablesIterator : public RWIterator {
 public:
  explicit RWSlistCollectablesIterator(const RWSlistCollectables& list) : _list(list) { reset(); }
  RWCollectable* operator()() override;
  void reset() override;
  RWCollectable* key() const override { return _current; }
  RWCollectable* remove();  ///< takes the current member out and answers it

 private:
  const RWSlistCollectables& _list;
  std::list<RWCollectable*>::iterator _position;
  RWCollectable* _current = nullptr;
  bool _started = false;
};
using RWDlistCollectablesIterator = RWSlistCollectablesIterator;

/// First in, first out.
class RWSlistCollectablesQueue : public RWSlistCollectables {
 public:
  RWCollectable* get() { return removeFirst(); }  ///< the oldest, taken out, or null
};

/// Array in insertion order with index access.
class RWOrdered : public RWCollection {
 public:
  explicit RWOrdered(std::size_t capacity = DEFAULT_CAPACITY);
  RWCollectable* insert(RWCollectable* member) override;
  RWCollectable* find(const RWCollectable* target) const override;
  RWCollectable* remove(const RWCollectable* target) override;
  RWCollectable* at(std::size_t position) const;  ///< out of range: error path, null
  RWCollectable* removeAt(std::size_t position);  ///< out of range: error path, null
  std::size_t entries() const override { return _members.size(); }
  void clear() override { _members.clear(); }
  std::unique_ptr<RWIterator> newIterator() const override;

 protected:
  RWCollectable* takeOne() override;
  std::vector<RWCollectable*> allMembers() const override { return {_members.begin(), _members.end()}; }

 private:
  std::vector<RWCollectable*> _members;
};

class RWOrderedIterator : public RWIterator {
 public:
  explicit RWOrderedIterator(const RWOrdered& ordered) : _ordered(ordered) {}
  RWCollectable* operator()() override;
  void reset() override { _next = 0, _current = nullptr; }
  RWCollectable* key() const override { return _current; }

 private:
  const RWOrdered& _ordered;
  std::size_t _next = 0;
  RWCollectable* _current = nullptr;
};

/// Hash table. The bucket count, fixed at construction, fixes the order of iteration: bucket by bucket by
/// hash(), insertion order within one. Look-ups go through an index over lookupHash() and cost the same with
/// ten members and with a million. Equal members may be held side by side; find gives one of them.
class RWHashTable : public RWCollection {
 public:
  explicit RWHashTable(std::size_t buckets = DEFAULT_CAPACITY);
  RWHashTable(const RWHashTable&) = delete;
  RWHashTable& operator=(const RWHashTable&) = delete;
  ~RWHashTable() override;
  RWCollectable* insert(RWCollectable* member) override;
  RWCollectable* find(const RWCollectable* target) const override;
  RWCollectable* remove(const RWCollectable* target) override;
  std::size_t entries() const override;
  void clear() override;
  std::unique_ptr<RWIterator> newIterator() const override;

 protected:
  RWCollectable* takeOne() override;
  std::vector<RWCollectable*> allMembers() const override;

 private:
  friend class RWHashTableIterator;
  struct Table;
  std::unique_ptr<Table> _table;
};

class RWHashTableIterator : public RWIterator {
 public:
  explicit RWHashTableIterator(const RWHashTable& table);
  RWCollectable* operator()() override;
  void reset() override;
  RWCollectable* key() const override;

 private:
  enum class State { Fresh, Walking };
  const RWHashTable::Table& _table;
  std::uint32_t _node = 0;
  State _state = State::Fresh;
};

/// Sorted by compareTo; members that compare equal stand in the order of their insertion. Balanced, so that a
/// sorted or an all-equal input costs no more than any other.
class RWBinaryTree : public RWCollection {
 public:
  RWCollectable* insert(RWCollectable* member) override;
  RWCollectable* find(const RWCollectable* target) const override;
  RWCollectable* remove(const RWCollectable* target) override;
  std::size_t entries() const override { return _members.size(); }
  void clear() override { _members.clear(); }
  std::unique_ptr<RWIterator> newIterator() const override;

 protected:
  RWCollectable* takeOne() override;
  std::vector<RWCollectable*> allMembers() const override { return {_members.begin(), _members.end()}; }

 private:
  friend class RWBinaryTreeIterator;
  struct Before {
    bool operator()(const RWCollectable* a, const RWCollectable* b) const { return a->compareTo(b) < 0; }
  };
  using Members = std::multiset<RWCollectable*, Before>;
  Members::const_iterator place(const RWCollectable* target) const;

  Members _members;
};

class RWBinaryTreeIterator : public RWIterator {
 public:
  explicit RWBinaryTreeIterator(const RWBinaryTree& tree) : _tree(tree) { reset(); }
  RWCollectable* operator()() override;
  void reset() override;
  RWCollectable* key() const override { return _current; }

 private:
  const RWBinaryTree& _tree;
  RWBinaryTree::Members::const_iterator _position;
  RWCollectable* _current = nullptr;
  bool _started = false;
};
