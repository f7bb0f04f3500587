#include "ctl/top_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

#include "ctl/text.h"

namespace zov::ctl {

namespace {

/// An order of requests: by names upwards, by a number downwards; what is not known comes last.
struct Order {
  char key;
  const char* meaning;
  double TopRequest::*number;  // null: by names
};
constexpr Order Orders[] = {{'n', "name", nullptr},
                            {'c', "count", &TopRequest::count},
                            {'p', "count per second", &TopRequest::rate},
                            {'m', "mean time", &TopRequest::mean},
                            {'x', "longest time", &TopRequest::longest},
                            {'t', "time in all", &TopRequest::time}};

constexpr const char* Help[] = {
    "n c p m x t   sort requests: by name, count, count per second, mean time,",
    "              longest time, time in all; the same key again turns it round",
    "r             turns the order round",
    "s             one server's requests: the next server with each s, then all again",
    "/             only what has a text in its names; Enter keeps it, Escape drops it",
    "Up Down j k   choose a request; PgUp PgDn Home End, too",
    "Enter         looks into the request: all that is known of it; Escape goes back",
    "h             this page",
    "q             ends it",
};
constexpr const char* Keys = "q ends  h help  n c p m x t sort  r reverse  s server  / filter  Enter details";

constexpr std::size_t FixedColumns = 61;  // of a line of requests, all but their name

bool comesBefore(const TopRequest& a, const TopRequest& b, const Order& order, bool reversed) {
  const auto names = [](const TopRequest& request) {
    return std::tie(request.server, request.application, request.name, request.node);
  };
  if (!order.number) return reversed ? names(b) < names(a) : names(a) < names(b);
  const double x = a.*order.number, y = b.*order.number;
  if (x == y) return names(a) < names(b);
  if (x == TopRequest::Unknown || y == TopRequest::Unknown) return y == TopRequest::Unknown;
  return reversed ? x < y : x > y;
}

std::string identity(const TopRequest& request) {
  return request.node + "\n" + request.application + "\n" + request.name + "\n" +
         request.row.text("process_id") + "\n" + request.row.text("request_type");
}

std::string right(const std::string& text, std::size_t width) {
  return " " + fitted(text, width, Align::Right);
}

}  // namespace

bool TopView::press(const Key& key, const TopData& data) {
  if (_typesFilter) return pressInFilter(key), true;
  if (key.character == 'q') return false;
  if (_shown == Shown::Lists) return pressInLists(key, data), true;
  if (key.kind == Key::Up || key.character == 'k') _scrolled -= std::min<std::size_t>(_scrolled, 1);
  if (key.kind == Key::Down || key.character == 'j') ++_scrolled;
  if (key.kind == Key::Escape || key.kind == Key::Enter || key.kind == Key::Backspace ||
      key.character == 'h') {
    _shown = Shown::Lists;
  }
  return true;
}

void TopView::pressInLists(const Key& key, const TopData& data) {
  for (std::size_t i = 0; i < std::size(Orders); ++i) {
    if (Orders[i].key == key.character) sortBy(i);
  }
  switch (key.kind == Key::Character ? key.character : '\0') {
    case 'h':
    case '?':
      _shown = Shown::Help;
      break;
    case 'r':
      _reversed = !_reversed;
      break;
    case 's':
      chooseServer(data);
      break;
    case '/':
      _typesFilter = true;
      break;
    default:
      move(key);
  }
  if (key.kind == Key::Escape) _filter.clear();
  const auto all = chosen(data);
  if (key.kind != Key::Enter || all.empty()) return;
  _lookedInto = identity(*all[std::min(_selected, all.size() - 1)]);
  _scrolled = 0;
  _shown = Shown::Request;
}

/// A mark that goes beyond the last request is put back when the requests are shown.
void TopView::move(const Key& key) {
  constexpr std::size_t Page = 10, Far = 1'000'000;
  const auto up = [&](std::size_t by) { _selected -= std::min(_selected, by); };
  if (key.kind == Key::Up || key.character == 'k') up(1);
  if (key.kind == Key::PageUp) up(Page);
  if (key.kind == Key::Home) up(Far);
  if (key.kind == Key::Down || key.character == 'j') _selected += 1;
  if (key.kind == Key::PageDown) _selected += Page;
  if (key.kind == Key::End) _selected += Far;
}

void TopView::pressInFilter(const Key& key) {
  if (key.kind == Key::Character) _filter += key.character;
  if (key.kind == Key::Backspace && !_filter.empty()) _filter.pop_back();
  if (key.kind == Key::Escape) _filter.clear();
  if (key.kind == Key::Escape || key.kind == Key::Enter) _typesFilter = false;
}

void TopView::sortBy(std::size_t order) {
  _reversed = order == _order && !_reversed;
  _order = order;
}

void TopView::chooseServer(const TopData& data) {
  auto next = data.servers.begin();
  if (!_node.empty()) {
    next = std::ranges::find(data.servers, _node, &TopServer::node);
    next =
        std::find_if(next, data.servers.end(), [&](const TopServer& server) { return server.node != _node; });
  }
  _node = next == data.servers.end() ? "" : next->node;
  _selected = 0;
}

bool TopView::isChosen(const TopRequest& request) const {
  if (!_node.empty() && request.node != _node) return false;
  const std::string filter = printable(_filter);
  return (request.server + " " + request.application + " " + request.name).find(filter) != std::string::npos;
}

std::vector<const TopRequest*> TopView::chosen(const TopData& data) const {
  std::vector<const TopRequest*> all;
  for (const TopRequest& request : data.requests) {
    if (isChosen(request)) all.push_back(&request);
  }
  std::ranges::stable_sort(all, [&](const TopRequest* a, const TopRequest* b) {
    return comesBefore(*a, *b, Orders[_order], _reversed);
  });
  return all;
}

std::string TopView::line(const std::string& text, Style style) const {
  return styled(fitted(text, _columns), style, _colours);
}

std::vector<std::string> TopView::page(const TopData& data, std::size_t columns) {
  _columns = columns;
  std::vector<std::string> lines;
  addServers(lines, data, data.servers.size());
  lines.emplace_back();
  addRequests(lines, data, data.requests.size(), false);
  for (std::string& each : lines) each = withoutEnd(each);
  return lines;
}

std::vector<std::string> TopView::screen(const TopData& data, Terminal::Size size, const std::string& time) {
  constexpr std::size_t ServersShare = 4, Headings = 2;
  _columns = size.columns;
  const auto connected = std::ranges::count(data.servers, "connected", &TopServer::status);
  const std::string title = fmt::format("zovctl top  {}  {}  servers {}, connected {}, requests {}", time,
                                        _agent, data.servers.size(), connected, data.requests.size());
  std::vector<std::string> lines{line(title, Style::Bold), line(printable(data.error), Style::Red)};
  const std::size_t titles = lines.size();
  std::vector<std::string> foot;
  for (std::size_t at = 0; at < _note.size();) {
    const std::size_t end = std::min(_note.find('\n', at), _note.size());
    foot.push_back(line(printable(_note.substr(at, end - at))));
    at = end + 1;
  }
  foot.push_back(_typesFilter ? line("Only what has in its names: " + printable(_filter) + "_", Style::Bold)
                              : line(Keys, Style::Dim));
  const std::size_t room = size.lines - std::min(size.lines, titles + foot.size());
  if (_shown == Shown::Help) addHelp(lines);
  if (_shown == Shown::Request) addRequest(lines, data, room);
  if (_shown == Shown::Lists) {
    addServers(lines, data, std::max<std::size_t>(1, room / ServersShare));
    lines.push_back(line(""));
    const std::size_t used = lines.size() - titles + Headings;
    addRequests(lines, data, room - std::min(room, used), true);
  }
  lines.resize(size.lines - std::min(size.lines, foot.size()));
  lines.insert(lines.end(), foot.begin(), foot.end());
  lines.resize(size.lines);
  return lines;
}

void TopView::addServers(std::vector<std::string>& lines, const TopData& data, std::size_t most) {
  lines.push_back(line("Servers", Style::Bold));
  lines.push_back(line(" " + fitted("server", 13) + " " + fitted("status", 12) + right("pid", 7) + " " +
                           fitted("version", 7) + right("cpu %", 5) + right("heap MiB", 10) +
                           right("threads", 7) + right("gc %", 4) + right("errors", 6),
                       Style::Underlined));
  if (data.servers.empty()) lines.push_back(line(" none yet: servers appear when their collectors connect"));
  for (std::size_t i = 0; i < data.servers.size(); ++i) {
    if (i + 1 == most && data.servers.size() > most) {
      lines.push_back(line(fmt::format(" and {} more", data.servers.size() - i), Style::Dim));
      break;
    }
    const TopServer& server = data.servers[i];
    const Style style = server.status == "connected" ? Style::Green : Style::Red;
    const std::string rest = right(server.pid, 7) + " " + fitted(server.version, 7) + right(server.cpu, 5) +
                             right(server.heap, 10) + right(server.threads, 7) + right(server.collecting, 4) +
                             right(server.errors, 6);
    const std::size_t before = std::min<std::size_t>(_columns, 15);
    const std::size_t status = std::min<std::size_t>(_columns - before, 12);
    lines.push_back(fitted((server.node == _node ? ">" : " ") + fitted(server.name, 13), before) +
                    styled(fitted(server.status, status), style, _colours) +
                    fitted(rest, _columns - before - status));
  }
}

std::string TopView::requestsTitle() const {
  std::string title = std::string("Requests in the last interval, by ") + Orders[_order].meaning;
  if (_reversed) title += ", reversed";
  if (!_node.empty()) title += ", of " + _node;
  if (!_filter.empty()) title += ", with " + printable(_filter);
  return title;
}

std::string TopView::requestHeading(bool showsServer) const {
  const std::size_t rest = _columns - std::min(_columns, FixedColumns) + (showsServer ? 0 : 11);
  return " " + (showsServer ? fitted("server", 10) + " " : "") + fitted("application", 11) + " " +
         fitted("request", rest) + right("count", 6) + right("per s", 6) + right("mean ms", 7) +
         right("longest", 7) + right("all ms", 6);
}

std::string TopView::requestLine(const TopRequest& request, bool showsServer) const {
  const std::size_t rest = _columns - std::min(_columns, FixedColumns) + (showsServer ? 0 : 11);
  return (showsServer ? fitted(request.server, 10) + " " : "") + fitted(request.application, 11) + " " +
         fitted(request.name, rest) + right(brief(request.count), 6) + right(brief(request.rate, 1), 6) +
         right(brief(request.mean), 7) + right(brief(request.longest), 7) + right(brief(request.time), 6);
}

void TopView::addRequests(std::vector<std::string>& lines, const TopData& data, std::size_t most,
                          bool marked) {
  const std::vector<const TopRequest*> all = chosen(data);
  const bool showsServer = _node.empty() && data.servers.size() > 1;
  _selected = std::min(_selected, all.size() - std::min<std::size_t>(all.size(), 1));
  lines.push_back(line(requestsTitle(), Style::Bold));
  lines.push_back(line(requestHeading(showsServer), Style::Underlined));
  if (all.empty()) {
    lines.push_back(line(data.requests.empty() ? " none yet: the first ones come with the next interval"
                                               : " none of the " + std::to_string(data.requests.size()) +
                                                     " is of that server and has that text; Escape, s: all"));
  }
  const std::size_t first = _selected < most ? 0 : _selected - most + 1;
  for (std::size_t i = first; i < std::min(all.size(), first + most); ++i) {
    const bool selected = marked && i == _selected;
    lines.push_back(line((selected ? ">" : " ") + requestLine(*all[i], showsServer),
                         selected ? Style::Reverse : Style::Plain));
  }
}

void TopView::addRequest(std::vector<std::string>& lines, const TopData& data, std::size_t most) {
  const auto request = std::ranges::find(data.requests, _lookedInto, identity);
  if (request == data.requests.end()) {
    lines.push_back(line("This request has no row any more. Escape goes back.", Style::Bold));
    return;
  }
  lines.push_back(line(request->application + ": " + request->name + ", on " + request->node, Style::Bold));
  std::vector<std::string> facts;
  for (const Column& column : _requests.columns) {
    const std::string text = printable(request->row.text(column));
    const bool showsUnit = column.unit != "time" && column.unit != "count";
    if (text.empty()) continue;
    std::string ahead =
        fitted(column.readable, 26) + " " + fitted(text + (showsUnit ? " " + column.unit : ""), 26) + " ";
    for (const std::string& part : wrapped(column.meaning, _columns - std::min(_columns, widthOf(ahead)))) {
      facts.push_back(ahead + part);
      ahead = std::string(widthOf(ahead), ' ');
    }
  }
  const std::size_t room = most > 2 ? most - 2 : 0;
  _scrolled = std::min(_scrolled, facts.size() - std::min(facts.size(), room));
  for (std::size_t i = _scrolled; i < std::min(facts.size(), _scrolled + room); ++i)
    lines.push_back(line(facts[i]));
  lines.push_back(line("Escape goes back; Up and Down show the rest", Style::Dim));
}

void TopView::addHelp(std::vector<std::string>& lines) const {
  for (const char* const each : Help) lines.push_back(line(each));
}

}  // namespace zov::ctl
