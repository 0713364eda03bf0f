#include "wz/terminal/application.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "runtime/manifest_entry.h"
#include "support/file_system.h"
#include "support/text.h"
#include "workstation/terminal/stand_in.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"
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

// The lock of a folder that is run under `id`: "app-ID.lock".
constexpr char kLockStart[] = "app-";
constexpr char kLockEnd[] = ".lock";

std::string runFolder() { return workstation::terminalDirectory() + "/" + workstation::kRunFolder; }

// A lock on the whole file that belongs to the open file, and not to the process: one that is
// forked does not end it, and who only asks for it does not take it (fcntl(2)).
struct flock wholeFile(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

bool isLocked(int file) {
  struct flock lock = wholeFile(F_WRLCK);
  return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
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

StandIn::~StandIn() {
  if (lock_ >= 0) close(lock_);
}

bool StandIn::place(const std::string& folder, packaging::Findings& findings) {
  const std::string manifest = folder + "/" + kFolderManifest;
  if (!packaging::checkManifestForm(manifest, findings)) return false;
  const std::string id = manifestId(manifest);
  const std::string& told = id.empty() ? packaging::misnamedId(manifest) : id;
  if (const std::string why = packaging::whyNoApplicationId(told); !why.empty()) {
    findings.errors.push_back(
        {told.empty() ? "WZ-0710" : "WZ-0711", manifest + ": the application id " + why});
    return false;
  }
  application_ = {id, manifest};
  std::string error;
  if (lock(folder, error) && show(folder, error)) return true;
  findings.errors.push_back({"", error});  // of this machine, not of the application
  return false;
}

bool StandIn::lock(const std::string& folder, std::string& error) {
  const std::string path = runFolder() + "/" + kLockStart + application_.id + kLockEnd;
  lock_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (lock_ < 0) return fail(error, "cannot open " + path);
  const struct flock whole = wholeFile(F_WRLCK);
  if (fcntl(lock_, F_OFD_SETLK, &whole) != 0) {
    if (errno != EAGAIN && errno != EACCES) return fail(error, "cannot lock " + path);
    error = "the application " + application_.id +
            " is being run from a folder already; end that one first";
    return false;
  }
  // Only told to those who list what is run, so that a disk that is full is no reason to stop.
  (void)!ftruncate(lock_, 0);
  (void)wzapp::writeWhole(lock_, wzapp::viewOf(folder));
  return true;
}

// A folder and a manifest of the application's name may both be there, in other cases of letters
// too: what stands in for them is all that this process sees of them.
bool StandIn::show(const std::string& folder, std::string& error) const {
  const std::string root = wzapp::wzInstallAppRoot();
  if (mkdir(root.c_str(), 0777) != 0 && errno != EEXIST) return fail(error, "cannot make " + root);
  return workstation::showInFolder(
      root, {{application_.id, folder}, {application_.id + kManifestEnding, application_.manifest}},
      error);
}

std::vector<RunningFolder> runningFolders() {
  std::vector<RunningFolder> running;
  std::error_code failure;
  for (fs::directory_iterator entry(runFolder(), failure), end; !failure && entry != end;
       entry.increment(failure)) {
    std::string id = entry->path().filename().string();
    if (!id.starts_with(kLockStart) || !id.ends_with(kLockEnd)) continue;
    id = id.substr(sizeof(kLockStart) - 1, id.size() - sizeof(kLockStart) - sizeof(kLockEnd) + 2);
    const int file = open(entry->path().c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0) continue;
    std::string folder;
    if (isLocked(file) && wzapp::readFile(entry->path().c_str(), folder)) {
      running.push_back({std::move(id), std::move(folder)});
    }
    close(file);
  }
  std::ranges::sort(running, {}, &RunningFolder::id);
  return running;
}

}  // namespace wz
