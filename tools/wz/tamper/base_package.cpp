#include "wz/tamper/base_package.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "archive/unzip.h"
#include "crypto/signature/package_signature.h"
#include "installer/application_manifest.h"
#include "support/text.h"
#include "wz/reports/package_report.h"
#include "wz/reports/unnamed_file.h"

namespace wz {
namespace {

using wzapp::UnZIP;

constexpr std::size_t kLargestEntry = std::size_t{16} << 20;

bool readAll(UnZIP& archive, ZipItems& items) {
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    std::vector<std::uint8_t> octets;
    if (!archive.readEntry(entry, octets, kLargestEntry)) return false;
    items.push_back({std::string(entry->first), std::string(octets.begin(), octets.end())});
  }
  return true;
}

bool readInner(const std::string& octets, ZipItems& items) {
  const UnnamedFile file;
  if (file.get() < 0 ||
      write(file.get(), octets.data(), octets.size()) != static_cast<ssize_t>(octets.size())) {
    return false;
  }
  UnZIP archive(file.get());
  return !archive.index().empty() && readAll(archive, items);
}

// The certificate whose key signed the archive.
std::string certificateOf(const PackageReport& report, const std::string& signature) {
  char keyId[wzapp::kSignerKeyIdText];
  if (wzapp::readSignerKeyId(wzapp::viewOf(signature), keyId) != 0) return {};
  for (const PackageCertificate& certificate : report.certificates) {
    if (certificate.facts.subjectKeyId == keyId) return certificate.entry;
  }
  return {};
}

// "shop.MFT" and "shop/...", and nothing else: what is expected of variants is said of these.
bool isAsPacked(const BasePackage& package) {
  const auto isOfApplication = [&package](const ZipItem& item) {
    return item.name == package.id + ".MFT" || item.name.starts_with(package.id + "/");
  };
  const auto isOfMarketplace = [&package](const ZipItem& item) {
    return item.name.starts_with(package.id + "/");
  };
  const auto has = [](const ZipItems& items, const std::string& name) {
    return std::any_of(items.begin(), items.end(),
                       [&name](const ZipItem& item) { return item.name == name; });
  };
  return !package.id.empty() &&
         std::all_of(package.applicationFiles.begin(), package.applicationFiles.end(),
                     isOfApplication) &&
         std::all_of(package.marketplaceFiles.begin(), package.marketplaceFiles.end(),
                     isOfMarketplace) &&
         has(package.applicationFiles, package.id + ".MFT") &&
         has(package.marketplaceFiles, package.id + "/" + wzapp::kMarketplaceManifest);
}

bool takeApart(const PackageReport& report, BasePackage& package) {
  for (const InnerReport& inner : report.inners) {
    const bool isApplication = inner.kind == InnerKind::kApplication;
    BaseInner& base = isApplication ? package.application : package.marketplace;
    if (inner.kind == InnerKind::kUninstall || !base.archive.empty()) return false;
    base = {inner.entry, inner.signatureEntry,
            certificateOf(report, package.contentOf(inner.signatureEntry))};
    if (base.certificate.empty()) return false;
    if (isApplication) package.id = inner.id;
    for (const PackagedManifest& manifest : inner.manifests) {
      if (!isApplication) package.sponsors = manifest.sponsors;
    }
    if (!readInner(package.contentOf(inner.entry),
                   isApplication ? package.applicationFiles : package.marketplaceFiles)) {
      return false;
    }
  }
  return !package.application.archive.empty() && !package.marketplace.archive.empty() &&
         package.application.certificate != package.marketplace.certificate &&
         !package.sponsors.empty() && isAsPacked(package);
}

}  // namespace

const std::string& BasePackage::contentOf(const std::string& entry) const {
  for (const ZipItem& item : items) {
    if (item.name == entry) return item.content;
  }
  throw std::logic_error("there is no entry " + entry);
}

bool readBasePackage(const std::string& file, std::span<const wzapp::Authority> authorities,
                     BasePackage& package, std::string& error) {
  const PackageReport report = examinePackage(file, authorities, EntrySizes::kLeftOut);
  if (!report.isAccepted()) {
    error = file + " is refused as it is; see wz inspect";
    return false;
  }
  UnZIP archive(file);
  if (readAll(archive, package.items) && takeApart(report, package)) return true;
  error =
      file +
      " is not what wz pack makes of one application: its archive, with ID.MFT and ID/, and its "
      "marketplace package, each by a signer of its own";
  return false;
}

}  // namespace wz
