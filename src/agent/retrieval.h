#pragma once
// What a table query and the agent tell each other on the road from a query to rows: the query's filters, its
// request for a sort and a limit (the PARMA filter), and what the callback of a walk receives. Everything
// here lives for one query, on the framework's thread; nothing is shared.

#include <memory>
#include <vector>

#include "foundation/collections.h"
#include "foundation/string.h"
#include "framework/tqbox.h"
#include "samples/resource_anchor.h"
#include "samples/sample.h"

class ZOVApplicationServerBase;

enum ZOVSortOrder { SortAscending = 0, SortDescending = 1 };
enum ZOVGetNewSample { TakeNewSample = 0, UseHeldSample = 1 };
enum ZOVSortValueType { SortByValue = 0, SortByRate = 1, SortByPercent = 2 };

/// One sortable column of a table: the sample key behind it, and what of that key is compared. A table's list
/// ends with a null name.
struct ZOVKeywordTableEntry {
  const char* columnName;  ///< lower case
  unsigned int keyword;
  ZOVSortValueType valueType;
};

/// One column that a table filters by, and where its value goes.
struct ZOVFilterTableDef {
  RWCString* target;
  const char* columnName;  ///< upper case
};

/// What a PARMA filter asks for: "TOP;NEW_SAMP;1;COLUMN;mem_free;ROWS;10;ORDER;ASC".
struct ZOVExtendedFilter {
  virtual ~ZOVExtendedFilter() = default;
  unsigned int rows = 0;  ///< the row limit; 0 is none
  ZOVSortOrder sortOrder = SortDescending;
  ZOVGetNewSample getNewSample = TakeNewSample;
  unsigned int sortKeyword = 0;  ///< 0 is no sort
  ZOVSortValueType sortValueType = SortByValue;
};

/// What a table's sampleCallback receives beside a sample.
struct ZOVSampleCallbackParms {
  tqbox* request = nullptr;
  const ZOVExtendedFilter* filter = nullptr;
  RWBinaryTree* sortTree = nullptr;  ///< when set, samples are put here instead of becoming rows
  /// The servers that were asked: they stay alive until the samples in the tree have become rows.
  std::vector<std::shared_ptr<ZOVApplicationServerBase>> servers;
};

/// A copy of a sample in the order that a query asked for. Equal ones keep the order of their insertion.
class ZOVSortedSample : public ZOVCollectable {
 public:
  ZOVSortedSample(std::unique_ptr<ZOVSample> sample, const ZOVExtendedFilter* filter,
                  const ZOVApplicationServerBase* server)
      : _sample(std::move(sample)), _filter(filter), _server(server), _value(sortValue()) {}
  /// By the filter's value, negated for a descending order; 0 without a filter.
  int compareTo(const RWCollectable* other) const override;
  const ZOVSample& sample() const { return *_sample; }
  const ZOVApplicationServerBase* server() const { return _server; }

 private:
  long long sortValue() const;

  std::unique_ptr<ZOVSample> _sample;
  const ZOVExtendedFilter* _filter;         // not owned
  const ZOVApplicationServerBase* _server;  // kept alive by the query's parms
  long long _value;
};
