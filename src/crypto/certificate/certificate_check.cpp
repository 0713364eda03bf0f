#include "crypto/certificate/certificate_check.h"

#include <algorithm>
#include <string_view>

#include "crypto/certificate/certificate_record.h"
#include "crypto/der/oid.h"
#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"

namespace wzapp {

namespace {

struct SignatureAlgorithm {
  ShortOid oid;
  std::string_view digestOid;
};

constexpr SignatureAlgorithm kSignatureAlgorithms[] = {
    {oid("1.2.840.113549.1.1.11"), kSha256Oid},  // sha256WithRSAEncryption
    {oid("1.2.840.113549.1.1.5"), kSha1Oid},     // sha1WithRSAEncryption
    {oid("1.3.14.3.2.29"), kSha1Oid},            // sha1WithRSA of the OIW
};

// The digest that a signature algorithm uses; empty for one that is not supported.
std::string_view digestOf(ByteView signatureAlgorithm) {
  ShortOid oid;
  if (ShortOid::read(signatureAlgorithm, oid) != 0) return {};
  for (const SignatureAlgorithm& algorithm : kSignatureAlgorithms) {
    if (algorithm.oid == oid) return algorithm.digestOid;
  }
  return {};
}

}  // namespace

int checkAgainstAuthority(ByteView certificate, ByteView authority) {
  CertificateRecord issued;
  CertificateRecord issuer;
  if (parseCertificate(certificate, issued) != 0) return kCertificateRefused;
  if (parseCertificate(authority, issuer) != 0) return kCertificateRefused;
  if (!std::ranges::equal(issued.authorityKeyId, issuer.subjectKeyId)) return kSignatureInvalid;

  const std::string_view digestOid = digestOf(issued.signatureAlgorithm);
  if (digestOid.empty()) return kCertificateRefused;
  SignatureCheck check;
  check.data = issued.toBeSigned;
  check.signature = issued.signature;
  check.publicExponent = issuer.publicExponent;
  check.modulus = issuer.modulus;
  check.digestOid = digestOid;
  return verify(check);
}

}  // namespace wzapp
