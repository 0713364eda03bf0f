#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "archive/unzip.h"
#include "packaging/application_folder.h"
#include "packaging/temporary_folders.h"
#include "support/text.h"
#include "wz/check/folder_check.h"
#include "wz/reports/development_key.h"
#include "wz/reports/package_report.h"
#include "wz/reports/unnamed_file.h"

namespace wz {
namespace {

namespace fs = std::filesystem;
using wzapp::UnZIP;

// A folder that is gone with the object.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::error_code failure;
    path_ = fs::temp_directory_path(failure).string() + "/wz-check-XXXXXX";
    if (!packaging::makeTemporaryFolder(path_)) path_.clear();
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    if (!path_.empty()) packaging::removeTemporaryFolder(path_);
  }

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Below the folder and nowhere else.
bool isPlain(const std::string& name) {
  const fs::path path(name);
  if (name.empty() || path.is_absolute()) return false;
  for (const fs::path& part : path) {
    if (part == ".." || part == ".") return false;
  }
  return true;
}

// What `name` is called in the folder that the application was made in; empty: it has no place
// there.
std::string nameInFolder(const std::string& name, const std::string& id) {
  const std::string upperName = wzapp::toUpper(name);
  const std::string upperId = wzapp::toUpper(id);
  if (upperName == upperId + ".MFT") return packaging::kFolderManifest;
  if (!upperName.starts_with(upperId + "/")) return {};
  return name.substr(id.size() + 1);
}

bool unpack(UnZIP& content, const std::string& id, const std::string& folder) {
  for (auto entry = content.index().begin(); entry != content.index().end(); ++entry) {
    const std::string name = nameInFolder(std::string(entry->first), id);
    if (entry->first.ends_with('/') || !isPlain(name)) continue;
    const fs::path path = fs::path(folder) / name;
    std::error_code failure;
    packaging::whileFoldersStay([&] { fs::create_directories(path.parent_path(), failure); });
    if (failure || !content.extractToFile(entry, path.string())) return false;
  }
  return true;
}

// The names of the folder were only there while it was looked at.
void rename(Diagnostic& diagnostic, const std::string& folder, const InnerReport& inner,
            const std::string& file) {
  std::string name = diagnostic.file;
  if (name.starts_with(folder + "/")) name.erase(0, folder.size() + 1);
  diagnostic.entry = inner.entry;
  if (!name.empty()) {
    diagnostic.entry +=
        "!" + (name == packaging::kFolderManifest ? inner.id + ".MFT" : inner.id + "/" + name);
  }
  diagnostic.file = file;
  const std::size_t at = diagnostic.message.find(folder + "/");
  if (at != std::string::npos) diagnostic.message.erase(at, folder.size() + 1);
}

void checkApplication(UnZIP& archive, const InnerReport& inner, const CheckOptions& options,
                      CheckReport& report) {
  const UnnamedFile copy;
  const TemporaryFolder folder;
  const auto entry = archive.index().find(inner.entry);
  if (copy.get() < 0 || folder.path().empty() || inner.id.empty() ||
      !archive.extractToFile(entry, copy.path())) {
    return;
  }
  UnZIP content(copy.get());
  if (!unpack(content, inner.id, folder.path())) return;
  CheckReport found = checkFolder(folder.path(), options);
  for (Diagnostic& diagnostic : found.diagnostics) {
    rename(diagnostic, folder.path(), inner, report.file);
    report.diagnostics.push_back(std::move(diagnostic));
  }
}

}  // namespace

CheckReport checkPackage(const std::string& file, const CheckOptions& options) {
  const PackageReport package = examinePackage(file, options.authorities, EntrySizes::kLeftOut);
  CheckReport report;
  report.file = file;
  report.isPackage = true;
  report.diagnostics = package.diagnostics;
  if (options.isRelease) {
    for (Diagnostic& key : developmentKeysIn(package, options.areInForce)) {
      report.diagnostics.push_back(std::move(key));
    }
  }
  UnZIP archive(file);
  for (const InnerReport& inner : package.inners) {
    if (inner.kind != InnerKind::kApplication) continue;
    if (!inner.id.empty()) report.ids.push_back(inner.id);
    checkApplication(archive, inner, options, report);
  }
  return report;
}

}  // namespace wz
