#pragma once
// ZOVStringAbbreviationTable: the short forms ("#" and a decimal number) under which one server's collector
// sends its long texts. The collector tells each text once; a text that really begins with "#" is sent with
// the "#" doubled.
//
// Collector threads define and look up; readers of tables never come here, since samples are converted as
// they arrive. The table has its own lock: exclusive for changes, shared for look-ups, which give copies.
// An unknown short form is no error.

#include <atomic>
#include <optional>

#include "foundation/collections.h"
#include "foundation/lookup_hash.h"
#include "runtime/collectable.h"
#include "runtime/lock.h"
#include "runtime/memory_account.h"

class ZOVStringAbbreviationSample;

class ZOVStringAbbreviationTable : private RWHashTable {
 public:
  /// One short form and its text.
  class Entry : public ZOVCollectable {
   public:
    Entry(std::string_view itsFullString, std::string_view itsAbbreviation);
    RWClassID isA() const override { return 31080; }
    unsigned int hash() const override { return hashValue; }
    unsigned int lookupHash() const override { return RWLookupHash().add(abbreviation.view()).value(); }
    /// By the abbreviation alone.
    bool isEqual(const RWCollectable* other) const override;
    const RWCString& getFullString() const { return fullString; }
    const RWCString& getAbbreviation() const { return abbreviation; }
    /// What it takes of memory, with its place in the table.
    std::size_t memoryBytes() const;

   private:
    RWCString fullString, abbreviation;
    unsigned int hashValue;  // the number behind the "#"
  };

  explicit ZOVStringAbbreviationTable(unsigned int size);
  ~ZOVStringAbbreviationTable() override;

  /// The newest definition of a short form stands: null. One that does not fit in a budget, which is then the
  /// answer, is dropped; so is the one that it was to replace, for that text is not meant any more.
  const ZOVBudget* createAbbreviation(const ZOVStringAbbreviationSample& sample);
  /// A copy of the text, or nothing when the short form is unknown.
  std::optional<RWCString> getFullStringForAbbreviation(std::string_view abbreviation) const;
  void clearAndDestroy();
  using RWHashTable::entries;

  /// "#" and something behind it that is not another "#".
  static bool isAbbreviatedString(std::string_view text);
  /// Two leading "#" become one; anything else stays.
  static void convertNonAbbreviatedString(RWCString& text);

 private:
  void drop(const Entry& wanted) ZOV_REQUIRES(_lock);

  mutable ZOVLock _lock{"StringAbbreviationTable"};
  zov::MemoryAccount _memory{zovBudgets().abbreviations, &zov::MemoryAccount::allServers()};
  // The entry found or made last: serves runs of one text in a poll. Written under a shared hold too; it only
  // ever is null or an entry of the table.
  mutable std::atomic<const Entry*> lastEntry{nullptr};
};
