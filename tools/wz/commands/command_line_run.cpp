#include <memory>

#include "wz/commands/command_line.h"
#include "wz/commands/command_test.h"
#include "wz/commands/command_workbench.h"
#include "wz/commands/commands.h"

namespace wz {
namespace {

// Another screen than the terminal's own.
void addScreen(CLI::App& command, RunOptions& options) {
  command.add_option("--size", options.screen.size, "Another size of the display in pixels")
      ->type_name("WIDTHxHEIGHT");
  command.add_option("--keys", options.screen.keys, "Another number of keys")
      ->check(between(0, "0", 255, "255"))
      ->type_name("N");
  command.add_flag("--no-touch", options.screen.noTouch, "No touch screen");
  command.add_flag("--monochrome", options.screen.monochrome, "A display of black and white");
  command.add_option("--locale", options.locale, "The user's language as pages see it, such as de")
      ->type_name("TAG");
}

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
  command.add_flag("--watch", options.watches,
                   "Follow the folder: what is saved there is in the page at\n"
                   "once (? lists the keys for reload, picture, quit)");
  command.add_option("--screenshot", options.screenshot, "Save a picture of the page as PNG")
      ->type_name("FILE");
  command
      .add_option("--screenshot-at", options.screenshotAt,
                  "Take it at exit, after a time (2s, 300ms), or when an\n"
                  "element appears (a CSS selector); default: first paint")
      ->type_name("WHEN");
  addScreen(command, options);
  command.add_flag("--json", options.asJson, "Tell the story as JSON, one object a line");
  command
      .add_option("--record", options.recording,
                  "Write what happens, and what is clicked and typed, to a\n"
                  "file for wz replay")
      ->type_name("FILE");
  command.add_flag("--fail-on-error", options.failOnError,
                   "Fail when an error or rejection goes uncaught, or a file\n"
                   "of the application's own cannot be loaded");
  command.add_flag("--devtools", options.devtools, "Open the browser's developer tools");
  command.add_flag("--remote-debugging", options.remoteDebugging,
                   "Offer the page to tools of the DevTools protocol, on a\n"
                   "port of this machine behind a secret path that is told");
  addTimeout(command, options.timeoutSeconds, "Cancel the application after this time");
  command.footer(
      footer("  wz run --terminal desk examples/tip\n"
             "  wz run --terminal desk shop --entry CARD_PRESENTED --param wz_system=POS\n") +
      "\n\nA result other than 0 counts as a failure. The first interrupt cancels the "
      "application, the\nsecond ends wz at once.");
  command.callback([&action, kept] { action = [kept] { return runApplication(*kept); }; });
}

void addReplay(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<ReplayOptions>();
  ReplayOptions& options = *kept;
  CLI::App& command = *app.add_subcommand("replay", "Run an application again as recorded");
  command.add_option("FILE", options.recording, "What wz run --record has written")
      ->required()
      ->type_name("");
  command.add_option("APP", options.application, "Id of an installed application, or a folder")
      ->required()
      ->type_name("");
  addTerminal(command, options.terminal);
  command
      .add_option("--tolerance", options.toleranceSeconds,
                  "How much later than recorded anything may happen")
      ->check(between(0.1, "0.1", 3600, "3600"))
      ->capture_default_str()
      ->type_name("SECONDS");
  command.add_flag("--window", options.window, "Show the page in a window");
  addJson(command, options.asJson);
  command.footer(
      footer("  wz run --terminal desk --record pay.jsonl ./shop\n"
             "  wz replay --terminal desk pay.jsonl ./shop\n") +
      "\n\nWhat differs from the recording is printed, a line each, and counts as a failure.");
  command.callback([&action, kept] { action = [kept] { return replay(*kept); }; });
}

void addTest(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<TestOptions>();
  TestOptions& options = *kept;
  CLI::App& command = *app.add_subcommand("test", "Run an application's own tests");
  command
      .add_option("FOLDER", options.folder,
                  "Folder of the application, with tests in its folder\n"
                  "tests; or of the tests themselves (default: this one)")
      ->type_name("");
  command
      .add_option(
          "ARGUMENT", options.arguments,
          "What the test runner gets, such as the name of a test's\nfile; options behind a --")
      ->type_name("");
  addJson(command, options.asJson);
  command.footer(
      footer("  wz test shop\n"
             "  wz test shop -- --grep charge --reporter junit\n") +
      "\n\nThe tests are run by Playwright under Node.js, each with a terminal of its own.");
  command.callback([&action, kept] { action = [kept] { return testApplication(*kept); }; });
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

void addWorkbench(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<WorkbenchOptions>();
  WorkbenchOptions& options = *kept;
  CLI::App& command =
      *app.add_subcommand("workbench", "Show a terminal and all it does in a browser");
  command
      .add_option("DIR", options.terminal, "The terminal's folder (default: as WZ_TERMINAL says)")
      ->type_name("")
      ->each(nameTerminal);
  command
      .add_option("--folder", options.folders,
                  "A folder with an application, to be offered beside\n"
                  "those installed; may be repeated")
      ->type_name("APPDIR")
      ->expected(1)
      ->take_all();
  command.add_option("--port", options.port, "Port of this machine (default: any that is free)")
      ->check(CLI::Range(0, 65535))
      ->type_name("N");
  command.add_flag("!--no-open", options.opens, "Print the address and open no browser");
  addJsonLines(command, options.asJson);
  command.footer(
      footer("  wz workbench desk\n"
             "  wz workbench desk --folder examples/tip --no-open\n") +
      "\n\nThe page is served on this machine alone, to the browser that opens the address first. "
      "An\ninterrupt ends the workbench and all that it runs.");
  command.callback([&action, kept] { action = [kept] { return serveWorkbench(*kept); }; });
}

}  // namespace

void addRunCommands(CLI::App& app, Action& action) {
  addRun(app, action);
  addReplay(app, action);
  addTest(app, action);
  addExecute(app, action);
  addWorkbench(app, action);
}

}  // namespace wz
