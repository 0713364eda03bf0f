#include "installer/package_file.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "crypto/store/certificate_store.h"
#include "installer/archive_opening.h"
#include "installer/inner_package.h"
#include "installer/messages.h"
#include "installer/regular_file.h"
#include "support/install_result.h"
#include "support/text.h"

namespace wzapp {
namespace {

constexpr std::string_view kCertificateEnding = ".CRT";
constexpr std::string_view kPackageEnding = ".ZIP";
constexpr std::string_view kUninstallEnding = "-U.ZIP";
constexpr std::size_t kShortestName = 5;

// Whether the entry is one of those whose upper-cased names end in `ending`.
bool endsIn(std::string_view name, std::string_view ending) {
  return name.size() >= kShortestName && !name.ends_with('/') && endsInAnyCase(name, ending);
}

void addCertificates(PackageFile& file) {
  const UnZIP::Index& index = file.archive.index();
  std::vector<std::uint8_t> der;
  for (auto entry = index.begin(); entry != index.end(); ++entry) {
    const std::string_view name = entry->first;
    if (!endsIn(name, kCertificateEnding)) continue;
    if (!file.work.take(kMaxCredentialSize) ||
        !file.archive.readEntry(entry, der, kMaxCredentialSize) || der.empty()) {
      reportError(kUnreadableEntry, name.data());
      continue;
    }
    certificateStore().add(name.data(), der);
  }
}

void installInnerPackages(PackageFile& file, AppIds& installed) {
  const UnZIP::Index& index = file.archive.index();
  for (auto entry = index.begin(); entry != index.end(); ++entry) {
    if (endsIn(entry->first, kPackageEnding)) installInnerPackage(file, entry, installed);
  }
}

bool holdsUninstallPackage(const UnZIP& archive) {
  return std::ranges::any_of(archive.index(), [](const UnZIP::Index::value_type& entry) {
    return endsIn(entry.first, kUninstallEnding);
  });
}

}  // namespace

bool installPackageFile(const std::string& path, AppIds& installed) {
  std::optional<UnZIP> opened;
  openPatiently(opened, [&] { opened.emplace(openRegularFile(path).get()); });
  UnZIP& archive = *opened;
  if (archive.index().empty()) {
    reportError(kUnreadableArchive, path.c_str());
    return false;
  }
  certificateStore().rebuild();
  PackageFile file{archive, SignatureEntries(archive), UnverifiedWork(archive.fileSize())};
  addCertificates(file);
  installInnerPackages(file, installed);
  return holdsUninstallPackage(archive);
}

}  // namespace wzapp
