#include "crypto/signature/signature_file.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "crypto/der/der_search.h"
#include "crypto/der/der_walker.h"
#include "crypto/der/oid.h"

namespace wzapp {

namespace {

// The path through the structure, with depths and places:
//
//   ContentInfo ::= SEQUENCE {                                        0
//     contentType OBJECT IDENTIFIER,                                  1, 0
//     content [0] { SignedData ::= SEQUENCE {                         2, 0
//       version INTEGER,                                              3, 0
//       digestAlgorithms SET OF SEQUENCE { OBJECT IDENTIFIER, ... },  3, 1
//       contentInfo SEQUENCE {                                        3, 2
//         OBJECT IDENTIFIER, [0] { IA5String } },
//       signerInfos SET { SignerInfo ::= SEQUENCE {                   3, 3
//         version INTEGER,                                            5, 0
//         signer,                                                     5, 1
//         digestAlgorithm SEQUENCE { OBJECT IDENTIFIER, ... },        5, 2
//         signedAttributes [2] { Attribute, ... },
//         SEQUENCE { OBJECT IDENTIFIER rsaEncryption, NULL },
//         signature OCTET STRING,
//         otherAttributes ... } } } } }
//
//   Attribute ::= SEQUENCE { OBJECT IDENTIFIER, SET { value } }
constexpr DerPathStep kVersion[] = {{3, 0}};
constexpr DerPathStep kDigestAlgorithms[] = {{3, 1}};
constexpr DerPathStep kSignerInfos[] = {{3, 3}};
constexpr DerPathStep kSignerDigestAlgorithm[] = {{5, 2}};
constexpr std::uint32_t kFieldDepth = 3;   // of SignedData
constexpr std::uint32_t kSignerDepth = 5;  // of SignerInfo

constexpr std::string_view kSignedData = "1.2.840.113549.1.7.2";
constexpr std::string_view kContentTypeAttribute = "1.2.840.113549.1.9.3";
constexpr std::string_view kMessageDigestAttribute = "1.2.840.113549.1.9.4";
constexpr std::string_view kSignerKeyIdText = "2.16.840.1.200000.1.2.1";
constexpr ShortOid kSignerKeyId = oid(kSignerKeyIdText);
constexpr ShortOid kPackageContent = oid("2.16.840.1.200000.1.2.2");
constexpr ShortOid kRsaEncryption = oid("1.2.840.113549.1.1.1");

constexpr std::int32_t kRequiredVersion = 2;  // whatever other writers put there
constexpr std::uint32_t kSignedAttributesIdentifier = 0xA2;

// From an OID to what it announces: over one element, to the one behind or below it.
constexpr std::uint32_t kToValue = 2;

struct DigestAlgorithm {
  ShortOid oid;
  std::size_t size;  // of the digest, in octets
};

// The first one that a file names counts, in this order.
constexpr DigestAlgorithm kDigests[] = {
    {oid("1.3.14.3.2.26"), 20},           // SHA-1
    {oid("2.16.840.1.101.3.4.2.1"), 32},  // SHA-256
};

bool hasOid(const DerElement& element, const ShortOid& wanted) {
  ShortOid oid;
  return ShortOid::read(element.content(), oid) == 0 && oid == wanted;
}

class SignatureFileParser {
 public:
  explicit SignatureFileParser(ByteView file) : walker_(file) {}

  // Each step begins where the one before it has stopped.
  int parse() {
    using Step = int (SignatureFileParser::*)();
    static constexpr Step kSteps[] = {
        &SignatureFileParser::findSignedData,       &SignatureFileParser::readVersion,
        &SignatureFileParser::findDigestAlgorithm,  &SignatureFileParser::readContent,
        &SignatureFileParser::readSignerVersion,    &SignatureFileParser::readSignerDigestAlgorithm,
        &SignatureFileParser::findSignedAttributes, &SignatureFileParser::checkContentType,
        &SignatureFileParser::readMessageDigest,    &SignatureFileParser::readSignature,
        &SignatureFileParser::readSignerKeyId,
    };
    for (const Step step : kSteps) {
      if (const int code = (this->*step)(); code != 0) return code;
    }
    return 0;
  }

  [[nodiscard]] const SignatureInfo& info() const { return info_; }

 private:
  int findSignedData() {
    const DerQuery query{.kind = DerSearchKind::kByOid, .oid = kSignedData};
    if (derSearch(walker_, query, WalkMode::kRestart, at_) != 0) return kNotSignedData;
    return at_.depth == 1 || at_.index == 0 ? 0 : kNotSignedData;
  }

  int readVersion() { return reach(kVersion, 0) && isRequiredVersion() ? 0 : kBadSignatureVersion; }

  int findDigestAlgorithm() {
    if (!reach(kDigestAlgorithms, 0)) return kNoSignatureDigest;
    while (next() && at_.depth > kFieldDepth) {
      if (at_.depth < kFieldDepth + 2) continue;
      for (const DigestAlgorithm& digest : kDigests) {
        if (hasOid(at_, digest.oid) && (digest_ == nullptr || &digest < digest_)) digest_ = &digest;
      }
    }
    return digest_ != nullptr ? 0 : kNoSignatureDigest;
  }

  int readContent() {
    constexpr std::uint32_t kDepth = kFieldDepth + 1;
    const auto isPackageContent = [this] {
      return at_.depth >= kDepth && hasOid(at_, kPackageContent);
    };
    if (!find(kFieldDepth, isPackageContent) || !skipToValue(kDepth)) return kNoSignedContent;
    if (at_.identifier != kDerIA5String) return kNoSignedContent;
    info_.content = at_.content();
    return 0;
  }

  // Two elements on from the set of signers: into the first one, and to its first field.
  int readSignerVersion() {
    if (!reach(kSignerInfos, 2)) return kBadSignatureVersion;
    if (at_.depth != kSignerDepth) return kBadSignatureVersion;
    return isRequiredVersion() ? 0 : kBadSignatureVersion;
  }

  int readSignerDigestAlgorithm() {
    if (!reach(kSignerDigestAlgorithm, 0)) return kNoSignatureDigest;
    const auto isDigest = [this] { return hasOid(at_, digest_->oid); };
    if (!find(kSignerDepth + 1, isDigest)) return kNoSignatureDigest;
    info_.signerDigestAlgorithm = at_.content();
    return 0;
  }

  int findSignedAttributes() {
    const auto isAttributes = [this] { return at_.identifier == kSignedAttributesIdentifier; };
    if (!find(kSignerDepth, isAttributes) || !at_.hasView()) return kNoSignedAttributes;
    info_.signedAttributes = at_.content();
    attributes_.emplace(info_.signedAttributes);
    return 0;
  }

  int checkContentType() {
    DerElement value;
    if (!findAttribute(kContentTypeAttribute, WalkMode::kRestart, value)) return kBadContentType;
    return hasOid(value, kPackageContent) ? 0 : kBadContentType;
  }

  int readMessageDigest() {
    DerElement value;
    if (!findAttribute(kMessageDigestAttribute, WalkMode::kNext, value)) return kNoSignatureDigest;
    info_.messageDigest = value.content();
    return info_.messageDigest.size() == digest_->size ? 0 : kNoSignatureDigest;
  }

  // The algorithm is the next field: what lies in the signed attributes is deeper. Attributes may
  // name algorithms too, those before it and those behind the signature; they are not taken for it.
  int readSignature() {
    const auto isNextField = [this] { return at_.depth == kSignerDepth; };
    const auto isAlgorithm = [this] { return hasOid(at_, kRsaEncryption); };
    if (!find(kSignerDepth, isNextField)) return kNoRsaSignature;
    if (!isAlgorithm() && !find(kSignerDepth + 1, isAlgorithm)) return kNoRsaSignature;
    if (!skipToValue(kSignerDepth)) return kNoRsaSignature;
    if (!at_.hasView()) return kNoRsaSignature;
    info_.signature = at_.content();
    return 0;
  }

  int readSignerKeyId() {
    DerElement value;
    if (find(kSignerDepth, [this] { return hasOid(at_, kSignerKeyId); })) {
      if (!skipToValue(kSignerDepth)) return kNoSignerKeyId;
      value = at_;
    } else if (!findAttribute(kSignerKeyIdText, WalkMode::kRestart, value)) {
      return kNoSignerKeyId;
    }
    if (!value.hasView()) return kNoSignerKeyId;
    info_.signerKeyId = value.content();
    return 0;
  }

  bool next() { return walker_.next(at_) == 0; }

  bool reach(std::span<const DerPathStep> path, std::uint32_t skipCount) {
    const DerQuery query{.path = path, .skipCount = skipCount};
    return derSearch(walker_, query, WalkMode::kNext, at_) == 0;
  }

  // On to an element that `matches`, while at least `depth` deep.
  template <typename Matches>
  bool find(std::uint32_t depth, Matches matches) {
    while (next() && at_.depth >= depth) {
      if (matches()) return true;
    }
    return false;
  }

  bool skipToValue(std::uint32_t depth) {
    for (std::uint32_t i = 0; i < kToValue; ++i) {
      if (!next() || at_.depth < depth) return false;
    }
    return true;
  }

  // Among the signed attributes, from where their walk stands or from the first one.
  bool findAttribute(std::string_view oid, WalkMode mode, DerElement& value) {
    const DerQuery query{.kind = DerSearchKind::kByOid, .skipCount = kToValue, .oid = oid};
    return derSearch(*attributes_, query, mode, value) == 0;
  }

  [[nodiscard]] bool isRequiredVersion() const {
    std::int32_t version = 0;
    return at_.identifier == kDerInteger && readInteger(at_, version) == 0 &&
           version == kRequiredVersion;
  }

  DerWalker walker_;
  DerElement at_;                            // where the walk stands
  std::optional<DerWalker> attributes_;      // through the signed attributes
  const DigestAlgorithm* digest_ = nullptr;  // the file's
  SignatureInfo info_;
};

}  // namespace

int parseSignatureFile(ByteView file, SignatureInfo& info) {
  SignatureFileParser parser(outermostElement(file));
  const int code = parser.parse();
  if (code == 0) info = parser.info();
  return code;
}

}  // namespace wzapp
