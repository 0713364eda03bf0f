// A package through a whole installation run, in a terminal that lies in memory. The first octet
// says what the rest is: a package file (0), or what a verified application or manifest package
// holds (1, 2), since no input is ever signed. Whatever it is, nothing is written outside the
// installer's directories, the package is gone afterwards, and what has no manifest does not stay.

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "archive/unzip.h"
#include "fuzz/check.h"
#include "installer/directories.h"
#include "installer/package_content.h"
#include "support/install_result.h"
#include "workstation/terminal/terminal_directory.h"
#include "workstation/terminal/terminal_namespace.h"
#include "wzapp/wzapp.h"

namespace {

namespace fs = std::filesystem;

using wzapp::ContentTarget;

constexpr std::size_t kMaxInput = 1 << 16;
constexpr const char* kFlash = "/mnt/flash";
const std::string kPackage = std::string(wzapp::kSourceDir) + "/x.zip";
const std::string kArchive = std::string(kFlash) + "/content.zip";

constexpr ContentTarget kTargets[] = {{wzapp::kAppRoot, true}, {wzapp::kManifestRoot, false}};

std::string temporaryFolder() {
  std::error_code ignored;
  const bool hasMemory = fs::is_directory("/dev/shm", ignored) && access("/dev/shm", W_OK) == 0;
  std::string path = hasMemory ? "/dev/shm/wzapp-fuzz-XXXXXX" : "/tmp/wzapp-fuzz-XXXXXX";
  FUZZ_CHECK(mkdtemp(path.data()) != nullptr);
  return path;
}

// The terminal that this process has entered, gone when it ends in order.
class Terminal {
 public:
  Terminal() : folder_(temporaryFolder()) {
    workstation::NewTerminal terminal;
    terminal.profile.serial = "10000000001";
    terminal.profile.model = "T30";
    terminal.profile.displayWidth = 480;
    terminal.profile.displayHeight = 800;
    terminal.profile.memoryKB = 524288;
    terminal.profile.sponsorId = "123456";
    terminal.profile.sponsorText = "Fuzz";
    std::string error;
    if (!workstation::createTerminal(folder_, terminal, error) ||
        !workstation::enterTerminal(folder_, error)) {
      std::fprintf(stderr, "%s\n", error.c_str());
      std::abort();
    }
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }

 private:
  std::string folder_;
};

void write(const std::string& path, const std::uint8_t* data, std::size_t size) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  FUZZ_CHECK(file.flush().good());
}

// How many entries there are on the flash but for what lies below the installer's directories.
std::size_t othersOnFlash() {
  std::size_t count = 0;
  for (fs::recursive_directory_iterator entry(kFlash), end; entry != end; ++entry) {
    ++count;
    const std::string path = entry->path().string();
    if (path == wzapp::kConfigRoot || path == wzapp::kSourceDir) entry.disable_recursion_pending();
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Terminal terminal;
  if (size == 0 || size > kMaxInput || data[0] > std::size(kTargets)) return -1;
  fs::remove_all(wzapp::kConfigRoot);
  fs::create_directories(wzapp::kConfigRoot);
  fs::create_directories(wzapp::kSourceDir);
  write(data[0] == 0 ? kPackage : kArchive, data + 1, size - 1);
  const std::size_t others = othersOnFlash();

  if (data[0] > 0) {
    wzapp::UnZIP archive(kArchive);
    static_cast<void>(wzapp::extractContent(archive, kTargets[data[0] - 1]));
  }
  const int result = wzapp::wzInstall(nullptr, nullptr);

  FUZZ_CHECK(result >= wzapp::kInstallOk && result <= wzapp::kInstallWarning);
  FUZZ_CHECK(othersOnFlash() == others);
  FUZZ_CHECK(fs::is_empty(wzapp::kSourceDir));
  std::error_code ignored;
  if (!fs::exists(wzapp::kManifestRoot, ignored)) FUZZ_CHECK(!fs::exists(wzapp::kAppRoot, ignored));
  return 0;
}
