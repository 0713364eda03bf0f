#include "wz/reports/development_key.h"

#include <string>
#include <string_view>

#include "wz/terminal/development_roots.h"

namespace wz {
namespace {

// As every certificate of development keys says, and what is issued below them.
constexpr std::string_view kDevelopmentName = "O=Development keys, OU=Not for terminals";

bool saysSo(const CertificateFacts& facts) {
  return facts.subject.starts_with(kDevelopmentName) || facts.issuer.starts_with(kDevelopmentName);
}

}  // namespace

Diagnostics developmentKeysIn(const PackageReport& report, bool isByCompiledIn) {
  const bool areAllOfDevelopment = isByCompiledIn && !developmentRoots().empty();
  Diagnostics diagnostics;
  for (const PackageCertificate& certificate : report.certificates) {
    if (!certificate.isRead) continue;
    const bool isAccepted = certificate.kind != 0;
    if (!saysSo(certificate.facts) && !(isAccepted && areAllOfDevelopment)) continue;
    diagnostics.push_back({"WZ-0908", "the signer " + certificate.entry + " is a development key",
                           report.file, certificate.entry, 0, 0,
                           certificate.facts.subject + ", issued by " + certificate.facts.issuer});
  }
  return diagnostics;
}

}  // namespace wz
