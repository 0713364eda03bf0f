#include "wz/terminal/application.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "runtime/manifest_entry.h"
#include "support/text.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/terminal/interrupt.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr char kManifestEnding[] = ".MFT";
constexpr std::size_t kEndingLength = sizeof(kManifestEnding) - 1;

bool isManifestName(const std::string& name) {
  return name.size() > kEndingLength &&
         wzapp::toUpper(name).compare(name.size() - kEndingLength, kEndingLength,
                                      kManifestEnding) == 0;
}

// The id that the library will read from the manifest; empty when there is none.
std::string manifestId(const std::string& path) {
  wzapp::ManifestEntry entry;
  return wzapp::readManifestEntry(path.c_str(), "", entry) ? entry.appId : std::string();
}

// An id names a folder, a lock file, and a host in the browser.
bool isFolderName(const std::string& id) {
  return !id.empty() && id != "." && id != ".." && id.size() <= 200 &&
         id.find('/') == std::string::npos && id.find('\0') == std::string::npos;
}

bool fail(std::string& error, const std::string& what) {
  error = what + ": " + std::strerror(errno);
  return false;
}

}  // namespace

bool findInstalled(const std::string& id, Application& application) {
  std::error_code failure;
  for (fs::directory_iterator entry(wzapp::wzInstallAppRoot(), failure), end;
       !failure && entry != end; entry.increment(failure)) {
    const std::string path = entry->path().string();
    if (!isManifestName(entry->path().filename().string()) || manifestId(path) != id) continue;
    application = {id, path};
    return true;
  }
  return false;
}

PlacedFolder::~PlacedFolder() {
  if (!link_.empty()) {
    unlink(link_.c_str());
    unlinkWhenKilled("");
  }
  if (lock_ >= 0) close(lock_);
}

bool PlacedFolder::place(const std::string& folder, std::string& error) {
  const std::string manifest = folder + "/" + kFolderManifest;
  if (access(manifest.c_str(), R_OK) != 0) return fail(error, "cannot read " + manifest);
  const std::string id = manifestId(manifest);
  if (!isFolderName(id)) {
    error = manifest + (id.empty() ? " is no manifest, or names no application id"
                                   : " has an application id that cannot name a folder: " + id);
    return false;
  }
  application_ = {id, manifest};
  return lock(error) && link(folder, error);
}

bool PlacedFolder::lock(std::string& error) {
  const std::string path = workstation::terminalDirectory() + "/" + workstation::kRunFolder +
                           "/app-" + application_.id + ".lock";
  lock_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (lock_ < 0) return fail(error, "cannot open " + path);
  if (flock(lock_, LOCK_EX | LOCK_NB) == 0) return true;
  if (errno != EWOULDBLOCK) return fail(error, "cannot lock " + path);
  error = "the application " + application_.id +
          " is being run from a folder already; end that one first";
  return false;
}

bool PlacedFolder::link(const std::string& folder, std::string& error) {
  const std::string root = wzapp::wzInstallAppRoot();
  if (mkdir(root.c_str(), 0777) != 0 && errno != EEXIST) return fail(error, "cannot make " + root);
  const std::string place = root + "/" + application_.id;
  struct stat status {};
  if (lstat(place.c_str(), &status) == 0) {
    if (!S_ISLNK(status.st_mode)) {
      error = "the application " + application_.id +
              " is installed on this terminal; run it by its id, or uninstall it first";
      return false;
    }
    // Nobody else holds the lock, so the program that made this link has been killed.
    unlink(place.c_str());
  }
  if (symlink(folder.c_str(), place.c_str()) != 0) return fail(error, "cannot make " + place);
  link_ = place;
  unlinkWhenKilled(link_);
  return true;
}

}  // namespace wz
