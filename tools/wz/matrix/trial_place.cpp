#include "wz/matrix/trial_place.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "installer/directories.h"
#include "workstation/terminal/private_namespaces.h"
#include "workstation/terminal/terminal_namespace.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

// Where a file system can be mounted that hides nothing which a trial needs: packages are open by
// then.
constexpr const char* kMountPoints[] = {"/dev/shm", "/tmp", "/var/tmp"};

const char* mountPoint() {
  for (const char* const path : kMountPoints) {
    struct stat status {};
    if (stat(path, &status) == 0 && S_ISDIR(status.st_mode)) return path;
  }
  return kMountPoints[0];
}

bool mountMemory(std::string& error) {
  const unsigned uid = geteuid(), gid = getegid();
  const char* step = workstation::makePrivateNamespaces({uid, gid, uid, gid});
  const std::string options = "mode=0700,size=" + std::to_string(kTrialRoom);
  if (step == nullptr &&
      mount("wz-matrix", mountPoint(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
    step = mountPoint();
  }
  if (step == nullptr) return true;
  error = std::string("cannot make a place for trials: ") + step + ": " + std::strerror(errno) +
          "; wz doctor tells what this machine lacks";
  return false;
}

// What lies in a folder goes, the folder stays.
bool empty(const fs::path& folder, std::string& error) {
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;) {
    const fs::path path = entry->path();
    entry.increment(failure);
    std::error_code problem;
    fs::remove_all(path, problem);
    if (!problem) continue;
    error = "cannot remove " + path.string() + ": " + problem.message();
    return false;
  }
  return true;
}

void drop(void*, const char*, ...) {}

}  // namespace

bool TrialPlace::enter(const TerminalImage& image, std::string& error) {
  if (!mountMemory(error)) return false;
  directory_ = std::string(mountPoint()) + "/terminal";
  installed_ = image.installed;
  if (!makeTerminalOf(image, directory_, error) || !workstation::enterTerminal(directory_, error)) {
    return false;
  }
  if (wzapp::wzInstallCreateSourceDir(drop, nullptr) == 0) return true;
  error = std::string("cannot make ") + wzapp::wzInstallSourceDir();
  return false;
}

bool TrialPlace::keep(ImageEntries& installed, std::string& error) {
  if (!readInstalled(directory_, installed_, error)) return false;
  installed = installed_;
  return true;
}

bool TrialPlace::reset(std::string& error) {
  return empty(wzapp::kConfigRoot, error) && empty(wzapp::wzInstallSourceDir(), error) &&
         writeEntries(installed_, directory_, error);
}

}  // namespace wz
