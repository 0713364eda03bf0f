// Makes package files: archives of inner packages, their signatures and the signers' certificates.
//
//   PackageBuilder()
//       .certificate("shop.crt", signer)
//       .inner("SHOP.ZIP", ZipBuilder().file("shop/index.html", "<p>"))
//       .signedBy(signer)
//       .build()
#ifndef WZAPP_TESTS_BUILDERS_PACKAGE_BUILDER_H
#define WZAPP_TESTS_BUILDERS_PACKAGE_BUILDER_H

#include <string>
#include <string_view>

#include "tests/builders/der_builder.h"
#include "tests/builders/test_key.h"
#include "tests/builders/zip_builder.h"

namespace wzapp_test {

// Who signs packages.
struct Signer {
  Octets certificate;
  Octets keyId;  // of the certificate's subject
  const TestKey* key;
};

// A signature file of `archive`. The digest is by OpenSSL.
std::string signatureOf(std::string_view archive, const Signer& signer,
                        TestKey::Digest digest = TestKey::Digest::kSha256);

class PackageBuilder {
 public:
  PackageBuilder& certificate(std::string name, const Signer& signer);
  PackageBuilder& inner(std::string name, std::string archive);
  PackageBuilder& inner(std::string name, const ZipBuilder& archive);

  // Signs the last inner package, in an entry of its name with ".P7S" for ".ZIP" unless told.
  PackageBuilder& signedBy(const Signer& signer, std::string name = "");

  // Any other entry.
  PackageBuilder& file(std::string name, std::string content);
  PackageBuilder& entry(ZipEntry entry);

  [[nodiscard]] std::string build() const { return zip_.build(); }

 private:
  ZipBuilder zip_;
  std::string lastName_;
  std::string lastArchive_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_PACKAGE_BUILDER_H
