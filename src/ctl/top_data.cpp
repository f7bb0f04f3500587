#include "ctl/top_data.h"

#include <fmt/format.h>

#include <algorithm>

#include "ctl/text.h"

namespace zov::ctl {

namespace {

constexpr const char* Tables[] = {"ZOVAPSRV", "ZOVREQUEST", "ZOVTHRDP", "ZOVGCACT", "ZOVAPP"};
constexpr double Unknown = TopRequest::Unknown;

std::string orDash(const std::string& text) {
  return text.empty() ? "-" : printable(text);
}

std::string heapOf(const Row& row) {
  constexpr double KibibytesInMebibyte = 1024;
  const auto mebibytes = [&](const char* column) {
    const double kibibytes = row.number(column, Unknown);
    return brief(kibibytes == Unknown ? Unknown : kibibytes / KibibytesInMebibyte);
  };
  return mebibytes("used_memory") + "/" + mebibytes("total_memory");
}

/// Of the server's rows that are no sums, or of the one that is.
double sumOf(const RowsAnswer& answer, const Row& server, const char* column, const char* summary) {
  double sum = Unknown;
  for (const Row& row : answer.rows) {
    const std::string kind = row.text("summary");
    if (row.text("node") != server.text("node") || (!kind.empty() && kind != summary)) continue;
    const double value = row.number(column, Unknown);
    if (value != Unknown) sum = std::max(sum, 0.0) + value;
  }
  return sum;
}

TopRequest requestOf(const Row& row) {
  const auto text = [&](const char* column) { return printable(row.text(column)); };
  const auto number = [&](const char* column) { return row.number(column, Unknown); };
  return {text("node"),
          text("server"),
          text("application_name"),
          text("request_name"),
          number("request_count"),
          number("request_count_per_second"),
          number("request_time_mean"),
          number("longest_request_time"),
          number("request_time"),
          row};
}

}  // namespace

std::string brief(double number, int decimals) {
  constexpr double Large = 1e6;
  if (number == Unknown) return "-";
  const char* unit = "kMGT";
  if (number < Large) return fmt::format("{:.{}f}", number, decimals);
  for (number /= 1000; number >= Large && unit[1] != '\0'; ++unit) number /= 1000;
  return fmt::format("{:.0f}{}", number, *unit);
}

void TopReading::begin() {
  _underWay = true;
  _statisticsAsked = false;
  _error.clear();
  ask(Servers);
  ask(Requests);
}

void TopReading::ask(Source source) {
  ++_waitingFor;
  _answers[source] = {};
  _agent.http().begin(_agent.request(std::string("/v1/tables/") + Tables[source] + "/rows?names=readable"),
                      [this, source](const HttpAnswer& answer) { take(source, answer); });
}

void TopReading::take(Source source, const HttpAnswer& answer) {
  --_waitingFor;
  try {
    _answers[source] = readRows(_agent.read(answer));
  } catch (const Failure& failure) {
    _error = failure.what();
  }
  if (_waitingFor > 0) return;
  if (!_statisticsAsked && _error.empty()) askForStatistics();
  if (_waitingFor == 0) end();
}

/// Servers that have no statistics of their own are not asked for any.
void TopReading::askForStatistics() {
  _statisticsAsked = true;
  const auto hasStatistics = [](const Row& row) { return !row.text("used_memory").empty(); };
  for (const Source source : {ThreadPools, Collections, Applications}) {
    _answers[source] = {};
    if (std::ranges::any_of(_answers[Servers].rows, hasStatistics)) ask(source);
  }
}

void TopReading::end() {
  _underWay = false;
  _data.error = _error;
  if (!_error.empty()) return;
  _data.servers.clear();
  _data.requests.clear();
  for (const Row& row : _answers[Servers].rows) _data.servers.push_back(server(row));
  for (const NodeReport& report : _answers[Servers].reports) {
    const std::string node = printable(report.name);
    if (std::ranges::find(_data.servers, node, &TopServer::node) != _data.servers.end()) continue;
    _data.servers.push_back({node, node.substr(0, node.find(':')), printable(report.status), "-", "-", "-",
                             "-/-", "-", "-", "-"});
  }
  for (const Row& row : _answers[Requests].rows) _data.requests.push_back(requestOf(row));
  std::ranges::stable_sort(_data.servers, {},
                           [](const TopServer& server) { return std::tie(server.name, server.pid); });
}

TopServer TopReading::server(const Row& row) const {
  return {printable(row.text("node")),
          printable(row.text("server")),
          row.text("server_status") == "1" ? "connected" : "disconnected",
          orDash(row.text("process_id")),
          orDash(row.text("server_version")),
          brief(row.number("cpu_percent", Unknown), 1),
          heapOf(row),
          brief(sumOf(_answers[ThreadPools], row, "thread_pool_size", "1")),
          brief(sumOf(_answers[Collections], row, "gc_time_percent", "0"), 1),
          brief(sumOf(_answers[Applications], row, "web_errors", "0"))};
}

}  // namespace zov::ctl
