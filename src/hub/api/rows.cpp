#include "hub/api/rows.h"

#include <algorithm>
#include <charconv>

#include "hub/api/json.h"
#include "hub/api/tables.h"
#include "hub/core/registry.h"
#include "hub/core/request.h"
#include "hub/core/settings.h"
#include "hub/core/visit.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHROWS");

namespace zov::hub {
namespace {

constexpr const char* originColumn = "ORIGINNODE";
constexpr const char* parmColumn = "PARMA";

/// One query. Filled on one thread and run on another; a copy for each run.
class RowsQuery {
 public:
  explicit RowsQuery(std::shared_ptr<const Table> table) : _table(std::move(table)) {}

  /// "" or a sentence about what is wrong.
  std::string take(const Parameter& parameter);
  Answer run(const std::atomic<bool>& givenUp) const;

 private:
  std::string takeFilter(const Column& column, const std::string& value);
  /// The nodes given; else the one that a filter on ORIGINNODE names; else all registered subnodes.
  std::vector<std::string> addressedNodes() const;
  /// What to ask of the table. History of nodes is asked for once for each, as a table reads history of one
  /// node or of all.
  std::vector<ContextInfo> requests(const std::atomic<bool>& givenUp) const;

  std::shared_ptr<const Table> _table;
  bool _history = false;
  std::vector<std::string> _nodes;
  std::vector<Filter> _filters;
};

std::string RowsQuery::take(const Parameter& parameter) {
  const std::string& name = parameter.name;
  const std::string& value = parameter.value;
  if (name == "node") {
    if (value.empty()) return "node is empty; accepted is the name of a subnode, see /v1/nodes";
    _nodes.push_back(value);
    return "";
  }
  if (name == "history") {
    if (value != "0" && value != "1") return "history is " + quoted(value) + "; accepted are 1 and 0";
    _history = value == "1";
    return "";
  }
  if (name == parmColumn) {
    _filters.push_back(Filter::ofText(name, value));
    return "";
  }
  if (const Column* column = _table->find(name)) return takeFilter(*column, value);

  std::string wrong = "there is no parameter " + quoted(name) + " of the table " + _table->manager->table() +
                      "; accepted are node, history, PARMA and the columns";
  for (const Column& column : _table->columns) wrong += ' ' + column.upperName;
  return wrong;
}

std::string RowsQuery::takeFilter(const Column& column, const std::string& value) {
  if (column.type != ColumnInfo_Integer) {
    const auto type = column.type == ColumnInfo_Utf8Text ? QFL1_VARIABLE_TEXT : QFL1_TEXT;
    _filters.push_back(Filter::ofText(column.upperName, value, type));
    return "";
  }
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end != value.data() + value.size()) {
    return column.upperName + " is " + quoted(value) +
           "; accepted is an integer from -2147483648 to 2147483647";
  }
  _filters.push_back(Filter::ofNumber(column.upperName, number));
  return "";
}

std::vector<std::string> RowsQuery::addressedNodes() const {
  if (!_nodes.empty()) return _nodes;
  const auto origin = std::find_if(_filters.rbegin(), _filters.rend(),
                                   [](const Filter& filter) { return filter.column == originColumn; });
  if (origin != _filters.rend()) return {origin->text};
  return Registry::instance().subnodeNames();
}

std::vector<ContextInfo> RowsQuery::requests(const std::atomic<bool>& givenUp) const {
  ContextInfo context;
  context.history = _history;
  context.givenUp = &givenUp;
  context.filters = _filters;
  if (!_history || _nodes.empty()) {
    context.subnodes = addressedNodes();
    return {context};
  }
  std::vector<ContextInfo> contexts;
  for (const std::string& node : _nodes) {
    contexts.push_back(context);
    contexts.back().subnodes = {node};
    if (_table->find(originColumn) != nullptr) {
      contexts.back().filters.push_back(Filter::ofText(originColumn, node));
    }
  }
  return contexts;
}

Answer RowsQuery::run(const std::atomic<bool>& givenUp) const {
  const std::string& name = _table->manager->table();
  const auto nodes = std::make_shared<NodeReports>();
  bool overflowed = false;
  Answer answer = jsonAnswer([&](JsonWriter& writer) {
    writer.StartObject();
    writeMember(writer, "table", name);
    writeKey(writer, "rows");
    writer.StartArray();
    for (ContextInfo& context : requests(givenUp)) {
      context.nodes = nodes;
      const Visit visit;
      Request request(*_table->manager, std::move(context));
      request.box().TakeSample();
      overflowed = request.context().overflowed;
      if (overflowed) return;
      const std::int32_t count = request.box()._data.count;
      DGT1_Printf(traceUnit, DGT1_DETAIL, "Table %s gave %d rows", name.c_str(), count);
      for (std::int32_t i = 0; i < count; ++i) writeRow(writer, *_table, request.box().rowAt(i));
    }
    writer.EndArray();
    writeNodes(writer, nodes->all());
    writer.EndObject();
  });
  if (!overflowed) return answer;
  return Answer::error(400, "the rows of " + name + " have more than " + std::to_string(limits().rowBytes) +
                                " bytes; narrow the query by node, a column, or PARMA=TOP;ROWS;n");
}

}  // namespace

Reply queryRows(const Call& call) {
  auto table = Registry::instance().table(call.subject);
  if (table == nullptr) return noSuchTable(call.subject);
  RowsQuery query(std::move(table));
  for (const Parameter& parameter : call.parameters) {
    if (const std::string wrong = query.take(parameter); !wrong.empty()) return Answer::error(400, wrong);
  }
  return Work([query = std::move(query)](const std::atomic<bool>& givenUp) { return query.run(givenUp); });
}

}  // namespace zov::hub
