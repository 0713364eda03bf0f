/// Writes signature files part by part, sound ones unless a part says otherwise.
///
///   SignatureFileBuilder().sha256(digest).signerKeyId(id).signedWith(sign)
///
/// A builder begins as a sound file over SHA-256 with a digest, a key identifier and a signature of
/// nothing in particular.
#ifndef WZAPP_TESTS_BUILDERS_SIGNATURE_FILE_BUILDER_H
#define WZAPP_TESTS_BUILDERS_SIGNATURE_FILE_BUILDER_H

#include <functional>
#include <string_view>

#include "tests/builders/der_builder.h"

namespace wzapp_test {

class SignatureFileBuilder {
 public:
  SignatureFileBuilder();

  // Parts as they stand in the file: whole elements, or none.
  SignatureFileBuilder& contentType(const DerBuilder& element);
  SignatureFileBuilder& version(const DerBuilder& element);
  SignatureFileBuilder& digestAlgorithms(const DerBuilder& element);
  SignatureFileBuilder& content(const DerBuilder& element);
  SignatureFileBuilder& signerVersion(const DerBuilder& element);
  SignatureFileBuilder& signerDigestAlgorithm(const DerBuilder& element);
  SignatureFileBuilder& signedAttributes(const DerBuilder& element);
  SignatureFileBuilder& signatureAlgorithm(const DerBuilder& element);
  SignatureFileBuilder& signature(const DerBuilder& element);
  SignatureFileBuilder& otherAttributes(const DerBuilder& elements);
  SignatureFileBuilder& otherSigners(const DerBuilder& elements);

  // Parts by what they hold.
  SignatureFileBuilder& digestAlgorithm(std::string_view oid);  ///< the file's and the signer's
  SignatureFileBuilder& attributes(const DerBuilder& attributes);
  SignatureFileBuilder& messageDigest(const Octets& digest);
  SignatureFileBuilder& sha1(const Octets& digest);
  SignatureFileBuilder& sha256(const Octets& digest);
  SignatureFileBuilder& signerKeyId(const Octets& id);

  /// The octets that the signature covers.
  [[nodiscard]] const Octets& signedOctets() const { return attributes_.octets(); }

  [[nodiscard]] Octets encoding() const;

  /// With the signature that `sign` makes of signedOctets().
  [[nodiscard]] Octets signedWith(const std::function<Octets(const Octets&)>& sign) const;

 private:
  DerBuilder contentType_;
  DerBuilder version_;
  DerBuilder digestAlgorithms_;
  DerBuilder content_;
  DerBuilder signerVersion_;
  DerBuilder signerDigestAlgorithm_;
  DerBuilder attributes_;
  DerBuilder signedAttributes_;
  DerBuilder signatureAlgorithm_;
  DerBuilder signature_;
  DerBuilder otherAttributes_;
  DerBuilder otherSigners_;
};

/// Attribute ::= SEQUENCE { OBJECT IDENTIFIER, SET { value } }
DerBuilder signatureAttribute(std::string_view oid, const DerBuilder& value);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_SIGNATURE_FILE_BUILDER_H
