#include "crypto/certificate/certificate_extensions.h"

namespace wzapp {

namespace {

// AuthorityKeyIdentifier ::= SEQUENCE { [0] IMPLICIT OCTET STRING, ... }
int readAuthorityKeyId(ExtensionValue& value, CertificateRecord& record) {
  constexpr std::uint32_t kKeyIdentifier = 0x80;
  if (!value.nextAt(1) || !value.is(kKeyIdentifier)) return kBadAuthorityKeyId;
  record.authorityKeyId = value.element().content();
  return 0;
}

// SubjectKeyIdentifier ::= OCTET STRING
int readSubjectKeyId(ExtensionValue& value, CertificateRecord& record) {
  if (!value.is(kDerOctetString)) return kBadExtension;
  record.subjectKeyId = value.element().content();
  return 0;
}

// KeyUsage ::= BIT STRING of up to nine bits, the first one highest
int readKeyUsage(ExtensionValue& value, CertificateRecord& record) {
  const ByteView content = value.element().content();
  if (!value.is(kDerBitString) || content.size() < 2 || content.size() > 3) return kBadKeyUsage;
  const unsigned last = content.size() == 3 ? content[2] : 0U;
  unsigned bits = (unsigned{content[1]} << 8) | last;
  for (std::uint8_t& usage : record.keyUsage) {
    usage = (bits & 0x8000U) != 0 ? 1 : 0;
    bits <<= 1;
  }
  return 0;
}

// BasicConstraints ::= SEQUENCE { [ cA BOOLEAN [ pathLenConstraint INTEGER ] ] }
int readBasicConstraints(ExtensionValue& value, CertificateRecord& record) {
  if (!value.is(kDerSequence)) return kBadBasicConstraints;
  if (value.element().contentLength == 0) return 0;
  if (!value.nextAt(1) || !value.readFlag(record.isAuthority)) return kBadBasicConstraints;

  // A walk that cannot go on has left the SEQUENCE all the same when nothing was left in it.
  const bool isRead = value.next();
  if (value.element().depth < 1) return 0;
  std::int32_t length = 0;
  if (!isRead || !value.readNumber(length)) return kBadBasicConstraints;
  record.pathLength = length;
  return 0;
}

// SigningPermissions ::= SEQUENCE { BOOLEAN, list } | BOOLEAN list
int readSigningPermissions(ExtensionValue& value, CertificateRecord& record) {
  std::uint32_t depth = 0;
  if (value.is(kDerSequence) && !value.nextAt(++depth)) return kBadPrivateExtension1;
  if (!value.readFlag(record.privateExtension1)) return kBadPrivateExtension1;
  if (!value.nextAt(depth) || !value.element().hasView()) return kBadPrivateExtension1;
  record.permissions = value.element().encoding();
  return 0;
}

int readPrivateExtension2(ExtensionValue& value, CertificateRecord& record) {
  return value.readFlag(record.privateExtension2) ? 0 : kBadPrivateExtension2;
}

int readPrivateExtension3(ExtensionValue& value, CertificateRecord& record) {
  return value.readNumber(record.privateExtension3) ? 0 : kBadExtensionValue;
}

int readPrivateExtension4(ExtensionValue& value, CertificateRecord& record) {
  return value.readFlag(record.privateExtension4) ? 0 : kBadPrivateExtension4;
}

int readPrivateExtension5(ExtensionValue& value, CertificateRecord& record) {
  record.privateExtension5 = value.element().encoding();
  return 0;
}

struct ExtensionRule {
  ShortOid oid;
  ReadExtension read;
};

constexpr ExtensionRule kExtensionRules[] = {
    {oid("2.5.29.14"), readSubjectKeyId},
    {oid("2.5.29.15"), readKeyUsage},
    {oid("2.5.29.19"), readBasicConstraints},
    {oid("2.5.29.35"), readAuthorityKeyId},
    {oid("2.16.840.1.200000.1.1.1"), readSigningPermissions},
    {oid("2.16.840.1.200000.1.1.2"), readPrivateExtension2},
    {oid("2.16.840.1.200000.1.1.3"), readPrivateExtension3},
    {oid("2.16.840.1.200000.1.1.4"), readPrivateExtension4},
    {oid("2.16.840.1.200000.1.1.5"), readPrivateExtension5},
};

}  // namespace

ReadExtension findExtension(const ShortOid& oid) {
  for (const ExtensionRule& rule : kExtensionRules) {
    if (rule.oid == oid) return rule.read;
  }
  return nullptr;
}

}  // namespace wzapp
