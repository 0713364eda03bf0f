#include "wz/terminal/terminal_image.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "installer/application_manifest.h"
#include "installer/directories.h"
#include "support/file_system.h"
#include "support/text.h"
#include "workstation/terminal/terminal_layout.h"
#include "workstation/terminal/terminal_profile.h"
#include "wz/terminal/own_terminal.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

constexpr char kFlashMount[] = "/mnt/flash";

bool isManifest(const fs::path& path) {
  return wzapp::manifestStem(wzapp::toUpper(path.filename().string())).has_value();
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Sorted by name. What is not there has no names; false with a line of text in `error` for what is
// there and cannot be listed.
bool listFolder(const fs::path& folder, std::vector<std::string>& names, std::string& error) {
  std::error_code failure;
  fs::directory_iterator entry(folder, failure);
  if (failure == std::errc::no_such_file_or_directory || failure == std::errc::not_a_directory) {
    return true;
  }
  for (const fs::directory_iterator end; !failure && entry != end; entry.increment(failure)) {
    names.push_back(entry->path().filename().string());
  }
  if (failure) error = "cannot list " + folder.string() + ": " + failure.message();
  std::sort(names.begin(), names.end());
  return !failure;
}

// A manifest is taken as a file while it is one that terminals read.
void takeManifest(const fs::path& terminal, const fs::path& path, ImageEntries& entries) {
  std::error_code failure;
  if (!fs::is_regular_file(terminal / path, failure) ||
      fs::file_size(terminal / path, failure) > wzapp::kMaxManifestSize) {
    return;
  }
  entries.push_back({path.string(), false, contentOf(terminal / path)});
}

// The manifests of a folder, and of each other entry that it is there.
bool takeFolder(const fs::path& terminal, const fs::path& folder, ImageEntries& entries,
                std::string& error) {
  std::vector<std::string> names;
  if (!listFolder(terminal / folder, names, error)) return false;
  if (!names.empty()) entries.push_back({folder.string(), true, ""});
  for (const std::string& name : names) {
    if (isManifest(name)) {
      takeManifest(terminal, folder / name, entries);
    } else {
      entries.push_back({(folder / name).string(), true, ""});
    }
  }
  return true;
}

bool takeExports(const fs::path& terminal, ImageEntries& entries, std::string& error) {
  for (const std::string& user : workstation::terminalUsers()) {
    const fs::path folder = fs::path(workstation::kHomeFolder) / user / "www";
    if (!takeFolder(terminal, folder, entries, error)) return false;
  }
  return true;
}

}  // namespace

std::string inTerminalFolder(const char* path) {
  return workstation::kFlashFolder + std::string(path).substr(sizeof(kFlashMount) - 1);
}

std::vector<workstation::RootCertificate> rootsIn(const std::string& folder) {
  std::vector<workstation::RootCertificate> roots;
  for (const std::string& path : workstation::certificateFiles(folder)) {
    std::string der = contentOf(path);
    if (der.empty() || der.size() > workstation::kMaxCertificateSize) continue;
    roots.push_back({fs::path(path).filename().string(), std::move(der)});
  }
  return roots;
}

bool readInstalled(const std::string& terminalDir, ImageEntries& installed, std::string& error) {
  const fs::path terminal(terminalDir), marketplace = inTerminalFolder(wzapp::kManifestRoot);
  installed.clear();
  if (!takeFolder(terminal, inTerminalFolder(wzapp::kAppRoot), installed, error)) return false;
  std::vector<std::string> names;
  if (!listFolder(terminal / marketplace, names, error)) return false;
  if (!names.empty()) installed.push_back({marketplace.string(), true, ""});
  for (const std::string& name : names) {
    installed.push_back({(marketplace / name).string(), true, ""});
    for (const char* const manifest : {wzapp::kMarketplaceManifest, wzapp::kUninstallManifest}) {
      takeManifest(terminal, marketplace / name / manifest, installed);
    }
  }
  return true;
}

bool readTerminalImage(const std::string& terminalDir, TerminalImage& image, std::string& error) {
  workstation::ProfileError profileError;
  if (!workstation::loadTerminalProfile(terminalDir, image.terminal.profile, profileError)) {
    error = profileError.text();
    return false;
  }
  image.hasOwnExports = true;
  if (const std::string& roots = image.terminal.profile.rootsDirectory; !roots.empty()) {
    image.terminal.ownRoots = rootsIn(roots);
  }
  return addTrustOf(terminalDir, image.terminal, error) &&
         readInstalled(terminalDir, image.installed, error) &&
         takeExports(terminalDir, image.exports, error);
}

bool writeEntries(const ImageEntries& entries, const std::string& terminalDir, std::string& error) {
  for (const ImageEntry& entry : entries) {
    const fs::path path = fs::path(terminalDir) / entry.path;
    std::error_code failure;
    fs::create_directories(entry.isFolder ? path : path.parent_path(), failure);
    if (!failure && entry.isFolder) continue;
    std::ofstream file(path, std::ios::binary);
    file << entry.content;
    file.close();
    if (file) continue;
    error = "cannot write " + path.string() + (failure ? ": " + failure.message() : "");
    return false;
  }
  return true;
}

bool makeTerminalOf(const TerminalImage& image, const std::string& directory, std::string& error) {
  if (!workstation::createTerminal(directory, image.terminal, error)) return false;
  std::error_code failure;
  fs::create_directories(fs::path(directory) / inTerminalFolder(wzapp::kConfigRoot), failure);
  if (image.hasOwnExports) {
    fs::remove(fs::path(directory) / workstation::kTerminalManifest, failure);
  }
  return writeEntries(image.installed, directory, error) &&
         writeEntries(image.exports, directory, error);
}

}  // namespace wz
