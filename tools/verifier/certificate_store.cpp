#include "verifier/certificate_store.h"

#include <array>
#include <ctime>
#include <set>
#include <utility>

namespace verifier {
namespace {

std::string now() {
  const std::time_t seconds = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 16> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &parts)};
}

// The last permission that is one counts.
int kindByPermissions(const Certificate& certificate) {
  int kind = kUnknown;
  for (const std::string& permission : certificate.permissions) {
    // A text ends at its first zero octet.
    const std::string text = permission.substr(0, permission.find('\0'));
    if (text == "S11") kind = kManifests;
    if (text == "S14") kind = kApplications;
  }
  return kind;
}

}  // namespace

CertificateStore::CertificateStore(const Terminal& terminal) {
  std::set<std::string> rootIds;
  for (const Terminal::Authority& authority : terminal.authorities) {
    Certificate certificate;
    if (readCertificate(authority.certificate, certificate) == kGood) {
      rootIds.insert(certificate.authorityKeyId);
    }
  }
  for (const std::string& root : terminal.roots) {
    Certificate certificate;
    if (readCertificate(root, certificate) != kGood) continue;
    const std::string id = certificate.subjectKeyId;
    if (rootIds.contains(id)) rows_[id] = {kRoot, std::move(certificate)};
  }
  if (terminal.hasAllRoots) {
    addAll(terminal.authorities);
    return;
  }
  // Those whose root is missing are refused as if by WZ-0204, which is not said of authorities.
  for (const Terminal::Authority& authority : terminal.authorities) {
    (void)add(authority.certificate, authority.kind);
  }
}

void CertificateStore::addAll(const std::vector<Terminal::Authority>& authorities) {
  for (const Terminal::Authority& authority : authorities) {
    Certificate certificate;
    if (readCertificate(authority.certificate, certificate) != kGood) continue;
    const std::string id = certificate.subjectKeyId;
    rows_[id] = {authority.kind, std::move(certificate)};
  }
}

CertificateStore::Refusal CertificateStore::add(std::string_view der, int kind) {
  if (der.empty()) return {"WZ-0201"};
  Certificate certificate;
  if (const Cause cause = readCertificate(der, certificate)) return {"WZ-0202", cause};
  const std::string time = now();
  if (time < certificate.validFrom && time > certificate.validTo) return {"WZ-0203"};
  const Row* const issuer = find(certificate.authorityKeyId);
  if (issuer == nullptr) return {"WZ-0204"};
  if (const Cause cause = checkIssuer(certificate, issuer->certificate)) return {"WZ-0205", cause};
  if (kind == kUnknown) {
    kind = issuer->kind == kFreeAuthority ? kindByPermissions(certificate) : issuer->kind;
    if (kind == kUnknown) return {"WZ-0206"};
  }
  const std::string id = certificate.subjectKeyId;
  rows_[id] = {kind, std::move(certificate)};
  return {};
}

const CertificateStore::Row* CertificateStore::find(const std::string& subjectKeyId) const {
  const auto found = rows_.find(subjectKeyId);
  return found == rows_.end() ? nullptr : &found->second;
}

}  // namespace verifier
