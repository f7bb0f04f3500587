// `zovctl nodes`, `tables` and `rows`.

#include <fmt/format.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "config/nearest_word.h"
#include "ctl/commands.h"
#include "ctl/rows.h"
#include "ctl/text.h"

namespace zov::ctl {

namespace {

/// The column of that stated or readable name.
const Column& columnOf(const Table& table, const std::string& given) {
  std::vector<std::string_view> known;
  for (const Column& column : table.columns) {
    if (strcasecmp(column.name.c_str(), given.c_str()) == 0 || column.readable == given) return column;
    known.push_back(column.readable);
  }
  throw Failure(Status::Refused, "Table " + table.name + " has no column " + printable(given) + "." +
                                     nearestHint(given, known));
}

std::string pathOf(const Table& table, const RowsOptions& options) {
  std::string query = "?names=readable";
  for (const std::string& node : options.nodes) query += "&node=" + urlEncoded(node);
  for (const std::string& condition : options.where) {
    const std::size_t equals = condition.find('=');
    if (equals == std::string::npos) {
      throw Failure(Status::Usage, "--where is '" + printable(condition) + "'; accepted is COLUMN=VALUE.");
    }
    query += "&" + columnOf(table, condition.substr(0, equals)).name + "=" +
             urlEncoded(condition.substr(equals + 1));
  }
  if (!options.order.empty()) {
    const bool down = options.order.starts_with('-');
    query +=
        std::string("&order=") + (down ? "-" : "") + columnOf(table, options.order.substr(down ? 1 : 0)).name;
  }
  if (options.limit > 0) query += "&limit=" + std::to_string(options.limit);
  if (options.history) query += "&history=1";
  return "/v1/tables/" + urlEncoded(table.name) + "/rows" + query;
}

/// The columns to show: those asked for, or all that have a value.
std::vector<Column> shownColumns(const Table& table, const RowsOptions& options,
                                 const std::vector<Row>& rows) {
  std::vector<Column> shown;
  for (const std::string& name : options.columns) shown.push_back(columnOf(table, name));
  if (!shown.empty()) return shown;
  std::ranges::copy_if(table.columns, std::back_inserter(shown), [&](const Column& column) {
    return std::ranges::any_of(rows, [&](const Row& row) { return !row.text(column).empty(); });
  });
  return shown;
}

void printTable(const Table& table, const RowsOptions& options, const std::vector<Row>& rows) {
  if (rows.empty()) return;
  const std::vector<Column> shown = shownColumns(table, options, rows);
  std::vector<Listing::Heading> headings;
  for (const Column& column : shown) {
    const bool showsUnit =
        column.unit == "ms" || column.unit == "s" || column.unit == "bytes" || column.unit == "KiB";
    headings.push_back({column.readable + (showsUnit ? "/" + column.unit : ""),
                        column.isNumber ? Align::Right : Align::Left});
  }
  Listing listing(headings);
  for (const Row& row : rows) {
    std::vector<std::string> texts;
    for (const Column& column : shown) {
      const std::string text = row.text(column);
      texts.push_back(text.empty() ? "-" : text);
    }
    listing.add(texts);
  }
  print(listing);
}

void failForUnknownNode(AgentClient& agent, const RowsOptions& options) {
  const std::vector<std::string> known = agent.nodes();
  for (const std::string& node : options.nodes) {
    if (std::ranges::find(known, node) == known.end()) agent.failForNode(node);
  }
}

/// The answer as it comes, or on a terminal as that may show it.
void printAsSent(AgentClient& agent, HttpRequest request, const RowsOptions& options) {
  std::string shown;
  const bool terminal = isatty(STDOUT_FILENO) == 1;
  request.take = [&](std::string_view part) {
    if (terminal) {
      shown += part;
    } else {
      std::fwrite(part.data(), 1, part.size(), stdout);
    }
  };
  const HttpAnswer answer = agent.http().send(request);
  if (answer.status == 404) failForUnknownNode(agent, options);
  if (answer.status != 200) agent.fail(answer);
  if (terminal)
    std::fputs((options.form == "csv" ? printableCsv(shown) : printableJson(shown)).c_str(), stdout);
}

}  // namespace

void listNodes(AgentClient& agent) {
  const std::vector<std::string> nodes = agent.nodes();
  const RowsAnswer servers = readRows(agent.get("/v1/tables/ZOVAPSRV/rows?PARMA=TOP;NEW_SAMP;1"));
  Listing listing({{"NODE"}, {"STATUS"}, {"SERVER"}, {"PID", Align::Right}});
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    std::vector<std::string> line{nodes[i], i == 0 ? "agent" : "unknown", "", ""};
    for (const NodeReport& report : servers.reports) {
      if (report.name == nodes[i]) line[1] = report.status;
    }
    for (const Row& row : servers.rows) {
      if (row.text("originnode") != nodes[i]) continue;
      line = {nodes[i], row.text("status") == "1" ? "connected" : "disconnected", row.text("server_nam"),
              row.text("pid")};
    }
    listing.add(line);
  }
  print(listing);
}

void listTables(AgentClient& agent, const std::string& name) {
  if (name.empty()) {
    Listing listing({{"TABLE"}, {"COLUMNS", Align::Right}, {"EVENTS"}});
    for (const Table& table : agent.tables()) {
      listing.add({table.name, std::to_string(table.columns.size()), table.hasEvents ? "yes" : ""});
    }
    return print(listing);
  }
  Listing listing({{"COLUMN"}, {"STATED AS"}, {"UNIT"}, {"MEANING"}});
  for (const Column& column : agent.table(name).columns) {
    listing.add({column.readable, column.name, column.unit, column.meaning});
  }
  print(listing);
}

void printRows(AgentClient& agent, const RowsOptions& options) {
  const Table table = agent.table(options.table);
  HttpRequest request = agent.request(pathOf(table, options));
  if (options.form == "csv") request.headers.emplace_back("Accept: text/csv");
  if (options.form != "table") return printAsSent(agent, request, options);
  const HttpAnswer answer = agent.http().send(request);
  if (answer.status == 404) failForUnknownNode(agent, options);
  const RowsAnswer came = readRows(agent.read(answer));
  printTable(table, options, came.rows);
  for (const NodeReport& report : came.reports) {
    std::fprintf(stderr, "%s: %s: %s\n", printable(report.name).c_str(), printable(report.status).c_str(),
                 printable(report.reason).c_str());
  }
  if (came.rows.empty() && came.reports.empty()) std::fputs("No rows.\n", stderr);
}

}  // namespace zov::ctl
