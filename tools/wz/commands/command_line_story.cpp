// What has happened to a terminal, and why.

#include <memory>

#include "wz/commands/command_line.h"
#include "wz/commands/commands.h"

namespace wz {
namespace {

void addHistory(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<HistoryOptions>();
  CLI::App& command =
      *app.add_subcommand("history", "Tell what was installed on a terminal and removed");
  addTerminal(command, kept->terminal);
  addCount(command, kept->count, "Tell the last N events alone");
  addJson(command, kept->asJson);
  command.footer(footer("  wz history --terminal desk\n"
                        "  wz history --terminal desk --count 1 --verbose\n") +
                 "\n\nThe terminal's folder keeps it in history.jsonl, an event a line.");
  command.callback([&action, kept] { action = [kept] { return showHistory(*kept); }; });
}

void addDiff(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<DiffOptions>();
  CLI::App& command =
      *app.add_subcommand("diff", "Compare packages, or one with what is installed");
  command
      .add_option("FILE", kept->files,
                  "Two packages; or one, which is compared with what is\n"
                  "installed of it")
      ->required()
      ->expected(1, 2)
      ->type_name("");
  addTerminal(command, kept->terminal);
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz diff shop-1.2.zip shop-1.3.zip\n"
             "  wz diff --terminal desk shop-1.3.zip\n") +
      "\n\nVersions, signers and their permissions, sponsors, exports, imports, and files. That\n"
      "there is a difference is no failure.");
  command.callback([&action, kept] { action = [kept] { return showDifference(*kept); }; });
}

void addWhy(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<WhyOptions>();
  CLI::App& command =
      *app.add_subcommand("why", "Say why an application is on a terminal, or is not");
  command.add_option("ID", kept->id, "Id of the application")->type_name("");
  addTerminal(command, kept->terminal);
  command
      .add_option("--log", kept->log,
                  "Explain the log of an installer instead, such as one of\n"
                  "a real terminal; - is standard input. With ID, what is\n"
                  "about that application alone")
      ->type_name("FILE");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz why --terminal desk shop\n"
             "  wz why --log install.log\n") +
      "\n\nOf one that was removed or refused, each rule that it broke, what stood behind it, and\n"
      "the smallest change that would keep it.");
  command.callback([&action, kept] { action = [kept] { return why(*kept); }; });
}

}  // namespace

void addStoryCommands(CLI::App& app, Action& action) {
  addHistory(app, action);
  addDiff(app, action);
  addWhy(app, action);
}

}  // namespace wz
