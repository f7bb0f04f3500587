#pragma once
// The commands of zovctl. Each writes what it has to say to standard output, and throws a Failure when it
// cannot do what it was asked.

#include <string>
#include <vector>

#include "ctl/agent_client.h"

namespace zov::ctl {

/// `nodes`: the servers, and whether they are connected.
void listNodes(AgentClient& agent);

/// `tables`: all tables, or the columns of one.
void listTables(AgentClient& agent, const std::string& table);

struct RowsOptions {
  std::string table;
  std::vector<std::string> nodes;
  std::vector<std::string> where;    ///< COLUMN=VALUE
  std::vector<std::string> columns;  ///< shown; none: those that have a value in some row
  std::string order;                 ///< COLUMN or -COLUMN
  unsigned int limit = 0;            ///< 0: all
  bool history = false;
  std::string form = "table";  ///< one of RowForms
};
inline const std::vector<std::string> Shells = {"bash", "zsh"};
inline const std::vector<std::string> RowForms = {"table", "json", "csv"};
/// `rows`: of one table.
void printRows(AgentClient& agent, const RowsOptions& options);

/// `events`: those that the agent has, and with `follow` those that come, until the process ends.
void printEvents(AgentClient& agent, std::vector<std::string> tables, bool follow);

/// `act`: sends a command; the words behind its name are its arguments.
void act(AgentClient& agent, const std::string& node, const std::vector<std::string>& command);
extern const std::vector<std::string> AgentCommands;  ///< that nodes take

/// `check`: reads a configuration as the agent does, and says what is wrong with it. Without a path it is
/// looked for in the agent's directories.
Status checkConfiguration(const std::string& path);

struct TopOptions {
  double seconds = 2;  ///< between readings
  std::string note;    ///< lines below
};
/// `top`: until a key or a signal ends it; without a terminal it prints one page.
void top(AgentClient& agent, const TopOptions& options);

}  // namespace zov::ctl
