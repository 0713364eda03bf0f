#include "tests/builders/signature_file_builder.h"

#include "tests/builders/certificate_builder.h"

namespace wzapp_test {

namespace {

constexpr std::string_view kPackageContent = "2.16.840.1.200000.1.2.2";

}  // namespace

DerBuilder signatureAttribute(std::string_view oid, const DerBuilder& value) {
  return DerBuilder().sequence(DerBuilder().oid(oid).set(value));
}

SignatureFileBuilder::SignatureFileBuilder() {
  contentType(DerBuilder().oid("1.2.840.113549.1.7.2"));
  version(DerBuilder().integer(2));
  content(DerBuilder().sequence(
      DerBuilder().oid(kPackageContent).tagged(0, DerBuilder().ia5String("package"))));
  signerVersion(DerBuilder().integer(2));
  sha256(Octets(32, 0x5A));
  signatureAlgorithm(algorithmIdentifier("1.2.840.113549.1.1.1"));
  signature(DerBuilder().octetString(Octets(128, 0x77)));
  signerKeyId(Octets(20, 0xBB));
}

SignatureFileBuilder& SignatureFileBuilder::contentType(const DerBuilder& element) {
  contentType_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::version(const DerBuilder& element) {
  version_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::digestAlgorithms(const DerBuilder& element) {
  digestAlgorithms_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::content(const DerBuilder& element) {
  content_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::signerVersion(const DerBuilder& element) {
  signerVersion_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::signerDigestAlgorithm(const DerBuilder& element) {
  signerDigestAlgorithm_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::signedAttributes(const DerBuilder& element) {
  signedAttributes_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::signatureAlgorithm(const DerBuilder& element) {
  signatureAlgorithm_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::signature(const DerBuilder& element) {
  signature_ = element;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::otherAttributes(const DerBuilder& elements) {
  otherAttributes_ = elements;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::otherSigners(const DerBuilder& elements) {
  otherSigners_ = elements;
  return *this;
}

SignatureFileBuilder& SignatureFileBuilder::digestAlgorithm(std::string_view oid) {
  digestAlgorithms(DerBuilder().set(algorithmIdentifier(oid)));
  return signerDigestAlgorithm(algorithmIdentifier(oid));
}

SignatureFileBuilder& SignatureFileBuilder::attributes(const DerBuilder& attributes) {
  attributes_ = attributes;
  return signedAttributes(DerBuilder().tagged(2, attributes));
}

SignatureFileBuilder& SignatureFileBuilder::messageDigest(const Octets& digest) {
  return attributes(
      DerBuilder()
          .raw(signatureAttribute("1.2.840.113549.1.9.3", DerBuilder().oid(kPackageContent)))
          .raw(signatureAttribute("1.2.840.113549.1.9.4", DerBuilder().octetString(digest))));
}

SignatureFileBuilder& SignatureFileBuilder::sha1(const Octets& digest) {
  return digestAlgorithm("1.3.14.3.2.26").messageDigest(digest);
}

SignatureFileBuilder& SignatureFileBuilder::sha256(const Octets& digest) {
  return digestAlgorithm("2.16.840.1.101.3.4.2.1").messageDigest(digest);
}

SignatureFileBuilder& SignatureFileBuilder::signerKeyId(const Octets& id) {
  return otherAttributes(DerBuilder().tagged(
      3, signatureAttribute("2.16.840.1.200000.1.2.1", DerBuilder().octetString(id))));
}

Octets SignatureFileBuilder::encoding() const {
  const DerBuilder signer = DerBuilder(signerVersion_)
                                .sequence(DerBuilder().null())  // whom others would name here
                                .raw(signerDigestAlgorithm_)
                                .raw(signedAttributes_)
                                .raw(signatureAlgorithm_)
                                .raw(signature_)
                                .raw(otherAttributes_);
  const DerBuilder signedData = DerBuilder(version_)
                                    .raw(digestAlgorithms_)
                                    .raw(content_)
                                    .set(DerBuilder().sequence(signer).raw(otherSigners_));
  return DerBuilder()
      .sequence(DerBuilder(contentType_).tagged(0, DerBuilder().sequence(signedData)))
      .octets();
}

Octets SignatureFileBuilder::signedWith(const std::function<Octets(const Octets&)>& sign) const {
  SignatureFileBuilder complete = *this;
  complete.signature(DerBuilder().octetString(sign(signedOctets())));
  return complete.encoding();
}

}  // namespace wzapp_test
