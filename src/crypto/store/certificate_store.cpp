#include "crypto/store/certificate_store.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

#include "crypto/certificate/certificate_check.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/rsa/rsa.h"
#include "crypto/store/terminal_certificates.h"
#include "support/install_result.h"

namespace wzapp {

namespace {

constexpr const char* kAdding = "Adding certificate %s\n";

struct PermissionKind {
  std::string_view permission;
  CertificateKind kind;
};

constexpr PermissionKind kPermissionKinds[] = {
    {"S11", kManifestCertificate},
    {"S14", kApplicationCertificate},
};

// Of several permissions that mean something the last one counts. kUndecidedCertificate: none does.
std::int32_t kindOfPermissions(const CertificateSummary& summary) {
  std::int32_t kind = kUndecidedCertificate;
  const char* permission = summary.permissions;
  while (*permission != '\0') {
    for (const PermissionKind& row : kPermissionKinds) {
      if (row.permission == permission) kind = row.kind;
    }
    permission += std::strlen(permission) + 1;
  }
  return kind;
}

std::int32_t kindFromIssuer(const Certificate& issuer, const CertificateSummary& issued) {
  return issuer.kind == kSignerAuthority ? kindOfPermissions(issued) : issuer.kind;
}

// As a summary writes its times.
std::string currentTime() {
  const std::time_t now = std::time(nullptr);
  struct tm utc {};
  gmtime_r(&now, &utc);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &utc)};
}

// Both conditions, deliberately: a certificate that has run out goes on being accepted, and so does
// one that is not valid yet. Only one that ends before it begins can ever be refused.
bool isExpired(const CertificateSummary& summary) {
  const std::string now = currentTime();
  return now < summary.validFrom && now > summary.validTo;
}

bool isSame(const Certificate& certificate, std::int32_t kind, ByteView der) {
  return certificate.kind == kind && std::ranges::equal(certificate.der, der);
}

bool readSummary(const char* displayName, ByteView der, CertificateSummary& summary) {
  if (der.empty()) {
    reportWarning("Warning: Failed reading certificate '%s': Empty\n", displayName);
    return false;
  }
  const int result = summariseCertificate(der, summary);
  if (result < 0) {
    reportWarning("Warning: Failed reading certificate '%s': Error %d\n", displayName, result);
  }
  return result == 0;
}

}  // namespace

void CertificateStore::rebuild() {
  former_ = std::exchange(certificates_, {});
  issuances_.startRound();
  summariseTable();
  addTerminalRoots();
  addAuthorities();
}

void CertificateStore::summariseTable() {
  if (!summarisedTable_.empty()) return;
  summarisedTable_.reserve(table_.size());
  SummarisedAuthority authority{};
  for (const Authority& row : table_) {
    authority.row = &row;
    if (summariseCertificate(row.der, authority.summary) == 0)
      summarisedTable_.push_back(authority);
  }
}

bool CertificateStore::hasIssuedAuthority(std::string_view subjectKeyId) const {
  return std::ranges::any_of(summarisedTable_, [subjectKeyId](const SummarisedAuthority& issued) {
    return subjectKeyId == issued.summary.authorityKeyId;
  });
}

void CertificateStore::addTerminalRoots() {
  TerminalCertificates certificates;
  while (certificates.next()) {
    const CertificateSummary& summary = certificates.summary();
    if (!hasIssuedAuthority(summary.subjectKeyId)) continue;
    report("Adding OS certificate SN=%s\n", summary.serial);
    insert(summary.subjectKeyId, kRootCertificate, certificates.der());
  }
}

void CertificateStore::addAuthorities() {
  for (const SummarisedAuthority& authority : summarisedTable_) {
    const CertificateSummary& summary = authority.summary;
    if (find(summary.authorityKeyId) == nullptr) continue;
    const std::string name = std::string("SN=") + summary.serial;
    report(kAdding, name.c_str());
    addSummarised(name.c_str(), authority.row->der, summary, authority.row->kind);
  }
}

void CertificateStore::add(const char* displayName, ByteView der, std::int32_t kind) {
  report(kAdding, displayName);
  CertificateSummary summary;
  if (readSummary(displayName, der, summary)) addSummarised(displayName, der, summary, kind);
}

void CertificateStore::addSummarised(const char* displayName, ByteView der,
                                     const CertificateSummary& summary, std::int32_t kind) {
  if (isExpired(summary)) {
    reportWarning("Warning: Failed adding certificate '%s': Expired\n", displayName);
    return;
  }
  const std::shared_ptr<const Certificate> issuer = find(summary.authorityKeyId);
  if (issuer == nullptr) {
    reportWarning("Warning: Failed adding certificate '%s': CA not found\n", displayName);
    return;
  }
  if (!isIssuedBy(*issuer, der)) {
    reportWarning("Warning: Failed adding certificate '%s': Validation failed\n", displayName);
    return;
  }
  if (kind == kUndecidedCertificate) kind = kindFromIssuer(*issuer, summary);
  if (kind == kUndecidedCertificate) {
    reportWarning("Warning: Failed adding certificate '%s': Invalid file type\n", displayName);
    return;
  }
  insert(summary.subjectKeyId, kind, der);
}

bool CertificateStore::isIssuedBy(const Certificate& issuer, ByteView der) {
  if (issuances_.knows(issuer.der, der)) return true;
  if (checkAgainstAuthority(der, issuer.der) != kSignatureValid) return false;
  issuances_.remember(issuer.der, der);
  return true;
}

std::shared_ptr<const Certificate> CertificateStore::find(std::string_view subjectKeyId) const {
  const auto found = certificates_.find(subjectKeyId);
  return found == certificates_.end() ? nullptr : found->second;
}

void CertificateStore::insert(const char* subjectKeyId, std::int32_t kind, ByteView der) {
  const auto former = former_.find(std::string_view(subjectKeyId));
  if (former != former_.end() && isSame(*former->second, kind, der) &&
      !certificates_.contains(former->first)) {
    certificates_.insert(former_.extract(former));
    return;
  }
  certificates_[subjectKeyId] = std::make_shared<const Certificate>(
      Certificate{kind, std::vector<std::uint8_t>(der.begin(), der.end())});
}

CertificateStore& certificateStore() {
  // Never freed: a thread may still install when static objects go.
  static auto& store = *new CertificateStore(authorities());
  return store;
}

}  // namespace wzapp
