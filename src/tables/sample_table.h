#pragma once
// SampleTable: the road that 26 of the tables share: read the query's filters, make the filter anchors, walk
// the servers, and turn each sample into a row as the table's columns say. A table adds what of its row the
// columns cannot say.
//
// All of TakeSample runs in a recovery frame; a failure ends the query with the rows that were sent so far.
// The row is on TakeSample's stack; nothing is allocated per row.

#include <memory>

#include "diag/component_trace.h"
#include "tables/sorted_sample.h"
#include "tables/table.h"

namespace zov {

class TableServices;

class SampleTable : public Table {
 public:
  using Table::Table;

  void TakeSample() override;
  /// Decides whether this request serves historical collection. Called once, right after construction.
  void TakeSampleConstructor() { _history = IsHistoryRequest() != 0 ? 1 : 0; }
  /// Receives a sample of a walk: into the query's tree, or as a row. Answers 0.
  static unsigned int sampleCallback(ZOVSampleCallbackParms* parms, const void* sample,
                                     const ZOVApplicationServerBase* server);

 protected:
  /// What the columns' sources cannot say. `row` is the table's row, and holds everything else already.
  virtual void computeColumns(void* /*row*/, const ZOVSample& /*sample*/,
                              const ZOVApplicationServerBase& /*server*/) {}
  /// Sends the rows of a sample, by emitRow: one, unless a table says otherwise.
  virtual void emitRows(void* row, const ZOVSample& sample, const ZOVApplicationServerBase& server);
  /// Sends the row as it stands, unless the subnode has as many rows as the query wants.
  void emitRow();

 private:
  struct Query;
  void runQuery(Query& query);
  void takeSubnode(Query& query, const char* subnode);
  void emitSorted(Query& query, RWBinaryTree& tree);
  bool sortsBy(const ExtendedFilter& filter) const;
  void fillKeyColumns(const FilterValues& filters);
  void fillRow(const ZOVSample& sample, const ZOVApplicationServerBase& server);
  void fillColumn(const Column& column, const ZOVSample& sample, const ZOVApplicationServerBase& server);
  void fillServerColumn(const Column& column, const ZOVApplicationServerBase& server);
  bool hasAllRows() const { return _rowLimit != 0 && _rowsSent >= _rowLimit; }
  bool accepts(const ZOVSample& sample) const;

  int _history = 0;                                      // 1 when this request serves historical collection
  TableServices* _services = nullptr;                    // for the length of TakeSample, as what follows
  const char* _subnode = nullptr;                        // that is being asked
  unsigned char* _row = nullptr;                         // on TakeSample's stack
  const ZOVApplicationServerBase* _rowServer = nullptr;  // whose names stand in the row
  long long _rowSampleTime = -1;                         // the time that stands in the row
  unsigned int _rowLimit = 0;                            // of a subnode; 0 is none
  unsigned int _rowsSent = 0;                            // of the present subnode
  int _rowNumber = 0;                                    // of the present sample, in the whole query
  int _tracedRows = 0;
  ZOVAgentFrameworkComponentTraceEntry* _componentTraceEntry = nullptr;
};

}  // namespace zov
