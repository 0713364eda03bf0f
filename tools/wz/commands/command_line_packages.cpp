#include <memory>
#include <regex>

#include "wz/commands/command_line.h"
#include "wz/commands/commands.h"

namespace wz {
namespace {

void addKeys(CLI::App& command, SigningOptions& signing) {
  command
      .add_option("--keys", signing.keys,
                  "Folder of keys with signers/application and\n"
                  "signers/manifest (default: what the environment\n"
                  "variable WZ_KEYS says, the keys of this build, or\n"
                  "keys of your own, made at first use)")
      ->type_name("DIR");
  command
      .add_option("--sign-command", signing.signCommand,
                  "Program that signs instead of the keys in that folder:\n"
                  "the octets on its standard input, the raw signature\n"
                  "(RSA, PKCS #1 v1.5, SHA-256) on its standard output;\n"
                  "WZ_SIGNER is application or manifest")
      ->type_name("CMD");
}

// One that this wz does not have may be of another, with which the same script is used.
std::string whyNoCode(const std::string& text) {
  static const std::regex kForm("WZ-[0-9]{4}");
  return std::regex_match(text, kForm) ? ""
                                       : "a code such as WZ-0824 is wanted, not '" + text + "'";
}

void addAllowed(CLI::App& command, std::vector<std::string>& allowed) {
  command
      .add_option("--allow", allowed,
                  "A code that is deliberate and does not count; may be\n"
                  "repeated")
      ->type_name("CODE")
      ->expected(1)
      ->take_all()
      ->check(CLI::Validator(whyNoCode, ""));
}

void addEngineOf(CLI::App& command, std::string& terminal) {
  command
      .add_option("--terminal", terminal,
                  "Warn of what is newer than this terminal's engine\n"
                  "(its terminal.json)")
      ->type_name("DIR");
}

void addRelease(CLI::App& command, bool& isRelease) {
  command.add_flag("--release", isRelease, "Refuse what development keys have signed");
}

void addNew(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<NewOptions>();
  kept->sponsor = "123456";
  CLI::App& command = *app.add_subcommand("new", "Make an application to begin with");
  command.add_option("DIR", kept->directory, "The new folder; it may exist when it is empty")
      ->required()
      ->type_name("");
  command.add_option("--id", kept->id, "Id of the application (default: the folder's name)");
  command.add_option("--sponsor", kept->sponsor, "Sponsor whose terminals may have it")
      ->capture_default_str()
      ->type_name("ID");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz new shop && wz run --terminal desk shop\n"
             "  wz new ~/apps/shop --id corner-shop --sponsor 654321\n") +
      "\n\nThe folder .wz in it is for editors: typings of what a page can call, and a JSON\n"
      "Schema of the manifest. It is not packed.");
  command.callback([&action, kept] { action = [kept] { return makeApplication(*kept); }; });
}

void addPack(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<PackOptions>();
  CLI::App& command = *app.add_subcommand("pack", "Make and sign a package");
  command.add_option("APPDIR", kept->folder, "Folder of the application, with its manifest.mft")
      ->type_name("");
  command
      .add_option("-o,--output", kept->output,
                  "The package; a name that ends in .zip (default: the\n"
                  "application's id and .zip, here)")
      ->type_name("FILE");
  addKeys(command, kept->signing);
  command
      .add_option("--sponsor", kept->sponsors,
                  "Sponsor whose terminals may have it, six digits; may\n"
                  "be repeated (default: those in the manifest)")
      ->type_name("ID")
      ->expected(1)
      ->take_all();
  command.add_flag("--application-only", kept->applicationOnly,
                   "Leave the marketplace package out, without which a\n"
                   "terminal that has none removes the application again");
  addEngineOf(command, kept->terminal);
  addAllowed(command, kept->allowed);
  addRelease(command, kept->isRelease);
  command
      .add_option("--uninstall", kept->removals,
                  "Instead of APPDIR: make a package that removes this\n"
                  "application; may be repeated")
      ->type_name("ID")
      ->expected(1)
      ->take_all();
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz pack shop -o shop.zip --keys keys --sponsor 123456\n"
             "  wz pack --uninstall shop -o no-shop.zip --keys keys --sponsor 123456\n") +
      "\n\nThe same input gives the same octets. What was made is verified, as a terminal does\n"
      "it, before it takes its place.");
  command.callback([&action, kept] { action = [kept] { return pack(*kept); }; });
}

void addInspect(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<InspectOptions>();
  CLI::App& command = *app.add_subcommand("inspect", "Explain packages without installing them");
  command.add_option("FILE", kept->files, "The packages; several are tried together")
      ->required()
      ->type_name("");
  command
      .add_option("--terminal", kept->terminal,
                  "Tell also what this terminal would make of them; they\n"
                  "are tried out on a copy")
      ->type_name("DIR")
      ->each(nameTerminal);
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz inspect shop.zip\n"
             "  wz inspect shop.zip --terminal desk --json\n") +
      "\n\nEach archive in the package goes through the checks of a terminal, up to the first\n"
      "that fails. Without --terminal, every authority compiled in counts as trusted.");
  command.callback([&action, kept] { action = [kept] { return inspect(*kept); }; });
}

void addCheck(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<CheckFilesOptions>();
  CLI::App& command = *app.add_subcommand("check", "Say what is wrong with applications");
  command.add_option("FILE", kept->files, "Folders of applications, or packages")
      ->required()
      ->type_name("");
  addAllowed(command, kept->allowed);
  command
      .add_option("--engine", kept->engine,
                  "Major version of the terminal's browser: warn of what\n"
                  "scripts and styles use that is newer")
      ->type_name("N")
      ->check(aboveZero());
  addEngineOf(command, kept->terminal);
  addRelease(command, kept->isRelease);
  command
      .add_option("--keys", kept->keys,
                  "Folder with the table of authorities that judge the\n"
                  "signers of packages (default: those compiled in)")
      ->type_name("DIR");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz check shop\n"
             "  wz check shop.zip --allow WZ-0824 --engine 87\n") +
      "\n\nwz explain CODE tells more of a finding. Errors count as rejected, warnings do not.");
  command.callback([&action, kept] { action = [kept] { return check(*kept); }; });
}

void addExplain(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<ExplainOptions>();
  CLI::App& command =
      *app.add_subcommand("explain", "Explain a code, or a line of an installation's log");
  command
      .add_option("TEXT", kept->text,
                  "A code such as WZ-0304, a number of the library such as\n"
                  "-216, a line of a log, or words; without it every code is\n"
                  "listed")
      ->type_name("");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz explain WZ-0304\n"
             "  wz explain \"Error: Signature 'SHOP.P7S' not found\"\n"));
  command.callback([&action, kept] { action = [kept] { return explain(*kept); }; });
}

void addDoctor(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<DoctorOptions>();
  CLI::App& command = *app.add_subcommand("doctor", "Say what this machine lacks");
  command
      .add_option("--terminal", kept->terminal,
                  "A terminal in which leftovers of killed programs are\n"
                  "looked for, too (default: what WZ_TERMINAL says)")
      ->type_name("DIR");
  command.add_flag("--repair", kept->repairs, "Remove what killed programs have left");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz doctor\n"
             "  wz doctor --repair\n") +
      "\n\nEach finding comes with the command that mends it. What hinders every application ends "
      "it\nwith 3, warnings do not.");
  command.callback([&action, kept] { action = [kept] { return doctor(*kept); }; });
}

void addTamper(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<TamperOptions>();
  CLI::App& command =
      *app.add_subcommand("tamper", "Make a package wrong in every way, and try a host with that");
  command
      .add_option("FILE", kept->file,
                  "The package, of one application; with --run, the folder\n"
                  "that -o has made")
      ->required()
      ->type_name("");
  command.add_option("-o,--output", kept->output, "The new folder; it must not exist")
      ->type_name("DIR");
  command
      .add_option("--keys", kept->keys,
                  "Folder of keys that has signed the package, to sign\n"
                  "anew with, and its authorities, to issue signers\n"
                  "(default: as wz pack has it)")
      ->type_name("DIR");
  command
      .add_option("--run", kept->host,
                  "Play the variants on this program, which installs what\n"
                  "waits and writes the log on one of its outputs")
      ->type_name("CMD");
  command.add_option("--terminal", kept->terminal, "Play them on a new terminal like this one")
      ->type_name("DIR");
  command.add_option("--only", kept->only, "Play those of this group, or the one of this name")
      ->type_name("TEXT");
  addJson(command, kept->asJson);
  command.footer(footer("  wz tamper shop.zip -o lab\n"
                        "  wz tamper lab --run ./till-install\n") +
                 "\n\nThe folder has a folder for each variant, and tamper.json: what was done to "
                 "each, and what\n"
                 "the log of an installation must say of it. Keys lie open: what they sign is for "
                 "a lab alone.");
  command.callback([&action, kept] { action = [kept] { return tamper(*kept); }; });
}

void addLog(CLI::App& command, std::string& log) {
  command
      .add_option("--log", log,
                  "Also write the installer's log to a file, as it comes,\n"
                  "beside --json too (wz why --log reads it)")
      ->type_name("FILE");
}

void addInstall(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<InstallOptions>();
  CLI::App& command = *app.add_subcommand("install", "Install packages on a terminal");
  addTerminal(command, kept->terminal);
  command.add_option("FILE", kept->packages, "The packages; they stay where they are")
      ->required()
      ->type_name("");
  command.add_flag("--dry-run", kept->isTrial,
                   "Only say what would appear, be replaced and vanish, and\n"
                   "why; it is tried out on a copy of the terminal");
  addLog(command, kept->log);
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz install --terminal desk shop.zip tip.zip\n"
             "  wz install --terminal desk --dry-run shop.zip\n") +
      "\n\nThe installation's log is printed as it comes, and then what has changed. A package\n"
      "counts as rejected when what it was for has not come about.");
  command.callback([&action, kept] { action = [kept] { return install(*kept); }; });
}

void addList(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<ListOptions>();
  CLI::App& command = *app.add_subcommand("list", "List the applications of a terminal");
  addTerminal(command, kept->terminal);
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz list --terminal desk\n"
             "  wz list --terminal desk --json\n"));
  command.callback([&action, kept] { action = [kept] { return listApplications(*kept); }; });
}

void addRemove(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<RemoveOptions>();
  CLI::App& command =
      *app.add_subcommand("remove", "Remove an application from a terminal, by a signed package");
  addTerminal(command, kept->terminal);
  command.add_option("ID", kept->id, "Id of the application")->required()->type_name("");
  addKeys(command, kept->signing);
  addLog(command, kept->log);
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz remove --terminal desk shop\n"
             "  wz remove --terminal desk --keys keys shop\n"));
  command.callback([&action, kept] { action = [kept] { return removeApplication(*kept); }; });
}

}  // namespace

void addPackageCommands(CLI::App& app, Action& action) {
  addNew(app, action);
  addPack(app, action);
  addInspect(app, action);
  addCheck(app, action);
  addExplain(app, action);
  addDoctor(app, action);
  addTamper(app, action);
  addInstall(app, action);
  addList(app, action);
  addRemove(app, action);
}

}  // namespace wz
