// `wz`: makes terminals out of folders, and runs and talks to applications on them.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <functional>
#include <string>

#include "commands.h"
#include "exit_code.h"
#include "output.h"

namespace {

constexpr char kExitCodes[] =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the application failed, or what was waited for did not come\n"
    "  2  the command line is wrong\n"
    "  3  the terminal, the machine or a file does not allow it";

std::string footer(const std::string& examples) {
  return "\nExamples:\n" + examples + "\n" + kExitCodes;
}

void addTerminal(CLI::App& command, std::string& terminal) {
  command
      .add_option(
          "--terminal", terminal,
          "Folder of the terminal (default: what the\nenvironment variable WZ_TERMINAL says)")
      ->type_name("DIR");
}

void addTimeout(CLI::App& command, double& seconds, const std::string& meaning) {
  command.add_option("--timeout", seconds, meaning)
      ->type_name("SECONDS")
      ->check(CLI::PositiveNumber);
}

void addCount(CLI::App& command, unsigned& count, const std::string& meaning) {
  command.add_option("--count", count, meaning)->type_name("N")->check(CLI::PositiveNumber);
}

// Every command is added by a function of its own, which binds its options and what it does.
using Action = std::function<int()>;

void addCreate(CLI::App& app, wz::CreateOptions& options, Action& action) {
  workstation::TerminalProfile& profile = options.terminal.profile;
  workstation::TerminalExports& exports = options.terminal.exports;
  profile.serial = "10000000001";
  profile.model = "T30";
  profile.displayColour = true;
  profile.memoryKB = 524288;
  profile.keys = 15;
  profile.touch = true;
  profile.sponsorId = "123456";
  profile.sponsorText = "Example sponsor";
  exports.triggers = {"CARD_PRESENTED", "RECEIPT"};

  CLI::App& terminal = *app.add_subcommand("terminal", "Make terminals");
  terminal.require_subcommand(1);
  terminal.footer(
      footer("  wz terminal create desk\n"
             "  wz terminal create --help\n"));
  CLI::App& command = *terminal.add_subcommand("create", "Make a folder that plays a terminal");
  command.add_option("DIR", options.directory, "The new folder; it may exist when it is empty")
      ->required()
      ->type_name("");
  command.add_option("--serial", profile.serial, "Serial number, 0 to 16 characters")
      ->capture_default_str();
  command.add_option("--model", profile.model, "Model, 0 to 12 characters")->capture_default_str();
  command.add_option("--display", options.display, "Size of the display in pixels")
      ->capture_default_str()
      ->type_name("WIDTHxHEIGHT");
  command.add_flag("--colour,!--monochrome", profile.displayColour,
                   "Whether the display shows colours (default: it does)");
  command.add_option("--memory", profile.memoryKB, "Memory in units of 1024 octets")
      ->capture_default_str()
      ->type_name("KB");
  command.add_option("--keys", profile.keys, "Number of keys")
      ->capture_default_str()
      ->type_name("N");
  command.add_flag("--touch,!--no-touch", profile.touch,
                   "Whether there is a touch screen (default: there is)");
  command.add_option("--sponsor", profile.sponsorId, "Sponsor, six digits; an empty text for none")
      ->capture_default_str()
      ->type_name("ID");
  command.add_option("--sponsor-text", profile.sponsorText, "Text of the sponsor")
      ->capture_default_str();
  command
      .add_option("--roots", options.terminal.roots,
                  "Folder of DER certificates (*.der, *.crt, *.cer)\n"
                  "that become the terminal's own (default: none)")
      ->type_name("DIR");
  command
      .add_option("--trigger", exports.triggers,
                  "A trigger that the terminal's own software exports;\n"
                  "may be repeated (default: CARD_PRESENTED, RECEIPT)")
      ->type_name("ID")
      ->expected(1)
      ->take_all();
  command
      .add_option("--interface", exports.interfaces,
                  "An interface that the terminal's own software\nexports; may be repeated")
      ->type_name("ID")
      ->expected(1)
      ->take_all();
  command
      .add_option("--triggers-version", exports.triggersVersion, "Version of the exported triggers")
      ->capture_default_str()
      ->type_name("VERSION");
  command.footer(
      footer("  wz terminal create desk\n"
             "  wz terminal create desk --model N255k --display 320x480 --roots keys/roots\n"));
  command.callback([&] { action = [&options] { return wz::createTerminal(options); }; });
}

void addRun(CLI::App& app, wz::RunOptions& options, Action& action) {
  CLI::App& command = *app.add_subcommand("run", "Run an application");
  command
      .add_option("APP", options.application,
                  "Id of an installed application; or a folder with a\n"
                  "manifest.mft, which takes an installed one's place\n"
                  "while it runs (./NAME is always a folder)")
      ->required()
      ->type_name("");
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
  command.callback([&] { action = [&options] { return wz::runApplication(options); }; });
}

void addListen(CLI::App& app, wz::ListenOptions& options, Action& action) {
  CLI::App& command = *app.add_subcommand("listen", "Show the notifications sent to an address");
  command.add_option("ADDRESS", options.address, "The address to listen at")
      ->required()
      ->type_name("");
  command.add_option("NAME", options.names, "Names of the notifications")
      ->required()
      ->type_name("");
  addTerminal(command, options.terminal);
  addCount(command, options.count, "End after this number of notifications\n(default: never)");
  addTimeout(command, options.timeoutSeconds,
             "End after this time; it is a failure when --count is\nnot reached by then");
  command.footer(
      footer("  wz listen --terminal desk 1 _WZLog\n"
             "  wz listen --terminal desk till PAID CANCELLED --count 1 --timeout 10\n"));
  command.callback([&] { action = [&options] { return wz::listen(options); }; });
}

void addNotify(CLI::App& app, wz::NotifyOptions& options, Action& action) {
  CLI::App& command = *app.add_subcommand("notify", "Send a notification");
  command.add_option("TO", options.to, "Address of the receiver")->required()->type_name("");
  command.add_option("NAME", options.name, "Name of the notification")->required()->type_name("");
  command.add_option("JSON", options.payload, "What it carries")
      ->capture_default_str()
      ->type_name("");
  addTerminal(command, options.terminal);
  command.add_option("--from", options.from, "Address of the sender")
      ->capture_default_str()
      ->type_name("ADDRESS");
  command.add_option("--flags", options.flags, "Flags, a number")
      ->capture_default_str()
      ->type_name("N");
  command.add_flag("--wait", options.waitForReply, "Wait for the reply and print it");
  command.add_option("--reply-name", options.replyName, "Name of the reply (default: NAME_reply)")
      ->type_name("NAME");
  addTimeout(command, options.timeoutSeconds, "With --wait: wait no longer (default: 30)");
  command.footer(
      footer("  wz notify --terminal desk till PAID '{\"amount\": 1250}'\n"
             "  wz notify --terminal desk oatmere-club MEMBER_LOOKUP --wait\n"));
  command.callback([&] { action = [&options] { return wz::notify(options); }; });
}

void addReply(CLI::App& app, wz::ReplyOptions& options, Action& action) {
  CLI::App& command = *app.add_subcommand("reply", "Answer the notifications of a name");
  command.add_option("ADDRESS", options.address, "The address to answer at")
      ->required()
      ->type_name("");
  command.add_option("NAME", options.name, "Name of the notifications")->required()->type_name("");
  command.add_option("JSON", options.payload, "The answer, a JSON value")
      ->required()
      ->type_name("");
  addTerminal(command, options.terminal);
  command.add_option("--reply-name", options.replyName, "Name of the answer (default: NAME_reply)")
      ->type_name("NAME");
  addCount(command, options.count, "End after this number of answers (default: never)");
  addTimeout(command, options.timeoutSeconds,
             "End after this time; it is a failure when --count is\nnot reached by then");
  command.footer(
      footer("  wz reply --terminal desk oatmere-club MEMBER_LOOKUP '{\"known\": false}'\n"
             "  wz reply --terminal desk host AUTHORISE true --count 1\n"));
  command.callback([&] { action = [&options] { return wz::reply(options); }; });
}

void addExecute(CLI::App& app, wz::ExecuteOptions& options, Action& action) {
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
  command.callback([&] { action = [&options] { return wz::execute(options); }; });
}

int runCommandLine(int argc, char** argv) {
  CLI::App app("Makes terminals out of folders, and runs and talks to applications on them.", "wz");
  app.require_subcommand(1);
  app.set_version_flag("--version", "wz " WZ_VERSION "\nplatform: workstation");
  app.footer(footer("  wz terminal create desk\n"
                    "  wz run --terminal desk examples/tip\n") +
             "\n\nEvery command has its own --help.");
  Action action;
  wz::CreateOptions create;
  wz::RunOptions run;
  wz::ListenOptions listen;
  wz::NotifyOptions notify;
  wz::ReplyOptions reply;
  wz::ExecuteOptions execute;
  addCreate(app, create, action);
  addRun(app, run, action);
  addListen(app, listen, action);
  addNotify(app, notify, action);
  addReply(app, reply, action);
  addExecute(app, execute, action);
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
