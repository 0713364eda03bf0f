#include "installer/package_file.h"

#include <optional>
#include <string_view>
#include <vector>

#include "crypto/certificate_store.h"
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

bool isSkipped(const std::string& name) {
  return name.size() < kShortestName || name.ends_with('/');
}

// The entries, in the order of the index, whose upper-cased names end in `ending`.
std::vector<UnZIP::Entry> entriesEndingIn(std::string_view ending, const UnZIP& archive) {
  std::vector<UnZIP::Entry> entries;
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    if (!isSkipped(entry->first) && endsInAnyCase(entry->first, ending)) {
      entries.push_back(entry);
    }
  }
  return entries;
}

void addCertificates(PackageFile& file) {
  for (const UnZIP::Entry entry : entriesEndingIn(kCertificateEnding, file.archive)) {
    const std::string& name = entry->first;
    std::vector<std::uint8_t> der;
    if (!file.work.take(kMaxCredentialSize) ||
        !file.archive.readEntry(entry, der, kMaxCredentialSize) || der.empty()) {
      reportError(kUnreadableEntry, name.c_str());
      continue;
    }
    certificateStore().add(name, der);
  }
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
  for (const UnZIP::Entry entry : entriesEndingIn(kPackageEnding, archive)) {
    installInnerPackage(file, entry, installed);
  }
  return !entriesEndingIn(kUninstallEnding, archive).empty();
}

}  // namespace wzapp
