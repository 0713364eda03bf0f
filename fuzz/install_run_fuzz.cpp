// Whole installation runs. The first octet of an input says what the rest is: a package file, or
// the archive of an application or of marketplace manifests that is brought soundly signed. However
// it ends, nothing outside the installer's directories changes and nothing stays open.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "fuzz/check.h"
#include "fuzz/memory_terminal.h"
#include "installer/directories.h"
#include "tests/builders/package_builder.h"
#include "tests/crypto/authority_fixtures.h"
#include "wzapp/wzapp.h"

namespace {

namespace fs = std::filesystem;
using wzapp_test::PackageBuilder;
using wzapp_test::Signer;

constexpr std::size_t kMaxInput = 1 << 16;
constexpr int kDescriptors = 128;
constexpr char kPackage[] = "/mnt/flash/system/wz/fuzz.zip";
constexpr char kOutside[] = "/mnt/flash/outside";
constexpr char kOwnManifest[] = R"({"application":{"id":"shop"},"sponsors":["123456"]})";
constexpr const char* kWords[] = {"OK", "NO PACKAGE", "ERROR", "WARNING"};

void write(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  FUZZ_CHECK(file.good());
}

const std::string& terminal() {
  static const std::string directory = [] {
    std::string entered = enterMemoryTerminal();
    for (const std::size_t root : {std::size_t{0}, std::size_t{1}}) {
      const wzapp_test::Octets& der = wzapp_test::rootCertificate(root);
      write(entered + "/roots/" + std::to_string(root) + ".der",
            std::string(der.begin(), der.end()));
    }
    write(std::string(kOutside) + "/file", "kept");
    fs::create_directories(wzapp::kConfigRoot);
    fs::create_directories(wzapp::kSourceDir);
    return entered;
  }();
  return directory;
}

// An installed application, and links that lead outside.
void fillTerminal() {
  for (const char* root :
       {wzapp::kAppRoot, wzapp::kManifestRoot, wzapp::kFileSystemRoot, wzapp::kSourceDir}) {
    fs::remove_all(root);
    fs::create_directory(root);
  }
  const std::string apps = wzapp::kAppRoot;
  write(apps + "/shop/index.html", "<p>shop");
  write(apps + "/shop.MFT", kOwnManifest);
  write(std::string(wzapp::kManifestRoot) + "/shop/mpmanifest.mft", kOwnManifest);
  fs::create_symlink(kOutside, apps + "/link");
  fs::create_symlink(kOutside, apps + "/shop/link");
  fs::create_symlink(std::string(kOutside) + "/file", apps + "/file.MFT");
  fs::create_symlink(kOutside, std::string(wzapp::kManifestRoot) + "/link");
  fs::create_symlink(std::string(kOutside) + "/file", wzapp::kTemporaryFile);
}

std::string packageOf(const std::string& input) {
  const std::string rest = input.substr(1);
  const unsigned kind = static_cast<unsigned char>(input[0]) % 3;
  if (kind == 0) return rest;
  // Authorities are certificates of the kinds that sign packages, too.
  const std::size_t row = kind == 1 ? wzapp_test::kApplicationRow : wzapp_test::kManifestRow;
  const Signer signer{{}, wzapp_test::authorityId(row), &wzapp_test::authorityKey()};
  return PackageBuilder()
      .inner(kind == 1 ? "FUZZ.ZIP" : "FUZZ-O.ZIP", rest)
      .signedBy(signer)
      .build();
}

// Everything in the terminal but what a run may change.
std::map<std::string, std::string> outside() {
  std::map<std::string, std::string> tree;
  const std::string flash = terminal() + "/flash/";
  const std::string config = flash + "etc/config/wzapp/";
  const std::string own[] = {config + "wz", config + "mp", config + "fsroot", flash + "system/wz"};
  fs::recursive_directory_iterator entry(terminal());
  for (; entry != fs::recursive_directory_iterator(); ++entry) {
    const std::string path = entry->path().string();
    if (std::find(std::begin(own), std::end(own), path) != std::end(own)) {
      entry.disable_recursion_pending();
      continue;
    }
    std::string& content = tree[path];
    if (!entry->is_regular_file()) continue;
    std::ifstream file(path, std::ios::binary);
    content.assign(std::istreambuf_iterator<char>(file), {});
  }
  return tree;
}

int openDescriptors() {
  int count = 0;
  for (int i = 0; i < kDescriptors; ++i) count += fcntl(i, F_GETFD) >= 0 ? 1 : 0;
  return count;
}

struct Log {
  int overallResults = 0;
  std::string last;
};

// Formats the message, so that a sanitizer sees what it is made of.
void keepLast(void* user, const char* format, ...) {
  Log& log = *static_cast<Log*>(user);
  char line[4096];
  va_list arguments;
  va_start(arguments, format);
  FUZZ_CHECK(std::vsnprintf(line, sizeof line, format, arguments) > 0);
  va_end(arguments);
  log.last = line;
  if (std::string(format) == "Overall result: %s\n") ++log.overallResults;
}

// Without it, a target that never gets past the signature would look sound.
void checkThatPackagesAreTrusted() {
  fillTerminal();
  write(kPackage,
        packageOf('\1' + wzapp_test::ZipBuilder().file("shop/probe", "<p>probe").build()));
  wzapp::wzInstall(nullptr, nullptr);
  FUZZ_CHECK(fs::exists(std::string(wzapp::kAppRoot) + "/shop/probe"));
}

}  // namespace

// Before there is a second thread, with which no namespace can be entered.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  terminal();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > kMaxInput) return -1;
  terminal();
  static const bool isTrusted = (checkThatPackagesAreTrusted(), true);
  FUZZ_CHECK(isTrusted);
  fillTerminal();
  write(kPackage, packageOf(std::string(reinterpret_cast<const char*>(data), size)));
  static const std::map<std::string, std::string> before = outside();
  const int descriptors = openDescriptors();
  Log log;

  const int result = wzapp::wzInstall(keepLast, &log);

  FUZZ_CHECK(result >= 0 && result <= 3);
  FUZZ_CHECK(log.overallResults == 1);
  FUZZ_CHECK(log.last == std::string("Overall result: ") + kWords[result] + "\n");
  FUZZ_CHECK(openDescriptors() == descriptors);
  FUZZ_CHECK(outside() == before);
  FUZZ_CHECK(!fs::exists(kPackage));
  return 0;
}
