// wz completion: what a shell needs to complete command lines, from the table that --help has too.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "wz/commands/command_line.h"
#include "wz/reports/output.h"
#include "wz/words/exit_code.h"
#include "wz/words/shell_word.h"

namespace wz {
namespace {

// ---- The table ---------------------------------------------------------------------------------

struct Word {
  std::string text;     // "--keys", or a command
  std::string meaning;  // one line
  bool takesValue = false;
};

struct Command {
  std::string path;  // " keys show"; "" is wz itself
  std::vector<Word> commands, options;
};

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

Command commandOf(const CLI::App& app, const std::string& path) {
  Command command;
  command.path = path;
  for (const CLI::App* const below : app.get_subcommands({})) {
    command.commands.push_back({below->get_name(), firstLine(below->get_description()), false});
  }
  for (const CLI::Option* const option : app.get_options()) {
    const bool takesValue = option->get_items_expected_max() > 0;
    const std::string meaning = firstLine(option->get_description());
    for (const std::string& name : option->get_lnames()) {
      command.options.push_back({"--" + name, meaning, takesValue});
    }
    for (const std::string& name : option->get_snames()) {
      command.options.push_back({"-" + name, meaning, takesValue});
    }
  }
  return command;
}

void collect(const CLI::App& app, const std::string& path, std::vector<Command>& commands) {
  commands.push_back(commandOf(app, path));
  for (const CLI::App* const below : app.get_subcommands({})) {
    collect(*below, path + " " + below->get_name(), commands);
  }
}

// ---- Parts of bash and zsh ---------------------------------------------------------------------

// The words so far lead to one of the paths; other words are arguments.
std::string pathLoop(const std::vector<Command>& commands, const std::string& loop,
                     const std::string& word) {
  std::string text = "  local at=\"\" i\n  " + loop + "\n    case \"$at " + word + "\" in\n";
  for (const Command& command : commands) {
    if (command.path.empty()) continue;
    text += "      " + shellWord(command.path) + ") at=" + shellWord(command.path) + " ;;\n";
  }
  return text + "    esac\n  done\n";
}

// Behind these, a value stands: names of files.
std::string valueCase(const Command& command) {
  std::string names;
  for (const Word& option : command.options) {
    if (option.takesValue) names += (names.empty() ? "" : "|") + option.text;
  }
  return names;
}

std::string bashScript(const std::vector<Command>& commands) {
  std::string text =
      "# bash completion of wz; made by: wz completion bash\n"
      "_wz() {\n"
      "  local current=\"${COMP_WORDS[COMP_CWORD]}\" before=\"${COMP_WORDS[COMP_CWORD - 1]}\"\n";
  text += pathLoop(commands, "for ((i = 1; i < COMP_CWORD; i++)); do", "${COMP_WORDS[i]}");
  text += "  local commands=\"\" options=\"\" values=\"\"\n  case \"$at\" in\n";
  for (const Command& command : commands) {
    std::string names, options;
    for (const Word& word : command.commands) names += (names.empty() ? "" : " ") + word.text;
    for (const Word& word : command.options) options += (options.empty() ? "" : " ") + word.text;
    text += "    " + shellWord(command.path) + ")\n      commands=" + shellWord(names) +
            "\n      options=" + shellWord(options) +
            "\n      values=" + shellWord("|" + valueCase(command) + "|") + "\n      ;;\n";
  }
  // Nothing is offered behind an option with a value, so that names of files are.
  return text +
         "  esac\n"
         "  COMPREPLY=()\n"
         "  [[ $values == *\"|$before|\"* ]] && return\n"
         "  local words=\"$commands\"\n"
         "  [[ $current == -* ]] && words=\"$options\"\n"
         "  COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
         "}\n"
         "complete -o default -F _wz wz\n";
}

// "name:meaning" for _describe
std::string described(const std::vector<Word>& words) {
  std::string text;
  for (const Word& word : words) text += " " + shellWord(word.text + ":" + word.meaning);
  return text;
}

std::string zshScript(const std::vector<Command>& commands) {
  std::string text =
      "#compdef wz\n"
      "# zsh completion of wz; made by: wz completion zsh\n"
      "_wz() {\n";
  text += pathLoop(commands, "for ((i = 2; i < CURRENT; i++)); do", "${words[i]}");
  text += "  local -a commands options\n  local values=\"\"\n  case \"$at\" in\n";
  for (const Command& command : commands) {
    text += "    (" + shellWord(command.path) + ")\n      commands=(" +
            described(command.commands) + " )\n      options=(" + described(command.options) +
            " )\n      values=" + shellWord("|" + valueCase(command) + "|") + "\n      ;;\n";
  }
  return text +
         "  esac\n"
         "  if [[ $values == *\"|${words[CURRENT-1]}|\"* ]]; then\n"
         "    _files\n"
         "  elif [[ ${words[CURRENT]} == -* ]]; then\n"
         "    _describe option options\n"
         "  elif (( ${#commands} )); then\n"
         "    _describe command commands\n"
         "  else\n"
         "    _files\n"
         "  fi\n"
         "}\n"
         "compdef _wz wz\n";
}

// ---- fish --------------------------------------------------------------------------------------

// True where the words so far are those of `path` and none of `below`.
std::string fishCondition(const Command& command) {
  std::string condition = command.path.empty() ? "true" : "";
  for (std::size_t at = 0; at < command.path.size();) {
    const std::size_t end = std::min(command.path.find(' ', at + 1), command.path.size());
    condition += (condition.empty() ? "" : "; and ") + std::string("__fish_seen_subcommand_from") +
                 command.path.substr(at, end - at);
    at = end;
  }
  if (command.commands.empty()) return condition;
  condition += "; and not __fish_seen_subcommand_from";
  for (const Word& below : command.commands) condition += " " + below.text;
  return condition;
}

std::string fishScript(const std::vector<Command>& commands) {
  std::string text = "# fish completion of wz; made by: wz completion fish\n";
  for (const Command& command : commands) {
    const std::string begin = "complete -c wz -n " + shellWord(fishCondition(command));
    for (const Word& word : command.commands) {
      text += begin + " -f -a " + word.text + " -d " + shellWord(word.meaning) + "\n";
    }
    for (const Word& word : command.options) {
      const bool isLong = word.text.starts_with("--");
      text += begin + (isLong ? " -l " : " -s ") + word.text.substr(isLong ? 2 : 1) +
              (word.takesValue ? " -r" : "") + " -d " + shellWord(word.meaning) + "\n";
    }
  }
  return text;
}

struct Shell {
  const char* name;
  std::string (*script)(const std::vector<Command>& commands);
};

constexpr Shell kShells[] = {{"bash", bashScript}, {"zsh", zshScript}, {"fish", fishScript}};

}  // namespace

void addCompletionCommand(CLI::App& app, Action& action) {
  const auto shell = std::make_shared<std::string>();
  CLI::App& command =
      *app.add_subcommand("completion", "Print what lets a shell complete command lines of wz");
  command.add_option("SHELL", *shell, "bash, zsh or fish")->required()->type_name("");
  command.footer(
      footer("  wz completion bash > ~/.local/share/bash-completion/completions/wz\n"
             "  wz completion fish > ~/.config/fish/completions/wz.fish\n"));
  command.callback([&app, &action, shell] {
    action = [&app, shell] {
      for (const Shell& row : kShells) {
        if (row.name != *shell) continue;
        std::vector<Command> commands;
        collect(app, "", commands);
        printText(row.script(commands));
        return kDone;
      }
      printMessage("there is no completion for " + *shell + "; there is for bash, zsh and fish");
      return kUsage;
    };
  });
}

}  // namespace wz
