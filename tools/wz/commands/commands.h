/// The commands of `wz`, each with its options. Each returns an exit code (exit_code.h) and has
/// said what there is to say.
#ifndef WZ_COMMANDS_COMMANDS_H
#define WZ_COMMANDS_COMMANDS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "workstation/terminal/terminal_directory.h"
#include "wz/commands/signing_options.h"
#include "wz/reports/expiry.h"
#include "wz/terminal/screen_trial.h"

namespace wz {

struct CreateOptions {
  std::string directory;
  std::string display = "480x800";  // pixels, WIDTHxHEIGHT
  std::optional<int> keys;          // none: as many as the model has
  workstation::NewTerminal terminal;
  bool asJson = false;
};

int createTerminal(const CreateOptions& options);

struct ShowTerminalOptions {
  std::string directory;  // empty: as for every command
  bool asJson = false;
};

int showTerminal(const ShowTerminalOptions& options);

struct RunOptions {
  std::string terminal;     // empty: WZ_TERMINAL
  std::string application;  // id, or folder; or
  std::string folder;       // always a folder
  std::string entry = "desktop";
  std::vector<std::string> parameters;  // KEY=VALUE each
  bool headless = false;
  bool devtools = false;
  bool remoteDebugging = false;
  std::string screenshot;    // file; empty: none
  std::string screenshotAt;  // exit, a delay or a selector; empty: first paint
  ScreenTrial screen;
  std::string locale;  // empty: the machine's
  bool asJson = false;
  bool failOnError = false;
  bool watches = false;
  std::string recording;      // file; empty: none
  double timeoutSeconds = 0;  // 0: no limit
};

int runApplication(const RunOptions& options);

struct ReplayOptions {
  std::string terminal;
  std::string recording;    // file
  std::string application;  // id, or folder
  bool window = false;
  double toleranceSeconds = 5;
  bool asJson = false;
};

int replay(const ReplayOptions& options);

struct ListenOptions {
  std::string terminal;
  std::string address;
  std::vector<std::string> names;
  unsigned count = 0;  // 0: no end
  double timeoutSeconds = 0;
  bool asJson = false;
};

int listen(const ListenOptions& options);

struct NotifyOptions {
  std::string terminal;
  std::string to, name;
  std::string payload = "{}";  // JSON
  std::string from = "wz";
  unsigned flags = 0;
  bool waitForReply = false;
  std::string replyName;  // empty: NAME_reply
  double timeoutSeconds = 30;
  bool asJson = false;
};

int notify(const NotifyOptions& options);

struct ReplyOptions {
  std::string terminal;
  std::string address, name;
  std::string payload;    // JSON
  std::string replyName;  // empty: NAME_reply
  unsigned count = 0;
  double timeoutSeconds = 0;
  bool asJson = false;
};

int reply(const ReplyOptions& options);

struct HostOptions {
  std::string terminal;
  std::string file;
  bool printSchema = false, printExample = false;
  bool asJson = false;
  unsigned count = 0;
  double timeoutSeconds = 0;
};

/// Plays the programs around an application.
int playHost(const HostOptions& options);

struct ExecuteOptions {
  std::string terminal;
  std::vector<std::string> command;  // program and arguments
};

/// Returns the program's own exit code, or 128 and the number of the signal that ended it.
int execute(const ExecuteOptions& options);

struct InitKeysOptions {
  std::string directory;
  bool asJson = false;
};

int initKeys(const InitKeysOptions& options);

struct IssueOptions {
  std::string directory;      // the new folder; to rotate, that of the keys themselves
  std::string keys;           // folder with the authority; empty: the one that is known
  std::size_t authority = 0;  // row of its table from 1; 0: the first that can
  std::vector<std::string> roles;
  std::string until;  // YYYY-MM-DD; empty: as long as the authority
  bool asJson = false;
};

int issueKeys(const IssueOptions& options);
int rotateKeys(const IssueOptions& options);

struct ShowKeysOptions {
  std::vector<std::string> files;  // certificates, folders, packages, certificate archives
  unsigned withinDays = kExpiryNotice;
  bool asJson = false;
};

int showKeys(const ShowKeysOptions& options);

struct CertificatesOptions {
  std::string terminal;
  std::string file;  // "-": standard output
  bool asJson = false;
};

int writeCertificates(const CertificatesOptions& options);

struct NewOptions {
  std::string directory;
  std::string id;  // empty: the folder's name
  std::string sponsor;
  bool asJson = false;
};

int makeApplication(const NewOptions& options);

struct PackOptions {
  std::string folder;                 // of an application; or
  std::vector<std::string> removals;  // ids of applications
  std::string output;
  std::vector<std::string> sponsors;
  SigningOptions signing;
  bool applicationOnly = false;
  std::string terminal;              // whose engine is warned by; empty: none
  std::vector<std::string> allowed;  // codes that do not count
  bool isRelease = false;            // development keys do not sign
  bool asJson = false;
};

int pack(const PackOptions& options);

struct InspectOptions {
  std::vector<std::string> files;
  std::string terminal;  // empty: none
  bool asJson = false;
};

int inspect(const InspectOptions& options);

struct CheckFilesOptions {
  std::vector<std::string> files;    // folders and packages
  std::vector<std::string> allowed;  // codes
  std::string terminal;              // whose engine counts; empty: none
  unsigned engine = 0;               // major version of the terminal's browser; 0: not known
  std::string keys;                  // folder whose authorities judge; empty: those compiled in
  bool isRelease = false;            // development keys do not sign
  bool asJson = false;
};

int check(const CheckFilesOptions& options);

struct ExplainOptions {
  std::vector<std::string> text;  // words of one text; none: every code is listed
  bool asJson = false;
};

int explain(const ExplainOptions& options);

struct DoctorOptions {
  std::string terminal;
  bool repairs = false;  // leftovers are removed
  bool asJson = false;
};

int doctor(const DoctorOptions& options);

struct TamperOptions {
  std::string file;      // the package; to run, the folder of variants
  std::string output;    // the new folder
  std::string keys;      // folder; empty: the one that is known
  std::string host;      // command; empty: variants are made
  std::string terminal;  // to run: like which one; empty: a new one
  std::string only;      // to run: of these groups, or the variant of this name
  bool asJson = false;
};

/// Makes variants of a package that are wrong in one way each, or plays them on a host program.
int tamper(const TamperOptions& options);

struct InstallOptions {
  std::string terminal;
  std::vector<std::string> packages;  // files
  bool isTrial = false;               // on a copy
  std::string log;                    // file that gets the installer's log, too; empty: none
  bool asJson = false;
};

int install(const InstallOptions& options);

struct ListOptions {
  std::string terminal;
  bool asJson = false;
};

int listApplications(const ListOptions& options);

struct HistoryOptions {
  std::string terminal;
  unsigned count = 0;  // the last ones; 0: all
  bool asJson = false;
};

int showHistory(const HistoryOptions& options);

struct DiffOptions {
  std::string terminal;
  std::vector<std::string> files;  // two packages, or one and what is installed
  bool asJson = false;
};

int showDifference(const DiffOptions& options);

struct WhyOptions {
  std::string terminal;
  std::string id;   // of an application
  std::string log;  // file with the log of an installer; "-": standard input
  bool asJson = false;
};

int why(const WhyOptions& options);

struct RemoveOptions {
  std::string terminal;
  std::string id;
  SigningOptions signing;
  std::string log;  // file that gets the installer's log, too; empty: none
  bool asJson = false;
};

int removeApplication(const RemoveOptions& options);

}  // namespace wz

#endif  // WZ_COMMANDS_COMMANDS_H
