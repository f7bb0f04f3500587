#pragma once
// ZOVSampleTable: the road that 26 of the tables share: read the query's filters, make the filter anchor,
// walk the servers, and turn each sample into a row as the table's columns say. A table adds which anchor its
// filters make, and what of its row the columns cannot say.
//
// All of TakeSample runs in a recovery frame; a failure ends the query with the rows that were sent so far.
// The row is on TakeSample's stack; nothing is allocated per row.

#include <array>
#include <memory>
#include <vector>

#include "diag/component_trace.h"
#include "tables/table.h"

/// The values of a query's filters, by column.
class ZOVFilterValues {
 public:
  static constexpr std::size_t MaximumColumns = 12;
  explicit ZOVFilterValues(std::span<const char* const> columns);

  const RWCString& text(std::string_view column) const;     ///< empty when the query has none
  int number(std::string_view column, int wildcard) const;  ///< the wildcard when the query has none
  const ZOVFilterTableDef* definitions() const { return _definitions.data(); }
  int size() const { return static_cast<int>(_columns.size()); }

 private:
  std::span<const char* const> _columns;
  std::array<RWCString, MaximumColumns> _values;
  std::array<ZOVFilterTableDef, MaximumColumns> _definitions{};
};

class ZOVSampleTable : public ZOVTable {
 public:
  using Anchors = std::vector<std::unique_ptr<ZOVResourceAnchor>>;

  ZOVSampleTable(RequestDetail* detail, ContextInfo* context, TableManager* manager, const ZOVTableInfo& info)
      : ZOVTable(detail, context, manager, info) {}

  void TakeSample() override;
  /// Decides whether this request serves historical collection. Called once, right after construction.
  void TakeSampleConstructor() { _history = IsHistoryRequest() != 0 ? 1 : 0; }
  /// Receives a sample of a walk: into the query's tree, or as a row. Answers 0.
  static unsigned int sampleCallback(ZOVSampleCallbackParms* parms, const void* sample,
                                     const ZOVApplicationServerBase* server);

 protected:
  /// The filters as anchors; they are asked for one after the other.
  virtual Anchors makeAnchors(const ZOVFilterValues& filters) const = 0;
  /// What the columns' keys cannot say. `row` holds everything else already; server may be null.
  virtual void computeColumns(unsigned char* row, const ZOVSample& sample,
                              const ZOVApplicationServerBase& server);
  /// Whether the samples are to be gathered and sorted before they become rows.
  virtual bool sortsBy(const ZOVExtendedFilter& filter) const { return filter.sortKeyword != 0; }
  virtual const ZOVKeywordTableEntry* keywordTable() const { return _info.keywords; }

  template <class Anchor, class... A>
  static Anchors oneAnchor(const A&... arguments) {
    Anchors anchors;
    anchors.push_back(std::make_unique<Anchor>(arguments...));
    return anchors;
  }

 private:
  struct Query;
  void runQuery(Query& query);
  void takeSubnode(Query& query, const char* subnode);
  void emitSorted(Query& query, RWBinaryTree& tree);
  void fillKeyColumns(const ZOVFilterValues& filters);
  void fillRow(const ZOVSample& sample, const ZOVApplicationServerBase& server);
  void fillColumn(const ZOVColumn& column, const ZOVSample& sample, const ZOVApplicationServerBase& server);
  void fillServerColumn(const ZOVColumn& column, const ZOVApplicationServerBase& server);
  void emitRow(const ZOVSample& sample, const ZOVApplicationServerBase& server);
  bool accepts(const ZOVSample& sample) const;

  int _history = 0;                                      // 1 when this request serves historical collection
  unsigned char* _row = nullptr;                         // on TakeSample's stack, for the length of the call
  const ZOVApplicationServerBase* _rowServer = nullptr;  // whose names stand in the row
  long long _rowSampleTime = -1;                         // the time that stands in the row
  unsigned int _rowsSent = 0;                            // of the present subnode
  int _tracedRows = 0;
  ZOVAgentFrameworkComponentTraceEntry* _componentTraceEntry = nullptr;
};
