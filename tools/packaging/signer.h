/// Those who sign packages: a certificate that goes along with the package, and a way to sign.
///
///     DIR/signers/application.der, application.key     signs applications
///     DIR/signers/manifest.der, manifest.key           signs marketplace and uninstall packages
///
/// A key is an RSA key as PEM text, not encrypted. With a command that signs, no keys are needed.
#ifndef PACKAGING_SIGNER_H
#define PACKAGING_SIGNER_H

#include <string>
#include <string_view>

namespace packaging {

enum class SignerRole { kApplication, kManifest };

/// "application" or "manifest": names its files, and its entry in a package.
[[nodiscard]] const char* signerName(SignerRole role);

class Signer {
 public:
  /// Reads the certificate, and the key unless `signCommand` is to do the work. False with a line
  /// of text in `error`, also for a certificate whose key a terminal could not use.
  [[nodiscard]] bool load(const std::string& keyDirectory, SignerRole role,
                          const std::string& signCommand, std::string& error);

  /// Makes the signature file of the package archive `path` (signature_writer.h). What it says has
  /// been verified with the certificate. False with a line of text in `error`.
  [[nodiscard]] bool signArchive(const std::string& path, std::string& signatureFile,
                                 std::string& error) const;

  [[nodiscard]] const char* name() const { return signerName(role_); }
  [[nodiscard]] const std::string& certificateFile() const { return certificateFile_; }

 private:
  [[nodiscard]] bool readCertificate(std::string& error);
  [[nodiscard]] bool sign(std::string_view octets, std::string& signature,
                          std::string& error) const;

  SignerRole role_ = SignerRole::kApplication;
  std::string certificateFile_, certificate_;
  std::string keyFile_, key_;
  std::string keyIdentifier_;  // octets
  std::string signCommand_;
};

}  // namespace packaging

#endif  // PACKAGING_SIGNER_H
