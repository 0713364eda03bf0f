// wz help, and what was probably meant by a command or an option that there is not.

#include <memory>
#include <string>
#include <vector>

#include "wz/commands/command_line.h"
#include "wz/reports/output.h"
#include "wz/words/exit_code.h"
#include "wz/words/nearest.h"

namespace wz {
namespace {

std::vector<std::string> namesOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const command : app.get_subcommands({})) {
    names.push_back(command->get_name());
  }
  return names;
}

// Those that `words` lead to; null after a message when there is none.
const CLI::App* findCommand(const CLI::App& app, const std::vector<std::string>& words) {
  const CLI::App* at = &app;
  for (const std::string& word : words) {
    const CLI::App* next = nullptr;
    for (const CLI::App* const command : at->get_subcommands({})) {
      if (command->get_name() == word) next = command;
    }
    if (next == nullptr) {
      printMessage(withHelp("there is no command " + word + suggestedCommand(*at, word), "wz"));
      return nullptr;
    }
    at = next;
  }
  return at;
}

std::string question(const std::string& meant) {
  return meant.empty() ? meant : "; did you mean " + meant + "?";
}

}  // namespace

std::string withHelp(const std::string& text, const std::string& command) {
  return text.ends_with('?') ? text + " (see " + command + " --help)"
                             : text + "; see " + command + " --help";
}

std::string suggestedCommand(const CLI::App& app, const std::string& word) {
  return question(nearest(word, namesOf(app)));
}

std::string suggestedOption(const CLI::App& app, const std::string& word) {
  const CLI::App* at = &app;
  while (!at->get_subcommands().empty()) at = at->get_subcommands().front();
  std::vector<std::string> names;
  for (const CLI::Option* const option : at->get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return question(nearest(word.substr(0, word.find('=')), names));
}

void addHelpCommand(CLI::App& app, Action& action) {
  const auto words = std::make_shared<std::vector<std::string>>();
  CLI::App& command = *app.add_subcommand("help", "Explain a command");
  command.add_option("COMMAND", *words, "Its words; without them wz itself is explained")
      ->type_name("");
  command.footer(
      footer("  wz help pack\n"
             "  wz help terminal create\n"));
  command.callback([&app, &action, words] {
    action = [&app, words] {
      const CLI::App* const found = findCommand(app, *words);
      if (found == nullptr) return kUsage;
      std::string name = app.get_name();
      for (const std::string& word : *words) name += " " + word;
      // By the formatter: an App that has parsed a command explains that one instead of itself.
      printText(found->get_formatter()->make_help(found, name, CLI::AppFormatMode::Normal));
      return kDone;
    };
  });
}

}  // namespace wz
