#include <memory>

#include "wz/commands/command_line.h"
#include "wz/commands/commands.h"

namespace wz {
namespace {

void addInit(CLI::App& keys, Action& action) {
  const auto kept = std::make_shared<InitKeysOptions>();
  CLI::App& command = *keys.add_subcommand("init", "Make a folder of development keys");
  command.add_option("DIR", kept->directory, "The new folder; it must not exist")
      ->required()
      ->type_name("");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz keys init keys\n"
             "  wz keys init ~/wz/keys && wz terminal create desk --roots ~/wz/keys/roots\n") +
      "\n\nThe private keys lie open beside the certificates: what trusts them is not for "
      "terminals.");
  command.callback([&action, kept] { action = [kept] { return initKeys(*kept); }; });
}

void addShow(CLI::App& keys, Action& action) {
  const auto kept = std::make_shared<ShowKeyOptions>();
  CLI::App& command =
      *keys.add_subcommand("show", "Explain a certificate, and what a terminal makes of it");
  command.add_option("FILE", kept->file, "The certificate, DER")->required()->type_name("");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz keys show keys/signers/application.der\n"
             "  wz keys show --json shop.crt\n") +
      "\n\nA file that is no certificate for a terminal counts as rejected; a certificate that no\n"
      "authority accepts is explained like any other.");
  command.callback([&action, kept] { action = [kept] { return showKey(*kept); }; });
}

void addCertificates(CLI::App& app, Action& action) {
  const auto kept = std::make_shared<CertificatesOptions>();
  CLI::App& command = *app.add_subcommand("certs", "Write a terminal's certificates as an archive");
  addTerminal(command, kept->terminal);
  command.add_option("-o,--output", kept->file, "The tar archive; - for standard output")
      ->required()
      ->type_name("FILE");
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz certs --terminal desk -o certificates.tar\n"
             "  wz certs --terminal desk -o - | tar -tv\n") +
      "\n\nThe archive holds the terminal's own certificates (os*.crt) and the authorities that "
      "are\n"
      "compiled in (wz*.crt), each named by its serial number. An existing file is replaced.");
  command.callback([&action, kept] { action = [kept] { return writeCertificates(*kept); }; });
}

}  // namespace

void addKeyCommands(CLI::App& app, Action& action) {
  CLI::App& keys = *app.add_subcommand("keys", "Make development keys, explain certificates");
  keys.require_subcommand(1);
  keys.footer(
      footer("  wz keys init keys\n"
             "  wz keys show keys/signers/application.der\n"));
  addInit(keys, action);
  addShow(keys, action);
  addCertificates(app, action);
}

}  // namespace wz
