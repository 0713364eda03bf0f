#include "wz/terminal/terminal_copy.h"

#include <linux/magic.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "packaging/temporary_folders.h"
#include "wz/terminal/terminal_image.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr char kMemoryFolder[] = "/dev/shm";
// For the copied manifests, and for whoever else wants memory.
constexpr std::uint64_t kSpareMemory = std::uint64_t{64} << 20;

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
  TerminalImage image;
  if (!readTerminalImage(terminalDir, image, error)) return false;
  std::error_code failure;
  const std::filesystem::path parent = folderFor(room, failure);
  std::string path = (parent / "wz-try-XXXXXX").string();
  if (failure || !packaging::makeTemporaryFolder(path)) {
    error = packaging::temporaryFolderProblem(parent.string());
    return false;
  }
  parent_ = path;
  directory_ = path + "/terminal";
  bool isMade = false;
  packaging::whileFoldersStay([&] { isMade = makeTerminalOf(image, directory_, error); });
  return isMade;
}

}  // namespace wz
