#include "bench/install/bench_terminal.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/install/package_sets.h"
#include "crypto/digest/digest.h"
#include "installer/directories.h"
#include "tests/builders/test_profile.h"
#include "workstation/terminal/terminal_directory.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr char kMemoryFolder[] = "/dev/shm";

// A path of the terminal, such as /mnt/flash/system/wz, as seen from outside.
fs::path outside(const std::string& terminal, const std::string& path) {
  constexpr std::string_view kMount = "/mnt/";
  return fs::path(terminal) / path.substr(kMount.size());
}

workstation::NewTerminal orderTerminal(const std::string& roots) {
  workstation::NewTerminal terminal;
  terminal.profile = wzapp_test::testProfile();
  terminal.profile.sponsorId = kBenchSponsor;
  terminal.exports.triggers = {"pay", "menu"};
  terminal.exports.interfaces = {"print"};
  terminal.roots = roots;
  return terminal;
}

// --- Digest -----------------------------------------------------------------------------------

using Context = wzapp::Sha256Context;

void addText(Context& context, const std::string& text) {
  // With its NUL, so that it ends.
  wzapp::digestAdd(&context,
                   {reinterpret_cast<const std::uint8_t*>(text.c_str()), text.size() + 1});
}

void addFile(Context& context, const fs::path& path) {
  addText(context, std::to_string(fs::file_size(path)));
  std::ifstream file(path, std::ios::binary);
  std::array<char, 65536> block;
  while (file.read(block.data(), block.size()) || file.gcount() > 0) {
    wzapp::digestAdd(&context, {reinterpret_cast<const std::uint8_t*>(block.data()),
                                static_cast<std::size_t>(file.gcount())});
  }
}

void addTree(Context& context, const fs::path& root) {
  std::vector<fs::path> paths;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    paths.push_back(entry.path());
  }
  std::ranges::sort(paths);
  for (const fs::path& path : paths) {
    addText(context, path.lexically_relative(root));
    const bool isFile = fs::is_regular_file(fs::symlink_status(path));
    addText(context, isFile ? "file" : "folder");
    if (isFile) addFile(context, path);
  }
}

}  // namespace

WorkFolder::WorkFolder(unsigned long long octets) {
  struct statvfs status;
  if (statvfs(kMemoryFolder, &status) != 0) {
    throw std::runtime_error(std::string("there is no memory file system at ") + kMemoryFolder);
  }
  const unsigned long long free = 1ULL * status.f_bavail * status.f_frsize;
  if (free < octets) {
    throw std::runtime_error(std::string(kMemoryFolder) + " has " + std::to_string(free >> 20) +
                             " MiB free, and " + std::to_string(octets >> 20) + " are needed");
  }
  path_ = std::string(kMemoryFolder) + "/wzapp-bench-XXXXXX";
  if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make " + path_);
}

WorkFolder::~WorkFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void makeTerminal(const std::string& directory, const std::string& roots,
                  const std::string& packages) {
  fs::remove_all(directory);
  std::string error;
  if (!workstation::createTerminal(directory, orderTerminal(roots), error)) {
    throw std::runtime_error(error);
  }
  const fs::path source = outside(directory, wzapp::kSourceDir);
  fs::create_directories(source);
  fs::permissions(source, fs::perms::all);
  std::vector<fs::path> files;
  for (const fs::directory_entry& entry : fs::directory_iterator(packages)) {
    files.push_back(entry.path());
  }
  std::ranges::sort(files);  // so that every run finds them in the same order
  for (const fs::path& file : files) fs::create_hard_link(file, source / file.filename());
}

std::string digestOfInstalled(const std::string& terminal) {
  Context context;
  wzapp::digestStart(&context);
  addTree(context, outside(terminal, wzapp::kAppRoot));
  addTree(context, outside(terminal, wzapp::kManifestRoot));
  std::string digest(wzapp::kSha256Size, '\0');
  wzapp::digestFinish(&context, reinterpret_cast<std::uint8_t*>(digest.data()));
  return digest;
}

std::vector<std::string> leftPackages(const std::string& terminal) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(outside(terminal, wzapp::kSourceDir))) {
    names.push_back(entry.path().filename());
  }
  return names;
}

}  // namespace bench
