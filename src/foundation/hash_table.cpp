#include <cstdint>

#include "foundation/collections.h"
#include "foundation/error_handler.h"
#include "foundation/lookup_hash.h"

namespace {
constexpr std::uint32_t none = UINT32_MAX;
}  // namespace

/// The members are nodes, numbered by their place in one array. A node is linked twice: into its bucket,
/// which gives the order of iteration, and into the chain of the members with the same look-up hash. The
/// first of such a chain stands in the index: open addressing with linear probing, one slot for each hash
/// that occurs, never more than three quarters full, and no tombstones. Where in the index a hash stands is
/// seeded, so that numbers from outside cannot be chosen to stand in one row.
struct RWHashTable::Table {
  struct Node {
    RWCollectable* member;
    std::uint32_t next;      // in the bucket; while the node is free, the next free one
    std::uint32_t previous;  // in the bucket
    std::uint32_t sameHash;  // the next member with this hash
    std::uint32_t bucket;
  };
  struct Bucket {
    std::uint32_t first = none;
    std::uint32_t last = none;
  };
  struct Slot {
    RWCollectable* member = nullptr;  // of the node, so that a look-up need not touch the node
    std::uint32_t hash = 0;
    std::uint32_t node = none;
  };

  explicit Table(std::size_t count) : bucketCount(count == 0 ? 1 : count) {}

  const RWLookupHash seeded;
  std::size_t bucketCount;
  std::vector<Bucket> buckets;  // made by the first insertion
  std::vector<Node> nodes;
  std::uint32_t freeNode = none;
  std::size_t entries = 0;
  std::vector<Slot> slots;  // a power of two, or none at all
  std::size_t hashes = 0;   // slots in use

  std::size_t home(std::uint32_t hash) const {
    return RWLookupHash(seeded).add(hash).value() & (slots.size() - 1);
  }

  /// The slot of a hash, or the empty one where it would stand. There is always an empty one.
  Slot& slotOf(std::uint32_t hash) {
    std::size_t place = home(hash);
    while (slots[place].node != none && slots[place].hash != hash) place = (place + 1) & (slots.size() - 1);
    return slots[place];
  }

  void growIndex() {
    if (hashes < slots.size() / 4 * 3) return;
    std::vector<Slot> former(slots.empty() ? 16 : slots.size() * 2);
    former.swap(slots);
    for (const Slot& slot : former) {
      if (slot.node != none) slotOf(slot.hash) = slot;
    }
  }

  std::uint32_t newNode(RWCollectable* member) {
    const auto bucket = static_cast<std::uint32_t>(member->hash() % bucketCount);
    const Node node{member, none, buckets[bucket].last, none, bucket};
    if (freeNode == none) {
      nodes.push_back(node);
      return static_cast<std::uint32_t>(nodes.size() - 1);
    }
    const std::uint32_t number = freeNode;
    freeNode = nodes[number].next;
    nodes[number] = node;
    return number;
  }

  void insert(RWCollectable* member) {
    if (buckets.empty()) buckets.resize(bucketCount);
    growIndex();
    const std::uint32_t number = newNode(member);
    Node& node = nodes[number];
    Bucket& bucket = buckets[node.bucket];
    (bucket.last == none ? bucket.first : nodes[bucket.last].next) = number;
    bucket.last = number;
    ++entries;

    const std::uint32_t hash = member->lookupHash();
    Slot& slot = slotOf(hash);
    if (slot.node == none) {
      slot = {member, hash, number};
      ++hashes;
    } else {  // behind the first, so that a crowd of equals costs no walk
      node.sameHash = nodes[slot.node].sameHash;
      nodes[slot.node].sameHash = number;
    }
  }

  RWCollectable* find(const RWCollectable* target) {
    if (entries == 0) return nullptr;
    const Slot& slot = slotOf(target->lookupHash());
    if (slot.node == none) return nullptr;
    if (slot.member->isEqual(target)) return slot.member;
    for (std::uint32_t n = nodes[slot.node].sameHash; n != none; n = nodes[n].sameHash) {
      if (nodes[n].member->isEqual(target)) return nodes[n].member;
    }
    return nullptr;
  }

  RWCollectable* remove(const RWCollectable* target) {
    return takeWhere(target->lookupHash(),
                     [&](const RWCollectable* member) { return member->isEqual(target); });
  }

  RWCollectable* takeOne() {
    if (entries == 0) return nullptr;
    RWCollectable* taken = nodes[firstFrom(0)].member;
    while (takeWhere(taken->lookupHash(), [&](const RWCollectable* member) { return member == taken; })) {
    }
    return taken;
  }

  /// Takes out the first member with this look-up hash that matches.
  template <class Matches>
  RWCollectable* takeWhere(std::uint32_t hash, Matches matches) {
    if (entries == 0) return nullptr;
    Slot& slot = slotOf(hash);
    std::uint32_t before = none;
    std::uint32_t number = slot.node;
    while (number != none && !matches(nodes[number].member)) {
      before = number;
      number = nodes[number].sameHash;
    }
    if (number == none) return nullptr;
    const std::uint32_t behind = nodes[number].sameHash;
    if (before != none) {
      nodes[before].sameHash = behind;
    } else if (behind != none) {
      slot.node = behind;
      slot.member = nodes[behind].member;
    } else {
      emptySlot(static_cast<std::size_t>(&slot - slots.data()));
    }
    return unlink(number);
  }

  /// Empties a slot and moves those behind it that would not be found across the gap.
  void emptySlot(std::size_t gap) {
    const std::size_t mask = slots.size() - 1;
    for (std::size_t place = (gap + 1) & mask; slots[place].node != none; place = (place + 1) & mask) {
      const std::size_t distance = (place - home(slots[place].hash)) & mask;
      if (distance < ((place - gap) & mask)) continue;
      slots[gap] = slots[place];
      gap = place;
    }
    slots[gap] = {};
    --hashes;
  }

  /// Takes a node out of its bucket and frees it.
  RWCollectable* unlink(std::uint32_t number) {
    Node& node = nodes[number];
    Bucket& bucket = buckets[node.bucket];
    (node.previous == none ? bucket.first : nodes[node.previous].next) = node.next;
    (node.next == none ? bucket.last : nodes[node.next].previous) = node.previous;
    RWCollectable* member = node.member;
    node = {nullptr, freeNode, none, none, 0};
    freeNode = number;
    --entries;
    return member;
  }

  void clear() {
    buckets.clear();
    nodes.clear();
    slots.clear();
    freeNode = none;
    entries = hashes = 0;
  }

  std::uint32_t firstFrom(std::size_t bucket) const {
    for (; bucket < buckets.size(); ++bucket) {
      if (buckets[bucket].first != none) return buckets[bucket].first;
    }
    return none;
  }
};

RWHashTable::RWHashTable(std::size_t buckets) : _table(rwMake<Table>(buckets)) {}
RWHashTable::~RWHashTable() = default;

RWCollectable* RWHashTable::insert(RWCollectable* member) {
  return member && rwTakingStorage([&] { _table->insert(member); }) ? member : nullptr;
}

RWCollectable* RWHashTable::find(const RWCollectable* target) const {
  return _table->find(target);
}
RWCollectable* RWHashTable::remove(const RWCollectable* target) {
  return _table->remove(target);
}
RWCollectable* RWHashTable::takeOne() {
  return _table->takeOne();
}
std::vector<RWCollectable*> RWHashTable::allMembers() const {
  std::vector<RWCollectable*> members;
  members.reserve(_table->entries);
  RWHashTableIterator next(*this);
  while (RWCollectable* member = next()) members.push_back(member);
  return members;
}
std::size_t RWHashTable::entries() const {
  return _table->entries;
}
void RWHashTable::clear() {
  _table->clear();
}

std::unique_ptr<RWIterator> RWHashTable::newIterator() const {
  return rwMake<RWHashTableIterator>(*this);
}

RWHashTableIterator::RWHashTableIterator(const RWHashTable& table) : _table(*table._table) {}

RWCollectable* RWHashTableIterator::operator()() {
  const auto& nodes = _table.nodes;
  if (_state == State::Fresh) {
    _node = _table.firstFrom(0);
  } else if (_node < nodes.size()) {
    const auto& node = nodes[_node];
    _node = node.next != none ? node.next : _table.firstFrom(node.bucket + std::size_t{1});
  } else {
    _node = none;
  }
  _state = State::Walking;
  return key();
}

void RWHashTableIterator::reset() {
  _state = State::Fresh;
}

RWCollectable* RWHashTableIterator::key() const {
  return _state == State::Walking && _node < _table.nodes.size() ? _table.nodes[_node].member : nullptr;
}
