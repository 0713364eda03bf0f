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

void addIssuing(CLI::App& command, IssueOptions& options) {
  command
      .add_option("--authority", options.authority,
                  "Row of the table of authorities, from 1 (default: the\n"
                  "first whose private key is there)")
      ->type_name("N")
      ->check(aboveZero());
  command
      .add_option("--role", options.roles,
                  "application or manifest; may be repeated (default:\n"
                  "both, where the authority may issue both)")
      ->type_name("ROLE")
      ->check(oneOf({"application", "manifest"}))
      ->expected(1)
      ->take_all();
  command
      .add_option("--until", options.until,
                  "Last day, such as 2030-12-31 (default: that of the\n"
                  "authority)")
      ->type_name("DAY");
  addJson(command, options.asJson);
}

void addIssue(CLI::App& keys, Action& action) {
  const auto kept = std::make_shared<IssueOptions>();
  CLI::App& command =
      *keys.add_subcommand("issue", "Make a folder of new signers below an authority");
  command.add_option("DIR", kept->directory, "The new folder; it must not exist")
      ->required()
      ->type_name("");
  command
      .add_option("--keys", kept->keys,
                  "Folder with the authority and its private key\n"
                  "(default: as wz pack has it)")
      ->type_name("KEYS");
  addIssuing(command, *kept);
  command.footer(
      footer("  wz keys issue ci --keys keys\n"
             "  wz keys issue till --keys keys --role application --until 2027-12-31\n") +
      "\n\nThe folder has the signers with their private keys, and of the authorities and roots\n"
      "the certificates alone. Each signer gets a serial number of its own; KEYS/issued keeps a\n"
      "copy of its certificate.");
  command.callback([&action, kept] { action = [kept] { return issueKeys(*kept); }; });
}

void addRotate(CLI::App& keys, Action& action) {
  const auto kept = std::make_shared<IssueOptions>();
  CLI::App& command = *keys.add_subcommand("rotate", "Put new signers in the place of a folder's");
  command.add_option("DIR", kept->directory, "The folder of keys, with the authorities' own")
      ->required()
      ->type_name("");
  addIssuing(command, *kept);
  command.footer(
      footer("  wz keys rotate keys\n"
             "  wz keys rotate keys --role manifest --until 2030-12-31\n") +
      "\n\nEach signer is issued anew below the authority that it had. The ones before are kept "
      "in\n"
      "DIR/retired. Terminals go on taking what they have signed: nothing revokes a signer.");
  command.callback([&action, kept] { action = [kept] { return rotateKeys(*kept); }; });
}

void addShow(CLI::App& keys, Action& action) {
  const auto kept = std::make_shared<ShowKeysOptions>();
  CLI::App& command =
      *keys.add_subcommand("show", "Explain certificates, and what a terminal makes of them");
  command
      .add_option("FILE", kept->files,
                  "Certificates (DER), folders of them, packages, or\n"
                  "archives that wz certs has written")
      ->required()
      ->type_name("");
  command
      .add_option("--within", kept->withinDays, "Warn of those whose last date is nearer than this")
      ->type_name("DAYS")
      ->capture_default_str()
      ->check(between(0, "0", 100000, "100000"));
  addJson(command, kept->asJson);
  command.footer(
      footer("  wz keys show keys/signers/application.der\n"
             "  wz keys show --json keys shop.zip certificates.tar\n") +
      "\n\nOne certificate is told in full, of several a line each. A file that is no certificate\n"
      "for a terminal counts as rejected; a certificate that no authority accepts is explained\n"
      "like any other.");
  command.callback([&action, kept] { action = [kept] { return showKeys(*kept); }; });
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
  CLI::App& keys = *app.add_subcommand("keys", "Make keys and signers, explain certificates");
  keys.require_subcommand(1);
  keys.footer(
      footer("  wz keys init keys\n"
             "  wz keys show keys\n"));
  addInit(keys, action);
  addIssue(keys, action);
  addRotate(keys, action);
  addShow(keys, action);
  addCertificates(app, action);
}

}  // namespace wz
