#include "crypto/signature/package_signature.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "crypto/certificate/certificate_record.h"
#include "crypto/der/oid.h"
#include "crypto/digest/digest.h"
#include "crypto/hex.h"
#include "crypto/rsa/rsa.h"
#include "crypto/signature/signature_file.h"

namespace wzapp {

int readSignerKeyId(ByteView file, char (&hex)[kSignerKeyIdText]) {
  constexpr std::size_t kMaxLength = (kSignerKeyIdText - 1) / 2;
  SignatureInfo info;
  if (parseSignatureFile(file, info) != 0) return kSignatureFileRefused;
  if (info.signerKeyId.size() > kMaxLength) return kSignerKeyIdTooLong;
  bytesToHex(info.signerKeyId, hex, sizeof hex);
  return 0;
}

int verifyPackage(ByteView file, ByteView sha1, ByteView sha256, ByteView certificate) {
  SignatureInfo info;
  CertificateRecord signer;
  if (parseSignatureFile(file, info) != 0) return kSignatureFileRefused;
  if (parseCertificate(certificate, signer) != 0) return kSignerRefused;

  std::array<char, kMaxOidText + 1> digestOid;
  const int length = oidToText(info.signerDigestAlgorithm, digestOid.data(), digestOid.size());
  if (length < 0) return kSignatureFileRefused;
  if (!std::ranges::equal(info.signerKeyId, signer.subjectKeyId)) return kSignatureInvalid;
  // The parser lets no digest pass that has neither length.
  const ByteView digest = info.messageDigest.size() == kSha1Size ? sha1 : sha256;
  if (!std::ranges::equal(info.messageDigest, digest)) return kSignatureInvalid;

  SignatureCheck check;
  check.data = info.signedAttributes;
  check.signature = info.signature;
  check.publicExponent = signer.publicExponent;
  check.modulus = signer.modulus;
  check.digestOid = std::string_view(digestOid.data(), static_cast<std::size_t>(length));
  return verify(check);
}

}  // namespace wzapp
