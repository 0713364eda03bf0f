#include "bench/install/peer_signature.h"

#include <stdexcept>

#include "bench/install/peer_der.h"

namespace bench::peer {
namespace {

using std::string_view_literals::operator""sv;

// Object identifiers as they are encoded.
constexpr std::string_view kSignedData = "\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02"sv;
constexpr std::string_view kContentType = "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x03"sv;
constexpr std::string_view kMessageDigest = "\x2A\x86\x48\x86\xF7\x0D\x01\x09\x04"sv;
constexpr std::string_view kRsaEncryption = "\x2A\x86\x48\x86\xF7\x0D\x01\x01\x01"sv;
constexpr std::string_view kSha1 = "\x2B\x0E\x03\x02\x1A"sv;
constexpr std::string_view kSha256 = "\x60\x86\x48\x01\x65\x03\x04\x02\x01"sv;
constexpr std::string_view kPackage = "\x60\x86\x48\x01\x8C\x9A\x40\x01\x02\x02"sv;
constexpr std::string_view kSignerKeyId = "\x60\x86\x48\x01\x8C\x9A\x40\x01\x02\x01"sv;
constexpr std::string_view kVersion = "\x02"sv;

struct FreeContext {
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_MD_CTX, FreeContext>;

Context startDigest(const EVP_MD* algorithm) {
  Context context(EVP_MD_CTX_new());
  if (EVP_DigestInit_ex(context.get(), algorithm, nullptr) != 1) {
    throw std::runtime_error("no digest");
  }
  return context;
}

// The attribute of this type in a list of them.
bool findAttribute(std::string_view attributes, std::string_view type, int tag,
                   std::string_view& value) {
  DerReader list(attributes);
  std::string_view attribute;
  while (list.take(V_ASN1_SEQUENCE, attribute)) {
    DerReader parts(attribute);
    std::string_view foundType;
    std::string_view values;
    if (!parts.take(V_ASN1_OBJECT, foundType) || foundType != type) continue;
    return parts.take(V_ASN1_SET, values) && DerReader(values).take(tag, value);
  }
  return false;
}

bool takeAlgorithm(DerReader& reader, std::string_view& oid) {
  std::string_view algorithm;
  return reader.take(V_ASN1_SEQUENCE, algorithm) && DerReader(algorithm).take(V_ASN1_OBJECT, oid);
}

bool takeVersion(DerReader& reader) {
  std::string_view version;
  return reader.take(V_ASN1_INTEGER, version) && version == kVersion;
}

bool parseSigner(std::string_view signer, SignatureFile& parsed) {
  DerReader reader(signer);
  std::string_view digest;
  std::string_view algorithm;
  std::string_view contentType;
  std::string_view otherAttributes;
  if (!takeVersion(reader) || !reader.skip(V_ASN1_SEQUENCE) || !takeAlgorithm(reader, digest) ||
      !reader.take(2, parsed.signedAttributes, V_ASN1_CONTEXT_SPECIFIC) ||
      !takeAlgorithm(reader, algorithm) || algorithm != kRsaEncryption ||
      !reader.take(V_ASN1_OCTET_STRING, parsed.signature) ||
      !reader.take(3, otherAttributes, V_ASN1_CONTEXT_SPECIFIC)) {
    return false;
  }
  if (digest == kSha256) parsed.digest = EVP_sha256();
  if (digest == kSha1) parsed.digest = EVP_sha1();
  return parsed.digest != nullptr &&
         findAttribute(parsed.signedAttributes, kContentType, V_ASN1_OBJECT, contentType) &&
         contentType == kPackage &&
         findAttribute(parsed.signedAttributes, kMessageDigest, V_ASN1_OCTET_STRING,
                       parsed.messageDigest) &&
         findAttribute(otherAttributes, kSignerKeyId, V_ASN1_OCTET_STRING, parsed.signerKeyId);
}

std::string_view viewOf(const unsigned char* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

bool isDigestOf(const SignatureFile& file, const Digests& digests) {
  return file.messageDigest == viewOf(digests.sha1.data(), digests.sha1.size()) ||
         file.messageDigest == viewOf(digests.sha256.data(), digests.sha256.size());
}

}  // namespace

Digests digestEntry(ZipReader& archive, const ZipReader::Entry& entry) {
  const Context sha1 = startDigest(EVP_sha1());
  const Context sha256 = startDigest(EVP_sha256());
  archive.read(entry, [&](const unsigned char* data, std::size_t size) {
    EVP_DigestUpdate(sha1.get(), data, size);
    EVP_DigestUpdate(sha256.get(), data, size);
  });
  Digests digests;
  EVP_DigestFinal_ex(sha1.get(), digests.sha1.data(), nullptr);
  EVP_DigestFinal_ex(sha256.get(), digests.sha256.data(), nullptr);
  return digests;
}

bool parseSignatureFile(std::string_view file, SignatureFile& parsed) {
  DerReader outermost(file);
  std::string_view contentInfo;
  if (!outermost.take(V_ASN1_SEQUENCE, contentInfo)) return false;
  DerReader info(contentInfo);
  std::string_view type;
  std::string_view explicitContent;
  std::string_view signedData;
  if (!info.take(V_ASN1_OBJECT, type) || type != kSignedData ||
      !info.take(0, explicitContent, V_ASN1_CONTEXT_SPECIFIC) ||
      !DerReader(explicitContent).take(V_ASN1_SEQUENCE, signedData)) {
    return false;
  }
  DerReader reader(signedData);
  std::string_view signers;
  std::string_view signer;
  return takeVersion(reader) && reader.skip(V_ASN1_SET) && reader.skip(V_ASN1_SEQUENCE) &&
         reader.take(V_ASN1_SET, signers) && DerReader(signers).take(V_ASN1_SEQUENCE, signer) &&
         parseSigner(signer, parsed);
}

bool isSignedBy(EVP_PKEY* key, const SignatureFile& file, const Digests& digests) {
  if (!isDigestOf(file, digests)) return false;
  const Context context(EVP_MD_CTX_new());
  const auto octets = [](std::string_view view) {
    return reinterpret_cast<const unsigned char*>(view.data());
  };
  return EVP_DigestVerifyInit(context.get(), nullptr, file.digest, nullptr, key) == 1 &&
         EVP_DigestVerify(context.get(), octets(file.signature), file.signature.size(),
                          octets(file.signedAttributes), file.signedAttributes.size()) == 1;
}

}  // namespace bench::peer
