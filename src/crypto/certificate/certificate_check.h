// Whether one certificate was issued by another.
#ifndef WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_CHECK_H
#define WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_CHECK_H

#include "support/byte_view.h"

namespace wzapp {

// A certificate does not parse, or is signed by an algorithm that is not supported.
inline constexpr int kCertificateRefused = -3;

// Checks the signature of `certificate` with the key of `authority`, both DER texts.
//
// The authority key identifier of the one must be the subject key identifier of the other.
// Validity, key usage, basic constraints and private extensions are not looked at here.
//
// Returns kSignatureValid; kSignatureInvalid also where the key identifiers differ;
// kCertificateRefused; or a negative result of the verification as it is.
[[nodiscard]] int checkAgainstAuthority(ByteView certificate, ByteView authority);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_CERTIFICATE_CERTIFICATE_CHECK_H
