#include <memory>

#include "wz/commands/command_line.h"
#include "wz/commands/commands.h"

namespace wz {
namespace {

void addRun(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<RunOptions>();
  RunOptions& options = *kept;
  CLI::App& command = *app.add_subcommand("run", "Run an application");
  command
      .add_option("APP", options.application,
                  "Id of an installed application; or a folder with a\n"
                  "manifest.mft, which stands in for what is installed\n"
                  "under its id (./NAME is always a folder)")
      ->type_name("");
  command.add_option("--folder", options.folder, "A folder, instead of APP")->type_name("DIR");
  addTerminal(command, options.terminal);
  command
      .add_option("--entry", options.entry,
                  "Entry to open: desktop, or the id of one of the\nmanifest's triggers")
      ->capture_default_str()
      ->type_name("ID");
  command
      .add_option("--param", options.parameters, "A property for the application; may be repeated")
      ->type_name("KEY=VALUE")
      ->expected(1)
      ->take_all();
  command.add_flag("--headless", options.headless,
                   "Open no window (always so without a display server)");
  command.add_option("--screenshot", options.screenshot, "Save a picture of the page as PNG")
      ->type_name("FILE");
  command.add_flag("--devtools", options.devtools, "Open the browser's developer tools");
  addTimeout(command, options.timeoutSeconds, "Cancel the application after this time");
  command.footer(
      footer("  wz run --terminal desk examples/tip\n"
             "  wz run --terminal desk shop --entry CARD_PRESENTED --param wz_system=POS\n") +
      "\n\nA result other than 0 counts as a failure. The first interrupt cancels the "
      "application, the\nsecond ends wz at once.");
  command.callback([&action, kept] { action = [kept] { return runApplication(*kept); }; });
}

void addExecute(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<ExecuteOptions>();
  ExecuteOptions& options = *kept;
  CLI::App& command = *app.add_subcommand("exec", "Run a program inside the terminal");
  command
      .add_option("PROGRAM", options.command,
                  "The program and its arguments, behind a -- of their own")
      ->required()
      ->type_name("[ARGUMENT]");
  addTerminal(command, options.terminal);
  command.footer(
      footer("  wz exec --terminal desk -- ls -l /mnt/flash /home/sys1\n"
             "  wz exec --terminal desk -- ./host manifest.mft desktop\n") +
      "\n\nOnce the program has started, its own exit code counts: 128 and the signal's "
      "number when a\nsignal ended it. The terminal's message bus runs as long as it does.");
  command.callback([&action, kept] { action = [kept] { return execute(*kept); }; });
}

}  // namespace

void addRunCommands(CLI::App& app, Action& action) {
  addRun(app, action);
  addExecute(app, action);
}

}  // namespace wz
