#include "hub/api/rows.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <map>

#include "hub/api/nodes.h"
#include "hub/api/rows_work.h"
#include "hub/api/tables.h"
#include "hub/api/top_filter.h"
#include "hub/core/registry.h"
#include "hub/core/settings.h"

namespace zov::hub {
namespace {

constexpr const char* originColumn = "ORIGINNODE";
constexpr const char* parmColumn = "PARMA";

/// Reads a count of rows: "", or a sentence about what is wrong.
std::string takeCount(const std::string& name, const std::string& value, std::size_t least,
                      std::size_t& target) {
  constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), target);
  if (error == std::errc() && end == value.data() + value.size() && target >= least && target <= most)
    return "";
  return name + " is " + quoted(value) + "; accepted are whole numbers from " + std::to_string(least) +
         " to " + std::to_string(most);
}

/// What a query's parameters say.
class RowsQuery {
 public:
  RowsQuery(std::shared_ptr<const Table> table, RowForm form) : _table(std::move(table)), _form(form) {}

  /// "" or a sentence about what is wrong.
  std::string take(const Parameter& parameter);
  /// To be called once all parameters are in: the first node that there is not, or "".
  std::string findNodes();
  RowsQuestion question() const;

 private:
  std::string takeTimeout(const std::string& value);
  std::string takeNames(const std::string& value);
  std::string takeOrder(std::string_view value);
  /// All columns, each behind a blank.
  std::string columnNames() const;
  std::string takeFilter(const Column& column, const std::string& value);
  /// What the rows must have that the table does not see to by itself.
  std::vector<Threshold> thresholds() const;
  /// How far the table and how far the hub goes by the PARMA.
  void limit(ContextInfo& context) const;
  /// The nodes given; else the one that a filter on ORIGINNODE names; else all registered subnodes.
  std::vector<std::string> addressedNodes() const;
  ContextInfo contextFor(std::vector<std::string> nodes) const;
  /// Of one node, as a table reads history of one node or of all.
  ContextInfo historyOf(const std::string& node) const;

  std::shared_ptr<const Table> _table;
  bool _history = false;
  int _seconds = limits().querySeconds;
  RowForm _form;
  Paging _paging;
  std::vector<std::string> _nodes;
  std::vector<Filter> _filters;
  std::string _parma;  // as given; empty: none
  TopFilter _top;
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
  if (name == "names") return takeNames(value);
  if (name == "limit") return takeCount(name, value, 1, _paging.limit);
  if (name == "offset") return takeCount(name, value, 0, _paging.offset);
  if (name == "order") return takeOrder(value);
  if (equalsIgnoringCase(name, parmColumn)) {
    if (!_parma.empty()) return "PARMA is given more than once; accepted is one";
    _parma = value;
    return _top.read(value, *_table);
  }
  if (const Column* column = _table->find(name)) return takeFilter(*column, value);

  return "there is no parameter " + quoted(name) + " of the table " + _table->manager->table() +
         "; accepted are node, history, timeout, names, limit, offset, order, PARMA and the columns" +
         columnNames();
}

std::string RowsQuery::columnNames() const {
  std::string names;
  for (const Column& column : _table->columns) names += ' ' + column.upperName;
  return names;
}

std::string RowsQuery::takeNames(const std::string& value) {
  if (value != "readable" && value != "stated") {
    return "names is " + quoted(value) + "; accepted are readable and stated";
  }
  _form.readable = value == "readable";
  return "";
}

std::string RowsQuery::takeOrder(std::string_view value) {
  _paging.descending = value.starts_with('-');
  _paging.order = _table->find(value.substr(_paging.descending ? 1 : 0));
  if (_paging.order != nullptr) return "";
  return "order is " + quoted(value) + "; accepted is a column, or - and a column, of" + columnNames() +
         ", or by its readable name";
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

std::string RowsQuery::findNodes() {
  for (std::string& node : _nodes) {
    std::string registered = registeredNode(node);
    if (registered.empty()) return node;
    node = std::move(registered);
  }
  for (Filter& filter : _filters) {
    if (filter.column != originColumn) continue;
    // One that is not known may still stand in rows that are not of a server.
    if (std::string registered = registeredNode(filter.text); !registered.empty()) filter.text = registered;
  }
  return "";
}

std::vector<Threshold> RowsQuery::thresholds() const {
  std::map<std::string, std::string> wanted;  // the last filter of a column stands
  for (const Filter& filter : _filters) {
    const bool isNumber = filter.type == QFL1_INTEGER;
    const auto own = std::ranges::find_if(_table->abilities.filters,
                                          [&](const auto& each) { return filter.column == each.column; });
    if (own != _table->abilities.filters.end()) {
      const bool any = isNumber ? own->isNumber && filter.number == own->anyNumber : filter.text.empty();
      if (own->selects || any) {
        wanted.erase(filter.column);
        continue;
      }
    }
    wanted[filter.column] = isNumber ? std::to_string(filter.number) : filter.text;
  }
  std::vector<Threshold> result;
  result.reserve(wanted.size());
  for (auto& [column, value] : wanted) result.push_back({column, _IntfOper::Equal, value});
  return result;
}

void RowsQuery::limit(ContextInfo& context) const {
  if (_paging.order == nullptr) context.rowsOfSubnode = _paging.wanted();
  if (_parma.empty()) return;
  // A limit counts the rows that pass, so it is the hub's where the hub has more to drop.
  const bool byHub = _top.rows != 0 && (!_table->abilities.limitsRows || !context.thresholds.empty());
  if (byHub) {
    const std::size_t most = context.rowsOfSubnode;
    context.rowsOfSubnode = most == 0 ? _top.rows : std::min<std::size_t>(most, _top.rows);
  }
  context.filters.push_back(Filter::ofText(parmColumn, byHub ? _top.withoutLimit() : _parma));
}

std::vector<std::string> RowsQuery::addressedNodes() const {
  if (!_nodes.empty()) return _nodes;
  const auto origin = std::find_if(_filters.rbegin(), _filters.rend(),
                                   [](const Filter& filter) { return filter.column == originColumn; });
  if (origin != _filters.rend() && !origin->text.empty()) return {origin->text};
  return Registry::instance().subnodeNames();
}

ContextInfo RowsQuery::contextFor(std::vector<std::string> nodes) const {
  ContextInfo context;
  context.history = _history;
  context.filters = _filters;
  context.thresholds = thresholds();
  limit(context);
  context.subnodes = std::move(nodes);
  return context;
}

ContextInfo RowsQuery::historyOf(const std::string& node) const {
  ContextInfo context = contextFor({node});
  if (_table->find(originColumn) != nullptr) context.filters.push_back(Filter::ofText(originColumn, node));
  return context;
}

RowsQuestion RowsQuery::question() const {
  RowsQuestion question{_table, {}, std::chrono::seconds(_seconds), _form, _paging};
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
  const bool csv = preferredType(call.accept, {"application/json", "text/csv"}) == 1;
  RowsQuery query(std::move(table), {.readable = false, .csv = csv});
  for (const Parameter& parameter : call.parameters) {
    if (const std::string wrong = query.take(parameter); !wrong.empty()) return Answer::error(400, wrong);
  }
  if (const std::string unknown = query.findNodes(); !unknown.empty()) return noSuchNode(unknown);
  return std::make_shared<RowsWork>(query.question());
}

}  // namespace zov::hub
