// `wz`: makes terminals out of folders; makes, installs, runs and talks to applications on them.

#include <CLI/CLI.hpp>
#include <exception>
#include <string>

#include "wz/commands/command_line.h"
#include "wz/reports/output.h"
#include "wz/terminal/development_roots.h"
#include "wz/words/exit_code.h"
#include "wz/words/version.h"

namespace {

int runCommandLine(int argc, char** argv) {
  CLI::App app(
      "Makes terminals out of folders; makes, installs, runs and talks to applications on them.",
      "wz");
  app.require_subcommand(1);
  app.set_version_flag("--version", wz::versionText(!wz::developmentRoots().empty()));
  app.footer(wz::footer("  wz terminal create desk\n"
                        "  wz run --terminal desk examples/tip\n") +
             "\n\nEvery command has its own --help.");
  wz::Action action;
  wz::addTerminalCommands(app, action);
  wz::addRunCommands(app, action);
  wz::addMessageCommands(app, action);
  wz::addKeyCommands(app, action);
  wz::addPackageCommands(app, action);
  // What is no command at all is otherwise only called one too few.
  const auto isFirst = [&](const CLI::App* command) { return command->check_name(argv[1]); };
  if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(isFirst).empty()) {
    wz::printMessage("there is no command " + std::string(argv[1]) + "; see wz --help");
    return wz::kUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& problem) {
    return app.exit(problem) == 0 ? wz::kDone : wz::kUsage;
  }
  return action();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return runCommandLine(argc, argv);
  } catch (const std::exception& problem) {
    wz::printMessage(problem.what());
    return wz::kEnvironment;
  }
}
