#include "wz/terminal/terminal_copy.h"

#include <linux/magic.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "installer/application_manifest.h"
#include "installer/directories.h"
#include "packaging/temporary_folders.h"
#include "support/file_system.h"
#include "support/text.h"
#include "workstation/terminal/terminal_directory.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/terminal/own_terminal.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr char kFlashMount[] = "/mnt/flash";
constexpr char kMemoryFolder[] = "/dev/shm";
// For the copied manifests, and for whoever else wants memory.
constexpr std::uint64_t kSpareMemory = std::uint64_t{64} << 20;

// "/mnt/flash/etc/..." -> "flash/etc/..."
fs::path inTerminal(const char* path) {
  return workstation::kFlashFolder + std::string(path).substr(sizeof(kFlashMount) - 1);
}

bool isManifest(const fs::path& path) {
  return wzapp::manifestStem(wzapp::toUpper(path.filename().string())).has_value();
}

void copyManifest(const fs::path& from, const fs::path& to) {
  std::error_code failure;
  if (!fs::is_regular_file(from, failure) ||
      fs::file_size(from, failure) > wzapp::kMaxManifestSize) {
    return;
  }
  fs::copy_file(from, to, fs::copy_options::overwrite_existing, failure);
}

// The manifests of a folder, and of each other entry that it is there.
void copyFolder(const fs::path& from, const fs::path& to) {
  std::error_code failure;
  for (fs::directory_iterator entry(from, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    std::error_code ignored;
    fs::create_directories(to, ignored);
    const fs::path target = to / entry->path().filename();
    if (isManifest(entry->path())) {
      copyManifest(entry->path(), target);
    } else {
      fs::create_directory(target, ignored);
    }
  }
}

void copyInstalled(const fs::path& from, const fs::path& to) {
  std::error_code ignored;
  fs::create_directories(to / inTerminal(wzapp::kConfigRoot), ignored);
  copyFolder(from / inTerminal(wzapp::kAppRoot), to / inTerminal(wzapp::kAppRoot));
  const fs::path marketplace = inTerminal(wzapp::kManifestRoot);
  std::error_code failure;
  for (fs::directory_iterator entry(from / marketplace, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    const fs::path target = to / marketplace / entry->path().filename();
    fs::create_directories(target, ignored);
    for (const char* const name : {wzapp::kMarketplaceManifest, wzapp::kUninstallManifest}) {
      copyManifest(entry->path() / name, target / name);
    }
  }
}

void copyExports(const fs::path& from, const fs::path& to) {
  for (const std::string& user : workstation::terminalUsers()) {
    const fs::path folder = fs::path(workstation::kHomeFolder) / user / "www";
    std::error_code ignored;
    fs::remove_all(to / folder, ignored);
    copyFolder(from / folder, to / folder);
  }
}

bool hasMemoryFor(std::uint64_t room) {
  struct statfs status;
  if (statfs(kMemoryFolder, &status) != 0 || status.f_type != TMPFS_MAGIC) return false;
  const std::uint64_t blockSize = static_cast<std::uint64_t>(status.f_bsize);
  return access(kMemoryFolder, W_OK | X_OK) == 0 &&
         status.f_bavail >= (room + kSpareMemory) / blockSize;
}

fs::path folderFor(std::uint64_t room, std::error_code& failure) {
  const char* const named = std::getenv("TMPDIR");
  if ((named == nullptr || *named == '\0') && hasMemoryFor(room)) return kMemoryFolder;
  return fs::temp_directory_path(failure);
}

}  // namespace

TerminalCopy::~TerminalCopy() {
  if (!parent_.empty()) packaging::removeTemporaryFolder(parent_);
}

bool TerminalCopy::make(const std::string& terminalDir, std::uint64_t room, std::string& error) {
  workstation::NewTerminal terminal;
  workstation::ProfileError profileError;
  if (!workstation::loadTerminalProfile(terminalDir, terminal.profile, profileError)) {
    error = profileError.text();
    return false;
  }
  std::error_code failure;
  std::string path = (folderFor(room, failure) / "wz-try-XXXXXX").string();
  if (failure || !packaging::makeTemporaryFolder(path)) {
    error = "cannot make a folder for temporary files: " + std::string(std::strerror(errno));
    return false;
  }
  parent_ = path;
  directory_ = path + "/terminal";
  terminal.roots = terminal.profile.rootsDirectory;
  if (!addTrustOf(terminalDir, terminal, error)) return false;
  if (!workstation::createTerminal(directory_, terminal, error)) return false;
  copyInstalled(terminalDir, directory_);
  copyExports(terminalDir, directory_);
  return true;
}

}  // namespace wz
