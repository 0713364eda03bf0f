// Who signed a package, and whether the signature is good.
//
// A signature that does not parse names nobody. What is signed are the attributes of the signature
// file; one of them holds the digest of the package archive.
#ifndef WZAPP_CRYPTO_SIGNATURE_PACKAGE_SIGNATURE_H
#define WZAPP_CRYPTO_SIGNATURE_PACKAGE_SIGNATURE_H

#include "support/byte_view.h"

namespace wzapp {

enum PackageSignatureError : int {
  kSignerRefused = -3,         // the signer's certificate does not parse
  kSignatureFileRefused = -4,  // the signature file does not parse
  kSignerKeyIdTooLong = -5,    // more than 49 octets
};

// Room for the hexadecimal text of a signer's key identifier, its NUL included.
inline constexpr int kSignerKeyIdText = 100;

// Writes the key identifier that the signature file names, in uppercase hexadecimal: the key of
// the signer's certificate in the certificate store.
// `hex` is left alone on failure.
// Returns 0, kSignatureFileRefused or kSignerKeyIdTooLong.
[[nodiscard]] int readSignerKeyId(ByteView file, char (&hex)[kSignerKeyIdText]);

// Checks the signature of a package.
// `sha1`: digest of the package archive, 20 octets.
// `sha256`: digest of the package archive, 32 octets.
// `certificate`: of the signer, which the certificate store has accepted.
// Returns kSignatureValid; kSignatureInvalid also for another signer and other digests;
// kSignatureFileRefused; kSignerRefused; or a negative result of the verification as it is.
[[nodiscard]] int verifyPackage(ByteView file, ByteView sha1, ByteView sha256,
                                ByteView certificate);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_SIGNATURE_PACKAGE_SIGNATURE_H
