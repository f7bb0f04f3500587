#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "foundation/collections.h"
#include "foundation/string.h"
#include "runtime/recovery.h"
#include "support/test_environment.h"
#include "support/trace_capture.h"

#ifndef __SANITIZE_ADDRESS__  // which pairs its own new with its own delete

namespace {
// How many allocations of the calling thread still succeed; below zero: all.
constinit thread_local long storageLeft = -1;

void* allocateWhileThereIs(std::size_t size) {
  if (storageLeft == 0) return nullptr;
  if (storageLeft > 0) --storageLeft;
  return std::malloc(size);
}
}  // namespace

void* operator new(std::size_t size) {
  if (void* storage = allocateWhileThereIs(size)) return storage;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocateWhileThereIs(size);
}
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // of a new that it has inlined
void operator delete(void* storage) noexcept {
  std::free(storage);
}
void operator delete(void* storage, std::size_t) noexcept {
  std::free(storage);
}

namespace {

/// Runs body with so many allocations left; the code that it raised, 0 for none.
template <class Body>
unsigned int codeOf(long allocations, Body body) {
  const auto failure = guarded("ZOVTSTOR", "storage", [&] {
    withCleanup(
        [&] {
          storageLeft = allocations;
          body();
        },
        [] { storageLeft = -1; });
  });
  return failure ? static_cast<unsigned int>(failure->getReturnCode()) : 0;
}

struct Member : RWCollectable {
  Member() { ++alive; }
  ~Member() override { --alive; }
  static inline int alive = 0;
};

TEST(Storage, ThatTheFoundationCannotHaveIsCodeOneAndChangesNothing) {
  TestEnvironment environment;
  TraceCapture quiet;
  static const std::string longText(1000, 'x');
  RWCString other(longText.c_str());
  Member member;
  RWSlistCollectables list;
  RWOrdered ordered(0);
  RWHashTable table;
  RWBinaryTree tree;
  const auto edited = [](auto edit) {
    return [edit] {
      RWCString text("kept");
      edit(text);
    };
  };
  const std::vector<std::function<void()>> operations{
      [&] { const RWCString made(longText.c_str()); },
      [&] { const RWCString copied(other); },
      edited([&](RWCString& text) { text = other; }),
      edited([&](RWCString& text) { text += other; }),
      edited([&](RWCString& text) { text.prepend(longText); }),
      edited([&](RWCString& text) { text.replace(1, 2, longText.data(), longText.size()); }),
      edited([&](RWCString& text) { text.resize(1000); }),
      edited([&](RWCString& text) { text.reserve(1000); }),
      [&] { other(10, 100); },
      [&] { list.append(&member); },
      [&] { list.prepend(&member); },
      [&] { ordered.insert(&member); },
      [&] { table.insert(&member); },
      [&] { tree.insert(&member); },
      [&] { tree.newIterator(); },
      [&] { const RWHashTable made; },
  };
  for (std::size_t i = 0; i < operations.size(); ++i) {
    EXPECT_EQ(codeOf(0, operations[i]), ZOV_FOUNDATION_STORAGE) << "operation " << i;
    EXPECT_EQ(codeOf(-1, [&] { operations[i](); }), 0U) << "operation " << i;
  }
  EXPECT_EQ(codeOf(0, [] { static_cast<void>(std::string(longText)); }), ZOV_OUT_OF_STORAGE) << "not its own";
  for (const std::size_t entries : {list.entries() / 2, ordered.entries(), table.entries(), tree.entries()}) {
    EXPECT_EQ(entries, 1U) << "put in when there was storage, and only then";
  }
}

TEST(Storage, MembersAreDestroyedWithoutIt) {
  TestEnvironment environment;
  TraceCapture quiet;
  RWSlistCollectables list;
  RWOrdered ordered;
  RWHashTable table;
  RWBinaryTree tree;
  for (RWCollection* collection : std::initializer_list<RWCollection*>{&list, &ordered, &table, &tree}) {
    for (const long allocations : {0L, 1L}) {
      Member* twice = new Member;
      for (Member* member : {twice, new Member, new Member, twice, new Member}) collection->insert(member);
      EXPECT_EQ(codeOf(allocations, [&] { collection->clearAndDestroy(); }), 0U);
      EXPECT_EQ(Member::alive, 0);
      EXPECT_TRUE(collection->isEmpty());
    }
  }
}

}  // namespace
#endif
