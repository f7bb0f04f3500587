#pragma once
// zov::ctl::TopView: what of the data is on the screen of `zovctl top`, in which order, and what keys do to
// it. It knows no terminal: keys come in, lines go out. Belongs to one thread.

#include <string>
#include <vector>

#include "ctl/terminal.h"
#include "ctl/text.h"
#include "ctl/top_data.h"

namespace zov::ctl {

class TopView {
 public:
  TopView(std::string agent, Table requests, std::string note, bool colours)
      : _agent(std::move(agent)), _requests(std::move(requests)), _note(std::move(note)), _colours(colours) {}

  /// False when the key ends it.
  bool press(const Key& key, const TopData& data);
  /// All lines of the screen, with styles; none is wider than it.
  std::vector<std::string> screen(const TopData& data, Terminal::Size size, const std::string& time);
  /// Servers and requests alone, in as many lines as it takes.
  std::vector<std::string> page(const TopData& data, std::size_t columns);

 private:
  enum class Shown { Lists, Request, Help };

  void pressInLists(const Key& key, const TopData& data);
  void move(const Key& key);
  void pressInFilter(const Key& key);
  void chooseServer(const TopData& data);
  void sortBy(std::size_t order);
  std::vector<const TopRequest*> chosen(const TopData& data) const;
  bool isChosen(const TopRequest& request) const;

  void addServers(std::vector<std::string>& lines, const TopData& data, std::size_t most);
  void addRequests(std::vector<std::string>& lines, const TopData& data, std::size_t most, bool marked);
  void addRequest(std::vector<std::string>& lines, const TopData& data, std::size_t most);
  void addHelp(std::vector<std::string>& lines) const;
  std::string requestsTitle() const;
  std::string requestLine(const TopRequest& request, bool showsServer) const;
  std::string requestHeading(bool showsServer) const;
  std::string line(const std::string& text, Style style = Style::Plain) const;

  const std::string _agent;
  const Table _requests;  // for the meanings of columns
  const std::string _note;
  const bool _colours;
  std::size_t _columns = 80;
  Shown _shown = Shown::Lists;
  std::size_t _order = 5;  // in the list of orders: the time in all
  bool _reversed = false;
  std::string _node;  // chosen; empty: all
  std::string _filter;
  bool _typesFilter = false;
  std::size_t _selected = 0;
  std::size_t _scrolled = 0;  // lines of a request that are above the screen
  std::string _lookedInto;    // identity of a request
};

}  // namespace zov::ctl
