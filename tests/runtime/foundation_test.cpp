#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "runtime/foundation/collections.h"
#include "runtime/foundation/error_handler.h"
#include "runtime/foundation/string.h"
#include "runtime/foundation/time.h"

namespace {

/// A member with a key to be found by, and a name to be told apart by. Counts those alive.
class Item : public RWCollectable {
 public:
  explicit Item(int itemKey, std::string itemName = "") : key(itemKey), name(std::move(itemName)) { ++alive; }
  ~Item() override { --alive; }
  Item(const Item&) = delete;
  Item& operator=(const Item&) = delete;
  bool isEqual(const RWCollectable* other) const override {
    return key == static_cast<const Item*>(other)->key;
  }
  int compareTo(const RWCollectable* other) const override {
    return key - static_cast<const Item*>(other)->key;
  }
  unsigned int hash() const override { return static_cast<unsigned int>(key % 10); }
  unsigned int lookupHash() const override { return static_cast<unsigned int>(key); }

  const int key;
  const std::string name;
  static inline int alive = 0;
};

std::string shown(RWIterator& iterator) {
  std::string text;
  while (const auto* item = static_cast<const Item*>(iterator())) {
    text += (text.empty() ? "" : " ") + std::to_string(item->key) + item->name;
  }
  return text;
}
std::string shown(const RWCollection& collection) {
  return shown(*collection.newIterator());
}

/// Records what comes by the error path.
class ErrorPath {
 public:
  ErrorPath() {
    count = 0, _former = rwSetErrHandler([](const RWxmsg&) { ++count; });
  }
  ~ErrorPath() { rwSetErrHandler(_former); }
  ErrorPath(const ErrorPath&) = delete;
  ErrorPath& operator=(const ErrorPath&) = delete;
  static inline int count = 0;

 private:
  RWErrorHandler _former;
};

template <class C>
class Collections : public testing::Test {};
using AllCollections = testing::Types<RWSlistCollectables, RWOrdered, RWHashTable, RWBinaryTree>;
TYPED_TEST_SUITE(Collections, AllCollections);

TYPED_TEST(Collections, FindByEqualityAndOwnNothing) {
  Item one(1), two(2), three(3);
  TypeParam collection;
  EXPECT_TRUE(collection.isEmpty());
  EXPECT_EQ(collection.find(&one), nullptr);
  EXPECT_EQ(collection.insert(nullptr), nullptr);
  for (Item* item : {&one, &two, &three}) EXPECT_EQ(collection.insert(item), item);
  const Item likeTwo(2), none(4);
  EXPECT_EQ(collection.find(&likeTwo), &two);
  EXPECT_EQ(collection.find(&none), nullptr);
  EXPECT_EQ(collection.remove(&none), nullptr);
  EXPECT_EQ(collection.remove(&likeTwo), &two);
  EXPECT_EQ(collection.remove(&likeTwo), nullptr);
  EXPECT_EQ(shown(collection), "1 3");
  collection.removeAndDestroy(&none);
  EXPECT_EQ(collection.entries(), 2U);
  collection.clear();
  EXPECT_EQ(shown(collection), "");
  EXPECT_EQ(Item::alive, 5);
}

TYPED_TEST(Collections, DestroyEachMemberOnceWhenAsked) {
  TypeParam collection;
  Item* twice = new Item(7);
  for (RWCollectable* item : {twice, new Item(3), new Item(9), twice}) collection.insert(item);
  const Item three(3);
  collection.removeAndDestroy(&three);
  EXPECT_EQ(Item::alive, 3);
  collection.clearAndDestroy();
  EXPECT_EQ(Item::alive, 1);
  EXPECT_TRUE(collection.isEmpty());
}

TYPED_TEST(Collections, IteratorsOutliveInsertionsAndTheRemovalOfOthers) {
  Item items[] = {Item(1), Item(2), Item(3), Item(4), Item(5)};
  Item last(6);
  TypeParam collection;
  for (Item& item : items) collection.insert(&item);
  const auto iterator = collection.newIterator();
  EXPECT_EQ((*iterator)(), &items[0]);
  collection.remove(&items[1]);  // comes next
  EXPECT_EQ((*iterator)(), &items[2]);
  EXPECT_EQ(iterator->key(), &items[2]);
  collection.insert(&last);
  collection.remove(&items[3]);
  EXPECT_EQ(iterator->findNext(&last), &last);
  EXPECT_EQ((*iterator)(), nullptr);
  EXPECT_EQ(iterator->key(), nullptr);
  EXPECT_EQ((*iterator)(), nullptr);
  iterator->reset();
  EXPECT_EQ(shown(*iterator), "1 3 5 6");
}

TEST(List, KeepsItsOrderAndTellsMembersApartByAddress) {
  Item first(1, "a"), second(1, "b"), front(0), end(9);
  RWSlistCollectables list;
  for (Item* item : {&first, &second, &end}) list.append(item);
  list.prepend(&front);
  EXPECT_EQ(shown(list), "0 1a 1b 9");
  EXPECT_EQ(list.index(&second), 1U);
  const Item none(5);
  EXPECT_EQ(list.index(&none), RW_NPOS);
  EXPECT_EQ(list.removeReference(&second), &second);
  EXPECT_EQ(list.removeReference(&second), nullptr);
  EXPECT_EQ(shown(list), "0 1a 9");
}

TEST(List, IteratorTakesItsCurrentMemberOut) {
  Item items[] = {Item(1), Item(2), Item(3), Item(4)};
  RWSlistCollectables list;
  for (Item& item : items) list.append(&item);
  RWSlistCollectablesIterator iterator(list);
  EXPECT_EQ(iterator.remove(), nullptr);
  iterator();
  EXPECT_EQ(iterator.remove(), &items[0]);
  EXPECT_EQ(iterator.remove(), nullptr);
  list.remove(&items[1]);  // comes next, also behind a removal
  EXPECT_EQ(iterator(), &items[2]);
  iterator();
  EXPECT_EQ(iterator.remove(), &items[3]);
  EXPECT_EQ(iterator(), nullptr);
  EXPECT_EQ(shown(list), "3");
}

TEST(Queue, IsFirstInFirstOut) {
  Item one(1), two(2);
  RWSlistCollectablesQueue queue;
  EXPECT_EQ(queue.get(), nullptr);
  queue.append(&one);
  queue.append(&two);
  EXPECT_EQ(queue.first(), &one);
  EXPECT_EQ(queue.get(), &one);
  EXPECT_EQ(queue.get(), &two);
  EXPECT_TRUE(queue.isEmpty());
}

TEST(Foundation, PositionsOutOfRangeTakeTheErrorPath) {
  const ErrorPath errors;
  Item one(1);
  RWOrdered ordered;
  RWSlistCollectables list;
  RWCString text("abc");
  ordered.insert(&one);
  list.insert(&one);
  EXPECT_EQ(ordered.at(0), &one);
  EXPECT_EQ(list.at(0), &one);
  EXPECT_EQ(text[2], 'c');
  EXPECT_EQ(text(3, 5), "");
  EXPECT_EQ(ErrorPath::count, 0);
  EXPECT_EQ(ordered.at(1), nullptr);
  EXPECT_EQ(ordered.removeAt(1), nullptr);
  EXPECT_EQ(list.at(1), nullptr);
  EXPECT_EQ(text[3], '\0');
  EXPECT_EQ(text(4, 1), "");
  EXPECT_EQ(text.replace(4, 1, "x", 1), "abc");
  EXPECT_EQ(ErrorPath::count, 6);
  EXPECT_EQ(ordered.removeAt(0), &one);
}

TEST(HashTable, IteratesByBucketAndInOrderOfInsertionWithin) {
  Item items[] = {Item(12, "a"), Item(21), Item(2), Item(12, "b"), Item(15), Item(9)};
  RWHashTable table(5);  // buckets by the last digit modulo 5
  for (Item& item : items) table.insert(&item);
  EXPECT_EQ(shown(table), "15 21 12a 2 12b 9");
  table.remove(&items[2]);
  table.insert(&items[2]);
  EXPECT_EQ(shown(table), "15 21 12a 12b 2 9");
  RWHashTable single(0);
  for (Item& item : items) single.insert(&item);
  EXPECT_EQ(shown(single), "12a 21 2 12b 15 9");
}

TEST(HashTable, AgreesWithAPlainListUnderRandomUse) {
  std::mt19937 random(20);
  std::vector<std::unique_ptr<Item>> items;
  for (int i = 0; i < 600; ++i) items.push_back(std::make_unique<Item>(i % 200, std::to_string(i)));
  std::vector<Item*> model;
  RWHashTable table(7);
  for (int step = 0; step < 20'000; ++step) {
    Item* item = items[random() % items.size()].get();
    const auto isEqual = [&](const Item* other) { return other->key == item->key; };
    if (random() % 3 != 0 && std::find(model.begin(), model.end(), item) == model.end()) {
      table.insert(item);
      model.push_back(item);
    } else {
      auto* const removed = static_cast<Item*>(table.remove(item));
      ASSERT_EQ(removed != nullptr, std::any_of(model.begin(), model.end(), isEqual));
      if (removed) {
        ASSERT_EQ(removed->key, item->key);
        ASSERT_EQ(std::erase(model, removed), 1U);
      }
    }
    ASSERT_EQ(table.find(item) != nullptr, std::any_of(model.begin(), model.end(), isEqual));
    ASSERT_EQ(table.entries(), model.size());
  }
  std::size_t walked = 0;
  for (RWHashTableIterator next(table); const RWCollectable* member = next(); ++walked) {
    ASSERT_EQ(std::count(model.begin(), model.end(), member), 1);
  }
  EXPECT_EQ(walked, model.size());
}

// None of these would end in a minute if the cost of one operation grew with the number of members.
TEST(HashTable, StaysFlatWithManyMembers) {
  constexpr int count = 300'000;
  RWHashTable table(1);
  for (int i = 0; i < count; ++i) table.insert(new Item(i));
  for (int i = 0; i < count; ++i) table.insert(new Item(-1));
  for (int i = 0; i < count; ++i) {
    const Item wanted(i);
    ASSERT_EQ(static_cast<const Item*>(table.find(&wanted))->key, i);
  }
  const Item crowd(-1);
  for (int i = 0; i < count; ++i) table.removeAndDestroy(&crowd);
  EXPECT_EQ(table.entries(), std::size_t{count});
  table.clearAndDestroy();
}

TEST(BinaryTree, SortsAndKeepsTheOrderOfEquals) {
  Item items[] = {Item(5, "a"), Item(2), Item(5, "b"), Item(9), Item(5, "c")};
  RWBinaryTree tree;
  for (Item& item : items) tree.insert(&item);
  EXPECT_EQ(shown(tree), "2 5a 5b 5c 9");
}

TEST(BinaryTree, SortedAndEqualInputsCostNoMore) {
  RWBinaryTree tree;
  for (int i = 0; i < 300'000; ++i) tree.insert(new Item(i));
  for (int i = 0; i < 300'000; ++i) tree.insert(new Item(7));
  EXPECT_EQ(tree.entries(), 600'000U);
  tree.clearAndDestroy();
}

TEST(String, Editing) {
  RWCString text("hello");
  EXPECT_EQ(text.replace(1, 3, "i", 1), "hio");
  EXPECT_EQ(text.replace(2, 100, "!?", 2), "hi!?");
  EXPECT_EQ(text.remove(2), "hi");
  EXPECT_EQ(text.prepend("<").append('>'), "<hi>");
  text.resize(6);
  EXPECT_EQ(text, "<hi>  ");
  EXPECT_EQ(text.strip(), "<hi>");
  EXPECT_EQ(RWCString("xxaxx").strip(RWCString::both, 'x'), "a");
  EXPECT_EQ(RWCString("xxaxx").strip(RWCString::leading, 'x'), "axx");
  EXPECT_EQ(RWCString("xxx").strip(RWCString::both, 'x'), "");
  EXPECT_EQ(RWCString("abcdef")(2, 3), "cde");
  EXPECT_EQ(RWCString("abc")(1, RW_NPOS), "bc");
  EXPECT_EQ("a" + RWCString("b") + "c", "abc");
  EXPECT_EQ(RWCString("a\0b", 3).length(), 3U);
  EXPECT_TRUE(RWCString(static_cast<const char*>(nullptr)).isNull());
  RWCString mixed("aZ\xC3\xA9{");
  mixed.toUpper();
  EXPECT_EQ(mixed, "AZ\xC3\xA9{");
}

TEST(String, ComparingAndSearching) {
  constexpr auto fold = RWCString::ignoreCase;
  EXPECT_LT(RWCString("a").compareTo("b"), 0);
  EXPECT_GT(RWCString("\xFF").compareTo("a"), 0);
  EXPECT_GT(RWCString("\xFF").compareTo("a", fold), 0);
  EXPECT_GT(RWCString("abc").compareTo("ab", fold), 0);
  EXPECT_EQ(RWCString("AbC").compareTo("aBc", fold), 0);
  EXPECT_TRUE(RWCString("YES").equals("yes", fold));
  EXPECT_FALSE(RWCString("YES").equals("yes"));
  EXPECT_FALSE(RWCString("YES").equals("yesx", fold));
  const RWCString text("one Two two");
  EXPECT_EQ(text.index("two"), 8U);
  EXPECT_EQ(text.index("two", 0, fold), 4U);
  EXPECT_EQ(text.index("TWO", 5, fold), 8U);
  EXPECT_EQ(text.index("two", 99), RW_NPOS);
  EXPECT_EQ(text.first('o'), 0U);
  EXPECT_EQ(text.last('o'), 10U);
  EXPECT_EQ(text.last('x'), RW_NPOS);

  const RWCollectableString collectable("text"), same("text"), other("other");
  const Item stranger(1);
  EXPECT_TRUE(collectable.isEqual(&same));
  EXPECT_EQ(collectable.hash(), same.hash());
  EXPECT_EQ(collectable.compareTo(&same), 0);
  EXPECT_GT(collectable.compareTo(&other), 0);
  EXPECT_FALSE(collectable.isEqual(&other));
  EXPECT_FALSE(collectable.isEqual(&stranger));
}

TEST(String, Tokenizing) {
  const RWCString text("  a\tb;;c d\n");
  RWCTokenizer next(text);
  EXPECT_EQ(next(), "a");
  EXPECT_EQ(next(";"), "\tb");
  EXPECT_EQ(next("; "), "c");
  EXPECT_EQ(next(), "d");
  EXPECT_EQ(next(), "");
  EXPECT_EQ(next(), "");
  const RWCString zero("a\0b", 3);
  RWCTokenizer parts(zero);
  EXPECT_EQ(parts(), "a");
  EXPECT_EQ(parts(), "b");
}

}  // namespace
