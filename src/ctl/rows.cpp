#include "ctl/rows.h"

#include <fmt/format.h>

#include <charconv>

namespace zov::ctl {

namespace {
std::string shown(const rapidjson::Value& value) {
  if (value.IsString()) return {value.GetString(), value.GetStringLength()};
  if (value.IsInt64()) return std::to_string(value.GetInt64());
  if (value.IsNumber()) return fmt::format("{}", value.GetDouble());
  if (value.IsBool()) return value.GetBool() ? "true" : "false";
  return "";
}
}  // namespace

Row::Row(const rapidjson::Value& object) {
  if (!object.IsObject()) return;
  for (const auto& member : object.GetObject()) _texts[member.name.GetString()] = shown(member.value);
}

std::string Row::text(const std::string& name) const {
  const auto found = _texts.find(name);
  return found == _texts.end() ? "" : found->second;
}

std::string Row::text(const Column& column) const {
  std::string text = this->text(column.readable);
  if (text.empty() || column.decimals == 0 || !column.isNumber) return text;
  return fmt::format("{:.{}f}", number(column.readable, 0), column.decimals);
}

double Row::number(const std::string& name, double otherwise) const {
  const std::string text = this->text(name);
  double value = otherwise;
  return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc() ? value : otherwise;
}

RowsAnswer readRows(const rapidjson::Document& answer) {
  RowsAnswer came;
  if (!answer.IsObject() || !answer.HasMember("rows") || !answer["rows"].IsArray()) {
    throw Failure(Status::Unreachable, "The answer has no rows, as an agent's has.");
  }
  for (const auto& row : answer["rows"].GetArray()) came.rows.emplace_back(row);
  if (!answer.HasMember("nodes") || !answer["nodes"].IsArray()) return came;
  for (const auto& node : answer["nodes"].GetArray()) {
    came.reports.push_back(
        {memberText(node, "name"), memberText(node, "status"), memberText(node, "reason")});
  }
  return came;
}

}  // namespace zov::ctl
