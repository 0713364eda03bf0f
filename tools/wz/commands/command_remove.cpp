#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "packaging/package_maker.h"
#include "support/text.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/commands/commands.h"
#include "wz/reports/output.h"
#include "wz/terminal/interrupt.h"
#include "wz/terminal/package_files.h"
#include "wz/terminal/terminal_change.h"
#include "wz/terminal/told_installation.h"
#include "wz/terminal/trusted_authorities.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

constexpr char kPackageName[] = "wz-remove.zip";

bool findApplication(const std::string& id, InstalledApplication& application) {
  const InstalledApplications applications = findInstalledApplications();
  const auto found = applications.find(wzapp::toUpper(id));
  if (found == applications.end() || !found->second.isInstalled) {
    const std::string meant = suggestedId(applications, id);
    printMessage("there is no application " + id + " on this terminal" +
                 (meant.empty() ? "; see wz list" : meant));
    return false;
  }
  application = found->second;
  return true;
}

// Addressed to the terminal's own sponsor, and in the folder in which the terminal looks.
bool orderRemoval(const InstalledApplication& application, packaging::RemovalOrder& order) {
  workstation::TerminalProfile profile;
  workstation::ProfileError error;
  if (!workstation::loadTerminalProfile(workstation::terminalDirectory(), profile, error)) {
    printMessage(error.text());
    return false;
  }
  const std::string folder =
      application.marketplaceFolder.empty() ? application.id : application.marketplaceFolder;
  order = {application.id, folder, application.version, {profile.sponsorId}};
  return true;
}

bool makeWaiting(const packaging::RemovalOrder& order, const packaging::PackageSigners& signers,
                 WaitingPackage& package) {
  const std::string path = placeOfPackage(kPackageName);
  std::string error;
  const auto accept = [](const std::string&) { return true; };
  if (!packaging::makePackage({order}, signers, path, accept, error)) {
    printMessage(error);
    return false;
  }
  std::error_code failure;
  package = {"the removal of " + order.id, kPackageName,
             examinePackage(path, trustedAuthorities(), EntrySizes::kLeftOut), sha256OfFile(path),
             std::filesystem::file_size(path, failure)};
  return true;
}

}  // namespace

int removeApplication(const RemoveOptions& options) {
  std::string keys = findKeyDirectory(options.signing.keys);
  if (keys.empty()) return kUsage;
  std::error_code failure;
  keys = std::filesystem::absolute(keys, failure).string();
  packaging::PackageSigners signers;
  if (!loadSigners(options.signing, keys, false, true, signers)) return kEnvironment;
  LogCopy copy;
  if (!copy.open(options.log)) return kEnvironment;
  watchInterrupts();  // before a package waits
  outliveReader();
  TerminalChange change;
  if (!change.begin(options.terminal)) return kEnvironment;
  InstalledApplication application;
  if (!findApplication(options.id, application)) return kApplicationFailed;
  packaging::RemovalOrder order;
  WaitingPackage package;
  if (!orderRemoval(application, order) || !makeWaiting(order, signers, package)) {
    return kEnvironment;
  }
  ChangeRecord record;
  record.begin(HistoryKind::kRemove, {package});
  return installAndTell("remove", {package}, options.asJson, copy, record);
}

}  // namespace wz
