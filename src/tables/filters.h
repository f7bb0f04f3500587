#pragma once
// What a query asks of a table beside its node: values for columns (filters), and, in the filter PARMA, an
// order, a limit and whether to make do with what is held. Everything here lives for one query, on the
// framework's thread; nothing is shared.

#include <array>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "foundation/string.h"
#include "framework/tqbox.h"
#include "runtime/return_code.h"
#include "samples/resource_anchor.h"

class ZOVAgentFrameworkComponentTraceEntry;

namespace zov {

/// A query's filters as anchors.
using ResourceAnchors = std::vector<std::unique_ptr<ZOVResourceAnchor>>;

enum SortOrder { SortAscending = 0, SortDescending = 1 };
enum GetNewSample { TakeNewSample = 0, UseHeldSample = 1 };
enum SortValueType { SortByValue = 0, SortByRate = 1, SortByPercent = 2 };

/// One sortable column of a table: the sample key behind it, and what of that key is compared. A table's list
/// ends with a null name.
struct KeywordTableEntry {
  const char* columnName;  ///< lower case
  unsigned int keyword;
  SortValueType valueType;
};

/// One column that a table filters by, and where its value goes.
struct FilterTableDef {
  RWCString* target;
  const char* columnName;  ///< upper case
};

/// What a PARMA filter asks for: "TOP;NEW_SAMP;1;COLUMN;mem_free;ROWS;10;ORDER;ASC".
struct ExtendedFilter {
  virtual ~ExtendedFilter() = default;
  unsigned int rows = 0;  ///< the row limit; 0 is none
  SortOrder sortOrder = SortDescending;
  GetNewSample getNewSample = TakeNewSample;
  unsigned int sortKeyword = 0;  ///< 0 is no sort
  SortValueType sortValueType = SortByValue;
};

/// Reads the filters of a request into the targets; the last of several for one column stands. The values go
/// to `entry` too, and with `dump` to the trace. `entry` and `sortFilter` may be null; without `sortFilter`
/// PARMA is ignored, else the first one that asks for something counts.
void readFilters(tqbox& request, std::span<const FilterTableDef> targets, bool dump,
                 ZOVAgentFrameworkComponentTraceEntry* entry, const KeywordTableEntry* keywords,
                 std::unique_ptr<ExtendedFilter>* sortFilter);

/// Reads a PARMA filter; null when it does not ask for anything. Without `keywords` there is no sort.
std::unique_ptr<ExtendedFilter> readSortFilter(const QFL1_FILTERINFO& info,
                                               const KeywordTableEntry* keywords);

/// Traces a request that found no resource, with its filters; other codes pass unnoticed.
void traceMissingResource(tqbox& request, const ZOVReturnCode& rc, const char* subnode,
                          ZOVSample::_SampleType type);

/// A column that a table filters by, and what it counts as in a query that has no value for it.
struct Filter {
  constexpr Filter(const char* upperName, int number, bool doesSelect = true)
      : column(upperName), isNumber(true), wildcard(number), selects(doesSelect) {}
  constexpr Filter(const char* upperName, const char* /*empty*/, bool doesSelect = true)
      : column(upperName), selects(doesSelect) {}

  const char* column;  ///< upper case
  bool isNumber = false;
  int wildcard = 0;     ///< of a number; that of a text is empty
  bool selects = true;  ///< false: the table makes nothing of it, or only asks other servers
};

/// The values of a query's filters, by column.
class FilterValues {
 public:
  static constexpr std::size_t MaximumFilters = 12;
  /// At most MaximumFilters, which live as long.
  explicit FilterValues(std::span<const Filter> filters);
  FilterValues(const FilterValues&) = delete;
  FilterValues& operator=(const FilterValues&) = delete;

  /// The column's value, or the wildcard when the query has none.
  const RWCString& value(std::string_view column, const char* wildcard = "") const;
  int value(std::string_view column, int wildcard) const;
  std::span<const FilterTableDef> targets() const { return {_targets.data(), _filters.size()}; }

 private:
  std::span<const Filter> _filters;
  std::array<RWCString, MaximumFilters> _values;
  std::array<FilterTableDef, MaximumFilters> _targets{};
};

}  // namespace zov
