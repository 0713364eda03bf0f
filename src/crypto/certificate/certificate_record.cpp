#include "crypto/certificate/certificate_record.h"

#include <algorithm>
#include <iterator>

#include "crypto/certificate/certificate_extensions.h"
#include "crypto/der/der_walker.h"
#include "crypto/der/oid.h"
#include "crypto/der/seen_oids.h"

namespace wzapp {

namespace {

// What is read, with depths and places:
//
//   Certificate ::= SEQUENCE {                                   0
//     tbsCertificate SEQUENCE {                                  1, 0
//       version [0] { INTEGER },                                 2, 0
//       serialNumber INTEGER,                                    2, 1
//       signature, issuer,                                       2, 2 and 2, 3
//       validity SEQUENCE { notBefore Time, notAfter Time },     2, 4
//       subject Name,                                            2, 5
//       subjectPublicKeyInfo SEQUENCE {                          2, 6
//         algorithm SEQUENCE { OBJECT IDENTIFIER, NULL },        3, 0
//         subjectPublicKey BIT STRING { RSAPublicKey } },        3, 1
//       issuerUniqueID, subjectUniqueID OPTIONAL,
//       extensions [3] { SEQUENCE OF Extension } },
//     signatureAlgorithm SEQUENCE { OBJECT IDENTIFIER, ... },    1, 1
//     signature BIT STRING }                                     1, 2
constexpr std::uint32_t kVersionIdentifier = 0xA0;
constexpr std::uint32_t kExtensionsIdentifier = 0xA3;
constexpr std::int32_t kVersion3 = 2;
constexpr std::uint32_t kExtensionDepth = 4;

constexpr ShortOid kRsaEncryption = oid("1.2.840.113549.1.1.1");

// Attributes of the subject: the unique label, then those that its second octet chooses from,
// beginning with 1.
constexpr ShortOid kSubjectAttributes[] = {
    oid("2.5.4.45"),  // uniqueIdentifier
    oid("2.5.4.10"),  // organizationName
    oid("2.5.4.11"),  // organizationalUnitName
    oid("2.5.4.3"),   // commonName
    oid("2.5.4.12"),  // title
};
constexpr std::size_t kUniqueLabel = 0;
constexpr std::size_t kNoAttribute = std::size(kSubjectAttributes);
constexpr std::uint8_t kX500 = 0x55;         // first octet of every OID that begins with "2.5"
constexpr std::uint8_t kLabelChoice = 0x02;  // first octet of a unique label that chooses

// What lies behind the first octet, which in a BIT STRING counts unused bits.
ByteView withoutFirst(ByteView octets) { return octets.empty() ? octets : octets.subspan(1); }

std::size_t findAttribute(const ShortOid& oid) {
  const auto* const found =
      std::find(std::begin(kSubjectAttributes), std::end(kSubjectAttributes), oid);
  return static_cast<std::size_t>(found - std::begin(kSubjectAttributes));
}

// Which of the attributes `element` names, by its content whatever its identifier.
std::size_t subjectAttribute(const DerElement& element) {
  const ByteView content = element.content();
  if (content.empty() || content[0] != kX500) return kNoAttribute;
  ShortOid oid = ShortOid::ofOctets(content);
  const std::size_t attribute = findAttribute(oid);
  if (attribute != kNoAttribute || !mayBePadded(content)) return attribute;
  return ShortOid::read(content, oid) == 0 ? findAttribute(oid) : kNoAttribute;
}

struct AttributeValue {
  bool isMet = false;
  std::uint32_t identifier = 0;
  ByteView content;
};
using SubjectValues = std::array<AttributeValue, std::size(kSubjectAttributes)>;

class CertificateParser {
 public:
  explicit CertificateParser(ByteView der) : walker_(der) {}

  // One step for each line of the grammar. Each begins where the one before it has stopped.
  int parse() {
    if (const int code = readToBeSigned(); code != 0) return code;
    if (const int code = readVersion(); code != 0) return code;
    if (const int code = readSerial(); code != 0) return code;
    if (const int code = readValidity(); code != 0) return code;
    if (const int code = readSubject(); code != 0) return code;
    if (const int code = readPublicKey(); code != 0) return code;
    if (const int code = readExtensions(); code != 0) return code;
    if (const int code = checkKeyIds(); code != 0) return code;
    if (const int code = readSignatureAlgorithm(); code != 0) return code;
    if (const int code = readSignature(); code != 0) return code;
    return 0;
  }

  [[nodiscard]] const CertificateRecord& record() const { return record_; }

 private:
  int readToBeSigned() {
    if (!next() || !next() || !isAt(1, 0) || !at_.hasView()) return kNoToBeSigned;
    record_.toBeSigned = at_.encoding();
    return 0;
  }

  int readVersion() {
    std::int32_t version = 0;
    if (!next() || !isAt(2, 0) || !is(kVersionIdentifier)) return kBadVersion;
    if (!next() || !isAt(3, 0) || !is(kDerInteger)) return kBadVersion;
    if (readInteger(at_, version) != 0 || version != kVersion3) return kBadVersion;
    return 0;
  }

  int readSerial() {
    if (!passTo(2, 1) || !at_.hasView()) return kNoSerialNumber;
    record_.serialNumber = at_.content();
    return 0;
  }

  int readValidity() {
    if (!passTo(2, 4)) return kNoValidity;
    if (!next() || !isAt(3, 0) || !at_.hasView()) return kNoValidity;
    record_.notBefore = at_.content();
    if (!next() || !isAt(3, 1) || !at_.hasView()) return kNoValidity;
    record_.notAfter = at_.content();
    return 0;
  }

  // Ends at the first element behind the subject. One that cannot be walked through hides the key.
  int readSubject() {
    SubjectValues values;
    if (!passTo(2, 5) || !next()) return kBadPublicKey;
    while (at_.depth > 2) {
      const std::size_t attribute = subjectAttribute(at_);
      if (!next()) return kBadPublicKey;
      if (attribute == kNoAttribute || at_.depth <= 2 || values[attribute].isMet) continue;
      values[attribute] = {true, at_.identifier, at_.content()};
    }
    record_.subjectUniqueLabel = withoutFirst(values[kUniqueLabel].content);
    chooseLabelValue(values);
    return 0;
  }

  void chooseLabelValue(const SubjectValues& values) {
    const ByteView label = record_.subjectUniqueLabel;
    if (label.size() < 2 || label[0] != kLabelChoice) return;
    const std::size_t choice = label[1];
    if (choice == kUniqueLabel || choice >= values.size()) return;
    const AttributeValue& value = values[choice];
    if (value.identifier != kDerPrintableString && value.identifier != kDerT61String) return;
    record_.subjectLabelValue = value.content;
  }

  int readPublicKey() {
    if (!isAt(2, 6) || !next() || !isAt(3, 0) || !next() || !isAt(4, 0)) return kBadPublicKey;
    if (!isOid(at_.content(), kRsaEncryption)) return kBadPublicKey;
    if (!next() || !next() || !isAt(3, 1) || !is(kDerBitString)) return kBadPublicKey;
    return readRsaKey(withoutFirst(at_.content()));
  }

  // RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }
  // The first two INTEGERs count, whatever stands before or between them.
  int readRsaKey(ByteView key) {
    DerWalker walker(key);
    DerElement number;
    for (ByteView* field : {&record_.modulus, &record_.publicExponent}) {
      do {
        if (walker.next(number) != 0) return kBadPublicKey;
      } while (number.identifier != kDerInteger);
      *field = number.content();
      if (!field->empty() && field->front() == 0) *field = field->subspan(1);
    }
    return 0;
  }

  // Ends at the first element behind the list, or where there is none that can be read.
  int readExtensions() {
    do {
      if (!pass() || at_.depth < 2) return kBadExtension;
    } while (at_.depth > 2 || !is(kExtensionsIdentifier));
    if (!next() || !isAt(3, 0)) return kBadExtension;
    const bool endsByMark = at_.isIndefinite();
    SeenOids seen;
    for (;;) {
      const bool isRead = next();
      if (at_.depth < kExtensionDepth) return 0;
      if (!isRead) return kBadExtension;
      if (endsByMark && isEndOfContents()) continue;
      if (const int code = readExtension(seen); code != 0) return code;
    }
  }

  // Extension ::= SEQUENCE {
  //   extnID OBJECT IDENTIFIER, [ critical BOOLEAN, ] extnValue OCTET STRING }
  int readExtension(SeenOids& seen) {
    const ByteView extension = at_.encoding();
    if (!nextPart() || !is(kDerObjectIdentifier)) return kBadExtension;
    ShortOid oid = ShortOid::ofOctets(at_.content());
    ReadExtension read = findExtension(oid);
    if (read == nullptr) {
      if (const int code = ShortOid::read(at_.content(), oid); code != 0) {
        return code == kDerTruncatedOid ? kBadExtension : kLongExtensionOid;
      }
      read = findExtension(oid);  // a padded one
    }
    std::int32_t critical = 0;
    if (!nextPart()) return kBadExtension;
    if (is(kDerBoolean) && (readBoolean(at_, critical) != 0 || !nextPart())) return kBadExtension;
    if (!is(kDerOctetString) || !endsTogether(at_.encoding(), extension)) return kBadExtension;

    ExtensionValue value(at_.content());
    if (!value.begin()) return kBadExtensionValue;
    switch (seen.insert(oid)) {
      case SeenOids::Result::kSeenBefore:
        return kDuplicateExtension;
      case SeenOids::Result::kNoMemory:
        return kBadExtension;  // the only code near that; a certificate is not taken half checked
      case SeenOids::Result::kNew:
        break;
    }
    if (read != nullptr) return read(value, record_);
    return critical != 0 ? kUnknownCriticalExtension : 0;
  }

  int checkKeyIds() {
    return record_.authorityKeyId.empty() || record_.subjectKeyId.empty() ? kMissingKeyId : 0;
  }

  int readSignatureAlgorithm() {
    while (at_.depth > 1) {
      if (!pass()) return kBadOuterSignature;
    }
    if (!isAt(1, 1) || !at_.isValid()) return kBadOuterSignature;
    if (!next() || !isAt(2, 0) || !is(kDerObjectIdentifier)) return kBadOuterSignature;
    record_.signatureAlgorithm = at_.content();
    return 0;
  }

  int readSignature() {
    if (!passTo(1, 2) || !is(kDerBitString) || at_.content().empty()) return kBadOuterSignature;
    record_.signature = withoutFirst(at_.content());
    return 0;
  }

  // Into or behind the element where the walk stands.
  bool next() { return walker_.next(at_) == 0; }

  // Behind the element where the walk stands, or its last part.
  bool pass() { return walker_.nextSibling(at_) == 0; }

  // Behind elements until one has that place.
  bool passTo(std::uint32_t depth, std::uint32_t index) {
    do {
      if (!pass() || at_.depth < depth) return false;
    } while (!isAt(depth, index));
    return true;
  }

  bool nextPart() { return next() && at_.depth == kExtensionDepth + 1; }

  [[nodiscard]] bool is(std::uint32_t identifier) const { return at_.identifier == identifier; }
  [[nodiscard]] bool isAt(std::uint32_t depth, std::uint32_t index) const {
    return at_.depth == depth && at_.index == index;
  }
  [[nodiscard]] bool isEndOfContents() const {
    return at_.identifier == 0 && at_.headerLength == 2 && at_.contentLength == 0;
  }

  // False for a whole of indefinite length, which has no view.
  static bool endsTogether(ByteView part, ByteView whole) {
    return !whole.empty() && part.data() + part.size() == whole.data() + whole.size();
  }

  DerWalker walker_;
  DerElement at_;  // where the walk stands
  CertificateRecord record_;
};

}  // namespace

int parseCertificate(ByteView der, CertificateRecord& record) {
  CertificateParser parser(outermostElement(der));
  const int code = parser.parse();
  if (code == 0) record = parser.record();
  return code;
}

}  // namespace wzapp
