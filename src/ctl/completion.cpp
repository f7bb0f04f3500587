// What may stand for a word: commands and options as CommandLine has them, and names that the agent knows.

#include <algorithm>

#include "ctl/command_line.h"

namespace zov::ctl {

namespace {

/// Of an option that the word names, for one that takes a value; else null.
const CLI::Option* takingOption(const CLI::App& app, const std::string& word) {
  const CLI::Option* const option = word.starts_with('-') ? app.get_option_no_throw(word) : nullptr;
  return option && option->get_type_size() > 0 ? option : nullptr;
}

std::vector<std::string> optionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

const CLI::Option* positionalOf(const CLI::App& app, std::size_t index) {
  const CLI::Option* last = nullptr;
  for (const CLI::Option* const option : app.get_options()) {
    if (!option->get_positional()) continue;
    last = option;
    if (index-- == 0) return last;
  }
  return last && last->get_items_expected_max() > 1 ? last : nullptr;  // takes all that follow
}

}  // namespace

std::vector<std::string> CommandLine::valuesOf(const std::string& kind, const std::string& table) {
  std::vector<std::string> values;
  AgentClient client = agent();
  if (kind == "TABLE") {
    for (const Table& known : client.tables()) values.push_back(known.name);
  } else if (kind == "NODE") {
    values = client.nodes();
  } else if (kind == "COMMAND") {
    values = AgentCommands;
  } else if (kind == "FORM") {
    values = RowForms;
  } else if (kind.starts_with("COLUMN") && !table.empty()) {
    for (const Column& column : client.table(table).columns) {
      values.push_back(column.readable + (kind == "COLUMN=VALUE" ? "=" : ""));
    }
  }
  return values;
}

std::vector<std::string> CommandLine::commandNames() const {
  std::vector<std::string> names;
  for (const CLI::App* const command : _app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!command->get_group().empty()) names.push_back(command->get_name());
  }
  return names;
}

std::vector<std::string> CommandLine::candidates(std::vector<std::string> words) {
  const std::string begun = words.back();
  words.pop_back();
  CLI::App* app = &_app;
  const CLI::Option* wanted = nullptr;  // whose value comes next
  std::vector<std::string> positionals;
  for (const std::string& word : words) {
    if (wanted) {
      if (wanted->check_lname("agent")) _address = word;
      wanted = nullptr;
    } else if ((wanted = takingOption(*app, word)) || word.starts_with('-')) {
      continue;
    } else if (app == &_app) {
      const auto commands =
          _app.get_subcommands([&](const CLI::App* command) { return command->check_name(word); });
      if (commands.empty()) return {};
      app = commands.front();
    } else {
      positionals.push_back(word);
    }
  }
  if (!wanted && begun.starts_with('-')) return optionsOf(*app);
  if (!wanted && app == &_app) return commandNames();
  if (!wanted) wanted = positionalOf(*app, positionals.size());
  if (!wanted) return {};
  try {
    return valuesOf(wanted->get_type_name(), positionals.empty() ? "" : positionals.front());
  } catch (const Failure&) {
    return {};  // no agent: a shell has no use for the reason
  }
}

}  // namespace zov::ctl
