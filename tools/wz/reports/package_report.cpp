#include "wz/reports/package_report.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "archive/unzip.h"
#include "installer/unverified_work.h"
#include "support/text.h"
#include "wz/reports/archive_cause.h"
#include "wz/reports/certificate_cause.h"
#include "wz/reports/identity_warnings.h"
#include "wz/reports/inner_examination.h"
#include "wz/words/explain.h"

namespace wz {
namespace {

using wzapp::Authority;
using wzapp::UnZIP;

// Entries whose names are shorter are not looked at.
constexpr std::size_t kShortestName = 5;

bool isLookedAt(std::string_view name) {
  return name.size() >= kShortestName && !name.ends_with('/');
}

// ---- Certificates ------------------------------------------------------------------------------

void refuseCertificate(const std::string& name, const CertificateCause& cause,
                       PackageReport& report) {
  const std::string message =
      "the certificate " + name + " is passed over: " + lowerFirst(codeOf(cause.code).title);
  report.diagnostics.push_back({cause.code, message, report.file, name, 0, 0, cause.evidence});
}

PackageCertificate examineCertificate(const std::string& name, const std::vector<std::uint8_t>& der,
                                      const Trust& trust, PackageReport& report) {
  PackageCertificate certificate;
  certificate.entry = name;
  certificate.isRead = readFacts(der, currentTime(), certificate.facts, certificate.refusal);
  if (!certificate.isRead) {
    if (const auto cause = whyNotRead(der)) refuseCertificate(name, *cause, report);
    return certificate;
  }
  const Acceptance acceptance = judge(der, certificate.facts, trust.rows);
  if (const auto cause = whyNotAccepted(der, acceptance, certificate.facts, trust.rows)) {
    refuseCertificate(name, *cause, report);
  }
  certificate.kind = acceptance.kind;
  const bool isByOther = acceptance.rows.size() == 1 && acceptance.rows[0] > trust.authorityCount;
  certificate.acceptance = isByOther && certificate.kind != 0
                               ? "Accepted by another certificate of the package."
                               : acceptanceText(acceptance, certificate.facts);
  return certificate;
}

void examineCertificates(UnZIP& archive, Trust& trust, PackageReport& report) {
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    const std::string name(entry->first);
    if (!isLookedAt(name) || !wzapp::toUpper(name).ends_with(".CRT")) continue;
    std::vector<std::uint8_t> der;
    if (!archive.readEntry(entry, der, wzapp::kMaxCredentialSize) || der.empty()) {
      refuseCertificate(name, {"WZ-0102", "it is empty, or cannot be unpacked"}, report);
      report.certificates.push_back({name, false, "it cannot be unpacked", {}, 0, {}});
      continue;
    }
    report.certificates.push_back(examineCertificate(name, der, trust, report));
    const int kind = report.certificates.back().kind;
    if (kind == 0) continue;
    trust.certificates.push_back(std::move(der));
    trust.rows.push_back({kind, trust.certificates.back()});
  }
}

void listEntries(UnZIP& archive, EntrySizes sizes, PackageReport& report) {
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    report.entries.push_back(describeEntry(archive, entry, sizes));
  }
}

void refusePackage(PackageReport& report) {
  const ArchiveCause cause = whyNoArchive(report.file);
  const std::string title = lowerFirst(codeOf(cause.code).title);
  report.refusal = title + ": " + cause.evidence;
  report.diagnostics.push_back({cause.code, title, report.file, "", 0, 0, cause.evidence});
}

}  // namespace

const char* innerKindText(InnerKind kind) {
  switch (kind) {
    case InnerKind::kApplication:
      return "application";
    case InnerKind::kMarketplace:
      return "marketplace manifest";
    case InnerKind::kUninstall:
      return "removal";
  }
  return "?";
}

bool PackageReport::isAccepted() const {
  return refusal.empty() && !inners.empty() &&
         std::ranges::all_of(inners, [](const InnerReport& inner) { return inner.isAccepted(); });
}

std::string hexText(std::span<const std::uint8_t> octets) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t octet : octets) {
    text += kDigits[octet >> 4];
    text += kDigits[octet & 15];
  }
  return text;
}

bool isPackageName(const std::string& file) {
  constexpr std::string_view kEnding = ".ZIP";
  const std::string name = wzapp::toUpper(std::filesystem::path(file).filename().string());
  return name.size() > kEnding.size() && name.ends_with(kEnding);
}

PackageReport examinePackage(const std::string& file, std::span<const Authority> authorities,
                             EntrySizes sizes) {
  PackageReport report;
  report.file = file;
  UnZIP archive(file);
  if (archive.index().empty()) {
    refusePackage(report);
    return report;
  }
  listEntries(archive, sizes, report);
  Trust trust;
  trust.rows.assign(authorities.begin(), authorities.end());
  trust.authorityCount = authorities.size();
  examineCertificates(archive, trust, report);
  for (auto entry = archive.index().begin(); entry != archive.index().end(); ++entry) {
    if (!isLookedAt(entry->first) || !wzapp::toUpper(entry->first).ends_with(".ZIP")) continue;
    report.inners.push_back(examineInner(archive, entry, sizes, trust, report, report.diagnostics));
  }
  if (report.inners.empty() && isCutOffBehindAnArchive(file)) {
    report.diagnostics.push_back({"WZ-0111", "the archive is cut off", file, "", 0, 0,
                                  "it ends with the directory of an archive inside it"});
  } else if (report.inners.empty()) {
    report.diagnostics.push_back(
        {"WZ-0104", "there is no archive in the package", file, "", 0, 0,
         std::to_string(report.entries.size()) + " entries, none of which ends in .zip"});
  }
  report.warnings = identityWarnings(report.inners);
  return report;
}

}  // namespace wz
