// What may stand for a word: commands and options as CommandLine has them, and names that the agent knows.

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "ctl/command_line.h"
#include "ctl/text.h"

namespace zov::ctl {

namespace {

// A word that ends in "=" goes on. Where there is nothing to offer, a shell offers files.
// Bash takes ":" and "=" for ends of words, so that it wants what stands behind them only.
constexpr const char* BashScript = R"sh(# bash completion of zovctl
_zovctl() {
  local words line done
  read -ra words <<<"${COMP_LINE:0:COMP_POINT}"
  [[ ${COMP_LINE:COMP_POINT-1:1} == ' ' ]] && words+=('')
  done=${words[-1]%"${words[-1]##*[:=]}"}
  COMPREPLY=()
  while IFS= read -r line; do
    COMPREPLY+=("${line#"$done"}")
  done < <("${words[0]}" complete "${words[@]:1}" 2>/dev/null)
  if [[ ${COMPREPLY[0]-} == *= ]]; then compopt -o nospace; fi
}
complete -o default -F _zovctl zovctl
)sh";

constexpr const char* ZshScript = R"sh(#compdef zovctl
# zsh completion of zovctl
local -a found
found=(${(f)"$($words[1] complete "${(@)words[2,CURRENT]}" 2>/dev/null)"})
if (( $#found )); then
  compadd -- ${found:#*=}
  compadd -S '' -- ${(M)found:#*=}
else
  _files
fi
)sh";

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

void CommandLine::printScript() const {
  std::fputs(_shell == "bash" ? BashScript : ZshScript, stdout);
}

void CommandLine::complete(std::vector<std::string> words) {
  if (const char* const address = std::getenv("ZOV_HUB_ADDRESS")) _address = address;
  if (words.empty()) words.emplace_back();
  for (const std::string& candidate : candidates(words)) {
    if (candidate.starts_with(words.back())) std::printf("%s\n", printable(candidate).c_str());
  }
}

std::vector<std::string> CommandLine::valuesOf(const std::string& kind,
                                               const std::vector<std::string>& before) {
  std::vector<std::string> values;
  AgentClient client = agent();
  if (kind == "TABLE") {
    for (const Table& known : client.tables()) values.push_back(known.name);
  } else if (kind == "NODE") {
    values = client.nodes();
  } else if (kind == "COMMAND" && before.size() == 1) {
    values = AgentCommands;
  } else if (kind.starts_with("FORM")) {
    values = RowForms;
  } else if (kind.starts_with("SHELL")) {
    values = Shells;
  } else if (kind.starts_with("COLUMN") && !before.empty()) {
    for (const Column& column : client.table(before.front()).columns) {
      values.push_back(column.readable + (kind == "COLUMN=VALUE" ? "=" : ""));
    }
  }
  return values;
}

std::vector<std::string> CommandLine::commandNames() const {
  std::vector<std::string> names;
  for (const CLI::App* const command : _app.get_subcommands([](const CLI::App*) { return true; })) {
    names.push_back(command->get_name());
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
    return valuesOf(wanted->get_type_name(), positionals);
  } catch (const Failure&) {
    return {};  // no agent: a shell has no use for the reason
  }
}

}  // namespace zov::ctl
