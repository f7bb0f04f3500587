#include "hub/api/query.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <charconv>

#include "hub/api/json.h"
#include "hub/core/settings.h"
#include "platform/trace.h"

static DGT1_Unit traceUnit("ZOVHQURY");

namespace {

constexpr const char* originColumn = "ORIGINNODE";
constexpr const char* parmColumn = "PARMA";

const char* typeName(const ZOVHubColumn& column) {
  if (column.type == ColumnInfo_Integer) return "int";
  return column.type == ColumnInfo_Utf8Text ? "utf8" : "text";
}

ZOVHubAnswer unknownTable(const std::string& name) {
  std::string sentence = "there is no table " + name + "; the tables are";
  for (const TableManager* manager : ZOVHubRegistry::instance().managers()) {
    sentence += ' ' + manager->table();
  }
  return ZOVHubAnswer::error(404, sentence);
}

std::string quoted(const std::string& text) {
  return '"' + text.substr(0, 80) + '"';
}

}  // namespace

ZOVHubAnswer ZOVHubAnswer::error(unsigned status, std::string_view sentence) {
  return {status, zovHubErrorBody(sentence)};
}

ZOVHubAnswer zovHubListTables() {
  ZOVHubAnswer answer;
  ZOVHubJsonStream stream(answer.body);
  ZOVHubJsonWriter writer(stream);
  writer.StartArray();
  for (const auto& table : ZOVHubRegistry::instance().tables()) {
    writer.StartObject();
    zovHubWriteKey(writer, "table");
    zovHubWriteText(writer, table->manager->table());
    zovHubWriteKey(writer, "application");
    zovHubWriteText(writer, table->manager->application());
    zovHubWriteKey(writer, "row_bytes");
    writer.Uint64(table->rowBytes);
    zovHubWriteKey(writer, "columns");
    writer.StartArray();
    for (const ZOVHubColumn& column : table->columns) {
      writer.StartObject();
      zovHubWriteKey(writer, "name");
      zovHubWriteText(writer, column.name);
      zovHubWriteKey(writer, "offset");
      writer.Uint(column.offset);
      zovHubWriteKey(writer, "size");
      writer.Uint(column.size);
      zovHubWriteKey(writer, "type");
      zovHubWriteText(writer, typeName(column));
      writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
  }
  writer.EndArray();
  answer.body += '\n';
  return answer;
}

ZOVHubAnswer zovHubListNodes() {
  const ZOVHubRegistry& registry = ZOVHubRegistry::instance();
  ZOVHubAnswer answer;
  ZOVHubJsonStream stream(answer.body);
  ZOVHubJsonWriter writer(stream);
  const auto member = [&](std::string_view key, std::string_view value) {
    zovHubWriteKey(writer, key);
    zovHubWriteText(writer, value);
  };
  writer.StartObject();
  member("agent", registry.agentNode());
  member("product", registry.product());
  member("version", ZOVHubRegistry::version);
  zovHubWriteKey(writer, "subnodes");
  writer.StartArray();
  for (const ZOVHubSubnode& subnode : registry.subnodes()) {
    writer.StartObject();
    member("name", subnode.name);
    member("affinity", subnode.affinity);
    member("version", subnode.version);
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
  answer.body += '\n';
  return answer;
}

ZOVHubQuery ZOVHubQuery::read(const std::string& table, const std::vector<ZOVHubParameter>& parameters,
                              ZOVHubAnswer& refusal) {
  ZOVHubQuery query;
  query._table = ZOVHubRegistry::instance().table(table);
  if (!query.valid()) {
    refusal = unknownTable(table);
    return query;
  }
  for (const ZOVHubParameter& parameter : parameters) {
    const std::string wrong = query.takeParameter(parameter);
    if (wrong.empty()) continue;
    refusal = ZOVHubAnswer::error(400, wrong);
    query._table = nullptr;
    return query;
  }
  return query;
}

std::string ZOVHubQuery::takeParameter(const ZOVHubParameter& parameter) {
  const auto& [name, value] = parameter;
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
    _filters.push_back(ZOVHubFilter::ofText(name, value));
    return "";
  }
  if (const ZOVHubColumn* column = _table->find(name)) return takeFilter(*column, value);

  std::string wrong = "there is no parameter " + quoted(name) + " of the table " + _table->manager->table() +
                      "; accepted are node, history, PARMA and the columns";
  for (const ZOVHubColumn& column : _table->columns) wrong += ' ' + column.upperName;
  return wrong;
}

std::string ZOVHubQuery::takeFilter(const ZOVHubColumn& column, const std::string& value) {
  if (column.type != ColumnInfo_Integer) {
    const auto type = column.type == ColumnInfo_Utf8Text ? QFL1_VARIABLE_TEXT : QFL1_TEXT;
    _filters.push_back(ZOVHubFilter::ofText(column.upperName, value, type));
    return "";
  }
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end != value.data() + value.size()) {
    return column.upperName + " is " + quoted(value) +
           "; accepted is an integer from -2147483648 to 2147483647";
  }
  _filters.push_back(ZOVHubFilter::ofNumber(column.upperName, number));
  return "";
}

std::vector<std::string> ZOVHubQuery::addressedNodes() const {
  if (!_nodes.empty()) return _nodes;
  const auto origin = std::find_if(_filters.rbegin(), _filters.rend(),
                                   [](const ZOVHubFilter& filter) { return filter.column == originColumn; });
  if (origin != _filters.rend()) return {origin->text};
  return ZOVHubRegistry::instance().subnodeNames();
}

std::vector<ContextInfo> ZOVHubQuery::requests(const std::atomic<bool>& givenUp) const {
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
      contexts.back().filters.push_back(ZOVHubFilter::ofText(originColumn, node));
    }
  }
  return contexts;
}

ZOVHubAnswer ZOVHubQuery::run(const std::atomic<bool>& givenUp) const {
  ZOVHubAnswer answer;
  ZOVHubJsonStream stream(answer.body);
  ZOVHubJsonWriter writer(stream);
  writer.StartObject();
  zovHubWriteKey(writer, "table");
  zovHubWriteText(writer, _table->manager->table());
  zovHubWriteKey(writer, "rows");
  writer.StartArray();
  for (ContextInfo& context : requests(givenUp)) {
    const ZOVHubVisit visit;
    ZOVHubRequest request(*_table->manager, std::move(context));
    request.box().TakeSample();
    if (request.context().overflowed) {
      return ZOVHubAnswer::error(400, "the rows of " + _table->manager->table() + " have more than " +
                                          std::to_string(zovHubLimits().rowBytes) +
                                          " bytes; narrow the query by node, a column, or PARMA=TOP;ROWS;n");
    }
    DGT1_Printf(traceUnit, DGT1_DETAIL, "Table %s gave %d rows", _table->manager->table().c_str(),
                request.box()._data.count);
    for (std::int32_t i = 0; i < request.box()._data.count; ++i) {
      zovHubWriteRow(writer, *_table, request.box().rowAt(i));
    }
  }
  writer.EndArray();
  writer.EndObject();
  answer.body += '\n';
  return answer;
}

std::string ZOVHubCommand::read(std::string_view body) {
  static constexpr const char* accepted = "; accepted is {\"node\": text, \"command\": text}";
  rapidjson::Document document;
  // Iterative: the depth of a hostile body may not become depth of the stack.
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(body.data(),
                                                                                         body.size());
  if (document.HasParseError()) {
    return "the body is not JSON: " + std::string(rapidjson::GetParseError_En(document.GetParseError())) +
           " At byte " + std::to_string(document.GetErrorOffset()) + accepted;
  }
  if (!document.IsObject()) return std::string("the body is not an object") + accepted;
  for (const auto& [key, value] : document.GetObject()) {
    const std::string name(key.GetString(), key.GetStringLength());
    std::string* const target = name == "node" ? &node : name == "command" ? &text : nullptr;
    if (target == nullptr) return "the body has a member " + quoted(name) + accepted;
    if (!value.IsString()) return "the member " + name + " is not a text" + accepted;
    target->assign(value.GetString(), value.GetStringLength());
    if (target->find('\0') != std::string::npos)
      return "the member " + name + " has a zero character" + accepted;
  }
  if (node.empty() || text.empty()) {
    return std::string("the member ") + (node.empty() ? "node" : "command") + " is missing or empty" +
           accepted;
  }
  if (text.size() >= TqboxAutomationCapsule::CommandBytes) {
    return "the command has " + std::to_string(text.size()) + " bytes; accepted are at most " +
           std::to_string(TqboxAutomationCapsule::CommandBytes - 1);
  }
  return "";
}

ZOVHubAnswer ZOVHubCommand::run() const {
  const auto callback = ZOVHubRegistry::instance().commandCallback.load();
  if (callback == nullptr)
    return ZOVHubAnswer::error(503, "the agent does not take commands yet; try again later");

  std::string message;
  long status = 0;
  bool finished = false;
  ContextInfo context;
  context.origin = node;
  context.subnodes = {node};
  context.finished = [&](const TqboxAutomationCapsule& capsule) {
    message = capsule.message();
    status = capsule.rowOrStatus;
    finished = true;
  };
  const ZOVHubVisit visit;
  ZOVHubRequest request({ZOVHubRegistry::instance().product(), TqboxActionTable}, std::move(context));
  TqboxAutomationCapsule capsule;
  capsule.owner = &request.box();
  text.copy(capsule.command, TqboxAutomationCapsule::CommandBytes - 1);
  const long result = callback(&capsule);
  if (!finished) status = result;
  ZOVHubAnswer answer;
  ZOVHubJsonStream stream(answer.body);
  ZOVHubJsonWriter writer(stream);
  writer.StartObject();
  zovHubWriteKey(writer, "message");
  zovHubWriteText(writer, message);
  zovHubWriteKey(writer, "status");
  writer.Int64(status);
  writer.EndObject();
  answer.body += '\n';
  return answer;
}

std::vector<std::shared_ptr<const ZOVHubTable>> zovHubEventTables(
    const std::vector<ZOVHubParameter>& parameters, ZOVHubAnswer& refusal) {
  std::vector<std::shared_ptr<const ZOVHubTable>> tables;
  for (const auto& [name, value] : parameters) {
    if (name != "table") {
      refusal = ZOVHubAnswer::error(400, "there is no parameter " + quoted(name) + "; accepted is table");
      return {};
    }
    auto table = ZOVHubRegistry::instance().table(value);
    if (table == nullptr) {
      refusal = unknownTable(value);
      return {};
    }
    if (std::ranges::find(tables, table) == tables.end()) tables.push_back(std::move(table));
  }
  return parameters.empty() ? ZOVHubRegistry::instance().tables() : tables;
}
