#include "wz/reports/unnamed_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "packaging/temporary_folders.h"

namespace wz {

UnnamedFile::UnnamedFile() {
  std::error_code failure;
  const std::string folder = std::filesystem::temp_directory_path(failure).string();
  number_ = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
  if (number_ >= 0) return;
  // A file system that cannot make one without a name.
  std::string path = folder + "/wz-XXXXXX";
  if (!packaging::makeTemporaryFolder(path)) return;
  number_ = open((path + "/file").c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  packaging::removeTemporaryFolder(path);
}

UnnamedFile::~UnnamedFile() {
  if (number_ >= 0) close(number_);
}

}  // namespace wz
