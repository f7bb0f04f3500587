#include "ctl/command_line.h"

#include <algorithm>
#include <cstdio>

#include "config/nearest_word.h"
#include "ctl/text.h"
#include "platform/version.h"

namespace zov::ctl {

CommandLine::CommandLine() {
  _app.name("zovctl");
  _app.failure_message([](const CLI::App*, const CLI::Error& error) {
    return "zovctl: " + std::string(error.what()) +
           "\nzovctl --help and zovctl COMMAND --help say what is accepted.\n";
  });
  _app.add_option("-a,--agent", _address, "Where the agent serves HTTP")
      ->type_name("HOST:PORT")
      ->envname("ZOV_HUB_ADDRESS")
      ->capture_default_str();
  _app.set_version_flag("--version", std::string("zovctl ") + ProductVersion, "The version");
  addTop();
  addListings();
  addRows();
  addEvents();
  addAct();
  addCheck();
  addCompletion();
  _app.allow_extras();  // an unknown command, which is told of in run
}

CLI::App& CommandLine::add(const char* name, const char* text, std::function<Status()> work) {
  CLI::App& command = *_app.add_subcommand(name, text);
  command.callback([this, work = std::move(work)] { _work = work; });
  return command;
}

void CommandLine::addTop() {
  CLI::App& command = add("top", "Servers and their requests, live; h shows the keys", [this] {
    AgentClient client = agent();
    top(client, _top);
    return Status::Done;
  });
  command.add_option("-d,--delay", _top.seconds, "Seconds between readings")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.2, 3600.0))
      ->capture_default_str();
  command.add_option("--note", _top.note, "Lines to be shown below")->type_name("TEXT");
}

void CommandLine::addListings() {
  add("nodes", "The servers that the agent knows", [this] {
    AgentClient client = agent();
    listNodes(client);
    return Status::Done;
  });
  add("tables", "The tables, or the columns of one",
      [this] {
        AgentClient client = agent();
        listTables(client, _table);
        return Status::Done;
      })
      .add_option("table", _table, "Table whose columns are listed")
      ->type_name("TABLE");
}

void CommandLine::addRows() {
  CLI::App& command = add("rows", "Rows of a table, read now", [this] {
    AgentClient client = agent();
    printRows(client, _rows);
    return Status::Done;
  });
  command.add_option("table", _rows.table, "Table to read")->type_name("TABLE")->required();
  command.add_option("-n,--node", _rows.nodes, "Node to ask; may be repeated. Without it all are asked")
      ->type_name("NODE")
      ->expected(1)
      ->take_all();
  command.add_option("-w,--where", _rows.where, "Rows with this value only; may be repeated")
      ->type_name("COLUMN=VALUE")
      ->expected(1)
      ->take_all();
  command.add_option("--order", _rows.order, "Column to sort by; with a - before it, the largest first")
      ->type_name("COLUMN");
  command.add_option("-l,--limit", _rows.limit, "How many rows at most")
      ->type_name("NUMBER")
      ->check(CLI::PositiveNumber);
  command
      .add_option("-c,--columns", _rows.columns,
                  "Columns of a table on the terminal, with commas between them")
      ->type_name("COLUMNS")
      ->delimiter(',');
  command.add_flag("--history", _rows.history, "The rows kept for history, instead of the present ones");
  command.add_option("-o,--output", _rows.form, "Form of the output")
      ->type_name("FORM")
      ->check(CLI::IsMember(RowForms))
      ->capture_default_str();
}

void CommandLine::addEvents() {
  CLI::App& command = add("events", "The agent's messages and records of the servers' logs", [this] {
    AgentClient client = agent();
    printEvents(client, _words, _follow);
    return Status::Done;
  });
  command.add_option("tables", _words, "Tables whose events are shown; without one, all that have any")
      ->type_name("TABLE");
  command.add_flag("-f,--follow", _follow, "Go on with what comes, until Ctrl-C");
}

void CommandLine::addAct() {
  CLI::App& command = add("act", "Sends a command to a server", [this] {
    AgentClient client = agent();
    act(client, _node, _words);
    return Status::Done;
  });
  command.add_option("node", _node, "Node that the command is for")->type_name("NODE")->required();
  command.add_option("command", _words, "Command and its arguments")->type_name("COMMAND")->required();
}

void CommandLine::addCheck() {
  add("check", "Says what the agent would not use of a configuration",
      [this] { return checkConfiguration(_path); })
      .add_option("config", _path, "Configuration file, or its directory; without it the agent's own")
      ->type_name("CONFIG");
}

void CommandLine::addCompletion() {
  add("completion", "Prints the script by which a shell completes commands",
      [this] {
        printScript();
        return Status::Done;
      })
      .add_option("shell", _shell, "The shell")
      ->type_name("SHELL")
      ->required()
      ->check(CLI::IsMember(Shells));
}

Status CommandLine::run(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "complete")
    return complete({argv + 2, argv + argc}), Status::Done;
  _app.parse(argc, argv);
  if (_work) return _work();
  const std::vector<std::string> words = _app.remaining();
  const std::vector<std::string> names = commandNames();
  const std::string given = words.empty() ? "" : words.front();
  throw Failure(Status::Usage,
                (given.empty() ? "No command is given." : "There is no command " + printable(given) + ".") +
                    nearestHint(given, std::vector<std::string_view>(names.begin(), names.end())) +
                    " See zovctl --help.");
}

}  // namespace zov::ctl
