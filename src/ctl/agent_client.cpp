#include "ctl/agent_client.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>

#include "config/nearest_word.h"
#include "ctl/text.h"

namespace zov::ctl {

namespace {

std::string baseOf(const std::string& address) {
  if (address.starts_with("http://") || address.starts_with("https://")) {
    return address.ends_with('/') ? address.substr(0, address.size() - 1) : address;
  }
  if (address.find(':') == std::string::npos) {
    throw Failure(Status::Usage,
                  "The agent's address is '" + printable(address) +
                      "'; accepted are HOST:PORT and http://HOST:PORT. It is given by --agent or "
                      "ZOV_HUB_ADDRESS.");
  }
  return "http://" + address;
}

std::string givenToken() {
  const char* const token = std::getenv("ZOV_HUB_TOKEN");
  return token ? token : "";
}

std::string authorization(const std::string& token) {
  return "Authorization: Bearer " + token;
}

Table tableOf(const rapidjson::Value& told) {
  Table table{memberText(told, "table"), told.HasMember("events") && told["events"].IsTrue(), {}};
  if (!told.HasMember("columns") || !told["columns"].IsArray()) return table;
  for (const auto& column : told["columns"].GetArray()) {
    const auto decimals = column.FindMember("decimals");
    table.columns.push_back(
        {memberText(column, "name"), memberText(column, "readable"), memberText(column, "unit"),
         memberText(column, "meaning"), memberText(column, "type") == "int",
         decimals != column.MemberEnd() && decimals->value.IsInt() ? decimals->value.GetInt() : 0});
  }
  return table;
}

}  // namespace

std::vector<std::string> agentDirectories() {
  std::vector<std::string> directories;
  if (const char* const given = std::getenv("ZOV_CONFIG_DIR"); given && *given)
    directories.emplace_back(given);
  directories.emplace_back("/var/lib/zovagent");
  directories.emplace_back("build/agent");
  return directories;
}

std::string memberText(const rapidjson::Value& object, const char* name) {
  if (!object.IsObject()) return "";
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd() || !member->value.IsString()) return "";
  return {member->value.GetString(), member->value.GetStringLength()};
}

AgentClient::AgentClient(const std::string& address) : _base(baseOf(address)), _http(_base) {}

HttpRequest AgentClient::request(const std::string& path) const {
  HttpRequest request;
  request.path = path;
  if (const std::string token = givenToken(); !token.empty()) request.headers.push_back(authorization(token));
  return request;
}

void AgentClient::fail(const HttpAnswer& answer) const {
  if (answer.status == 0) {
    throw Failure(Status::Unreachable,
                  "The agent at " + printable(_base) + " does not answer: " + printable(answer.error) +
                      ". Is it running? Another one is named by --agent HOST:PORT or ZOV_HUB_ADDRESS.");
  }
  rapidjson::Document told;
  told.Parse<rapidjson::kParseIterativeFlag>(answer.body.c_str());
  std::string reason = printable(memberText(told, "error"));
  if (reason.empty()) reason = "the answer is " + std::to_string(answer.status) + ", and not an agent's";
  if (answer.status == 401) {
    throw Failure(Status::NoToken,
                  "The agent at " + printable(_base) + " wants another token: " + reason +
                      ". Set ZOV_HUB_TOKEN to the one that it was started with, or unset it for one that was "
                      "started with none.");
  }
  throw Failure(Status::Refused, "The agent at " + printable(_base) + ": " + reason);
}

rapidjson::Document AgentClient::read(const HttpAnswer& answer) const {
  if (answer.status != 200) fail(answer);
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(answer.body.c_str());
  if (document.HasParseError()) {
    throw Failure(Status::Unreachable,
                  "The answer of " + printable(_base) +
                      " is not JSON, as an agent's is. Another agent is named by --agent "
                      "HOST:PORT or ZOV_HUB_ADDRESS.");
  }
  return document;
}

rapidjson::Document AgentClient::get(const std::string& path) {
  return read(_http.send(request(path)));
}

HttpAnswer AgentClient::postAction(const std::string& body) {
  HttpRequest action = request("/v1/actions");
  action.body = body;
  if (!action.headers.empty()) return _http.send(action);
  std::string looked;
  std::optional<HttpAnswer> refused;
  for (const std::string& directory : agentDirectories()) {
    if (!isThisHost(_base)) break;
    std::ifstream file(directory + "/hub.token");
    const int error = errno;
    std::string token;
    if (!(file >> token)) {
      looked += (looked.empty() ? "" : ", ") + directory + "/hub.token (" + std::strerror(error) + ")";
      continue;
    }
    action.headers = {authorization(token)};
    HttpAnswer answer = _http.send(action);
    if (answer.status != 401) return answer;
    refused = std::move(answer);
  }
  if (refused) fail(*refused);
  throw Failure(
      Status::NoToken,
      "A command needs the agent's token, and none was found. Looked into: " +
          (looked.empty() ? "nothing, since the agent is on another host" : looked) +
          ". Set ZOV_HUB_TOKEN to the token, or ZOV_CONFIG_DIR to the agent's directory, whose file "
          "hub.token its user and group may read.");
}

std::vector<std::string> AgentClient::nodes() {
  std::vector<std::string> names;
  const rapidjson::Document told = get("/v1/nodes");
  if (!told.IsObject() || !told.HasMember("subnodes") || !told["subnodes"].IsArray()) return names;
  names.reserve(told["subnodes"].Size() + 1);
  names.push_back(memberText(told, "agent"));
  for (const auto& subnode : told["subnodes"].GetArray()) names.push_back(memberText(subnode, "name"));
  return names;
}

std::vector<Table> AgentClient::tables() {
  std::vector<Table> all;
  const rapidjson::Document told = get("/v1/tables");
  if (!told.IsArray()) return all;
  for (const auto& table : told.GetArray()) all.push_back(tableOf(table));
  return all;
}

Table AgentClient::table(const std::string& name) {
  const HttpAnswer answer = _http.send(request("/v1/tables/" + urlEncoded(name)));
  if (answer.status != 404) return tableOf(read(answer));
  const std::vector<Table> all = tables();
  std::vector<std::string_view> known;
  known.reserve(all.size());
  for (const Table& table : all) known.push_back(table.name);
  throw Failure(Status::Refused, "There is no table " + printable(name) + "." + nearestHint(name, known));
}

void AgentClient::failForNode(const std::string& name) {
  const std::vector<std::string> all = nodes();
  std::string text = "There is no node " + printable(name) + ".";
  text += printable(nearestHint(name, std::vector<std::string_view>(all.begin(), all.end())));
  throw Failure(Status::Refused, text + " Servers appear when their collectors connect.");
}

}  // namespace zov::ctl
