#pragma once
// zov::ctl::CommandLine: what zovctl can be told, in one place: commands, options and the words that they
// take. Help, completion and the parsing all go by it.

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "ctl/commands.h"

namespace zov::ctl {

class CommandLine {
 public:
  CommandLine();
  /// Reads the arguments and does what they say. CLI::ParseError for those that are wrong, and for --help.
  Status run(int argc, char** argv);
  int explain(const CLI::ParseError& error) { return _app.exit(error); }

 private:
  void addListings();
  void addRows();
  void addEvents();
  void addAct();
  void addCheck();
  void addTop();
  void addCompletion();
  std::vector<std::string> commandNames() const;
  CLI::App& add(const char* name, const char* text, std::function<Status()> work);
  AgentClient agent() const { return AgentClient(_address); }
  void printScript() const;
  /// Prints what may stand for the last of the words, a line each: what the shells' scripts ask for, by the
  /// command `complete WORD...`, which no person needs.
  void complete(std::vector<std::string> words);
  std::vector<std::string> candidates(std::vector<std::string> words);
  /// Of an argument by its name in the help; `before` it stand these.
  std::vector<std::string> valuesOf(const std::string& kind, const std::vector<std::string>& before);

  CLI::App _app{"Shows and steers what the monitoring agent sees of Java application servers."};
  std::function<Status()> _work;
  std::string _address = AgentClient::DefaultAddress;
  std::string _table, _node, _path;
  std::vector<std::string> _words;
  RowsOptions _rows;
  TopOptions _top;
  bool _follow = false;
  std::string _shell;
};

}  // namespace zov::ctl
