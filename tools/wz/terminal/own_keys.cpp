#include "wz/terminal/own_keys.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "devkeys/key_directory.h"
#include "wz/reports/output.h"
#include "wz/reports/screen.h"
#include "wz/terminal/data_folder.h"
#include "wz/terminal/development_roots.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr char kPlace[] = "wzapp/keys";

bool isMade(const std::string& keys) {
  std::error_code failure;
  return fs::exists(fs::path(keys) / devkeys::kTableFile, failure);
}

// Held by one process at a time; where that cannot be, by any number.
class FolderLock {
 public:
  explicit FolderLock(const fs::path& folder)
      : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (folder_ >= 0 && flock(folder_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  ~FolderLock() {
    if (folder_ >= 0) close(folder_);
  }

 private:
  int folder_;
};

// What WZ_KEYS names; empty: nothing.
std::string namedKeys() {
  const char* const named = std::getenv("WZ_KEYS");
  return named == nullptr ? "" : named;
}

}  // namespace

// BUILD/bin/wz -> BUILD/keys
std::string buildKeyDirectory() {
  std::error_code failure;
  const fs::path program = fs::read_symlink("/proc/self/exe", failure);
  if (failure || developmentRoots().empty()) return {};
  const std::string keys = (program.parent_path().parent_path() / "keys").string();
  return isMade(keys) ? keys : std::string();
}

std::string knownTableDirectory() {
  if (developmentRoots().empty()) return {};
  const std::string named = namedKeys();
  if (!named.empty()) return isMade(named) ? named : std::string();
  return buildKeyDirectory().empty() && hasOwnKeys() ? ownKeyDirectory() : std::string();
}

bool findTableDirectory(std::string& directory) {
  const bool areOwnMeant =
      !developmentRoots().empty() && namedKeys().empty() && buildKeyDirectory().empty();
  if (areOwnMeant && !ownKeyDirectory().empty() && !makeOwnKeys()) return false;
  directory = knownTableDirectory();
  return true;
}

std::string ownKeyDirectory() {
  const std::string data = dataFolder();
  return data.empty() || developmentRoots().empty() ? std::string()
                                                    : (fs::path(data) / kPlace).string();
}

bool hasOwnKeys() {
  const std::string keys = ownKeyDirectory();
  return !keys.empty() && isMade(keys);
}

bool makeOwnKeys() {
  const std::string keys = ownKeyDirectory();
  if (keys.empty()) {
    printMessage(
        "without HOME there is no place for development keys of your own; name a folder of keys "
        "with "
        "--keys DIR or in the environment variable WZ_KEYS");
    return false;
  }
  if (isMade(keys)) return true;
  std::error_code failure;
  const fs::path above = fs::path(keys).parent_path();
  fs::create_directories(above, failure);
  // Of several first uses at once one makes them, and the others wait for it.
  const FolderLock lock(above);
  if (isMade(keys)) return true;
  std::string error;
  Progress progress("making keys", devkeys::kKeyCount);
  if (!devkeys::makeKeyDirectory(keys, error, [&progress] { progress.step(); })) {
    if (isMade(keys)) return true;  // another command was quicker
    printMessage(error);
    return false;
  }
  printNote("made development keys of your own in " + keys +
            ", which the terminals that you make from now on trust");
  return true;
}

}  // namespace wz
