#include "tests/installer/scenario_signers.h"

#include <map>
#include <string_view>
#include <tuple>

#include "tests/builders/package_builder.h"
#include "tests/crypto/authority_fixtures.h"

namespace wzapp_test::scenario {
namespace {

constexpr std::size_t kOtherRootRow = 8;

const TestKey& keyOf(int number) {
  static const TestKey signer(2048);
  switch (number) {
    case kRootKey:
      return rootKey();
    case kAuthorityKey:
      return authorityKey();
    case kSignerKey:
      return signer;
    default:
      return strangerKey();
  }
}

Octets signerId(std::uint8_t number) { return Octets(20, number); }

struct Issue {
  std::string what;
  std::uint8_t id;
  Octets issuer;
  int issuerKey;
  std::vector<std::string_view> permissions = {};
  bool isExpired = false;
};

KnownCertificate issue(const Issue& row) {
  CertificateBuilder builder = issuedCertificate(row.issuer, signerId(row.id), "100001");
  builder.rsaKey(keyOf(kSignerKey).modulus(), keyOf(kSignerKey).exponent());
  if (!row.permissions.empty()) builder.permissions(row.permissions);
  if (row.isExpired) builder.validity("21100101000000Z", "160101000000Z");
  const Octets octets = signedBy(keyOf(row.issuerKey), builder);
  CertificateFacts facts;
  facts.id = hexOf(signerId(row.id));
  facts.issuer = hexOf(row.issuer);
  facts.key = kSignerKey;
  facts.issuerKey = row.issuerKey;
  facts.permissions.assign(row.permissions.begin(), row.permissions.end());
  facts.isExpired = row.isExpired;
  return {row.what, facts, std::string(octets.begin(), octets.end())};
}

}  // namespace

const std::vector<KnownCertificate>& knownCertificates() {
  static const std::vector<KnownCertificate> certificates = [] {
    const Octets free = authorityId(kSignerRow);
    const Octets application = authorityId(kApplicationRow);
    const std::vector<Issue> rows = {
        {"application", 0x71, application, kAuthorityKey},
        {"manifest", 0x72, authorityId(kManifestRow), kAuthorityKey},
        {"strange", 0x73, signerId(0x73), kStrangerKey},
        {"S14", 0x74, free, kAuthorityKey, {"S14"}},
        {"S11 of the same id", 0x74, free, kAuthorityKey, {"S11"}},
        {"S14 and S11", 0x75, free, kAuthorityKey, {"S14", "S11"}},
        {"S11 and S14", 0x76, free, kAuthorityKey, {"S11", "S14"}},
        {"other permissions", 0x77, free, kAuthorityKey, {"S12"}},
        {"forged", 0x78, application, kStrangerKey},
        {"forged of a known id", 0x71, application, kStrangerKey},
        {"ended before its begin", 0x79, application, kAuthorityKey, {}, true},
        {"below the application signer", 0x7A, signerId(0x71), kSignerKey, {"S11"}},
        {"below the other root", 0x7B, authorityId(kOtherRootRow), kAuthorityKey, {"S14"}},
    };
    std::vector<KnownCertificate> result;
    for (const Issue& row : rows) result.push_back(issue(row));
    return result;
  }();
  return certificates;
}

const std::vector<Identity>& identities() {
  static const std::vector<Identity> all = {
      {"application signer", signerId(0x71), kSignerKey},
      {"S14 signer", signerId(0x74), kSignerKey},
      {"application authority", authorityId(kApplicationRow), kAuthorityKey},
      {"manifest signer", signerId(0x72), kSignerKey},
      {"S14 and S11 signer", signerId(0x75), kSignerKey},
      {"manifest authority", authorityId(kManifestRow), kAuthorityKey},
      {"S11 and S14 signer", signerId(0x76), kSignerKey},
      {"signer below the application signer", signerId(0x7A), kSignerKey},
      {"signer below the other root", signerId(0x7B), kSignerKey},
      {"refused signer", signerId(0x78), kSignerKey},
      {"stranger", signerId(0x73), kSignerKey},
      {"stranger as application signer", signerId(0x71), kStrangerKey},
      {"stranger as manifest signer", signerId(0x72), kStrangerKey},
      {"root", rootId(), kRootKey},
      {"free authority", authorityId(kSignerRow), kAuthorityKey},
  };
  return all;
}

std::string signatureBy(const Identity& identity, const std::string& archive, bool isSha1) {
  static std::map<std::tuple<Octets, int, bool, std::string>, std::string> made;
  std::string& signature = made[{identity.keyId, identity.key, isSha1, archive}];
  if (signature.empty()) {
    const Signer signer{{}, identity.keyId, &keyOf(identity.key)};
    signature =
        signatureOf(archive, signer, isSha1 ? TestKey::Digest::kSha1 : TestKey::Digest::kSha256);
  }
  return signature;
}

void addAuthorities(TerminalFacts& terminal, bool hasSecondRoot) {
  for (std::size_t root = 0; root < (hasSecondRoot ? 2U : 1U); ++root) {
    terminal.roots.push_back({hexOf(rootId(root)), hexOf(rootId(root)), kRootKey, kRootKey, {}});
    terminal.rootSerials.push_back(root == 0 ? "000001" : "000002");
  }
  for (std::size_t row = 0; row < wzapp::kAuthorityCount; ++row) {
    const Octets issuer = rootId(row == kOtherRootRow ? 1 : 0);
    terminal.authorities.push_back(
        {kAuthorityKinds[row],
         {hexOf(authorityId(row)), hexOf(issuer), kAuthorityKey, kRootKey, {}}});
  }
}

}  // namespace wzapp_test::scenario
