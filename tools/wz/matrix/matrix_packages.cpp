#include "wz/matrix/matrix_packages.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "wz/matrix/fleet.h"
#include "wz/reports/output.h"
#include "wz/reports/readable_file.h"
#include "wz/terminal/development_roots.h"
#include "wz/words/exit_code.h"

namespace wz {
namespace {

namespace fs = std::filesystem;

std::string keyOf(const std::vector<std::size_t>& packages, const TerminalImage& image) {
  Fingerprint fingerprint;
  for (const std::size_t package : packages) fingerprint.add(static_cast<std::int64_t>(package));
  for (const workstation::AuthorityRow& row : image.terminal.authorities) {
    fingerprint.add(row.kind).add(row.der);
  }
  return fingerprint.text();
}

}  // namespace

std::vector<wzapp::Authority> tableOf(const TerminalImage& image) {
  std::vector<wzapp::Authority> table;
  for (const workstation::AuthorityRow& row : image.terminal.authorities) {
    table.push_back({row.kind, wzapp::viewOf(row.der)});
  }
  if (table.empty()) table.assign(compiledInTable().begin(), compiledInTable().end());
  return table;
}

int MatrixPackages::name(const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    if (const int code = checkPackageName(file); code != kDone) return code;
    const auto isSame = [name = escaped(file)](const MatrixPackage& other) {
      return escaped(other.file) == name;
    };
    if (std::any_of(packages_.begin(), packages_.end(), isSame)) {
      printMessage("the package " + file + " is named twice");
      return kUsage;
    }
    if (!isReadableFile(file)) return kEnvironment;
    std::error_code failure;
    MatrixPackage package{file, sha256Behind(file), fs::file_size(file, failure)};
    if (failure || package.sha256.empty()) {
      printMessage("cannot read " + file);
      return kEnvironment;
    }
    packages_.push_back(std::move(package));
  }
  return kDone;
}

std::shared_ptr<const PackageFiles> MatrixPackages::open(const std::vector<std::size_t>& packages,
                                                         const TerminalImage& image) {
  std::weak_ptr<const PackageFiles>& known = open_[keyOf(packages, image)];
  if (auto files = known.lock()) return files;
  std::vector<std::string> names;
  names.reserve(packages.size());
  for (const std::size_t package : packages) names.push_back(packages_[package].file);
  const auto files = std::make_shared<PackageFiles>();
  if (files->open(names, EntrySizes::kLeftOut, tableOf(image)) != kDone) return nullptr;
  for (std::size_t i = 0; i < packages.size(); ++i) {
    if (files->packages()[i].sha256 == packages_[packages[i]].sha256) continue;
    printMessage(names[i] + " has changed meanwhile; begin again");
    return nullptr;
  }
  known = files;
  return files;
}

}  // namespace wz
