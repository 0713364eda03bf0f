// `wz`: makes terminals out of folders; makes, installs, runs and talks to applications on them.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "wz/commands/command_line.h"
#include "wz/reports/json_document.h"
#include "wz/reports/output.h"
#include "wz/terminal/development_roots.h"
#include "wz/terminal/trusted_authorities.h"
#include "wz/words/exit_code.h"
#include "wz/words/version_text.h"

namespace {

// Tell things as they happen.
constexpr std::string_view kTelling[] = {"run", "host", "listen", "reply", "workbench", "matrix"};

void promiseJsonIfAsked(const CLI::App& app, const std::vector<std::string>& words) {
  const auto end = std::ranges::find(words, "--");
  if (std::find(words.begin(), end, "--json") == end) return;
  std::string command = wz::meantCommand(app, words);
  if (command.empty()) command = words.front().starts_with('-') ? "wz" : words.front();
  const bool isTelling = std::ranges::find(kTelling, command) != std::end(kTelling);
  wz::promiseJson(command, isTelling ? wz::JsonForm::kLines : wz::JsonForm::kDocument);
}

// "wz keys show"
std::string commandOf(const CLI::App& app) {
  std::string words = app.get_name();
  for (const CLI::App* at = &app; !at->get_subcommands().empty();) {
    at = at->get_subcommands().front();
    words += " " + at->get_name();
  }
  return words;
}

// Help goes to standard output.
int exitOf(const CLI::App& app, const CLI::ParseError& problem,
           const std::vector<std::string>& words) {
  if (problem.get_exit_code() == 0) {
    std::ostringstream out, errors;
    app.exit(problem, out, errors);
    wz::printText(out.str());
    return wz::kDone;
  }
  wz::printMessage(wz::withHelp(wz::usageWords(app, problem, words), commandOf(app)));
  return wz::kUsage;
}

int runCommandLine(int argc, char** argv) {
  CLI::App app(
      "Makes terminals out of folders; makes, installs, runs and talks to applications on them.",
      "wz");
  app.require_subcommand(1);
  app.set_version_flag("--version", [] {
    return wz::versionText(!wz::developmentRoots().empty(), wz::trustedText());
  });
  app.footer(wz::footer("  wz terminal create desk\n"
                        "  wz run --terminal desk examples/tip\n") +
             "\n\nEvery command has its own --help.");
  wz::Action action;
  wz::addTerminalCommands(app, action);
  wz::addRunCommands(app, action);
  wz::addMessageCommands(app, action);
  wz::addKeyCommands(app, action);
  wz::addPackageCommands(app, action);
  wz::addMatrixCommand(app, action);
  wz::addStoryCommands(app, action);
  wz::addHelpCommand(app, action);
  wz::addCompletionCommand(app, action);
  wz::addVolumes(app);
  wz::refuseEmptyValues(app);
  const std::vector<std::string> words =
      wz::withEmptyValues(std::vector<std::string>(argv + 1, argv + argc));
  promiseJsonIfAsked(app, words);
  // What the parser would only call one too few, or an option that is not there.
  for (const auto why : {wz::unknownCommand, wz::earlyOption}) {
    const std::string text = why(app, words);
    if (text.empty()) continue;
    wz::printMessage(wz::withHelp(text, "wz"));
    return wz::kUsage;
  }
  if (argc == 1) {  // what there is, rather than what is missing
    std::cerr << app.help();
    return wz::kUsage;
  }
  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend()));  // as the parser wants them
  } catch (const CLI::ParseError& problem) {
    return exitOf(app, problem, words);
  }
  return action();
}

}  // namespace

int main(int argc, char** argv) {
  wz::occupyStandardFiles();
  int code = wz::kEnvironment;
  try {
    code = runCommandLine(argc, argv);
  } catch (const std::exception& problem) {
    wz::printMessage(problem.what());
  }
  wz::finishJson(code);
  return wz::reportLostOutput() ? wz::kEnvironment : code;
}
