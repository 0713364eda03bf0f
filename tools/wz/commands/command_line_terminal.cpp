#include <memory>

#include "wz/commands/command_line.h"
#include "wz/commands/commands.h"
#include "wz/terminal/own_terminal.h"

namespace wz {
namespace {

void addShow(CLI::App& terminal, Action& action) {
  const auto kept = std::make_shared<ShowTerminalOptions>();
  CLI::App& command = *terminal.add_subcommand("show", "Print what a terminal is");
  command
      .add_option("DIR", kept->directory, "The terminal's folder (default: as WZ_TERMINAL says)")
      ->type_name("");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz terminal show desk\n"
             "  wz terminal show\n") +
      "\n\nThe platform is what applications name in imports_hardware. Where the model decides "
      "otherwise\nthan terminal.json, a note says so.");
  command.callback([&action, kept] { action = [kept] { return showTerminal(*kept); }; });
}

}  // namespace

void addTerminalCommands(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<CreateOptions>();
  CreateOptions& options = *kept;
  options.terminal = defaultTerminal();
  workstation::TerminalProfile& profile = options.terminal.profile;
  workstation::TerminalExports& exports = options.terminal.exports;

  CLI::App& terminal = *app.add_subcommand("terminal", "Make terminals, show what they are");
  terminal.require_subcommand(1);
  terminal.footer(
      footer("  wz terminal create desk\n"
             "  wz terminal show desk\n"));
  addShow(terminal, action);
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
  command.add_option("--keys", options.keys, "Number of keys (default: what the model has)")
      ->type_name("N");
  command.add_flag("--touch,!--no-touch", profile.touch,
                   "Whether there is a touch screen (default: there is)");
  command
      .add_option("--engine", profile.engine,
                  "Major version of its browser, by which wz check and wz\n"
                  "pack warn of what is newer (default: not known)")
      ->type_name("N")
      ->check(aboveZero());
  command.add_option("--sponsor", profile.sponsorId, "Sponsor, six digits; an empty text for none")
      ->capture_default_str()
      ->type_name("ID");
  command.add_option("--sponsor-text", profile.sponsorText, "Text of the sponsor")
      ->capture_default_str();
  command
      .add_option("--roots", options.terminal.roots,
                  "Folder of DER certificates (*.der, *.crt, *.cer)\n"
                  "that become the terminal's own (default: the roots of\n"
                  "the development keys, where this build trusts those)")
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
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz terminal create desk\n"
             "  wz terminal create desk --model N255k --display 320x480 --roots keys/roots\n"));
  command.callback([&action, kept] { action = [kept] { return createTerminal(*kept); }; });
}

}  // namespace wz
