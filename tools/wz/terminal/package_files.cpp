#include "wz/terminal/package_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "crypto/digest/digest.h"
#include "support/file_system.h"
#include "wz/reports/output.h"
#include "wz/reports/screen.h"
#include "wz/terminal/trusted_authorities.h"
#include "wz/words/exit_code.h"
#include "wz/words/shell_word.h"
#include "wzapp/wzapp.h"

namespace wz {
namespace {

// False with errno.
bool copyContent(int from, int to) {
  Progress progress("copying");
  std::array<std::uint8_t, 65536> block;
  for (off_t position = 0;;) {
    const ssize_t count = pread(from, block.data(), block.size(), position);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return count == 0;
    const wzapp::ByteView octets(block.data(), static_cast<std::size_t>(count));
    if (!wzapp::writeWhole(to, octets)) return false;
    position += count;
    progress.step();
  }
}

// Nothing that is there already is replaced. False with errno. Some file systems can only link.
bool moveIn(const std::string& from, const std::string& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  if (link(from.c_str(), to.c_str()) != 0) return false;
  unlink(from.c_str());
  return true;
}

// Whole or not at all; false with errno.
bool copyTo(int from, const std::string& path) {
  const std::string part = partOf(path);
  unlink(part.c_str());
  const int to = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
  if (to < 0) return false;
  const bool isCopied = copyContent(from, to);
  const int reason = errno;
  const bool isClosed = close(to) == 0;
  if (isCopied && isClosed && moveIn(part, path)) return true;
  if (!isCopied) errno = reason;
  const int kept = errno;
  unlink(part.c_str());
  errno = kept;
  return false;
}

std::string sha256Of(int descriptor) {
  wzapp::Sha256Context context;
  wzapp::digestStart(&context);
  std::array<std::uint8_t, 65536> block;
  for (off_t position = 0;;) {
    const ssize_t count = pread(descriptor, block.data(), block.size(), position);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return {};
    if (count == 0) break;
    wzapp::digestAdd(&context, wzapp::ByteView(block.data(), static_cast<std::size_t>(count)));
    position += count;
  }
  std::array<std::uint8_t, wzapp::kSha256Size> digest;
  wzapp::digestFinish(&context, digest.data());
  return hexText(digest);
}

}  // namespace

std::string placeOfPackage(const std::string& name) {
  return std::string(wzapp::wzInstallSourceDir()) + "/" + name;
}

std::string partOf(const std::string& place) { return place + ".part"; }

std::string sha256OfFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return {};
  std::string digest = sha256Of(descriptor);
  close(descriptor);
  return digest;
}

PackageFiles::~PackageFiles() {
  for (const int descriptor : descriptors_) close(descriptor);
}

int checkPackageName(const std::string& file) {
  std::error_code failure;
  if (std::filesystem::is_directory(file, failure)) {
    const std::string word = shellWord(file);
    printMessage(file + " is a folder; make a package of it first: wz pack " + word +
                 " -o APP.zip (or run it as it is: wz run --folder " + word + ")");
    return kUsage;
  }
  if (isPackageName(file)) return kDone;
  printMessage("terminals take packages by names that end in .zip; " + file +
               " is none, so rename it");
  return kUsage;
}

int PackageFiles::open(const std::vector<std::string>& files, EntrySizes sizes) {
  return open(files, sizes, trustedAuthorities());
}

int PackageFiles::open(const std::vector<std::string>& files, EntrySizes sizes,
                       std::span<const wzapp::Authority> authorities) {
  for (const std::string& file : files) {
    const std::string name = std::filesystem::path(file).filename().string();
    if (const int code = checkPackageName(file); code != kDone) return code;
    const auto isSameName = [&](const WaitingPackage& other) { return other.name == name; };
    if (std::ranges::any_of(packages_, isSameName)) {
      printMessage("two packages are called " + name + "; install one after the other");
      return kUsage;
    }
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
      printMessage("cannot read " + file + ": " + std::strerror(errno));
      return kEnvironment;
    }
    descriptors_.push_back(descriptor);
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
      printMessage(file + " is no file");
      return kEnvironment;
    }
    packages_.push_back({file, name, examinePackage(file, authorities, sizes), sha256Of(descriptor),
                         static_cast<std::uint64_t>(status.st_size)});
  }
  return kDone;
}

bool PackageFiles::copyIn() const {
  for (std::size_t i = 0; i < packages_.size(); ++i) {
    const std::string place = placeOfPackage(packages_[i].name);
    if (copyTo(descriptors_[i], place)) continue;
    printMessage("cannot copy " + packages_[i].file + " to " + place + ": " +
                 (errno == EEXIST ? "a package of that name is waiting there already"
                                  : std::strerror(errno)));
    for (std::size_t copied = 0; copied < i; ++copied) {
      unlink(placeOfPackage(packages_[copied].name).c_str());
    }
    return false;
  }
  return true;
}

}  // namespace wz
