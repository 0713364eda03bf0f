/// Signature files of packages: PKCS #7 signedData (RFC 2315) in the form that docs/packages.md
/// draws.
#ifndef VERIFIER_SIGNATURE_FILE_H
#define VERIFIER_SIGNATURE_FILE_H

#include <string>
#include <string_view>

#include "verifier/cause.h"
#include "verifier/certificate.h"
#include "verifier/rsa.h"

namespace verifier {

struct SignatureFile {
  Digest digest = Digest::kSha256;
  std::string signedOctets;  ///< inside [2], what the signature covers
  std::string messageDigest;
  std::string signature;
  std::string signerKeyId;
};

/// Reads a signature file: good, or why it cannot be read (WZ-0320 to WZ-0327, WZ-0332).
[[nodiscard]] Cause readSignatureFile(std::string_view file, SignatureFile& found);

/// Good when `signer` has signed `archive` in it; else WZ-0310, or the cause of checkSignature().
[[nodiscard]] Cause checkArchive(const SignatureFile& file, std::string_view archive,
                                 const Certificate& signer);

}  // namespace verifier

#endif  // VERIFIER_SIGNATURE_FILE_H
