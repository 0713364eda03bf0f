/// Somebody who signs archives in variants: with a certificate, or the lie of one.
#ifndef WZ_TAMPER_LAB_SIGNER_H
#define WZ_TAMPER_LAB_SIGNER_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devkeys/certificate_order.h"
#include "devkeys/rsa_key.h"

namespace wz {

struct LabSigner {
  std::string der;  ///< the certificate
  std::shared_ptr<const devkeys::RsaKey> key;

  /// The signature file of an archive. Throws devkeys::KeyError.
  [[nodiscard]] std::string sign(const std::string& archive) const;
  /// The same where the signature names another key.
  [[nodiscard]] std::string signAs(const std::string& archive, const std::string& keyId) const;
};

/// What is asked of a certificate that is issued for a variant.
struct LabCertificate {
  std::vector<std::string> permissions;
  std::string notBefore = "20200101000000Z";
  std::string notAfter = "21000101000000Z";
};

/// An authority whose private key is at hand.
struct LabAuthority {
  int kind = 0;
  std::shared_ptr<const devkeys::RsaKey> key;
  devkeys::IssuerFacts facts;

  /// A signer with `key`; the certificate is by this authority. Throws devkeys::KeyError.
  [[nodiscard]] LabSigner issue(const LabCertificate& order,
                                const std::shared_ptr<const devkeys::RsaKey>& key) const;
};

/// The keys that variants are made with; what is not there leaves out the variants that need it.
struct LabKeys {
  std::optional<LabSigner> application, manifest;
  std::vector<LabAuthority> authorities;  ///< those whose private keys are there
};

/// Reads the keys of a key directory, as far as they are there.
[[nodiscard]] LabKeys readLabKeys(const std::string& keyDirectory);

}  // namespace wz

#endif  // WZ_TAMPER_LAB_SIGNER_H
