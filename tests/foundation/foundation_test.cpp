#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <string>

#include "foundation/collections.h"
#include "foundation/error_handler.h"
#include "foundation/string.h"
#include "foundation/time.h"

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

template <class C>
class EachCollection : public testing::Test {};
using AllCollections = testing::Types<RWSlistCollectables, RWOrdered, RWHashTable, RWBinaryTree>;
TYPED_TEST_SUITE(EachCollection, AllCollections);

TYPED_TEST(EachCollection, FindByEqualityAndDestroyEachMemberOnceWhenAsked) {
  TypeParam collection;
  const Item likeTwo(2), none(4), eight(8);
  const int before = Item::alive;
  EXPECT_EQ(collection.insert(nullptr), nullptr);
  Item* const two = new Item(2);
  for (RWCollectable* item : {two, new Item(8), new Item(9), two}) {
    EXPECT_EQ(collection.insert(item), item);
  }
  EXPECT_EQ(collection.find(&likeTwo), two);
  EXPECT_EQ(collection.find(&none), nullptr);
  EXPECT_EQ(collection.remove(&none), nullptr);
  collection.removeAndDestroy(&eight);
  collection.removeAndDestroy(&none);
  EXPECT_EQ(Item::alive, before + 2);
  collection.clearAndDestroy();
  EXPECT_EQ(Item::alive, before);
}

TYPED_TEST(EachCollection, IteratorsOutliveInsertionsAndTheRemovalOfOthers) {
  Item items[] = {Item(1), Item(2), Item(3), Item(4), Item(5), Item(6)};
  TypeParam collection;
  for (int i = 0; i < 5; ++i) collection.insert(&items[i]);
  const auto iterator = collection.newIterator();
  (*iterator)();
  collection.remove(&items[1]);  // comes next
  EXPECT_EQ((*iterator)(), &items[2]);
  collection.insert(&items[5]);
  collection.remove(&items[3]);
  EXPECT_EQ(iterator->key(), &items[2]);
  EXPECT_EQ(iterator->findNext(&items[5]), &items[5]);
  EXPECT_EQ((*iterator)(), nullptr);
  EXPECT_EQ((*iterator)(), nullptr);
  iterator->reset();
  EXPECT_EQ(shown(*iterator), "1 3 5 6");
}

TEST(List, ItsIteratorTakesTheCurrentMemberOut) {
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
  EXPECT_EQ(shown(list), "3 4");
}

TEST(Foundation, PositionsOutOfRangeTakeTheErrorPath) {
  static int errors;
  errors = 0;
  const RWErrorHandler former = rwSetErrHandler([](const RWxmsg&) { ++errors; });
  Item one(1);
  RWOrdered ordered;
  RWSlistCollectables list;
  RWCString text("abc");
  ordered.insert(&one);
  list.insert(&one);
  EXPECT_EQ(text(3, 5), "");
  EXPECT_EQ(errors, 0);
  EXPECT_EQ(ordered.at(1), nullptr);
  EXPECT_EQ(ordered.removeAt(1), nullptr);
  EXPECT_EQ(list.at(1), nullptr);
  EXPECT_EQ(text[3], '\0');
  EXPECT_EQ(text(4, 1), "");
  EXPECT_EQ(text.replace(4, 1, "x", 1), "abc");
  EXPECT_EQ(errors, 6);
  rwSetErrHandler(former);
}

TEST(Collections, OrderOfIteration) {
  Item items[] = {Item(12, "a"), Item(21), Item(2), Item(12, "b"), Item(15), Item(9)};
  RWHashTable table(5);  // buckets by the last digit modulo 5
  RWBinaryTree tree;
  for (Item& item : items) table.insert(&item), tree.insert(&item);
  EXPECT_EQ(shown(tree), "2 9 12a 12b 15 21");
  EXPECT_EQ(shown(table), "15 21 12a 2 12b 9");
  table.insert(table.remove(&items[2]));
  EXPECT_EQ(shown(table), "15 21 12a 12b 2 9");
}

TEST(HashTable, AgreesWithAPlainListUnderRandomUse) {
  std::mt19937 random(20);
  std::deque<Item> items;
  for (int i = 0; i < 600; ++i) items.emplace_back(i % 200);
  std::vector<const RWCollectable*> model;
  RWHashTable table(7);
  for (int step = 0; step < 20'000; ++step) {
    Item* item = &items[random() % items.size()];
    if (random() % 3 != 0 && std::find(model.begin(), model.end(), item) == model.end()) {
      table.insert(item);
      model.push_back(item);
    } else if (const RWCollectable* const removed = table.remove(item)) {
      ASSERT_TRUE(item->isEqual(removed) && std::erase(model, removed) == 1U);
    }
    ASSERT_EQ(table.find(item) != nullptr,
              std::any_of(model.begin(), model.end(), [&](auto* other) { return item->isEqual(other); }));
    ASSERT_EQ(table.entries(), model.size());
  }
}

// None of these would end in a minute if the cost of one operation grew with the number of members.
TEST(Collections, StayFlatWithManyMembers) {
  constexpr int count = 300'000;
  RWHashTable table(1);
  RWBinaryTree tree;
  for (int i = 0; i < count; ++i) table.insert(new Item(i)), tree.insert(new Item(i));
  for (int i = 0; i < count; ++i) table.insert(new Item(-1)), tree.insert(new Item(-1));
  const Item crowd(-1);
  for (int i = 0; i < count; ++i) {
    const Item wanted(i);
    ASSERT_EQ(static_cast<const Item*>(table.find(&wanted))->key, i);
    table.removeAndDestroy(&crowd);
  }
  EXPECT_EQ(table.entries(), std::size_t{count});
  table.clearAndDestroy();
  tree.clearAndDestroy();
}

TEST(String, Editing) {
  RWCString text("hello");
  EXPECT_EQ(text.replace(1, 3, "i", 1), "hio");
  EXPECT_EQ(text.replace(2, 100, "!?", 2), "hi!?");
  text.resize(6);
  EXPECT_EQ(text.remove(2), "hi");
  EXPECT_EQ(RWCString("xxx").strip(RWCString::both, 'x'), "");
  EXPECT_TRUE(RWCString(static_cast<const char*>(nullptr)).isNull());
  RWCString mixed("aZ\xC3\xA9{");
  mixed.toUpper();
  EXPECT_EQ(mixed, "AZ\xC3\xA9{");
}

TEST(String, ComparingSearchingTokenizing) {
  constexpr auto fold = RWCString::ignoreCase;
  EXPECT_GT(RWCString("\xFF").compareTo("a"), 0);
  EXPECT_GT(RWCString("\xFF").compareTo("a", fold), 0);
  EXPECT_GT(RWCString("abc").compareTo("ab", fold), 0);
  EXPECT_FALSE(RWCString("YES").equals("yesx", fold));
  EXPECT_EQ(RWCString("one Two two").index("TWO", 5, fold), 8U);
  EXPECT_EQ(RWCString("one Two two").index("two", 99), RW_NPOS);

  const RWCString parts("  a\tb;;c d\0e\n", 13);
  RWCTokenizer next(parts);
  EXPECT_EQ(next(), "a");
  EXPECT_EQ(next(";"), "\tb");
  EXPECT_EQ(next("; "), "c");
  for (const char* rest : {"d", "e", "", ""}) EXPECT_EQ(next(), rest);
}

}  // namespace
