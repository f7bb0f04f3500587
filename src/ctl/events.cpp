// `zovctl events`.

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "config/nearest_word.h"
#include "ctl/commands.h"
#include "ctl/rows.h"
#include "ctl/text.h"
#include "platform/clock.h"

namespace zov::ctl {

namespace {

constexpr int ErrorSeverity = 22, WarningSeverity = 21, HighestSeverity = 24;

/// "2026-11-23 10:08:28.123" of CYYMMDDHHMMSSmmm, where the first three digits are the years since 1900.
std::string timeOf(const Row& row) {
  std::string stamp = row.text("sdate_time");
  if (stamp.size() != 16 || stamp.find_first_not_of("0123456789") != std::string::npos) return stamp;
  const auto part = [&](std::size_t at, std::size_t count) { return stamp.substr(at, count); };
  return std::to_string(1900 + std::stoi(part(0, 3))) + "-" + part(3, 2) + "-" + part(5, 2) + " " +
         part(7, 2) + ":" + part(9, 2) + ":" + part(11, 2) + "." + part(13, 3);
}

void printEvent(const Row& row, bool colours) {
  const std::string server = row.text("server_nam");
  const std::string text = row.text("msg_desc") + row.text("err_msg");  // a table has one of them
  const std::string line = printable(timeOf(row) + " " + (server.empty() ? "agent" : server) + " " +
                                     row.text("msg_id") + " " + text);
  const double severity = row.number("severity", 0);
  const Style style = severity >= ErrorSeverity && severity <= HighestSeverity ? Style::Red
                      : severity == WarningSeverity                            ? Style::Yellow
                                                                               : Style::Plain;
  std::printf("%s\n", styled(line, style, colours).c_str());
}

/// Takes server-sent events apart.
class EventReader {
 public:
  explicit EventReader(bool colours) : _colours(colours) {}
  void take(std::string_view part) {
    _pending += part;
    for (std::size_t end; (end = _pending.find('\n')) != std::string::npos; _pending.erase(0, end + 1)) {
      takeLine(std::string_view(_pending).substr(0, end));
    }
    std::fflush(stdout);
  }
  void forgetPending() { _pending.clear(); }
  const std::string& lastId() const { return _lastId; }
  bool opened() const { return _opened; }

 private:
  void takeLine(std::string_view line) {
    _opened = true;
    if (line.starts_with("id: ")) _lastId = line.substr(4);
    if (!line.starts_with("data: ")) return;
    rapidjson::Document row;
    row.Parse(line.data() + 6, line.size() - 6);
    if (!row.HasParseError()) printEvent(Row(row), _colours);
  }

  bool _colours;
  bool _opened = false;
  std::string _pending;
  std::string _lastId = "0-0";  // no event's: all that are kept come first
};

void follow(AgentClient& agent, const std::vector<std::string>& tables, bool colours) {
  std::string query;
  for (const std::string& table : tables)
    query += (query.empty() ? "?table=" : "&table=") + urlEncoded(table);
  EventReader reader(colours);
  for (bool told = false;; ZOVClock::sleepFor(std::chrono::seconds(1))) {
    HttpRequest request = agent.request("/v1/events" + query);
    request.timeout = std::chrono::seconds(0);
    request.headers.push_back("Last-Event-ID: " + printable(reader.lastId()));
    request.take = [&](std::string_view part) {
      told = false;
      reader.take(part);
    };
    const HttpAnswer answer = agent.http().send(request);
    if (!reader.opened() || (answer.status != 0 && answer.status != 200 && answer.status != 503))
      agent.fail(answer);
    reader.forgetPending();
    if (!told) std::fprintf(stderr, "The stream has ended; trying again until the agent is there.\n");
    told = true;
  }
}

}  // namespace

void printEvents(AgentClient& agent, std::vector<std::string> tables, bool follows) {
  std::vector<std::string> known;
  for (const Table& table : agent.tables()) {
    if (table.hasEvents) known.push_back(table.name);
  }
  for (const std::string& table : tables) {
    if (std::ranges::find(known, table) != known.end()) continue;
    throw Failure(Status::Refused,
                  "There are no events of " + printable(table) + "." +
                      nearestHint(table, std::vector<std::string_view>(known.begin(), known.end())));
  }
  if (tables.empty()) tables = known;
  const bool colours = mayColour(STDOUT_FILENO);
  if (follows) follow(agent, tables, colours);
  std::vector<Row> rows;
  for (const std::string& table : tables) {
    for (Row& row : readRows(agent.get("/v1/tables/" + urlEncoded(table) + "/rows")).rows) {
      rows.push_back(std::move(row));
    }
  }
  std::ranges::stable_sort(rows, {}, [](const Row& row) { return row.text("sdate_time"); });
  for (const Row& row : rows) printEvent(row, colours);
}

}  // namespace zov::ctl
