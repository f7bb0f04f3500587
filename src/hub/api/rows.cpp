#include "hub/api/rows.h"

#include <algorithm>
#include <charconv>

#include "hub/api/rows_work.h"
#include "hub/api/tables.h"
#include "hub/core/registry.h"
#include "hub/core/settings.h"

namespace zov::hub {
namespace {

constexpr const char* originColumn = "ORIGINNODE";
constexpr const char* parmColumn = "PARMA";

/// What a query's parameters say.
class RowsQuery {
 public:
  explicit RowsQuery(std::shared_ptr<const Table> table) : _table(std::move(table)) {}

  /// "" or a sentence about what is wrong.
  std::string take(const Parameter& parameter);
  RowsQuestion question() const;

 private:
  std::string takeTimeout(const std::string& value);
  std::string takeFilter(const Column& column, const std::string& value);
  /// The nodes given; else the one that a filter on ORIGINNODE names; else all registered subnodes.
  std::vector<std::string> addressedNodes() const;
  ContextInfo contextFor(std::vector<std::string> nodes) const;
  /// Of one node, as a table reads history of one node or of all.
  ContextInfo historyOf(const std::string& node) const;

  std::shared_ptr<const Table> _table;
  bool _history = false;
  int _seconds = limits().querySeconds;
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
  if (name == "timeout") return takeTimeout(value);
  if (name == parmColumn) {
    _filters.push_back(Filter::ofText(name, value));
    return "";
  }
  if (const Column* column = _table->find(name)) return takeFilter(*column, value);

  std::string wrong = "there is no parameter " + quoted(name) + " of the table " + _table->manager->table() +
                      "; accepted are node, history, timeout, PARMA and the columns";
  for (const Column& column : _table->columns) wrong += ' ' + column.upperName;
  return wrong;
}

std::string RowsQuery::takeTimeout(const std::string& value) {
  int seconds = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), seconds);
  if (error != std::errc() || end != value.data() + value.size() || seconds < 1 ||
      seconds > limits().mostQuerySeconds) {
    return "timeout is " + quoted(value) + "; accepted are whole seconds from 1 to " +
           std::to_string(limits().mostQuerySeconds);
  }
  _seconds = seconds;
  return "";
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

ContextInfo RowsQuery::contextFor(std::vector<std::string> nodes) const {
  ContextInfo context;
  context.history = _history;
  context.filters = _filters;
  context.subnodes = std::move(nodes);
  return context;
}

ContextInfo RowsQuery::historyOf(const std::string& node) const {
  ContextInfo context = contextFor({node});
  if (_table->find(originColumn) != nullptr) context.filters.push_back(Filter::ofText(originColumn, node));
  return context;
}

RowsQuestion RowsQuery::question() const {
  RowsQuestion question{_table, {}, std::chrono::seconds(_seconds)};
  const std::vector<std::string> nodes = addressedNodes();
  const bool waits = _table->manager->WaitsForSubnodes();
  if (nodes.empty() || (!waits && (!_history || _nodes.empty()))) {
    question.contexts.push_back(contextFor(nodes));
    return question;
  }
  for (const std::string& node : nodes) {
    question.contexts.push_back(_history ? historyOf(node) : contextFor({node}));
  }
  return question;
}

}  // namespace

Reply queryRows(const Call& call) {
  auto table = Registry::instance().table(call.subject);
  if (table == nullptr) return noSuchTable(call.subject);
  RowsQuery query(std::move(table));
  for (const Parameter& parameter : call.parameters) {
    if (const std::string wrong = query.take(parameter); !wrong.empty()) return Answer::error(400, wrong);
  }
  return std::make_shared<RowsWork>(query.question());
}

}  // namespace zov::hub
