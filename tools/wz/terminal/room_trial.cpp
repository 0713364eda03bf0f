#include "wz/terminal/room_trial.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>

#include "installer/directories.h"
#include "installer/space_check.h"
#include "support/text.h"
#include "workstation/terminal/terminal_layout.h"
#include "wz/words/drop_if.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

constexpr char kFlashMount[] = "/mnt/flash";
constexpr char kNotExtracted[] = "WZ-0103";

// Where the applications lie, as seen from outside of the terminal, or will.
std::string applicationRoot(const std::string& terminalDir) {
  const std::string flash = terminalDir + "/" + workstation::kFlashFolder;
  const std::string root = flash + std::string(wzapp::kAppRoot).substr(sizeof(kFlashMount) - 1);
  std::error_code failure;
  return std::filesystem::is_directory(root, failure) ? root : flash;
}

// What goes for the application and what is written of it; gives the octets of its files. Names of
// entries that have been accepted lie below the root.
std::uint64_t addApplication(const InnerReport& inner, const std::string& root,
                             wzapp::SpaceCheck& check) {
  std::set<std::string> folders;
  for (const PackageEntry& entry : inner.entries) {
    const std::size_t end = entry.name.find('/');
    if (end != std::string::npos) folders.insert(entry.name.substr(0, end));
  }
  for (const std::string& folder : folders) check.addRemoved(root + "/" + folder);
  std::uint64_t needed = 0;
  for (const PackageEntry& entry : inner.entries) {
    const std::string path = root + "/" + entry.name;
    if (entry.name.ends_with('/')) continue;
    if (entry.name.find('/') == std::string::npos) check.addReplaced(path);
    check.addWritten(path, entry.size);
    needed += entry.size;
  }
  return needed;
}

// The packages themselves lie there meanwhile, and one archive at a time.
void addFiles(const std::vector<WaitingPackage>& packages, const std::string& root,
              wzapp::SpaceCheck& check) {
  std::uint64_t largest = 0;
  for (const WaitingPackage& package : packages) {
    check.addWritten(root + "/" + package.name, package.octets);
    largest = std::max(largest, package.octets);
  }
  check.addWritten(root + "/installer.tmp", largest);
}

}  // namespace

std::vector<NoRoom> findNoRoom(const std::string& terminalDir,
                               const std::vector<WaitingPackage>& packages) {
  std::vector<NoRoom> found;
  const std::string root = applicationRoot(terminalDir);
  wzapp::SpaceCheck check(root);
  addFiles(packages, root, check);
  for (const WaitingPackage& package : packages) {
    for (const InnerReport& inner : package.report.inners) {
      if (!inner.isAccepted() || inner.kind != InnerKind::kApplication) continue;
      const std::uint64_t needed = addApplication(inner, root, check);
      if (!check.fits()) found.push_back({package.file, inner.id, needed});
    }
  }
  return found;
}

void addNoRoom(const std::vector<NoRoom>& found, InstallOutcome& outcome) {
  for (const NoRoom& one : found) {
    const std::string reason = "the terminal's flash has no room for " + one.id +
                               ": its files take " + std::to_string(one.needed) +
                               " octets; what is there of it would stay";
    // Nothing of it would come.
    dropIf(outcome.changes, [&one](const ApplicationChange& change) {
      return wzapp::toUpper(change.id) == wzapp::toUpper(one.id);
    });
    for (PackageOutcome& package : outcome.packages) {
      if (package.file != one.file) continue;
      package.isDone = false;
      package.reasons.push_back(reason);
      package.diagnostics.push_back(
          {kNotExtracted, lowerFirst(codeOf(kNotExtracted).title), one.file, "", 0, 0, reason});
    }
  }
}

}  // namespace wz
