#include "wz/reports/acceptance.h"

#include <algorithm>

#include "crypto/certificate/certificate_check.h"
#include "crypto/certificate/certificate_summary.h"
#include "crypto/rsa/rsa.h"

namespace wz {
namespace {

using wzapp::Authority;
using wzapp::ByteView;
using Result = Acceptance::Result;

enum Kind : int { kRootKind = 1, kSignersKind = 2, kApplicationKind = 3, kManifestKind = 4 };

// The last permission that names something to sign decides.
int kindFromPermissions(const std::vector<std::string>& permissions) {
  int kind = 0;
  for (const std::string& permission : permissions) {
    if (permission == "S11") kind = kManifestKind;
    if (permission == "S14") kind = kApplicationKind;
  }
  return kind;
}

Acceptance judgeIssued(ByteView der, const CertificateFacts& facts, const Authority& issuer,
                       std::size_t row) {
  if (wzapp::checkAgainstAuthority(der, issuer.der) != wzapp::kSignatureValid) {
    return {Result::kNotSigned, 0, {row}};
  }
  if (facts.dates == DateVerdict::kRefused) return {Result::kDates, 0, {row}};
  const int kind =
      issuer.kind == kSignersKind ? kindFromPermissions(facts.permissions) : issuer.kind;
  if (kind == 0) return {Result::kNoPermission, 0, {row}};
  return {Result::kAccepted, kind, {row}};
}

std::string rowsText(const std::vector<std::size_t>& rows) {
  std::string text = rows.size() == 1 ? "authority " : "authorities ";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (i > 0) text += i + 1 == rows.size() ? " and " : ", ";
    text += std::to_string(rows[i]);
  }
  return text + " of those compiled in";
}

}  // namespace

Acceptance judge(ByteView der, const CertificateFacts& facts,
                 std::span<const Authority> authorities) {
  Acceptance asRoot{Result::kRoot, kRootKind, {}};
  std::size_t issuerRow = 0;
  for (std::size_t i = 0; i < authorities.size(); ++i) {
    const Authority& authority = authorities[i];
    if (std::ranges::equal(der, authority.der))
      return {Result::kAuthority, authority.kind, {i + 1}};
    wzapp::CertificateSummary summary;
    if (wzapp::summariseCertificate(authority.der, summary) != 0) continue;
    if (summary.authorityKeyId == facts.subjectKeyId &&
        wzapp::checkAgainstAuthority(authority.der, der) == wzapp::kSignatureValid) {
      asRoot.rows.push_back(i + 1);
    }
    // Of two with one key identifier the later one is kept by a terminal.
    if (summary.subjectKeyId == facts.authorityKeyId) issuerRow = i + 1;
  }
  if (!asRoot.rows.empty()) return asRoot;
  if (issuerRow == 0) return {};
  return judgeIssued(der, facts, authorities[issuerRow - 1], issuerRow);
}

std::string kindText(int kind) {
  switch (kind) {
    case kRootKind:
      return "root certificate of a terminal";
    case kSignersKind:
      return "authority for the signers of packages; their permissions say what they may sign";
    case kApplicationKind:
      return "application certificate, may sign applications";
    case kManifestKind:
      return "manifest certificate, may sign manifest packages (-O.ZIP and -U.ZIP)";
    default:
      return "nothing that a package could be signed with";
  }
}

std::string acceptanceText(const Acceptance& acceptance, const CertificateFacts& facts) {
  const std::string rows = rowsText(acceptance.rows);
  switch (acceptance.result) {
    case Result::kAuthority:
      return "It is " + rows +
             "; a terminal uses it when it has the root with the key identifier " +
             facts.authorityKeyId + ".";
    case Result::kRoot:
      return "A terminal that has it as its own certificate uses " + rows + ".";
    case Result::kAccepted:
      return "Accepted by " + rows + ".";
    case Result::kDates:
      return "Refused: " + rows + " issued it, but its dates contradict each other (\"Expired\").";
    case Result::kNoPermission:
      return "Refused: " + rows +
             " issued it, but its permissions name neither S14 (applications) nor S11 "
             "(manifest packages) (\"Invalid file type\").";
    case Result::kNotSigned:
      return "Refused: it names " + rows +
             " as its issuer, but the signature is not of that key, or of an algorithm that is "
             "not supported (\"Validation failed\").";
    case Result::kNoAuthority:
      break;
  }
  return "Refused: none of the authorities compiled in has the key identifier " +
         facts.authorityKeyId + " that it names (\"CA not found\").";
}

}  // namespace wz
