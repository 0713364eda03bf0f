#include "tests/builders/certificate_builder.h"

namespace wzapp_test {

namespace {

DerBuilder timeElement(std::string_view text) {
  return text.size() == 15 ? DerBuilder().generalizedTime(text) : DerBuilder().utcTime(text);
}

}  // namespace

DerBuilder algorithmIdentifier(std::string_view oid) {
  return DerBuilder().sequence(DerBuilder().oid(oid).null());
}

DerBuilder attribute(std::string_view oid, const DerBuilder& value) {
  return DerBuilder().set(DerBuilder().sequence(DerBuilder().oid(oid).raw(value)));
}

DerBuilder extensionElement(std::string_view oid, const DerBuilder& value, bool critical) {
  DerBuilder parts = DerBuilder().oid(oid);
  if (critical) parts.boolean(true);
  return DerBuilder().sequence(parts.octetString(value));
}

CertificateBuilder::CertificateBuilder() {
  Octets modulus(128, 0xC3);
  version(DerBuilder().tagged(0, DerBuilder().integer(2)));
  serial(DerBuilder().integer(Octets{0x01, 0x02, 0x03}));
  algorithm("1.2.840.113549.1.1.11");
  issuer(DerBuilder().sequence(attribute("2.5.4.3", DerBuilder().printableString("Issuer"))));
  validity("200101000000Z", "491231235959Z");
  subjectAttributes(attribute("2.5.4.3", DerBuilder().printableString("Subject")));
  rsaKey(modulus, Octets{0x01, 0x00, 0x01});
  signature(DerBuilder().bitString(Octets(128)));
  authorityKeyId(Octets(20, 0xAA));
  subjectKeyId(Octets(20, 0xBB));
}

CertificateBuilder& CertificateBuilder::version(const DerBuilder& element) {
  version_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::serial(const DerBuilder& element) {
  serial_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::issuer(const DerBuilder& element) {
  issuer_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::validity(const DerBuilder& element) {
  validity_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::subject(const DerBuilder& element) {
  subject_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::publicKeyInfo(const DerBuilder& element) {
  publicKeyInfo_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::beforeExtensions(const DerBuilder& elements) {
  beforeExtensions_ = elements;
  return *this;
}

CertificateBuilder& CertificateBuilder::extensions(const DerBuilder& element) {
  extensions_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::outerAlgorithm(const DerBuilder& element) {
  outerAlgorithm_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::signature(const DerBuilder& element) {
  signature_ = element;
  return *this;
}

CertificateBuilder& CertificateBuilder::validity(std::string_view notBefore,
                                                 std::string_view notAfter) {
  return validity(
      DerBuilder().sequence(DerBuilder(timeElement(notBefore)).raw(timeElement(notAfter))));
}

CertificateBuilder& CertificateBuilder::subjectAttributes(const DerBuilder& relativeNames) {
  return subject(DerBuilder().sequence(relativeNames));
}

CertificateBuilder& CertificateBuilder::rsaKey(const Octets& modulus, const Octets& exponent) {
  // An INTEGER of which the highest bit is set would be negative.
  DerBuilder key;
  for (Octets number : {modulus, exponent}) {
    if (!number.empty() && number[0] >= 0x80) number.insert(number.begin(), 0);
    key.integer(number);
  }
  return publicKeyInfo(DerBuilder().sequence(DerBuilder(algorithmIdentifier("1.2.840.113549.1.1.1"))
                                                 .bitString(DerBuilder().sequence(key))));
}

CertificateBuilder& CertificateBuilder::algorithm(std::string_view oid) {
  algorithm_ = algorithmIdentifier(oid);
  return outerAlgorithm(algorithm_);
}

CertificateBuilder& CertificateBuilder::withoutExtensions() {
  extensionList_ = {};
  return *this;
}

CertificateBuilder& CertificateBuilder::authorityKeyId(const Octets& id) {
  return extension("2.5.29.35", DerBuilder().sequence(DerBuilder().element(0x80, id)));
}

CertificateBuilder& CertificateBuilder::subjectKeyId(const Octets& id) {
  return extension("2.5.29.14", DerBuilder().octetString(id));
}

CertificateBuilder& CertificateBuilder::extension(std::string_view oid, const DerBuilder& value,
                                                  bool critical) {
  return rawExtension(extensionElement(oid, value, critical));
}

CertificateBuilder& CertificateBuilder::rawExtension(const DerBuilder& element) {
  extensionList_.raw(element);
  return *this;
}

CertificateBuilder& CertificateBuilder::permissions(const std::vector<std::string_view>& texts) {
  DerBuilder list;
  for (const std::string_view text : texts) list.ia5String(text);
  return extension("2.16.840.1.200000.1.1.1",
                   DerBuilder().sequence(DerBuilder().boolean(true).sequence(list)));
}

Octets CertificateBuilder::toBeSigned() const {
  const DerBuilder extensions =
      extensions_.value_or(DerBuilder().tagged(3, DerBuilder().sequence(extensionList_)));
  return DerBuilder()
      .sequence(DerBuilder(version_)
                    .raw(serial_)
                    .raw(algorithm_)
                    .raw(issuer_)
                    .raw(validity_)
                    .raw(subject_)
                    .raw(publicKeyInfo_)
                    .raw(beforeExtensions_)
                    .raw(extensions))
      .octets();
}

Octets CertificateBuilder::encoding() const {
  return DerBuilder()
      .sequence(DerBuilder(toBeSigned()).raw(outerAlgorithm_).raw(signature_))
      .octets();
}

Octets CertificateBuilder::signedWith(const std::function<Octets(const Octets&)>& sign) const {
  CertificateBuilder complete = *this;
  complete.signature(DerBuilder().bitString(sign(toBeSigned())));
  return complete.encoding();
}

}  // namespace wzapp_test
