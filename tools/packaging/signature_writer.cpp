#include "packaging/signature_writer.h"

#include "packaging/der_text.h"

namespace packaging {
namespace {

constexpr char kSignedData[] = "1.2.840.113549.1.7.2";
constexpr char kSha256[] = "2.16.840.1.101.3.4.2.1";
constexpr char kPackageContent[] = "2.16.840.1.200000.1.2.2";
constexpr char kContentType[] = "1.2.840.113549.1.9.3";
constexpr char kMessageDigest[] = "1.2.840.113549.1.9.4";
constexpr char kRsaEncryption[] = "1.2.840.113549.1.1.1";
constexpr char kSignerKeyIdentifier[] = "2.16.840.1.200000.1.2.1";

constexpr std::string_view kVersion("\x02", 1);

std::string algorithm(const char* oid) {
  return derElement(kDerSequence, derOid(oid) + derElement(kDerNull, {}));
}

std::string attribute(const char* type, const std::string& value) {
  return derElement(kDerSequence, derOid(type) + derElement(kDerSet, value));
}

std::string signer(std::string_view signedOctets, std::string_view keyIdentifier,
                   std::string_view signature) {
  const std::string keyAttribute =
      attribute(kSignerKeyIdentifier, derElement(kDerOctetString, keyIdentifier));
  return derElement(kDerInteger, kVersion) + derElement(kDerSequence, derElement(kDerNull, {})) +
         algorithm(kSha256) + derElement(derTagged(2), signedOctets) + algorithm(kRsaEncryption) +
         derElement(kDerOctetString, signature) + derElement(derTagged(3), keyAttribute);
}

}  // namespace

std::string octetsToSign(std::string_view sha256) {
  return attribute(kContentType, derOid(kPackageContent)) +
         attribute(kMessageDigest, derElement(kDerOctetString, sha256));
}

std::string signatureFile(std::string_view signedOctets, std::string_view keyIdentifier,
                          std::string_view signature) {
  const std::string content =
      derOid(kPackageContent) + derElement(derTagged(0), derElement(kDerIA5String, "package"));
  const std::string signedData =
      derElement(kDerInteger, kVersion) + derElement(kDerSet, algorithm(kSha256)) +
      derElement(kDerSequence, content) +
      derElement(kDerSet, derElement(kDerSequence, signer(signedOctets, keyIdentifier, signature)));
  return derElement(
      kDerSequence,
      derOid(kSignedData) + derElement(derTagged(0), derElement(kDerSequence, signedData)));
}

}  // namespace packaging
