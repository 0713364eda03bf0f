/// Writes certificates part by part, sound ones unless a part says otherwise.
///
///   CertificateBuilder().extension("2.5.29.15", DerBuilder().bitString(Octets{0x84},
///   2)).encoding()
///
/// A builder begins as a sound version 3 certificate with both key identifiers, an RSA key that
/// belongs to nobody and a signature of zeros.
#ifndef WZAPP_TESTS_BUILDERS_CERTIFICATE_BUILDER_H
#define WZAPP_TESTS_BUILDERS_CERTIFICATE_BUILDER_H

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "tests/builders/der_builder.h"

namespace wzapp_test {

class CertificateBuilder {
 public:
  CertificateBuilder();

  // Parts as they stand in the certificate: whole elements, or none.
  CertificateBuilder& version(const DerBuilder& element);
  CertificateBuilder& serial(const DerBuilder& element);
  CertificateBuilder& issuer(const DerBuilder& element);
  CertificateBuilder& validity(const DerBuilder& element);
  CertificateBuilder& subject(const DerBuilder& element);
  CertificateBuilder& publicKeyInfo(const DerBuilder& element);
  CertificateBuilder& beforeExtensions(const DerBuilder& elements);
  CertificateBuilder& extensions(const DerBuilder& element);  ///< instead of a list of them
  CertificateBuilder& outerAlgorithm(const DerBuilder& element);
  CertificateBuilder& signature(const DerBuilder& element);

  // Parts by what they hold.
  CertificateBuilder& validity(std::string_view notBefore, std::string_view notAfter);
  CertificateBuilder& subjectAttributes(const DerBuilder& relativeNames);
  CertificateBuilder& rsaKey(const Octets& modulus, const Octets& exponent);

  /// Both algorithm identifiers, with NULL parameters.
  CertificateBuilder& algorithm(std::string_view oid);

  // Extensions, in the order of the calls.
  CertificateBuilder& withoutExtensions();
  CertificateBuilder& authorityKeyId(const Octets& id);
  CertificateBuilder& subjectKeyId(const Octets& id);
  CertificateBuilder& extension(std::string_view oid, const DerBuilder& value,
                                bool critical = false);
  CertificateBuilder& rawExtension(const DerBuilder& element);

  /// The extension of the signing permissions, flag set, in the form that the kit writes.
  CertificateBuilder& permissions(const std::vector<std::string_view>& texts);

  /// What the issuer signs.
  [[nodiscard]] Octets toBeSigned() const;

  [[nodiscard]] Octets encoding() const;

  /// With the signature that `sign` makes of what is to be signed.
  [[nodiscard]] Octets signedWith(const std::function<Octets(const Octets&)>& sign) const;

 private:
  DerBuilder version_;
  DerBuilder serial_;
  DerBuilder algorithm_;
  DerBuilder issuer_;
  DerBuilder validity_;
  DerBuilder subject_;
  DerBuilder publicKeyInfo_;
  DerBuilder beforeExtensions_;
  DerBuilder extensionList_;
  std::optional<DerBuilder> extensions_;
  DerBuilder outerAlgorithm_;
  DerBuilder signature_;
};

/// SEQUENCE { OBJECT IDENTIFIER, NULL }
DerBuilder algorithmIdentifier(std::string_view oid);

/// One relative name of a subject: an attribute and its value.
DerBuilder attribute(std::string_view oid, const DerBuilder& value);

/// One Extension, as rawExtension() takes it.
DerBuilder extensionElement(std::string_view oid, const DerBuilder& value, bool critical = false);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_CERTIFICATE_BUILDER_H
